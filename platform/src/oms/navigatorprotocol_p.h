#ifndef OM_NAVIGATORPROTOCOL_P_H
#define OM_NAVIGATORPROTOCOL_P_H

// The navigator's objects and messages, shared by the platform services
// library (navigator_*), the device's navigator and omctl.
//
// State object (plain): isDeviceLocked, bedsideMode, isWallpaperLocked.
// Control object (any application), each request answered with "res" and
// "id", and "dat" only when it holds something:
//   setWallpaper     dat {path}
//   addShortcut      dat {icon, label, category, url}
//   setBadge         dat {app, badge}      clearBadge dat {app}
//   setClosePrompt   dat {app, title, message}   clearClosePrompt
//   requestEvents    the client then gets events such as
//                    msg::deviceLockState  dat::<lock state>
// A refusal: "err" the reason and "errno" its errno value.
// User side (the device's owner, for omctl): setLockState dat {state},
// setBedsideMode / setWallpaperLock dat {on}, home.

#include <QString>
#include <QStringList>

namespace om {
namespace navigatorprotocol {

// One name a line, as a table.
// clang-format off

inline QString statePath() { return QStringLiteral("/pps/services/navigator/state"); }
inline QString controlPath() { return QStringLiteral("/pps/services/navigator/control"); }
inline QString userSidePath() { return QStringLiteral("/pps/simulator/navigator"); }

// The state object.
inline QString keyDeviceLocked() { return QStringLiteral("isDeviceLocked"); }
inline QString keyBedsideMode() { return QStringLiteral("bedsideMode"); }
inline QString keyWallpaperLocked() { return QStringLiteral("isWallpaperLocked"); }
/** The lock states, as the state object and the events spell them. */
inline QStringList lockStates()
{
    return {QStringLiteral("notLocked"), QStringLiteral("screenLocked"),
            QStringLiteral("passwordLocked"), QStringLiteral("pinBlocked")};
}

// The control object.
inline QString setWallpaperMessage() { return QStringLiteral("setWallpaper"); }
inline QString addShortcutMessage() { return QStringLiteral("addShortcut"); }
inline QString requestEventsMessage() { return QStringLiteral("requestEvents"); }
inline QString setBadgeMessage() { return QStringLiteral("setBadge"); }
inline QString clearBadgeMessage() { return QStringLiteral("clearBadge"); }
inline QString setClosePromptMessage() { return QStringLiteral("setClosePrompt"); }
inline QString clearClosePromptMessage() { return QStringLiteral("clearClosePrompt"); }
// The navigator's events, "msg" without an id; the window group they are
// for, if any, in "group".
inline QString windowStateEvent() { return QStringLiteral("windowState"); }
inline QString orientationCheckEvent() { return QStringLiteral("orientationCheck"); }
inline QString orientationEvent() { return QStringLiteral("orientation"); }
inline QString deviceLockStateEvent() { return QStringLiteral("deviceLockState"); }
inline QString keyGroup() { return QStringLiteral("group"); }
inline QString keyPath() { return QStringLiteral("path"); }
inline QString keyIcon() { return QStringLiteral("icon"); }
inline QString keyLabel() { return QStringLiteral("label"); }
inline QString keyCategory() { return QStringLiteral("category"); }
inline QString keyUrl() { return QStringLiteral("url"); }
inline QString keyApp() { return QStringLiteral("app"); }
inline QString keyBadge() { return QStringLiteral("badge"); }
inline QString keyTitle() { return QStringLiteral("title"); }
inline QString keyMessage() { return QStringLiteral("message"); }
/** Beside "err" in a refusal: the errno value of the C functions. */
inline QString keyErrno() { return QStringLiteral("errno"); }

// The user side.
inline QString setLockStateMessage() { return QStringLiteral("setLockState"); }
inline QString setBedsideModeMessage() { return QStringLiteral("setBedsideMode"); }
inline QString setWallpaperLockMessage() { return QStringLiteral("setWallpaperLock"); }
inline QString homeMessage() { return QStringLiteral("home"); }
inline QString keyState() { return QStringLiteral("state"); }
inline QString keyOn() { return QStringLiteral("on"); }
// "home" answers the home screen: the wallpaper as the application named
// it and the navigator's copy, the lock state and flags, the shortcuts,
// the badges (application -> badge) and the close prompts.
inline QString keyWallpaper() { return QStringLiteral("wallpaper"); }
inline QString keyWallpaperFile() { return QStringLiteral("wallpaperFile"); }
inline QString keyLockState() { return QStringLiteral("lockState"); }
inline QString keyHomeWallpaperLocked() { return QStringLiteral("wallpaperLocked"); }
inline QString keyShortcuts() { return QStringLiteral("shortcuts"); }
inline QString keyBadges() { return QStringLiteral("badges"); }
inline QString keyClosePrompts() { return QStringLiteral("closePrompts"); }

// clang-format on

} // namespace navigatorprotocol
} // namespace om

#endif
