#include "notificationssharedconstants.h"

namespace om {
namespace platform {

#define OM_CONSTANT(name, text) const QString name = QString::fromLatin1(text)

OM_CONSTANT(s_servicesPath, "/pps/services/notify/control");
OM_CONSTANT(s_ppsId, "_om_ppsID");

OM_CONSTANT(s_objectControl, "@control");
OM_CONSTANT(s_objectSettingsControl, "@settings-control");
OM_CONSTANT(s_attributeMsgNotify, "notify");
OM_CONSTANT(s_attributeMsgAlert, "alert");
OM_CONSTANT(s_attributeMsgUpdate, "update");
OM_CONSTANT(s_attributeMsgCancel, "cancel");
OM_CONSTANT(s_attributeMsgDelete, "delete");
OM_CONSTANT(s_attributeMsgChoice, "choice");
OM_CONSTANT(s_attributeMsgUpdateState, "updateState");
OM_CONSTANT(s_attributeMsgUpdateGlobalSettings, "updateGlobalSettings");
OM_CONSTANT(s_attributeMsgQuery, "query");
OM_CONSTANT(s_attributeMsgRegisterSettings, "registerSettings");
OM_CONSTANT(s_attributeMsgMonitorSettings, "monitorSettings");

OM_CONSTANT(s_attributeMsg, "msg");
OM_CONSTANT(s_attributeRes, "res");
OM_CONSTANT(s_attributeDat, "dat");
OM_CONSTANT(s_attributeId, "id");
OM_CONSTANT(s_attributeError, "err");
OM_CONSTANT(s_attributeItemId, "itemId");
OM_CONSTANT(s_attributeTitle, "title");
OM_CONSTANT(s_attributeBody, "subtitle");
OM_CONSTANT(s_attributeTimestamp, "timestamp");
OM_CONSTANT(s_attributeCategory, "type");
OM_CONSTANT(s_attributeSound, "sound");
OM_CONSTANT(s_attributeIcon, "iconUrl");
OM_CONSTANT(s_attributeBadge, "badge");
OM_CONSTANT(s_attributeInvokeTarget, "target");
OM_CONSTANT(s_attributeInvokeAction, "targetAction");
OM_CONSTANT(s_attributeInvokeData, "payload");
OM_CONSTANT(s_attributeInvokeUri, "payloadURI");
OM_CONSTANT(s_attributeInvokeMimeType, "payloadType");
OM_CONSTANT(s_attributeButtons, "promptChoices");
OM_CONSTANT(s_attributeButtonLabel, "label");
OM_CONSTANT(s_attributeButtonId, "context");
OM_CONSTANT(s_attributeRepeating, "repeating");
OM_CONSTANT(s_attributeRepeatingOn, "on");
OM_CONSTANT(s_attributeRepeatingOff, "off");
OM_CONSTANT(s_attributeTarget, "target");
OM_CONSTANT(s_attributeAction, "action");
OM_CONSTANT(s_attributeUri, "uri");
OM_CONSTANT(s_attributeData, "data");
OM_CONSTANT(s_attributeSubject, "subject");
OM_CONSTANT(s_attributeChoice, "choice");

OM_CONSTANT(s_attributeVibrate, "vibrate");
OM_CONSTANT(s_attributeLed, "led");
OM_CONSTANT(s_attributePreview, "preview");
OM_CONSTANT(s_attributeVolume, "volume");
OM_CONSTANT(s_attributeVibrateCount, "vib_count");
OM_CONSTANT(s_attributeTone, "tone");
OM_CONSTANT(s_attributeAlerts, "alerts");
OM_CONSTANT(s_attributeMode, "mode");
OM_CONSTANT(s_attributeValue, "value");
OM_CONSTANT(s_attributeKey, "key");
OM_CONSTANT(s_attributeName, "name");
OM_CONSTANT(s_attributeQueryTypeGlobal, "global");
OM_CONSTANT(s_attributeQueryTypeApplication, "application");
OM_CONSTANT(s_attributeModeSilent, "silent");
OM_CONSTANT(s_attributeModeVibrate, "vibrate");
OM_CONSTANT(s_attributeModeNormal, "normal");
OM_CONSTANT(s_attributeModePhoneOnly, "phoneonly");
OM_CONSTANT(s_attributeModeAlertsOff, "alertsoff");
OM_CONSTANT(s_attributeValueTrue, "true");
OM_CONSTANT(s_attributeValueFalse, "false");
OM_CONSTANT(s_attributePolicyAllow, "on");
OM_CONSTANT(s_attributePolicyDeny, "off");
OM_CONSTANT(s_attributePolicyNotApplicable, "disabled");
OM_CONSTANT(s_attributePolicyPriorityOnly, "priority");

OM_CONSTANT(s_attributeValueHubOnly, "uib_only");
OM_CONSTANT(s_attributeValueHubSilent, "uib_silent");
OM_CONSTANT(s_attributeValuePreviewOnly, "preview_only");

#undef OM_CONSTANT

QVariantMap controlAttributes(const QVariantMap &decoded)
{
    const auto exact = decoded.constFind(s_objectControl);
    if (exact != decoded.cend())
        return exact.value().toMap();
    for (auto it = decoded.cbegin(); it != decoded.cend(); ++it) {
        if (it.key().startsWith(s_objectControl, Qt::CaseSensitive))
            return it.value().toMap();
    }
    return decoded;
}

} // namespace platform
} // namespace om
