#ifndef OM_PLATFORM_NOTIFICATIONRESULT_H
#define OM_PLATFORM_NOTIFICATIONRESULT_H

#include <om/platform/omplatform_export.h>

#include <QObject>

namespace om {
namespace platform {

/** How a notification dialog ended. */
class OMPLATFORM_EXPORT NotificationResult
{
    Q_GADGET
public:
    enum Type {
        None = 0,            ///< No outcome yet.
        Error = 1,           ///< The dialog failed; the dialog's error says why.
        ButtonSelection = 2, ///< The user chose a button; see buttonSelection().
    };
    Q_ENUM(Type)

private:
    NotificationResult() = delete;
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::NotificationResult::Type)

#endif
