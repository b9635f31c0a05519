#ifndef OM_PLATFORM_DATALOCKSTATE_H
#define OM_PLATFORM_DATALOCKSTATE_H

#include <om/platform/omplatform_export.h>

#include <QObject>

namespace om {
namespace platform {

/** The states of the enterprise data lock, as AdarpDomain reports them. */
class OMPLATFORM_EXPORT DataLockState
{
    Q_GADGET
public:
    enum Type {
        NotLocked = 0,     ///< No lock, nothing pending.
        LockPending = 1,   ///< The lock falls due at AdarpDomain::nextDataLockTime().
        DataLocked = 2,    ///< The data is locked.
        StartupLocked = 3, ///< The data is locked from start-up.
    };
    Q_ENUM(Type)

private:
    DataLockState() = delete;
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::DataLockState::Type)

#endif
