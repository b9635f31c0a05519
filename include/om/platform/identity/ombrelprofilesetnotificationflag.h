#ifndef OM_PLATFORM_IDENTITY_OMBRELPROFILESETNOTIFICATIONFLAG_H
#define OM_PLATFORM_IDENTITY_OMBRELPROFILESETNOTIFICATIONFLAG_H

#include <om/platform/omplatform_export.h>

#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {
namespace identity {

/** The flags of IdentityServiceProvider::setNotification(). */
class OMPLATFORM_EXPORT OmbrelProfileSetNotificationFlag
{
    Q_GADGET
public:
    enum Type {
        Start = 0, ///< Start notifications of changes to the entry.
        Stop = 1,  ///< Stop them.
    };
    Q_ENUM(Type)

private:
    OmbrelProfileSetNotificationFlag() = delete;
};

} // namespace identity
} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::identity::OmbrelProfileSetNotificationFlag::Type)

#endif
