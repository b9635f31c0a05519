#ifndef OM_PLATFORM_HOMESCREEN_P_H
#define OM_PLATFORM_HOMESCREEN_P_H

#include <om/platform/homescreen.h>

#include <QFileInfo>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

namespace om {
class PpsObject;

namespace platform {

/** File suffixes of the images that the home screen takes. */
extern const QStringList supportedFormatsList;
/** The navigator's state object. */
extern const QString NAVIGATOR_STATE_PPS_PATH;

class HomeScreenPrivate : public QObject
{
    Q_OBJECT

public:
    explicit HomeScreenPrivate(HomeScreen *q);
    ~HomeScreenPrivate() override;

    /** Runs the four file checks below in order; the first that fails logs
     *  why and gives false. */
    virtual bool isValidImagePath(const QFileInfo &file);
    virtual bool doesPathExist(const QFileInfo &file);
    virtual bool isFile(const QFileInfo &file);
    virtual bool isReadable(const QFileInfo &file);
    /** Judges by the suffix alone, never by the content. */
    virtual bool isImageFile(const QFileInfo &file);

    /** The file that @p url names, if it is one the checks let through. */
    bool imageFile(const QUrl &url, QFileInfo *file);

    bool setWallpaper(const QUrl &wallpaperFile);
    bool addShortcut(const QUrl &iconPath, const QString &iconLabel, const QUrl &url);

    /** Emits both forms of wallpaperFinished. */
    void emitWallpaperFinished(const QUrl &path, WallpaperResult::Type result);

    /**
     * Takes in one message of the state object, if there is one, and with
     * @p emitSignals tells of every value that changed. Every message
     * replaces all three values.
     */
    void updateNavigatorState(bool emitSignals);

    HomeScreen *q;
    DeviceLockState::Type lockState = DeviceLockState::Unknown;
    bool bedsideModeActive = false;
    WallpaperLockState::Type wallpaperLockState = WallpaperLockState::Unknown;
    om::PpsObject *navigatorState;

private Q_SLOTS:
    void navigatorStateDataAvailable();
};

HomeScreenPrivate *createHomeScreenPrivate(HomeScreen *q);

} // namespace platform
} // namespace om

#endif
