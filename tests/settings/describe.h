#ifndef SETTINGSTEST_DESCRIBE_H
#define SETTINGSTEST_DESCRIBE_H

// One line for all properties of a settings object, so that a test compares
// the whole state at once and a failure shows all of it.

#include <om/platform/notificationapplicationsettings.h>
#include <om/platform/notificationdefaultapplicationsettings.h>
#include <om/platform/notificationglobalsettings.h>

#include <QString>

namespace settingstest {

inline QString describe(const om::platform::NotificationGlobalSettings &s)
{
    return QStringLiteral("sound=%1 vibrate=%2 led=%3 preview=%4 volume=%5 mode=%6")
        .arg(s.sound())
        .arg(s.vibrate())
        .arg(s.led())
        .arg(s.preview())
        .arg(s.volume())
        .arg(s.mode());
}

inline QString describe(const om::platform::NotificationApplicationSettings &s)
{
    return QStringLiteral("alerts=%1 sound=%2 vibrate=%3 led=%4 preview=%5 count=%6 tone=%7")
        .arg(s.alertsEnabled())
        .arg(s.sound())
        .arg(s.vibrate())
        .arg(s.led())
        .arg(s.preview())
        .arg(s.vibrateCount())
        .arg(s.tonePath().toString());
}

inline QString describe(const om::platform::NotificationDefaultApplicationSettings &s)
{
    return QStringLiteral("sound=%1 vibrate=%2 led=%3 preview=%4 count=%5 tone=%6")
        .arg(s.sound())
        .arg(s.vibrate())
        .arg(s.led())
        .arg(s.preview())
        .arg(s.vibrateCount())
        .arg(s.tonePath().toString());
}

} // namespace settingstest

#endif
