#include "notificationapplicationsettings_p.h"

#include "notification/notificationssharedconstants.h"
#include "settings/settingsmetatypes_p.h"

#include <om/packageinfo.h>
#include <om/ppsobject.h>

#include <QDebug>

namespace om {
namespace platform {

namespace {

const QString PPS_NOTIFY_CONTROL_PATH = QStringLiteral("/pps/services/notify/control?wait");
const QString PPS_ID = QStringLiteral("_NotificationApplicationSettings");

// What the service's query answer calls the kind of settings asked for.
const QString QUERY_TYPE_CATEGORY = QStringLiteral("category");

NotificationPolicy::Type convertStringToNotificationPolicy(const QString &text)
{
    if (text == s_attributePolicyAllow || text == s_attributeValueTrue)
        return NotificationPolicy::Allow;
    if (text == s_attributePolicyDeny || text == s_attributeValueFalse)
        return NotificationPolicy::Deny;
    qWarning() << "NotificationPolicy::convertStringToNotificationPolicy() Unknown policy: " << text;
    return NotificationPolicy::Unknown;
}

NotificationPriorityPolicy::Type convertStringToNotificationPriorityPolicy(const QString &text)
{
    if (text == s_attributePolicyAllow || text == s_attributeValueTrue)
        return NotificationPriorityPolicy::Allow;
    if (text == s_attributePolicyDeny || text == s_attributeValueFalse)
        return NotificationPriorityPolicy::Deny;
    if (text == s_attributePolicyNotApplicable)
        return NotificationPriorityPolicy::NotApplicable;
    if (text == s_attributePolicyPriorityOnly)
        return NotificationPriorityPolicy::PriorityOnly;
    qWarning() << "NotificationApplicationSettings::convertStringToNotificationPriorityPolicy() "
                  "Unknown policy: "
               << text;
    return NotificationPriorityPolicy::Unknown;
}

// The settings under "dat" of the service's answer to "query"; empty if
// there is no answer.
QVariantMap readApplicationSettings()
{
    om::PpsObject pps(PPS_NOTIFY_CONTROL_PATH);
    if (!pps.open(om::PpsOpenMode::PublishSubscribe)) {
        qWarning() << "NotificationApplicationSettings::readApplicationSettings() the PPS channel "
                      "is not open.";
        return QVariantMap();
    }
    const om::PackageInfo package(nullptr);
    QVariantMap dat;
    dat.insert(s_attributeName, package.name());
    dat.insert(s_attributeCategory, QUERY_TYPE_CATEGORY);
    if (pps.writeMessage(s_attributeMsgQuery, PPS_ID, dat) != 0) {
        qWarning() << "NotificationApplicationSettings::readApplicationSettings() Could not write "
                      "to PPS.";
        return QVariantMap();
    }
    // Whatever arrives first on this connection is the answer.
    bool ok = false;
    const QByteArray data = pps.read(&ok);
    if (!ok) {
        qWarning() << "NotificationApplicationSettings::readApplicationSettings() Could not read "
                      "PPS response.";
        return QVariantMap();
    }
    bool decoded = false;
    const QVariantMap answer = om::PpsObject::decode(data, &decoded);
    if (!decoded) {
        qWarning() << "NotificationApplicationSettings::readApplicationSettings() Could not "
                      "decode PPS response.";
        return QVariantMap();
    }
    return answer.value(s_objectControl).toMap().value(s_attributeDat).toMap();
}

} // namespace

NotificationApplicationSettingsPrivate::NotificationApplicationSettingsPrivate(
    NotificationApplicationSettings *owner)
    : QObject(owner), sound(NotificationPolicy::Unknown), vibrate(NotificationPolicy::Unknown),
      led(NotificationPolicy::Unknown), preview(NotificationPriorityPolicy::Unknown),
      vibrateCount(-1), alertsEnabled(true), pps(nullptr), q(owner)
{
    registerSettingsMetaTypes();

    pps = new om::PpsObject(PPS_NOTIFY_CONTROL_PATH, this);
    if (pps->open(om::PpsOpenMode::PublishSubscribe)) {
        connect(pps, &om::PpsObject::readyRead, this,
                &NotificationApplicationSettingsPrivate::onReadyRead);
        const om::PackageInfo package(nullptr);
        QVariantMap dat;
        dat.insert(s_attributeName, package.name());
        pps->writeMessage(s_attributeMsgMonitorSettings, PPS_ID, dat);
    }
    const QVariantMap settings = readApplicationSettings();
    if (!settings.isEmpty())
        applySettings(settings, false);
}

void NotificationApplicationSettingsPrivate::applySettings(const QVariantMap &dat, bool notify)
{
    // One attribute after the other, so that a slot of an earlier signal
    // still sees the old values of the later attributes.
    const auto policy = [&](const QString &attribute, NotificationPolicy::Type &field,
                            void (NotificationApplicationSettings::*typed)(NotificationPolicy::Type),
                            void (NotificationApplicationSettings::*number)(int)) {
        if (!dat.contains(attribute))
            return;
        const NotificationPolicy::Type value =
            convertStringToNotificationPolicy(dat.value(attribute).toString());
        if (value == field)
            return;
        field = value;
        if (notify) {
            Q_EMIT(q->*typed)(value);
            Q_EMIT(q->*number)(int(value));
        }
    };
    using Q = NotificationApplicationSettings;
    policy(s_attributeSound, sound, qOverload<NotificationPolicy::Type>(&Q::soundChanged),
           qOverload<int>(&Q::soundChanged));
    policy(s_attributeVibrate, vibrate, qOverload<NotificationPolicy::Type>(&Q::vibrateChanged),
           qOverload<int>(&Q::vibrateChanged));
    policy(s_attributeLed, led, qOverload<NotificationPolicy::Type>(&Q::ledChanged),
           qOverload<int>(&Q::ledChanged));

    if (dat.contains(s_attributePreview)) {
        const NotificationPriorityPolicy::Type value =
            convertStringToNotificationPriorityPolicy(dat.value(s_attributePreview).toString());
        if (value != preview) {
            preview = value;
            if (notify) {
                Q_EMIT q->previewChanged(value);
                Q_EMIT q->previewChanged(int(value));
            }
        }
    }
    if (dat.contains(s_attributeAlerts)) {
        const QString text = dat.value(s_attributeAlerts).toString();
        const bool value = text == s_attributePolicyAllow || text == s_attributeValueTrue;
        if (value != alertsEnabled) {
            alertsEnabled = value;
            if (notify)
                Q_EMIT q->alertsEnabledChanged(value);
        }
    }
    if (dat.contains(s_attributeTone)) {
        const QUrl value(dat.value(s_attributeTone).toString());
        if (value != tonePath) {
            tonePath = value;
            if (notify)
                Q_EMIT q->tonePathChanged(value);
        }
    }
    if (dat.contains(s_attributeVibrateCount)) {
        // The query's answer is read as decimal text, an update as it comes;
        // what does not convert is 0 either way.
        const QVariant raw = dat.value(s_attributeVibrateCount);
        const int value = notify ? raw.toInt() : raw.toString().toInt();
        if (value != vibrateCount) {
            vibrateCount = value;
            if (notify)
                Q_EMIT q->vibrateCountChanged(value);
        }
    }
}

void NotificationApplicationSettingsPrivate::onReadyRead()
{
    bool ok = false;
    const QByteArray data = pps->read(&ok);
    if (!ok) {
        qWarning() << "NotificationApplicationSettings::onReadyRead() Could not read PPS response.";
        return;
    }
    bool decoded = false;
    const QVariantMap answer = om::PpsObject::decode(data, &decoded);
    if (!decoded) {
        qWarning() << "NotificationApplicationSettings::onReadyRead() Could not decode PPS "
                      "response.";
        return;
    }
    // Neither "id" nor "res" nor the application's name is looked at:
    // whatever comes on this connection with settings is for this object.
    applySettings(answer.value(s_objectControl).toMap().value(s_attributeDat).toMap(), true);
}

NotificationApplicationSettings::NotificationApplicationSettings(QObject *parent)
    : QObject(parent), d_ptr(new NotificationApplicationSettingsPrivate(this))
{
}

// The private object is a child and goes with the QObject tear-down.
NotificationApplicationSettings::~NotificationApplicationSettings() = default;

bool NotificationApplicationSettings::alertsEnabled() const
{
    return d_func()->alertsEnabled;
}

NotificationPolicy::Type NotificationApplicationSettings::sound() const
{
    return d_func()->sound;
}

NotificationPolicy::Type NotificationApplicationSettings::vibrate() const
{
    return d_func()->vibrate;
}

NotificationPolicy::Type NotificationApplicationSettings::led() const
{
    return d_func()->led;
}

NotificationPriorityPolicy::Type NotificationApplicationSettings::preview() const
{
    return d_func()->preview;
}

int NotificationApplicationSettings::vibrateCount() const
{
    return d_func()->vibrateCount;
}

QUrl NotificationApplicationSettings::tonePath() const
{
    return d_func()->tonePath;
}

} // namespace platform
} // namespace om
