// The home screen commands: lock, bedside, wallpaper-lock, home. They talk
// to the navigator's user side.

#include "command.h"
#include "omctlclient.h"

#include "oms/navigatorprotocol_p.h"

#include <QVariantList>

namespace omctl {
namespace {

namespace protocol = om::navigatorprotocol;
const QString simulatorPath = protocol::userSidePath();
const QStringList lockStates = protocol::lockStates();

QString onOff(const QVariant &value)
{
    return value.toBool() ? QStringLiteral("on") : QStringLiteral("off");
}

void row(const QString &name, const QString &value)
{
    out((name + QLatin1Char(':')).leftJustified(16) + value);
}

// After a change: the navigator's state as it now is, the row named
// @p name of what "home" shows.
int printState(const Invocation &call, const QString &name)
{
    if (isQuiet())
        return Success;
    const auto answer = call.request(simulatorPath, protocol::homeMessage());
    if (!answer)
        return Failure;
    if (name == QLatin1String("Lock state"))
        row(name, answer->value(protocol::keyLockState()).toString());
    else if (name == QLatin1String("Bedside mode"))
        row(name, onOff(answer->value(protocol::keyBedsideMode())));
    else
        row(name, onOff(answer->value(protocol::keyHomeWallpaperLocked())));
    return Success;
}

int lock(const Invocation &call)
{
    if (call.args().size() != 1 || !lockStates.contains(call.args().first()))
        return call.usage(
            QStringLiteral("lock takes one of %1, not '%2'")
                .arg(lockStates.join(QLatin1String(", ")), call.args().join(QLatin1Char(' '))));
    if (call.perform(simulatorPath, protocol::setLockStateMessage(),
                     {{protocol::keyState(), call.args().first()}}) != Success)
        return Failure;
    return printState(call, QStringLiteral("Lock state"));
}

// A command that turns something on or off with one request.
// Prints the new state, as @p shown names it in "home".
std::function<int(const Invocation &)> switchCommand(const QString &msg, const QString &shown)
{
    return [msg, shown](const Invocation &call) -> int {
        const QString value = call.args().value(0);
        if (call.args().size() != 1 ||
            (value != QLatin1String("on") && value != QLatin1String("off")))
            return call.usage(QStringLiteral("%1 takes on or off, not '%2'")
                                  .arg(call.command().name, call.args().join(QLatin1Char(' '))));
        if (call.perform(simulatorPath, msg, {{protocol::keyOn(), value == QLatin1String("on")}}) !=
            Success)
            return Failure;
        return printState(call, shown);
    };
}

int home(const Invocation &call)
{
    const auto answer = call.request(simulatorPath, protocol::homeMessage());
    if (!answer)
        return Failure;
    const QVariantMap &dat = *answer;
    const QString wallpaper = dat.value(protocol::keyWallpaper()).toString();
    row(QStringLiteral("Wallpaper"),
        wallpaper.isEmpty() ? QStringLiteral("(the device's own)") : wallpaper);
    row(QStringLiteral("Lock state"), dat.value(protocol::keyLockState()).toString());
    row(QStringLiteral("Bedside mode"), onOff(dat.value(protocol::keyBedsideMode())));
    row(QStringLiteral("Wallpaper lock"), onOff(dat.value(protocol::keyHomeWallpaperLocked())));

    const QVariantList shortcuts = dat.value(protocol::keyShortcuts()).toList();
    row(QStringLiteral("Shortcuts"), QString::number(shortcuts.size()));
    for (const QVariant &entry : shortcuts) {
        const QVariantMap shortcut = entry.toMap();
        out(QStringLiteral("  \"%1\" %2 (icon %3)")
                .arg(shortcut.value(protocol::keyLabel()).toString(),
                     shortcut.value(protocol::keyUrl()).toString(),
                     shortcut.value(protocol::keyIcon()).toString()));
    }

    const QVariantMap badges = dat.value(protocol::keyBadges()).toMap();
    row(QStringLiteral("Badges"), QString::number(badges.size()));
    for (auto it = badges.cbegin(); it != badges.cend(); ++it)
        out(QStringLiteral("  %1: %2").arg(it.key(), it.value().toString()));

    const QVariantList prompts = dat.value(protocol::keyClosePrompts()).toList();
    row(QStringLiteral("Close prompts"), QString::number(prompts.size()));
    for (const QVariant &entry : prompts) {
        const QVariantMap prompt = entry.toMap();
        out(QStringLiteral("  %1: \"%2\" \"%3\"")
                .arg(prompt.value(protocol::keyApp()).toString(),
                     prompt.value(protocol::keyTitle()).toString(),
                     prompt.value(protocol::keyMessage()).toString()));
    }
    return Success;
}

} // namespace

OMCTL_COMMAND({QStringLiteral("lock"),
               QStringLiteral("<notLocked|screenLocked|passwordLocked|pinBlocked>"),
               QStringLiteral("Change the device's lock state."),
               QStringLiteral("Applications see it on /pps/services/navigator/state, and those\n"
                              "that asked for navigator events get a deviceLockState event."),
               {},
               lock});

OMCTL_COMMAND({QStringLiteral("bedside"),
               QStringLiteral("<on|off>"),
               QStringLiteral("Turn bedside mode on or off."),
               QString(),
               {},
               switchCommand(protocol::setBedsideModeMessage(), QStringLiteral("Bedside mode"))});

OMCTL_COMMAND(
    {QStringLiteral("wallpaper-lock"),
     QStringLiteral("<on|off>"),
     QStringLiteral("Lock or unlock the wallpaper."),
     QStringLiteral("While the wallpaper is locked the navigator refuses new wallpapers."),
     {},
     switchCommand(protocol::setWallpaperLockMessage(), QStringLiteral("Wallpaper lock"))});

OMCTL_COMMAND({QStringLiteral("home"),
               QString(),
               QStringLiteral("Show the home screen: wallpaper, lock state, shortcuts, badges."),
               QStringLiteral("The wallpaper and shortcut icons are shown as the applications\n"
                              "named them; the navigator keeps copies of its own."),
               {},
               home});

} // namespace omctl
