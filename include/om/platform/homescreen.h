#ifndef OM_PLATFORM_HOMESCREEN_H
#define OM_PLATFORM_HOMESCREEN_H

#include <om/platform/devicelockstate.h>
#include <om/platform/omplatform_export.h>
#include <om/platform/wallpaperlockstate.h>
#include <om/platform/wallpaperresult.h>

#include <QObject>
#include <QString>
#include <QUrl>

namespace om {
namespace platform {

class HomeScreenPrivate;

/**
 * The device's home screen: changes the wallpaper, adds shortcuts, and
 * follows the lock state of the device, bedside mode and whether the
 * wallpaper is locked.
 *
 * The state arrives through the event loop. Reading a property also looks
 * for new state first, so a getter may emit the change signals before it
 * returns. Each enumerated signal comes in two forms, the enumerated one
 * first and then one with int for script code.
 */
class OMPLATFORM_EXPORT HomeScreen : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(HomeScreen)
    Q_DECLARE_PRIVATE(HomeScreen)
    Q_PROPERTY(om::platform::DeviceLockState::Type lockState READ lockState NOTIFY lockStateChanged)
    Q_PROPERTY(bool bedsideModeActive READ isBedsideModeActive NOTIFY bedsideModeActiveChanged)
    Q_PROPERTY(om::platform::WallpaperLockState::Type wallpaperLockState READ wallpaperLockState
                   NOTIFY wallpaperLockStateChanged REVISION 1)

public:
    explicit HomeScreen(QObject *parent = nullptr);
    ~HomeScreen() override;

    /**
     * Makes the image file @p wallpaperFile the wallpaper. The file must
     * exist, be readable and have an image suffix (jpg, jpeg, jfif, jif,
     * jpe, png, in any case). Returns true if the navigator took it.
     * wallpaperFinished() is emitted before this returns when the navigator
     * was asked, not when the file was refused here. Blocks until the
     * navigator answers.
     */
    Q_INVOKABLE bool setWallpaper(const QUrl &wallpaperFile);

    /**
     * Adds a shortcut to the home screen that opens @p url, with the image
     * @p iconPath and the label @p iconLabel (its blanks simplified). The
     * navigator refuses a URL that already has a shortcut. Blocks until the
     * navigator answers.
     */
    Q_INVOKABLE bool addShortcut(const QUrl &iconPath, const QString &iconLabel, const QUrl &url);

    Q_INVOKABLE om::platform::DeviceLockState::Type lockState() const;
    bool isBedsideModeActive() const;
    om::platform::WallpaperLockState::Type wallpaperLockState() const;

Q_SIGNALS:
    void lockStateChanged(om::platform::DeviceLockState::Type newState);
    void lockStateChanged(int newState);
    void bedsideModeActiveChanged(bool newState);
    Q_REVISION(1)
    void wallpaperLockStateChanged(om::platform::WallpaperLockState::Type wallpaperLockState);
    Q_REVISION(1) void wallpaperLockStateChanged(int wallpaperLockState);
    void wallpaperFinished(const QUrl &path, om::platform::WallpaperResult::Type result);
    void wallpaperFinished(const QUrl &path, int result);

private:
    HomeScreenPrivate *const d_ptr;
};

} // namespace platform
} // namespace om

#endif
