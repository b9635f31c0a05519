#ifndef OM_PLATFORM_NOTIFICATIONSSHAREDCONSTANTS_H
#define OM_PLATFORM_NOTIFICATIONSSHAREDCONSTANTS_H

#include <QString>
#include <QVariantMap>

// The vocabulary of the notification service. Several constants hold the
// same text under different roles; the names say the role.

namespace om {
namespace platform {

extern const QString s_servicesPath;
extern const QString s_ppsId;

// Objects and messages.
extern const QString s_objectControl;
extern const QString s_objectSettingsControl;
extern const QString s_attributeMsgNotify;
extern const QString s_attributeMsgAlert;
extern const QString s_attributeMsgUpdate;
extern const QString s_attributeMsgCancel;
extern const QString s_attributeMsgDelete;
extern const QString s_attributeMsgChoice;
extern const QString s_attributeMsgUpdateState;
extern const QString s_attributeMsgUpdateGlobalSettings;
extern const QString s_attributeMsgQuery;
extern const QString s_attributeMsgRegisterSettings;
extern const QString s_attributeMsgMonitorSettings;

// Envelope and notification attributes.
extern const QString s_attributeMsg;
extern const QString s_attributeRes;
extern const QString s_attributeDat;
extern const QString s_attributeId;
extern const QString s_attributeError;
extern const QString s_attributeItemId;
extern const QString s_attributeTitle;
extern const QString s_attributeBody;
extern const QString s_attributeTimestamp;
extern const QString s_attributeCategory;
extern const QString s_attributeSound;
extern const QString s_attributeIcon;
extern const QString s_attributeBadge;
extern const QString s_attributeInvokeTarget;
extern const QString s_attributeInvokeAction;
extern const QString s_attributeInvokeData;
extern const QString s_attributeInvokeUri;
extern const QString s_attributeInvokeMimeType;
extern const QString s_attributeButtons;
extern const QString s_attributeButtonLabel;
extern const QString s_attributeButtonId;
extern const QString s_attributeRepeating;
extern const QString s_attributeRepeatingOn;
extern const QString s_attributeRepeatingOff;
extern const QString s_attributeTarget;
extern const QString s_attributeAction;
extern const QString s_attributeUri;
extern const QString s_attributeData;
extern const QString s_attributeSubject;
extern const QString s_attributeChoice;

// Settings attributes and values.
extern const QString s_attributeVibrate;
extern const QString s_attributeLed;
extern const QString s_attributePreview;
extern const QString s_attributeVolume;
extern const QString s_attributeVibrateCount;
extern const QString s_attributeTone;
extern const QString s_attributeAlerts;
extern const QString s_attributeMode;
extern const QString s_attributeValue;
extern const QString s_attributeKey;
extern const QString s_attributeName;
extern const QString s_attributeQueryTypeGlobal;
extern const QString s_attributeQueryTypeApplication;
extern const QString s_attributeModeSilent;
extern const QString s_attributeModeVibrate;
extern const QString s_attributeModeNormal;
extern const QString s_attributeModePhoneOnly;
extern const QString s_attributeModeAlertsOff;
extern const QString s_attributeValueTrue;
extern const QString s_attributeValueFalse;
extern const QString s_attributePolicyAllow;
extern const QString s_attributePolicyDeny;
extern const QString s_attributePolicyNotApplicable;
extern const QString s_attributePolicyPriorityOnly;

// Values sent in place of a category.
extern const QString s_attributeValueHubOnly;
extern const QString s_attributeValueHubSilent;
extern const QString s_attributeValuePreviewOnly;

/**
 * The attributes of a decoded answer of the notification control object:
 * the "@control" object; else the first object, in key order, whose name
 * begins with "@control"; else the decoded map itself.
 */
QVariantMap controlAttributes(const QVariantMap &decoded);

} // namespace platform
} // namespace om

#endif
