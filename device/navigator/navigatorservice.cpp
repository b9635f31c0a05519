#include "navigator/navigatorservice.h"

#include "common/clientfile.h"
#include "control/controlprotocol_p.h"
#include "oms/navigatorprotocol_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace omdevice {

OM_DEVICE_LOGGING_CATEGORY(lcNavigator, "navigator");

namespace {

namespace protocol = om::navigatorprotocol;

const QStringList lockStates = protocol::lockStates();

// An application's image is copied into the device; beyond this size the
// navigator refuses it rather than fill the device.
constexpr qint64 MaxImageSize = 32 * 1024 * 1024;

// The keys of the navigator's saved state.
const QString keyLockState = QStringLiteral("lockState");
const QString keyBedsideMode = QStringLiteral("bedsideMode");
const QString keyWallpaperLocked = QStringLiteral("wallpaperLocked");
const QString keyWallpaper = QStringLiteral("wallpaper");
const QString keyShortcuts = QStringLiteral("shortcuts");
const QString keyBadges = QStringLiteral("badges");
const QString keySource = QStringLiteral("source");
const QString keyStored = QStringLiteral("stored");
const QString keyStoredIcon = QStringLiteral("storedIcon");

} // namespace

WireForm NavigatorService::wireForm()
{
    WireForm form = WireForm::standard();
    form.answer = &WireForm::answerWithoutEmptyDat;
    form.failure = [](const Request &request, const Failure &failure) {
        QVariantMap reply = WireForm::envelope(request);
        reply.insert(om::controlprotocol::keyErr(), failure.text);
        reply.insert(protocol::keyErrno(), failure.code);
        return reply;
    };
    form.malformed = {EBADMSG, QStringLiteral("malformed message"), {}};
    form.unknown = [](const Request &request) {
        return Failure{ENOTSUP,
                       request.msg().isEmpty()
                           ? QStringLiteral("a request needs \"msg\"")
                           : QStringLiteral("unknown message: %1").arg(request.msg()),
                       {}};
    };
    return form;
}

WireForm NavigatorService::applicationWireForm()
{
    // Applications send some messages without an id and want no answer to
    // them; an unknown one of those is let be.
    WireForm form = wireForm();
    form.answerUnknownWithoutId = false;
    return form;
}

RequestRouter::Route NavigatorService::route(RequestRouter *router, const QString &msg,
                                             const Operation &operation)
{
    return {msg, Shape::Any, [router, operation](const Request &request) {
                Failure failure;
                if (operation(request, &failure))
                    router->answer(request);
                else
                    router->fail(request, failure);
            }};
}

NavigatorService::NavigatorService(const DeviceContext &context, QObject *parent)
    : ServiceModule(parent), m_context(context),
      m_store(context.dataDirectory, QStringLiteral("navigator")),
      m_state(new StatePublisher(protocol::statePath(), 0644, this)),
      m_control(new RequestRouter(protocol::controlPath(), 0666, applicationWireForm(), this)),
      m_userSide(new RequestRouter(protocol::userSidePath(), 0600, wireForm(), this)),
      m_watchers(m_userSide)
{
    using namespace std::placeholders;
    RequestRouter *control = m_control;
    control->add({
        route(control, protocol::setWallpaperMessage(),
              std::bind(&NavigatorService::setWallpaper, this, _1, _2)),
        route(control, protocol::addShortcutMessage(),
              std::bind(&NavigatorService::addShortcut, this, _1, _2)),
        route(control, protocol::setBadgeMessage(),
              std::bind(&NavigatorService::setBadge, this, _1, true, _2)),
        route(control, protocol::clearBadgeMessage(),
              std::bind(&NavigatorService::setBadge, this, _1, false, _2)),
        {protocol::requestEventsMessage(), Shape::Any,
         [this](const Request &request) {
             m_eventClients.insert(request.clientId());
             m_control->answer(request);
         }},
        {protocol::setClosePromptMessage(), Shape::Any,
         [this](const Request &request) {
             const QVariantMap dat = request.map();
             QVariantMap prompt;
             for (const QString &key : {protocol::keyTitle(), protocol::keyMessage()})
                 prompt.insert(key, dat.value(key).toString());
             // Whose prompt it is, as the device knows the client.
             prompt.insert(protocol::keyApp(), request.application());
             m_closePrompts.insert(request.clientId(), prompt);
             m_control->answer(request);
             m_watchers.changed(protocol::homeMessage());
         }},
        {protocol::clearClosePromptMessage(), Shape::Any,
         [this](const Request &request) {
             if (m_closePrompts.remove(request.clientId()))
                 m_watchers.changed(protocol::homeMessage());
             m_control->answer(request);
         }},
    });
    connect(m_control->server(), &ControlServer::clientClosed, this,
            &NavigatorService::onControlClientClosed);

    RequestRouter *user = m_userSide;
    user->add({
        route(user, protocol::setLockStateMessage(),
              std::bind(&NavigatorService::setLockState, this, _1, _2)),
        route(user, protocol::setBedsideModeMessage(),
              std::bind(&NavigatorService::setFlag, this, keyBedsideMode, _1, _2)),
        route(user, protocol::setWallpaperLockMessage(),
              std::bind(&NavigatorService::setFlag, this, keyWallpaperLocked, _1, _2)),
        {protocol::homeMessage(), Shape::Any,
         [this](const Request &request) { m_userSide->answer(request, home()); }},
    });
}

bool NavigatorService::start(QString *error)
{
    m_data = m_store.load();
    const QString reason = checkSaved(m_data);
    if (!reason.isEmpty()) {
        m_store.setAside(reason);
        m_data.clear();
    }
    if (m_store.origin() == DataStore::Origin::SetAside) {
        // A screen lock whose state is unknown is locked, and kept so, so
        // that the next start does not take it for a new device.
        m_data.insert(keyLockState, lockStates.at(2)); // "passwordLocked"
        QString saveError;
        if (!m_store.save(m_data, &saveError))
            qCWarning(lcNavigator).noquote() << "cannot save the lock state:" << saveError;
    }
    if (!m_data.contains(keyLockState))
        m_data.insert(keyLockState, lockStates.first());
    m_data.insert(keyBedsideMode, m_data.value(keyBedsideMode).toBool());
    m_data.insert(keyWallpaperLocked, m_data.value(keyWallpaperLocked).toBool());

    if (!m_state->open(error))
        return false;
    publishState();
    return m_control->open(error) && m_userSide->open(error);
}

QString NavigatorService::checkSaved(const QVariantMap &data)
{
    const QVariant lockState = data.value(keyLockState);
    if (lockState.isValid() && lockState.userType() != QMetaType::QString)
        return QStringLiteral("the lock state is not text");
    if (lockState.isValid() && !lockStates.contains(lockState.toString()))
        return QStringLiteral("\"%1\" is no lock state").arg(lockState.toString());
    for (const QString &flag : {keyBedsideMode, keyWallpaperLocked}) {
        if (data.contains(flag) && data.value(flag).userType() != QMetaType::Bool)
            return QStringLiteral("%1 is not true or false").arg(flag);
    }
    const struct
    {
        QString key;
        int type;
    } parts[] = {{keyWallpaper, QMetaType::QVariantMap},
                 {keyShortcuts, QMetaType::QVariantList},
                 {keyBadges, QMetaType::QVariantMap}};
    for (const auto &part : parts) {
        if (data.contains(part.key) && data.value(part.key).userType() != part.type)
            return QStringLiteral("%1 is not a %2")
                .arg(part.key, part.type == QMetaType::QVariantMap ? QStringLiteral("map")
                                                                   : QStringLiteral("list"));
    }
    return QString();
}

void NavigatorService::publishState()
{
    QVariantMap state;
    state.insert(protocol::keyDeviceLocked(), m_data.value(keyLockState));
    state.insert(protocol::keyBedsideMode(), m_data.value(keyBedsideMode).toBool());
    state.insert(protocol::keyWallpaperLocked(), m_data.value(keyWallpaperLocked).toBool());
    m_state->publish(state);
}

void NavigatorService::onControlClientClosed(int clientId)
{
    m_eventClients.remove(clientId);
    if (m_closePrompts.remove(clientId))
        m_watchers.changed(protocol::homeMessage());
}

bool NavigatorService::commit(const QVariantMap &data, Failure *failure)
{
    QString error;
    if (!m_store.save(data, &error)) {
        *failure = {EIO, QStringLiteral("the navigator cannot save its state: %1").arg(error)};
        qCWarning(lcNavigator).noquote() << failure->text;
        return false;
    }
    m_data = data;
    m_watchers.changed(protocol::homeMessage());
    return true;
}

bool NavigatorService::storeImage(const Request &request, const QString &path,
                                  const QString &name, QString *stored, Failure *failure)
{
    if (path.isEmpty()) {
        *failure = {EINVAL, QStringLiteral("no image file given")};
        return false;
    }
    // Read as the application could: the navigator may read more than it.
    // A file that is not there and one it may not read get one answer, so
    // that the answer tells nothing the application could not find out.
    const int fd = openAsClient(FileCredentials::of(request), path);
    if (fd < 0) {
        *failure = {EACCES, QStringLiteral("cannot read %1").arg(path)};
        return false;
    }
    QFile source;
    if (!source.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        *failure = {EACCES, QStringLiteral("cannot read %1").arg(path)};
        return false;
    }
    struct stat st;
    if (::fstat(fd, &st) < 0 || !S_ISREG(st.st_mode)) {
        *failure = {EISDIR, QStringLiteral("not a file: %1").arg(path)};
        return false;
    }
    if (st.st_size > MaxImageSize) {
        *failure = {EFBIG, QStringLiteral("image larger than 32 MiB: %1").arg(path)};
        return false;
    }
    const QString directory = m_context.dataDirectory + QLatin1String("/navigator");
    QDir().mkpath(directory);
    const QString suffix = QFileInfo(path).suffix();
    QString target = directory + QLatin1Char('/') + name + QLatin1Char('-') +
                     QUuid::createUuid().toString(QUuid::WithoutBraces);
    if (!suffix.isEmpty())
        target += QLatin1Char('.') + suffix;
    QFile copy(target);
    bool copied = copy.open(QIODevice::WriteOnly | QIODevice::NewOnly);
    // O_NONBLOCK on a regular file changes nothing; the file is read to
    // its end, at most the largest image and one byte more.
    for (qint64 left = MaxImageSize + 1; copied && left > 0;) {
        const QByteArray chunk = source.read(std::min<qint64>(left, 1 << 20));
        if (chunk.isEmpty())
            break;
        left -= chunk.size();
        copied = copy.write(chunk) == chunk.size();
    }
    if (!copied || source.error() != QFileDevice::NoError || copy.size() > MaxImageSize ||
        !copy.flush()) {
        *failure = {EIO, QStringLiteral("cannot store %1: %2")
                             .arg(path, copy.error() != QFileDevice::NoError ? copy.errorString()
                                                                              : source.errorString())};
        copy.remove();
        return false;
    }
    *stored = target;
    return true;
}

bool NavigatorService::setWallpaper(const Request &request, Failure *failure)
{
    const QVariantMap dat = request.map();
    if (m_data.value(keyWallpaperLocked).toBool()) {
        *failure = {EPERM, QStringLiteral("the wallpaper is locked")};
        return false;
    }
    const QString path = dat.value(protocol::keyPath()).toString();
    QString stored;
    if (!storeImage(request, path, QStringLiteral("wallpaper"), &stored, failure))
        return false;
    const QString previous = m_data.value(keyWallpaper).toMap().value(keyStored).toString();
    QVariantMap wallpaper;
    wallpaper.insert(keySource, path);
    wallpaper.insert(keyStored, stored);
    QVariantMap next = m_data;
    next.insert(keyWallpaper, wallpaper);
    if (!commit(next, failure)) {
        QFile::remove(stored);
        return false;
    }
    if (!previous.isEmpty())
        QFile::remove(previous);
    return true;
}

bool NavigatorService::addShortcut(const Request &request, Failure *failure)
{
    const QVariantMap dat = request.map();
    // Each application has shortcuts of its own: another's of one URL does
    // not stand in its way.
    const QString application = request.application();
    const QString icon = dat.value(protocol::keyIcon()).toString();
    const QString label = dat.value(protocol::keyLabel()).toString();
    const QString url = dat.value(protocol::keyUrl()).toString();
    if (icon.isEmpty() || label.trimmed().isEmpty() || url.isEmpty()) {
        *failure = {EINVAL, QStringLiteral("a shortcut needs an icon, a label and a URL")};
        return false;
    }
    QVariantList shortcuts = m_data.value(keyShortcuts).toList();
    for (const QVariant &entry : qAsConst(shortcuts)) {
        if (entry.toMap().value(protocol::keyUrl()).toString() == url &&
            entry.toMap().value(protocol::keyApp(), application).toString() == application) {
            *failure = {EEXIST,
                        QStringLiteral("a shortcut for %1 is already on the home screen").arg(url)};
            return false;
        }
    }
    QString stored;
    if (!storeImage(request, icon, QStringLiteral("icon"), &stored, failure))
        return false;
    // Kept as the application sent it, with the navigator's copy of the
    // icon; "home" shows it so.
    QVariantMap shortcut;
    shortcut.insert(protocol::keyIcon(), icon);
    shortcut.insert(keyStoredIcon, stored);
    shortcut.insert(protocol::keyLabel(), label);
    shortcut.insert(protocol::keyCategory(), dat.value(protocol::keyCategory()).toString());
    shortcut.insert(protocol::keyUrl(), url);
    shortcut.insert(protocol::keyApp(), application);
    shortcuts.append(shortcut);
    QVariantMap next = m_data;
    next.insert(keyShortcuts, shortcuts);
    if (!commit(next, failure)) {
        QFile::remove(stored);
        return false;
    }
    return true;
}

bool NavigatorService::setBadge(const Request &request, bool on, Failure *failure)
{
    const QVariantMap dat = request.map();
    const QString named = dat.value(protocol::keyApp()).toString();
    // The badge of the named application of the client's own user.
    const QString app = named.isEmpty() ? QString() : request.application(named);
    if (app.isEmpty()) {
        *failure = {EINVAL, QStringLiteral("a badge needs the application's name")};
        return false;
    }
    QVariantMap badges = m_data.value(keyBadges).toMap();
    const QString badge = dat.value(protocol::keyBadge()).toString();
    if (on && badges.value(app) == badge)
        return true;
    if (on)
        badges.insert(app, badge);
    else if (!badges.remove(app))
        return true;
    QVariantMap next = m_data;
    next.insert(keyBadges, badges);
    return commit(next, failure);
}

bool NavigatorService::setLockState(const Request &request, Failure *failure)
{
    const QVariantMap dat = request.map();
    const QString state = dat.value(protocol::keyState()).toString();
    if (!lockStates.contains(state)) {
        *failure = {EINVAL, QStringLiteral("unknown lock state \"%1\"; one of %2")
                                .arg(state, lockStates.join(QLatin1String(", ")))};
        return false;
    }
    if (m_data.value(keyLockState).toString() == state)
        return true;
    QVariantMap next = m_data;
    next.insert(keyLockState, state);
    if (!commit(next, failure))
        return false;
    publishState();
    // Not an answer but an event, to every client that asked for them.
    QVariantMap event;
    event.insert(om::controlprotocol::keyMsg(), protocol::deviceLockStateEvent());
    event.insert(om::controlprotocol::keyDat(), state);
    for (int clientId : qAsConst(m_eventClients))
        m_control->server()->reply(clientId, event);
    return true;
}

bool NavigatorService::setFlag(const QString &key, const Request &request, Failure *failure)
{
    const QVariantMap dat = request.map();
    const QVariant on = dat.value(protocol::keyOn());
    if (on.userType() != QMetaType::Bool) {
        *failure = {EINVAL, QStringLiteral("\"on\" must be true or false")};
        return false;
    }
    if (m_data.value(key).toBool() == on.toBool())
        return true;
    QVariantMap next = m_data;
    next.insert(key, on.toBool());
    if (!commit(next, failure))
        return false;
    publishState();
    return true;
}

QVariantMap NavigatorService::home() const
{
    QVariantMap dat;
    const QVariantMap wallpaper = m_data.value(keyWallpaper).toMap();
    dat.insert(protocol::keyWallpaper(), wallpaper.value(keySource).toString());
    dat.insert(protocol::keyWallpaperFile(), wallpaper.value(keyStored).toString());
    dat.insert(protocol::keyLockState(), m_data.value(keyLockState));
    dat.insert(protocol::keyBedsideMode(), m_data.value(keyBedsideMode).toBool());
    dat.insert(protocol::keyHomeWallpaperLocked(), m_data.value(keyWallpaperLocked).toBool());
    dat.insert(protocol::keyShortcuts(), m_data.value(keyShortcuts).toList());
    dat.insert(protocol::keyBadges(), m_data.value(keyBadges).toMap());
    QVariantList prompts;
    for (const QVariantMap &prompt : m_closePrompts)
        prompts.append(prompt);
    dat.insert(protocol::keyClosePrompts(), prompts);
    return dat;
}

OM_DEVICE_MODULE(NavigatorService, "navigator",
                 "navigator: lock state, bedside mode, wallpaper, shortcuts, badges", "");

} // namespace omdevice
