#ifndef OM_PLATFORM_NOTIFICATIONTYPE_H
#define OM_PLATFORM_NOTIFICATIONTYPE_H

#include <om/platform/omplatform_export.h>

#include <QObject>

namespace om {
namespace platform {

/** Which alerts of a notification the device gives. */
class OMPLATFORM_EXPORT NotificationType
{
    Q_GADGET
public:
    enum Type {
        Default = 0,      ///< Every alert that the settings allow; the category goes as it is.
        PreviewOff = 1,   ///< Into the inbox, with no preview on screen.
        AllAlertsOff = 2, ///< Into the inbox silently: no preview, no sound, no vibration.
        HubOff = 3,       ///< A preview only; the item does not stay in the inbox.
    };
    Q_ENUM(Type)

private:
    NotificationType() = delete;
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::NotificationType::Type)

#endif
