#include "notificationdefaultapplicationsettings_p.h"

#include "notification/notificationssharedconstants.h"
#include "settings/settingscommon_p.h"

#include <om/packageinfo.h>
#include <om/ppsobject.h>
#include <om/uitoolkitsupport.h>

#include <QDebug>

namespace om {
namespace platform {

namespace {

const QString PPS_ID = QStringLiteral("_NotificationDefaultApplicationSettings");

QString convertNotificationPriorityPolicyToPpsString(NotificationPriorityPolicy::Type policy)
{
    switch (policy) {
    case NotificationPriorityPolicy::Allow:
        return s_attributePolicyAllow;
    case NotificationPriorityPolicy::Deny:
        return s_attributePolicyDeny;
    case NotificationPriorityPolicy::NotApplicable:
        return s_attributePolicyNotApplicable;
    case NotificationPriorityPolicy::PriorityOnly:
        return s_attributePolicyPriorityOnly;
    default:
        return QString();
    }
}

NotificationSettingsError::Type registerApplicationSettings(const QVariantMap &settings)
{
    om::PpsObject pps(s_notifyControlWaitPath);
    if (!pps.open(om::PpsOpenMode::PublishSubscribe)) {
        qWarning() << "NoitifcaionDefaultApplicationSettings::registerApplicationSettings() Could "
                      "not open PPS";
        return NotificationSettingsError::Unknown;
    }
    if (pps.writeMessage(s_attributeMsgRegisterSettings, PPS_ID, settings) != 0) {
        qWarning() << "NoitifcaionDefaultApplicationSettings::registerApplicationSettings() Could "
                      "not write to PPS.";
        return NotificationSettingsError::Unknown;
    }
    QVariantMap answer;
    if (!readDecoded(
            &pps, &answer,
            "NoitifcaionDefaultApplicationSettings::registerApplicationSettings() Could not "
            "read PPS response.",
            "NoitifcaionDefaultApplicationSettings::registerApplicationSettings() Could not "
            "decode PPS response."))
        return NotificationSettingsError::Unknown;
    const QVariantMap response = answer.value(s_objectControl).toMap();
    if (!response.contains(s_attributeRes) ||
        response.value(s_attributeRes).toString() != s_attributeMsgRegisterSettings) {
        qWarning() << "NoitifcaionDefaultApplicationSettings::registerApplicationSettings() "
                      "Invalid response.";
        return NotificationSettingsError::Unknown;
    }
    if (!response.contains(s_attributeId) || response.value(s_attributeId).toString() != PPS_ID) {
        qWarning() << "NoitifcaionDefaultApplicationSettings::registerApplicationSettings() "
                      "Incorrect msg id.";
        return NotificationSettingsError::Unknown;
    }
    // "err" wins over "dat" here: an answer with both is a failure.
    if (response.contains(s_attributeError)) {
        qWarning() << "NoitifcaionDefaultApplicationSettings::registerApplicationSettings() PPS "
                      "ERROR: "
                   << response.value(s_attributeError).toString();
        return NotificationSettingsError::Internal;
    }
    if (response.contains(s_attributeDat))
        return NotificationSettingsError::None;
    qWarning() << "NoitifcaionDefaultApplicationSettings::registerApplicationSettings() Unknown "
                  "error.";
    return NotificationSettingsError::Unknown;
}

} // namespace

NotificationSettingsError::Type NotificationDefaultApplicationSettingsPrivate::apply() const
{
    const om::PackageInfo package(nullptr);
    QVariantMap settings;
    settings.insert(s_attributeName, package.name());
    if (sound != NotificationPolicy::Unknown)
        settings.insert(s_attributeSound, convertNotificationPolicyToPpsString(sound));
    if (vibrate != NotificationPolicy::Unknown)
        settings.insert(s_attributeVibrate, convertNotificationPolicyToPpsString(vibrate));
    if (led != NotificationPolicy::Unknown)
        settings.insert(s_attributeLed, convertNotificationPolicyToPpsString(led));
    if (preview != NotificationPriorityPolicy::Unknown)
        settings.insert(s_attributePreview, convertNotificationPriorityPolicyToPpsString(preview));
    if (vibrateCount != -1)
        settings.insert(s_attributeVibrateCount, QString::number(vibrateCount));
    if (!tonePath.isEmpty()) {
        // The service gets a percent-encoded file URL whatever form the
        // application gave; a tone that names no file is left out.
        const QString path = om::UIToolkitSupport::absolutePathFromUrl(tonePath);
        if (!path.isEmpty())
            settings.insert(s_attributeTone,
                            QString::fromUtf8(QUrl::fromLocalFile(path).toEncoded()));
    }
    return registerApplicationSettings(settings);
}

NotificationDefaultApplicationSettings::NotificationDefaultApplicationSettings()
    : d(new NotificationDefaultApplicationSettingsPrivate)
{
}

NotificationDefaultApplicationSettings::NotificationDefaultApplicationSettings(
    const NotificationDefaultApplicationSettings &other) = default;

NotificationDefaultApplicationSettings &NotificationDefaultApplicationSettings::operator=(
    const NotificationDefaultApplicationSettings &other) = default;

NotificationDefaultApplicationSettings::~NotificationDefaultApplicationSettings() = default;

NotificationPolicy::Type NotificationDefaultApplicationSettings::sound() const
{
    return d->sound;
}

NotificationPolicy::Type NotificationDefaultApplicationSettings::vibrate() const
{
    return d->vibrate;
}

NotificationPolicy::Type NotificationDefaultApplicationSettings::led() const
{
    return d->led;
}

NotificationPriorityPolicy::Type NotificationDefaultApplicationSettings::preview() const
{
    return d->preview;
}

QUrl NotificationDefaultApplicationSettings::tonePath() const
{
    return d->tonePath;
}

int NotificationDefaultApplicationSettings::vibrateCount() const
{
    return d->vibrateCount;
}

void NotificationDefaultApplicationSettings::setSound(NotificationPolicy::Type policy)
{
    d->sound = policy;
}

void NotificationDefaultApplicationSettings::setVibrate(NotificationPolicy::Type policy)
{
    d->vibrate = policy;
}

void NotificationDefaultApplicationSettings::setLed(NotificationPolicy::Type policy)
{
    d->led = policy;
}

void NotificationDefaultApplicationSettings::setPreview(NotificationPriorityPolicy::Type policy)
{
    d->preview = policy;
}

void NotificationDefaultApplicationSettings::setTonePath(const QUrl &tonePath)
{
    d->tonePath = tonePath;
}

void NotificationDefaultApplicationSettings::setVibrateCount(int count)
{
    d->vibrateCount = qBound(1, count, 5);
}

NotificationSettingsError::Type NotificationDefaultApplicationSettings::apply()
{
    // Detaches first, like every other non-const use of the data.
    return d->apply();
}

} // namespace platform
} // namespace om
