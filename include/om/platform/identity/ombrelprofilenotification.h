#ifndef OM_PLATFORM_IDENTITY_OMBRELPROFILENOTIFICATION_H
#define OM_PLATFORM_IDENTITY_OMBRELPROFILENOTIFICATION_H

#include <om/platform/omplatform_export.h>

#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {
namespace identity {

/** What IdentityServiceProvider::notificationReceived() reports. */
class OMPLATFORM_EXPORT OmbrelProfileNotification
{
    Q_GADGET
public:
    enum Type {
        Started = 0, ///< Notifications started.
        Stopped = 1, ///< Notifications stopped.
        Changed = 2, ///< The entry changed elsewhere.
    };
    Q_ENUM(Type)

private:
    OmbrelProfileNotification() = delete;
};

} // namespace identity
} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::identity::OmbrelProfileNotification::Type)

#endif
