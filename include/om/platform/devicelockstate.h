#ifndef OM_PLATFORM_DEVICELOCKSTATE_H
#define OM_PLATFORM_DEVICELOCKSTATE_H

#include <om/platform/omplatform_export.h>

#include <QObject>

namespace om {
namespace platform {

/** How the device is locked. */
class OMPLATFORM_EXPORT DeviceLockState
{
    Q_GADGET
public:
    enum Type {
        Unknown = 0,        ///< Not known yet, or a state this library does not know.
        Unlocked = 1,       ///< The device is in use.
        ScreenLocked = 2,   ///< The screen is locked; a swipe unlocks it.
        PasswordLocked = 3, ///< Unlocking needs the device password.
        PinBlocked = 4,     ///< The SIM card is blocked and needs its PIN.
    };
    Q_ENUM(Type)

private:
    DeviceLockState() = delete;
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::DeviceLockState::Type)

#endif
