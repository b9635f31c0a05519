#include "notificationglobalsettings_p.h"

#include "notification/notificationssharedconstants.h"
#include "settings/settingscommon_p.h"

#include <om/ppsobject.h>

#include <QDebug>
#include <QFileInfo>

namespace om {
namespace platform {

const QString PPS_NOTIFY_SETTINGS_CONTROL_PATH =
    QStringLiteral("/pps/services/notify/settings-control?wait");

namespace {

const QString PPS_ID = QStringLiteral("_NotificationGlobalSettings");

const char *const UnknownPolicyWarning =
    "NotificationGlobalSettings::convertStringToNotificationPolicy(): Unknown "
    "NotificationMode: ";

NotificationMode::Type convertStringToNotificationMode(const QString &text)
{
    if (text == s_attributeModeSilent)
        return NotificationMode::Silent;
    if (text == s_attributeModeVibrate)
        return NotificationMode::Vibrate;
    if (text == s_attributeModeNormal)
        return NotificationMode::Normal;
    if (text == s_attributeModePhoneOnly)
        return NotificationMode::PhoneOnly;
    if (text == s_attributeModeAlertsOff)
        return NotificationMode::AlertsOff;
    qWarning() << "NotificationGlobalSettings::convertStringToNotificationMode(): Unknown "
                  "NotificationMode: "
               << text;
    return NotificationMode::Unknown;
}

QString convertNotificationModeToPpsString(NotificationMode::Type mode)
{
    switch (mode) {
    case NotificationMode::Silent:
        return s_attributeModeSilent;
    case NotificationMode::Vibrate:
        return s_attributeModeVibrate;
    case NotificationMode::Normal:
        return s_attributeModeNormal;
    case NotificationMode::PhoneOnly:
        return s_attributeModePhoneOnly;
    case NotificationMode::AlertsOff:
        return s_attributeModeAlertsOff;
    default:
        return QString();
    }
}

// One request on the settings control object, answered before it returns.
// The object's name in the answer is not looked at: the first object of the
// decoded answer is the response.
NotificationSettingsError::Type sendMessage(const QString &msg, const QString &id,
                                            const QVariantMap &dat)
{
    const QString &path = PPS_NOTIFY_SETTINGS_CONTROL_PATH;
    om::PpsObject pps(path);
    if (!pps.open(om::PpsOpenMode::PublishSubscribe)) {
        // open() gives no reason the caller could act on; the object's
        // mirror file tells a missing service from missing rights.
        const QFileInfo info(om::PpsObject::mirrorFilePath(path));
        if (!info.exists()) {
            qWarning() << "NotificationGlobalSettings::sendMessage(): PPS did not exist: " << path;
            return NotificationSettingsError::ServiceUnavailable;
        }
        if (!info.isReadable() || !info.isWritable()) {
            qWarning() << "NotificationGlobalSettings::sendMessage(): Application did not have "
                          "permission to PPS: "
                       << path;
            return NotificationSettingsError::InsufficientPermissions;
        }
        qWarning() << "NotificationGlobalSettings::sendMessage(): Could not open PPS: " << path;
        return NotificationSettingsError::Unknown;
    }
    if (pps.writeMessage(msg, id, dat) != 0) {
        qWarning() << "NotificationGlobalSettings::sendMessage(): Could not write to PPS: " << path;
        return NotificationSettingsError::Unknown;
    }
    bool ok = false;
    const QByteArray data = pps.read(&ok);
    if (!ok) {
        qWarning() << "NotificationGlobalSettings::sendMessage(): Could not read from PPS: "
                   << path;
        return NotificationSettingsError::Unknown;
    }
    bool decoded = false;
    const QVariantMap answer = om::PpsObject::decode(data, &decoded);
    if (!decoded || answer.isEmpty())
        return NotificationSettingsError::Unknown;
    const QVariantMap response = answer.first().toMap();
    if (!response.contains(s_attributeId) || response.value(s_attributeId).toString() != id) {
        qWarning() << "NotificationGlobalSettings::sendMessage(): Incorrect response id: " << path;
        return NotificationSettingsError::Unknown;
    }
    if (!response.contains(s_attributeRes) || response.value(s_attributeRes).toString() != msg) {
        qWarning() << "NotificationGlobalSettings::sendMessage(): Some unknown error occurred: "
                   << path;
        return NotificationSettingsError::Unknown;
    }
    // "dat" means success even beside an "err".
    if (response.contains(s_attributeDat))
        return NotificationSettingsError::None;
    if (response.contains(s_attributeError)) {
        qWarning() << "NotificationGlobalSettings::sendMessage(): The PPS interface may have "
                      "changed. ERRNO: "
                   << response.value(s_attributeError).toString() << " PPS: " << path;
        return NotificationSettingsError::Internal;
    }
    qWarning() << "NotificationGlobalSettings::sendMessage(): The PPS response was malformed: "
               << path;
    return NotificationSettingsError::Unknown;
}

NotificationSettingsError::Type updateGlobalSettings(const QString &attribute, const QString &value)
{
    QVariantMap dat;
    dat.insert(attribute, value);
    return sendMessage(s_attributeMsgUpdateGlobalSettings, PPS_ID, dat);
}

// The service's answer to "query", decoded; empty if there is none.
QVariantMap readGlobalSettings()
{
    om::PpsObject pps(s_notifyControlWaitPath);
    if (!pps.open(om::PpsOpenMode::PublishSubscribe))
        return QVariantMap();
    QVariantMap dat;
    dat.insert(s_attributeName, s_attributeQueryTypeGlobal);
    if (pps.writeMessage(s_attributeMsgQuery, PPS_ID, dat) != 0) {
        qWarning() << "NotificationGlobalSettings::readGlobalSettings(): Could not write to PPS.";
        return QVariantMap();
    }
    // Whatever arrives first on this connection is the answer.
    QVariantMap answer;
    readDecoded(&pps, &answer,
                "NotificationGlobalSettings::readGlobalSettings(): Could not read PPS response.",
                "NotificationGlobalSettings::readGlobalSettings(): Could not decode PPS response.");
    return answer;
}

} // namespace

NotificationGlobalSettingsPrivate::NotificationGlobalSettingsPrivate(
    NotificationGlobalSettings *owner)
    : QObject(owner), sound(NotificationPolicy::Unknown), vibrate(NotificationPolicy::Unknown),
      led(NotificationPolicy::Unknown), preview(NotificationPolicy::Unknown),
      mode(NotificationMode::Unknown), volume(-1), pps(nullptr), q(owner)
{
    registerSettingsMetaTypes();

    pps = new om::PpsObject(s_notifyControlWaitPath, this);
    if (pps->open(om::PpsOpenMode::PublishSubscribe)) {
        connect(pps, &om::PpsObject::readyRead, this,
                &NotificationGlobalSettingsPrivate::onReadyRead);
        QVariantMap dat;
        dat.insert(s_attributeName, s_attributeQueryTypeGlobal);
        if (pps->writeMessage(s_attributeMsgMonitorSettings, PPS_ID, dat) != 0) {
            qWarning() << "NotificationGlobalSettings::NotificationGlobalSettingsPrivate(): Could "
                          "not write PPS response.";
        }
    }
    applySettings(readGlobalSettings(), false);
}

void NotificationGlobalSettingsPrivate::applySettings(const QVariantMap &decoded, bool notify)
{
    const QVariantMap dat = controlData(decoded);
    const auto policy = [](const QVariant &text) {
        return convertStringToNotificationPolicy(text.toString(), UnknownPolicyWarning);
    };
    using Q = NotificationGlobalSettings;
    // One attribute after the other, so that a slot of an earlier signal
    // still sees the old values of the later attributes.
    takeAttribute(dat, s_attributeSound, sound, policy, notify,
                  emitBoth(q, qOverload<NotificationPolicy::Type>(&Q::soundChanged),
                           qOverload<int>(&Q::soundChanged)));
    takeAttribute(dat, s_attributeVibrate, vibrate, policy, notify,
                  emitBoth(q, qOverload<NotificationPolicy::Type>(&Q::vibrateChanged),
                           qOverload<int>(&Q::vibrateChanged)));
    takeAttribute(dat, s_attributeLed, led, policy, notify,
                  emitBoth(q, qOverload<NotificationPolicy::Type>(&Q::ledChanged),
                           qOverload<int>(&Q::ledChanged)));
    takeAttribute(dat, s_attributePreview, preview, policy, notify,
                  emitBoth(q, qOverload<NotificationPolicy::Type>(&Q::previewChanged),
                           qOverload<int>(&Q::previewChanged)));
    takeAttribute(
        dat, s_attributeMode, mode,
        [](const QVariant &text) { return convertStringToNotificationMode(text.toString()); },
        notify,
        emitBoth(q, qOverload<NotificationMode::Type>(&Q::modeChanged),
                 qOverload<int>(&Q::modeChanged)));
    // The volume is taken as the service gives it, without a range check.
    takeAttribute(
        dat, s_attributeVolume, volume, [](const QVariant &value) { return value.toInt(); }, notify,
        [this](int value) { Q_EMIT q->volumeChanged(value); });
}

void NotificationGlobalSettingsPrivate::onReadyRead()
{
    QVariantMap decoded;
    if (readDecoded(pps, &decoded,
                    "NotificationGlobalSettings::onReadyReady(): Could not read PPS response",
                    "NotificationGlobalSettings::onReadyReady(): Could not decode PPS response"))
        applySettings(decoded, true);
}

NotificationSettingsError::Type
NotificationGlobalSettingsPrivate::setSound(NotificationPolicy::Type policy)
{
    return updateGlobalSettings(s_attributeSound, convertNotificationPolicyToPpsString(policy));
}

NotificationSettingsError::Type
NotificationGlobalSettingsPrivate::setVibrate(NotificationPolicy::Type policy)
{
    return updateGlobalSettings(s_attributeVibrate, convertNotificationPolicyToPpsString(policy));
}

NotificationSettingsError::Type
NotificationGlobalSettingsPrivate::setLed(NotificationPolicy::Type policy)
{
    return updateGlobalSettings(s_attributeLed, convertNotificationPolicyToPpsString(policy));
}

NotificationSettingsError::Type
NotificationGlobalSettingsPrivate::setPreview(NotificationPolicy::Type policy)
{
    return updateGlobalSettings(s_attributePreview, convertNotificationPolicyToPpsString(policy));
}

NotificationSettingsError::Type NotificationGlobalSettingsPrivate::setVolume(int value)
{
    return updateGlobalSettings(s_attributeVolume, QString::number(qBound(0, value, 100)));
}

NotificationSettingsError::Type
NotificationGlobalSettingsPrivate::setMode(NotificationMode::Type value)
{
    QVariantMap dat;
    dat.insert(s_attributeKey, s_attributeMode);
    dat.insert(s_attributeValue, convertNotificationModeToPpsString(value));
    return sendMessage(s_attributeMsgUpdateState, PPS_ID, dat);
}

NotificationGlobalSettings::NotificationGlobalSettings(QObject *parent)
    : QObject(parent), d_ptr(new NotificationGlobalSettingsPrivate(this))
{
}

// The private object is a child and goes with the QObject tear-down.
NotificationGlobalSettings::~NotificationGlobalSettings() = default;

NotificationPolicy::Type NotificationGlobalSettings::sound() const
{
    return d_func()->sound;
}

NotificationPolicy::Type NotificationGlobalSettings::vibrate() const
{
    return d_func()->vibrate;
}

NotificationPolicy::Type NotificationGlobalSettings::led() const
{
    return d_func()->led;
}

NotificationPolicy::Type NotificationGlobalSettings::preview() const
{
    return d_func()->preview;
}

int NotificationGlobalSettings::volume() const
{
    return d_func()->volume;
}

NotificationMode::Type NotificationGlobalSettings::mode() const
{
    return d_func()->mode;
}

NotificationSettingsError::Type
NotificationGlobalSettings::setSound(NotificationPolicy::Type policy)
{
    return d_func()->setSound(policy);
}

NotificationSettingsError::Type
NotificationGlobalSettings::setVibrate(NotificationPolicy::Type policy)
{
    return d_func()->setVibrate(policy);
}

NotificationSettingsError::Type NotificationGlobalSettings::setLed(NotificationPolicy::Type policy)
{
    return d_func()->setLed(policy);
}

NotificationSettingsError::Type
NotificationGlobalSettings::setPreview(NotificationPolicy::Type policy)
{
    return d_func()->setPreview(policy);
}

NotificationSettingsError::Type NotificationGlobalSettings::setVolume(int volume)
{
    return d_func()->setVolume(volume);
}

NotificationSettingsError::Type NotificationGlobalSettings::setMode(NotificationMode::Type mode)
{
    return d_func()->setMode(mode);
}

// The enumerations have int as their underlying type, so any number is a
// value of them and reaches the service as the typed setter sends it.
int NotificationGlobalSettings::setSound(int policy)
{
    return int(setSound(NotificationPolicy::Type(policy)));
}

int NotificationGlobalSettings::setVibrate(int policy)
{
    return int(setVibrate(NotificationPolicy::Type(policy)));
}

int NotificationGlobalSettings::setLed(int policy)
{
    return int(setLed(NotificationPolicy::Type(policy)));
}

int NotificationGlobalSettings::setPreview(int policy)
{
    return int(setPreview(NotificationPolicy::Type(policy)));
}

int NotificationGlobalSettings::setMode(int mode)
{
    return int(setMode(NotificationMode::Type(mode)));
}

} // namespace platform
} // namespace om
