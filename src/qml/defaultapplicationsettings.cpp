#include "defaultapplicationsettings.h"

namespace om {
namespace platform {

namespace {

bool same(const NotificationDefaultApplicationSettings &a,
          const NotificationDefaultApplicationSettings &b)
{
    return a.sound() == b.sound() && a.vibrate() == b.vibrate() && a.led() == b.led() &&
           a.preview() == b.preview() && a.tonePath() == b.tonePath() &&
           a.vibrateCount() == b.vibrateCount();
}

} // namespace

DefaultApplicationSettingsObject::DefaultApplicationSettingsObject(QObject *parent)
    : QObject(parent)
{
}

template <class Change> void DefaultApplicationSettingsObject::update(Change change)
{
    const NotificationDefaultApplicationSettings before = m_settings;
    change(m_settings);
    if (!same(before, m_settings))
        Q_EMIT changed();
}

void DefaultApplicationSettingsObject::setSound(NotificationPolicy::Type policy)
{
    update([&](NotificationDefaultApplicationSettings &s) { s.setSound(policy); });
}

void DefaultApplicationSettingsObject::setVibrate(NotificationPolicy::Type policy)
{
    update([&](NotificationDefaultApplicationSettings &s) { s.setVibrate(policy); });
}

void DefaultApplicationSettingsObject::setLed(NotificationPolicy::Type policy)
{
    update([&](NotificationDefaultApplicationSettings &s) { s.setLed(policy); });
}

void DefaultApplicationSettingsObject::setPreview(NotificationPriorityPolicy::Type policy)
{
    update([&](NotificationDefaultApplicationSettings &s) { s.setPreview(policy); });
}

void DefaultApplicationSettingsObject::setTonePath(const QUrl &tonePath)
{
    update([&](NotificationDefaultApplicationSettings &s) { s.setTonePath(tonePath); });
}

void DefaultApplicationSettingsObject::setVibrateCount(int count)
{
    update([&](NotificationDefaultApplicationSettings &s) { s.setVibrateCount(count); });
}

NotificationSettingsError::Type DefaultApplicationSettingsObject::apply()
{
    return m_settings.apply();
}

} // namespace platform
} // namespace om
