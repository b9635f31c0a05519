#include "homescreen/homescreen_p.h"

#include <om/platform/ommock/omsapi.h>

#include <om/ppsobject.h>
#include <om/uitoolkitsupport.h>

#include <QDebug>

#include <cerrno>
#include <cstring>

namespace om {
namespace platform {

const QStringList supportedFormatsList = {
    QStringLiteral("jpg"), QStringLiteral("jpeg"), QStringLiteral("jfif"),
    QStringLiteral("jif"), QStringLiteral("jpe"),  QStringLiteral("png"),
};
const QString NAVIGATOR_STATE_PPS_PATH = QStringLiteral("/pps/services/navigator/state");

namespace {

const struct
{
    const char *text;
    DeviceLockState::Type state;
} lockStateTexts[] = {
    {"notLocked", DeviceLockState::Unlocked},
    {"screenLocked", DeviceLockState::ScreenLocked},
    {"passwordLocked", DeviceLockState::PasswordLocked},
    {"pinBlocked", DeviceLockState::PinBlocked},
};

DeviceLockState::Type lockStateOf(const QString &text)
{
    for (const auto &entry : lockStateTexts) {
        if (text == QLatin1String(entry.text))
            return entry.state;
    }
    return DeviceLockState::Unknown;
}

} // namespace

HomeScreenPrivate *createHomeScreenPrivate(HomeScreen *q)
{
    return new HomeScreenPrivate(q);
}

HomeScreenPrivate::HomeScreenPrivate(HomeScreen *q)
    : q(q), navigatorState(new om::PpsObject(NAVIGATOR_STATE_PPS_PATH, this))
{
    // The state comes from the state object alone; the navigator's events
    // are asked for but never read.
    ommock::OmsApi::getInstance()->core.initialize();
    ommock::OmsApi::getInstance()->navigator.request_events(0);

    if (!navigatorState->open(om::PpsOpenMode::Subscribe)) {
        qWarning() << "HomeScreen - Failed to open state PPS object: "
                   << navigatorState->errorString();
        return;
    }
    updateNavigatorState(false);
    connect(navigatorState, &om::PpsObject::readyRead, this,
            &HomeScreenPrivate::navigatorStateDataAvailable);
}

HomeScreenPrivate::~HomeScreenPrivate()
{
    ommock::OmsApi::getInstance()->core.shutdown();
}

void HomeScreenPrivate::navigatorStateDataAvailable()
{
    updateNavigatorState(true);
}

void HomeScreenPrivate::updateNavigatorState(bool emitSignals)
{
    if (!navigatorState->isOpen())
        return;
    bool ok = false;
    const QByteArray data = navigatorState->read(&ok);
    if (!ok) {
        // Nothing new since the last read: normal once the state is known.
        if (navigatorState->error() == EAGAIN && lockState != DeviceLockState::Unknown)
            return;
        qWarning() << "HomeScreen - failed to read state PPS data: "
                   << navigatorState->errorString();
        return;
    }
    const QVariantMap decoded = om::PpsObject::decode(data, &ok);
    if (!ok) {
        qWarning() << "HomeScreen - failed to decode state PPS data";
        return;
    }
    // The first object, whatever its name.
    const QVariantMap attributes = decoded.isEmpty() ? QVariantMap() : decoded.first().toMap();

    const DeviceLockState::Type newLockState =
        lockStateOf(attributes.value(QStringLiteral("isDeviceLocked")).toString());
    const bool newBedsideMode = attributes.value(QStringLiteral("bedsideMode")).toBool();
    WallpaperLockState::Type newWallpaperLockState = WallpaperLockState::Unknown;
    const auto wallpaperLocked = attributes.constFind(QStringLiteral("isWallpaperLocked"));
    if (wallpaperLocked != attributes.constEnd())
        newWallpaperLockState =
            wallpaperLocked->toBool() ? WallpaperLockState::Locked : WallpaperLockState::Unlocked;

    const bool lockStateDiffers = newLockState != lockState;
    const bool bedsideModeDiffers = newBedsideMode != bedsideModeActive;
    const bool wallpaperLockStateDiffers = newWallpaperLockState != wallpaperLockState;
    lockState = newLockState;
    bedsideModeActive = newBedsideMode;
    wallpaperLockState = newWallpaperLockState;
    if (!emitSignals)
        return;

    if (lockStateDiffers) {
        Q_EMIT q->lockStateChanged(newLockState);
        Q_EMIT q->lockStateChanged(int(newLockState));
    }
    if (bedsideModeDiffers)
        Q_EMIT q->bedsideModeActiveChanged(newBedsideMode);
    if (wallpaperLockStateDiffers) {
        Q_EMIT q->wallpaperLockStateChanged(newWallpaperLockState);
        Q_EMIT q->wallpaperLockStateChanged(int(newWallpaperLockState));
    }
}

bool HomeScreenPrivate::isValidImagePath(const QFileInfo &file)
{
    const QString path = file.absoluteFilePath();
    if (!doesPathExist(file)) {
        qWarning() << "HomeScreen - Path" << path << "does not exist.";
        return false;
    }
    if (!isFile(file)) {
        qWarning() << "HomeScreen - Path" << path << "is a directory, not a file.";
        return false;
    }
    if (!isReadable(file)) {
        qWarning() << "HomeScreen - File" << path << "cannot be read.";
        return false;
    }
    if (!isImageFile(file)) {
        qWarning() << "HomeScreen - File" << path << "is not a recognized image file.";
        return false;
    }
    return true;
}

bool HomeScreenPrivate::doesPathExist(const QFileInfo &file)
{
    return file.exists();
}

bool HomeScreenPrivate::isFile(const QFileInfo &file)
{
    return file.isFile();
}

bool HomeScreenPrivate::isReadable(const QFileInfo &file)
{
    return file.isReadable();
}

bool HomeScreenPrivate::isImageFile(const QFileInfo &file)
{
    return supportedFormatsList.contains(file.suffix(), Qt::CaseInsensitive);
}

bool HomeScreenPrivate::imageFile(const QUrl &url, QFileInfo *file)
{
    // A URL that names no file is refused without a word.
    const QString path = om::UIToolkitSupport::absolutePathFromUrl(url);
    if (path.isEmpty())
        return false;
    *file = QFileInfo(path);
    return isValidImagePath(*file);
}

void HomeScreenPrivate::emitWallpaperFinished(const QUrl &path, WallpaperResult::Type result)
{
    Q_EMIT q->wallpaperFinished(path, result);
    Q_EMIT q->wallpaperFinished(path, int(result));
}

bool HomeScreenPrivate::setWallpaper(const QUrl &wallpaperFile)
{
    QFileInfo file;
    if (!imageFile(wallpaperFile, &file))
        return false;

    const QByteArray canonical = file.canonicalFilePath().toUtf8();
    const int result =
        ommock::OmsApi::getInstance()->navigator.set_wallpaper(canonical.constData());
    const int error = errno;
    if (result == 0) {
        emitWallpaperFinished(wallpaperFile, WallpaperResult::Changed);
        return true;
    }
    qWarning() << "HomeScreen::setWallpaper() - Failed to set wallpaper, errno = "
               << std::strerror(error);
    emitWallpaperFinished(wallpaperFile, WallpaperResult::Locked);
    return false;
}

bool HomeScreenPrivate::addShortcut(const QUrl &iconPath, const QString &iconLabel, const QUrl &url)
{
    const QString label = iconLabel.simplified();
    if (label.isEmpty()) {
        qWarning() << "HomeScreen - Shortcut label cannot be empty.";
        return false;
    }
    if (url.isEmpty()) {
        qWarning() << "HomeScreen - Shortcut URL cannot be empty.";
        return false;
    }
    QFileInfo file;
    if (!imageFile(iconPath, &file))
        return false;

    const QByteArray icon = file.canonicalFilePath().toUtf8();
    const QByteArray labelText = label.toUtf8();
    const QByteArray urlText = url.toString().toUtf8();
    ommock::OmsApi *api = ommock::OmsApi::getInstance();
    char *err = nullptr;
    const int result = api->navigator.add_uri(icon.constData(), labelText.constData(), "Any",
                                              urlText.constData(), &err);
    const int error = errno;
    if (result != 0)
        qWarning() << "HomeScreen::addShortcut() - Failed to add shortcut, errno = "
                   << std::strerror(error) << ", " << err;
    // The navigator's text is ours to release, whatever the result.
    if (err)
        api->core.free(err);
    return result == 0;
}

} // namespace platform
} // namespace om
