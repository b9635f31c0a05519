#include "notificationapplicationsettings_p.h"

#include "notification/notificationssharedconstants.h"
#include "settings/settingscommon_p.h"

#include <om/packageinfo.h>
#include <om/ppsobject.h>

#include <QDebug>

namespace om {
namespace platform {

namespace {

const QString PPS_ID = QStringLiteral("_NotificationApplicationSettings");

// What the service's query answer calls the kind of settings asked for.
const QString QUERY_TYPE_CATEGORY = QStringLiteral("category");

const char *const UnknownPolicyWarning =
    "NotificationPolicy::convertStringToNotificationPolicy() Unknown policy: ";

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
    om::PpsObject pps(s_notifyControlWaitPath);
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
    QVariantMap answer;
    readDecoded(&pps, &answer,
                "NotificationApplicationSettings::readApplicationSettings() Could not read PPS "
                "response.",
                "NotificationApplicationSettings::readApplicationSettings() Could not decode PPS "
                "response.");
    return controlData(answer);
}

} // namespace

NotificationApplicationSettingsPrivate::NotificationApplicationSettingsPrivate(
    NotificationApplicationSettings *owner)
    : QObject(owner), sound(NotificationPolicy::Unknown), vibrate(NotificationPolicy::Unknown),
      led(NotificationPolicy::Unknown), preview(NotificationPriorityPolicy::Unknown),
      vibrateCount(-1), alertsEnabled(true), pps(nullptr), q(owner)
{
    registerSettingsMetaTypes();

    pps = new om::PpsObject(s_notifyControlWaitPath, this);
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
    const auto policy = [](const QVariant &text) {
        return convertStringToNotificationPolicy(text.toString(), UnknownPolicyWarning);
    };
    using Q = NotificationApplicationSettings;
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
    takeAttribute(
        dat, s_attributePreview, preview,
        [](const QVariant &text) {
            return convertStringToNotificationPriorityPolicy(text.toString());
        },
        notify,
        emitBoth(q, qOverload<NotificationPriorityPolicy::Type>(&Q::previewChanged),
                 qOverload<int>(&Q::previewChanged)));
    takeAttribute(
        dat, s_attributeAlerts, alertsEnabled,
        [](const QVariant &text) {
            return text.toString() == s_attributePolicyAllow ||
                   text.toString() == s_attributeValueTrue;
        },
        notify, [this](bool value) { Q_EMIT q->alertsEnabledChanged(value); });
    takeAttribute(
        dat, s_attributeTone, tonePath, [](const QVariant &text) { return QUrl(text.toString()); },
        notify, [this](const QUrl &value) { Q_EMIT q->tonePathChanged(value); });
    // The query's answer is read as decimal text, an update as it comes;
    // what does not convert is 0 either way.
    takeAttribute(
        dat, s_attributeVibrateCount, vibrateCount,
        [notify](const QVariant &value) {
            return notify ? value.toInt() : value.toString().toInt();
        },
        notify, [this](int value) { Q_EMIT q->vibrateCountChanged(value); });
}

void NotificationApplicationSettingsPrivate::onReadyRead()
{
    QVariantMap decoded;
    if (!readDecoded(
            pps, &decoded,
            "NotificationApplicationSettings::onReadyRead() Could not read PPS response.",
            "NotificationApplicationSettings::onReadyRead() Could not decode PPS response."))
        return;
    // Neither "id" nor "res" nor the application's name is looked at:
    // whatever comes on this connection with settings is for this object.
    applySettings(controlData(decoded), true);
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
