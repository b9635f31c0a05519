#include "settingscommon_p.h"

#include "notification/notificationssharedconstants.h"

#include <om/ppsobject.h>

#include <QDebug>
#include <QMetaType>

namespace om {
namespace platform {

void registerSettingsMetaTypes()
{
    static const bool registered = []() {
        qRegisterMetaType<NotificationPolicy::Type>();
        qRegisterMetaType<NotificationMode::Type>();
        qRegisterMetaType<NotificationPriorityPolicy::Type>();
        qRegisterMetaType<NotificationSettingsError::Type>();
        return true;
    }();
    Q_UNUSED(registered)
}

bool readDecoded(om::PpsObject *pps, QVariantMap *decoded, const char *readFailed,
                 const char *decodeFailed)
{
    bool ok = false;
    const QByteArray data = pps->read(&ok);
    if (!ok) {
        qWarning() << readFailed;
        return false;
    }
    *decoded = om::PpsObject::decode(data, &ok);
    if (!ok) {
        qWarning() << decodeFailed;
        return false;
    }
    return true;
}

QVariantMap controlData(const QVariantMap &decoded)
{
    return decoded.value(s_objectControl).toMap().value(s_attributeDat).toMap();
}

const QString s_notifyControlWaitPath = QStringLiteral("/pps/services/notify/control?wait");

NotificationPolicy::Type convertStringToNotificationPolicy(const QString &text,
                                                           const char *unknownWarning)
{
    if (text == s_attributePolicyAllow || text == s_attributeValueTrue)
        return NotificationPolicy::Allow;
    if (text == s_attributePolicyDeny || text == s_attributeValueFalse)
        return NotificationPolicy::Deny;
    qWarning() << unknownWarning << text;
    return NotificationPolicy::Unknown;
}

QString convertNotificationPolicyToPpsString(NotificationPolicy::Type policy)
{
    switch (policy) {
    case NotificationPolicy::Allow:
        return s_attributePolicyAllow;
    case NotificationPolicy::Deny:
        return s_attributePolicyDeny;
    default:
        return QString();
    }
}

} // namespace platform
} // namespace om
