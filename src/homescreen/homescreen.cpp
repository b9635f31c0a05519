#include <om/platform/homescreen.h>

#include "homescreen/homescreen_p.h"

namespace om {
namespace platform {

HomeScreen::HomeScreen(QObject *parent) : QObject(parent), d_ptr(createHomeScreenPrivate(this))
{
    // So that the signals with enumerated arguments work in queued
    // connections and signal spies without further ado.
    qRegisterMetaType<DeviceLockState::Type>();
    qRegisterMetaType<WallpaperLockState::Type>();
    qRegisterMetaType<WallpaperResult::Type>();
}

HomeScreen::~HomeScreen()
{
    delete d_ptr;
}

bool HomeScreen::setWallpaper(const QUrl &wallpaperFile)
{
    Q_D(HomeScreen);
    return d->setWallpaper(wallpaperFile);
}

bool HomeScreen::addShortcut(const QUrl &iconPath, const QString &iconLabel, const QUrl &url)
{
    Q_D(HomeScreen);
    return d->addShortcut(iconPath, iconLabel, url);
}

// The getters are const to their callers, yet take in new state and may
// signal: d_ptr points to a private object that is not const.
DeviceLockState::Type HomeScreen::lockState() const
{
    d_ptr->updateNavigatorState(true);
    return d_ptr->lockState;
}

bool HomeScreen::isBedsideModeActive() const
{
    d_ptr->updateNavigatorState(true);
    return d_ptr->bedsideModeActive;
}

WallpaperLockState::Type HomeScreen::wallpaperLockState() const
{
    d_ptr->updateNavigatorState(true);
    return d_ptr->wallpaperLockState;
}

} // namespace platform
} // namespace om
