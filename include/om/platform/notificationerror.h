#ifndef OM_PLATFORM_NOTIFICATIONERROR_H
#define OM_PLATFORM_NOTIFICATIONERROR_H

#include <om/platform/omplatform_export.h>

#include <QObject>

namespace om {
namespace platform {

/** What went wrong in an exchange with the notification service. */
class OMPLATFORM_EXPORT NotificationError
{
    Q_GADGET
public:
    enum Type {
        None = 0,               ///< No error.
        Unknown = 1,            ///< No answer in time, or one that could not be read or decoded.
        InvalidRequest = 2,     ///< The write failed, or the service answered with "err".
        NoButtons = 3,          ///< A dialog was shown without buttons.
        ServiceUnavailable = 4, ///< The service's control object could not be opened.
    };
    Q_ENUM(Type)

private:
    NotificationError() = delete;
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::NotificationError::Type)

#endif
