#include "navigator/navigatorservice.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <cerrno>
#include <cstdio>

namespace omdevice {

namespace {

const QStringList lockStates = {
    QStringLiteral("notLocked"),
    QStringLiteral("screenLocked"),
    QStringLiteral("passwordLocked"),
    QStringLiteral("pinBlocked"),
};

// An application's image is copied into the device; beyond this size the
// navigator refuses it rather than fill the device.
constexpr qint64 MaxImageSize = 32 * 1024 * 1024;

const QString keyLockState = QStringLiteral("lockState");
const QString keyBedsideMode = QStringLiteral("bedsideMode");
const QString keyWallpaperLocked = QStringLiteral("wallpaperLocked");
const QString keyWallpaper = QStringLiteral("wallpaper");
const QString keyShortcuts = QStringLiteral("shortcuts");
const QString keyBadges = QStringLiteral("badges");

// "res" and "id" of an answer, as far as the request had them.
QVariantMap envelope(const QVariantMap &request)
{
    QVariantMap reply;
    const QVariant msg = request.value(QStringLiteral("msg"));
    reply.insert(QStringLiteral("res"), msg.isValid() ? msg : QString());
    const QVariant id = request.value(QStringLiteral("id"));
    if (id.isValid())
        reply.insert(QStringLiteral("id"), id);
    return reply;
}

} // namespace

NavigatorService::NavigatorService(const DeviceContext &context, QObject *parent)
    : ServiceModule(parent), m_context(context),
      m_store(context.dataDirectory, QStringLiteral("navigator")),
      m_state(new StatePublisher(QString::fromLatin1(StatePath), 0644, this)),
      m_control(new ControlServer(QString::fromLatin1(ControlPath), 0666, this)),
      m_simulator(new ControlServer(QString::fromLatin1(SimulatorPath), 0600, this))
{
    connect(m_control, &ControlServer::message, this, &NavigatorService::onControlMessage);
    connect(m_control, &ControlServer::clientClosed, this,
            &NavigatorService::onControlClientClosed);
    connect(m_simulator, &ControlServer::message, this, &NavigatorService::onSimulatorMessage);
    const auto malformed = [this](ControlServer *server, int clientId) {
        refuse(server, clientId, QVariantMap(), {EBADMSG, QStringLiteral("malformed message")});
    };
    connect(m_control, &ControlServer::undecodable, this,
            [this, malformed](int clientId) { malformed(m_control, clientId); });
    connect(m_simulator, &ControlServer::undecodable, this,
            [this, malformed](int clientId) { malformed(m_simulator, clientId); });
}

bool NavigatorService::start(QString *error)
{
    m_data = m_store.load();
    if (!lockStates.contains(m_data.value(keyLockState).toString()))
        m_data.insert(keyLockState, QStringLiteral("notLocked"));
    m_data.insert(keyBedsideMode, m_data.value(keyBedsideMode).toBool());
    m_data.insert(keyWallpaperLocked, m_data.value(keyWallpaperLocked).toBool());

    if (!m_state->open(error))
        return false;
    publishState();
    return m_control->open(error) && m_simulator->open(error);
}

void NavigatorService::publishState()
{
    QVariantMap state;
    state.insert(QStringLiteral("isDeviceLocked"), m_data.value(keyLockState));
    state.insert(QStringLiteral("bedsideMode"), m_data.value(keyBedsideMode).toBool());
    state.insert(QStringLiteral("isWallpaperLocked"), m_data.value(keyWallpaperLocked).toBool());
    m_state->publish(state);
}

void NavigatorService::answer(ControlServer *server, int clientId, const QVariantMap &request,
                              const QVariantMap &dat)
{
    QVariantMap reply = envelope(request);
    if (!dat.isEmpty())
        reply.insert(QStringLiteral("dat"), dat);
    server->reply(clientId, reply);
}

void NavigatorService::refuse(ControlServer *server, int clientId, const QVariantMap &request,
                              const Refusal &refusal)
{
    QVariantMap reply = envelope(request);
    reply.insert(QStringLiteral("err"), refusal.text);
    reply.insert(QStringLiteral("errno"), refusal.error);
    server->reply(clientId, reply);
}

void NavigatorService::onControlMessage(int clientId, const QVariantMap &request)
{
    const QString msg = request.value(QStringLiteral("msg")).toString();
    const QVariantMap dat = request.value(QStringLiteral("dat")).toMap();
    Refusal refusal;
    bool ok = true;
    if (msg == QLatin1String("setWallpaper")) {
        ok = setWallpaper(dat, &refusal);
    } else if (msg == QLatin1String("addShortcut")) {
        ok = addShortcut(dat, &refusal);
    } else if (msg == QLatin1String("requestEvents")) {
        m_eventClients.insert(clientId);
    } else if (msg == QLatin1String("setBadge")) {
        ok = setBadge(dat, true, &refusal);
    } else if (msg == QLatin1String("clearBadge")) {
        ok = setBadge(dat, false, &refusal);
    } else if (msg == QLatin1String("setClosePrompt")) {
        QVariantMap prompt;
        prompt.insert(QStringLiteral("app"), dat.value(QStringLiteral("app")).toString());
        prompt.insert(QStringLiteral("title"), dat.value(QStringLiteral("title")).toString());
        prompt.insert(QStringLiteral("message"), dat.value(QStringLiteral("message")).toString());
        m_closePrompts.insert(clientId, prompt);
    } else if (msg == QLatin1String("clearClosePrompt")) {
        m_closePrompts.remove(clientId);
    } else {
        // A message without an id wants no answer.
        if (!request.contains(QStringLiteral("id")))
            return;
        ok = false;
        refusal = {ENOTSUP, msg.isEmpty() ? QStringLiteral("a request needs \"msg\"")
                                          : QStringLiteral("unknown message: %1").arg(msg)};
    }
    if (ok)
        answer(m_control, clientId, request);
    else
        refuse(m_control, clientId, request, refusal);
}

void NavigatorService::onControlClientClosed(int clientId)
{
    m_eventClients.remove(clientId);
    m_closePrompts.remove(clientId);
}

void NavigatorService::onSimulatorMessage(int clientId, const QVariantMap &request)
{
    const QString msg = request.value(QStringLiteral("msg")).toString();
    const QVariantMap dat = request.value(QStringLiteral("dat")).toMap();
    Refusal refusal;
    bool ok;
    if (msg == QLatin1String("setLockState")) {
        ok = setLockState(dat, &refusal);
    } else if (msg == QLatin1String("setBedsideMode")) {
        ok = setFlag(keyBedsideMode, dat, &refusal);
    } else if (msg == QLatin1String("setWallpaperLock")) {
        ok = setFlag(keyWallpaperLocked, dat, &refusal);
    } else if (msg == QLatin1String("home")) {
        answer(m_simulator, clientId, request, home());
        return;
    } else {
        ok = false;
        refusal = {ENOTSUP, QStringLiteral("unknown message: %1").arg(msg)};
    }
    if (ok)
        answer(m_simulator, clientId, request);
    else
        refuse(m_simulator, clientId, request, refusal);
}

bool NavigatorService::commit(const QVariantMap &data, Refusal *refusal)
{
    QString error;
    if (!m_store.save(data, &error)) {
        *refusal = {EIO, QStringLiteral("the navigator cannot save its state: %1").arg(error)};
        std::fprintf(stderr, "omdeviced: navigator: %s\n", qPrintable(refusal->text));
        return false;
    }
    m_data = data;
    return true;
}

bool NavigatorService::storeImage(const QString &path, const QString &name, QString *stored,
                                  Refusal *refusal)
{
    const QFileInfo file(path);
    if (path.isEmpty()) {
        *refusal = {EINVAL, QStringLiteral("no image file given")};
        return false;
    }
    if (!file.exists()) {
        *refusal = {ENOENT, QStringLiteral("no such file: %1").arg(path)};
        return false;
    }
    if (!file.isFile()) {
        *refusal = {EISDIR, QStringLiteral("not a file: %1").arg(path)};
        return false;
    }
    if (file.size() > MaxImageSize) {
        *refusal = {EFBIG, QStringLiteral("image larger than 32 MiB: %1").arg(path)};
        return false;
    }
    QFile source(path);
    if (!source.open(QIODevice::ReadOnly)) {
        *refusal = {EACCES, QStringLiteral("cannot read %1").arg(path)};
        return false;
    }
    const QString directory = m_context.dataDirectory + QLatin1String("/navigator");
    QDir().mkpath(directory);
    QString target = directory + QLatin1Char('/') + name + QLatin1Char('-') +
                     QUuid::createUuid().toString(QUuid::WithoutBraces);
    if (!file.suffix().isEmpty())
        target += QLatin1Char('.') + file.suffix();
    if (!source.copy(target)) {
        *refusal = {EIO, QStringLiteral("cannot store %1: %2").arg(path, source.errorString())};
        return false;
    }
    *stored = target;
    return true;
}

bool NavigatorService::setWallpaper(const QVariantMap &dat, Refusal *refusal)
{
    if (m_data.value(keyWallpaperLocked).toBool()) {
        *refusal = {EPERM, QStringLiteral("the wallpaper is locked")};
        return false;
    }
    const QString path = dat.value(QStringLiteral("path")).toString();
    QString stored;
    if (!storeImage(path, QStringLiteral("wallpaper"), &stored, refusal))
        return false;
    const QString previous =
        m_data.value(keyWallpaper).toMap().value(QStringLiteral("stored")).toString();
    QVariantMap wallpaper;
    wallpaper.insert(QStringLiteral("source"), path);
    wallpaper.insert(QStringLiteral("stored"), stored);
    QVariantMap next = m_data;
    next.insert(keyWallpaper, wallpaper);
    if (!commit(next, refusal)) {
        QFile::remove(stored);
        return false;
    }
    if (!previous.isEmpty())
        QFile::remove(previous);
    return true;
}

bool NavigatorService::addShortcut(const QVariantMap &dat, Refusal *refusal)
{
    const QString icon = dat.value(QStringLiteral("icon")).toString();
    const QString label = dat.value(QStringLiteral("label")).toString();
    const QString url = dat.value(QStringLiteral("url")).toString();
    if (icon.isEmpty() || label.trimmed().isEmpty() || url.isEmpty()) {
        *refusal = {EINVAL, QStringLiteral("a shortcut needs an icon, a label and a URL")};
        return false;
    }
    QVariantList shortcuts = m_data.value(keyShortcuts).toList();
    for (const QVariant &entry : qAsConst(shortcuts)) {
        if (entry.toMap().value(QStringLiteral("url")).toString() == url) {
            *refusal = {EEXIST,
                        QStringLiteral("a shortcut for %1 is already on the home screen").arg(url)};
            return false;
        }
    }
    QString stored;
    if (!storeImage(icon, QStringLiteral("icon"), &stored, refusal))
        return false;
    QVariantMap shortcut;
    shortcut.insert(QStringLiteral("icon"), icon);
    shortcut.insert(QStringLiteral("storedIcon"), stored);
    shortcut.insert(QStringLiteral("label"), label);
    shortcut.insert(QStringLiteral("category"), dat.value(QStringLiteral("category")).toString());
    shortcut.insert(QStringLiteral("url"), url);
    shortcuts.append(shortcut);
    QVariantMap next = m_data;
    next.insert(keyShortcuts, shortcuts);
    if (!commit(next, refusal)) {
        QFile::remove(stored);
        return false;
    }
    return true;
}

bool NavigatorService::setBadge(const QVariantMap &dat, bool on, Refusal *refusal)
{
    const QString app = dat.value(QStringLiteral("app")).toString();
    if (app.isEmpty()) {
        *refusal = {EINVAL, QStringLiteral("a badge needs the application's name")};
        return false;
    }
    QVariantMap badges = m_data.value(keyBadges).toMap();
    const QString badge = dat.value(QStringLiteral("badge")).toString();
    if (on && badges.value(app) == badge)
        return true;
    if (on)
        badges.insert(app, badge);
    else if (!badges.remove(app))
        return true;
    QVariantMap next = m_data;
    next.insert(keyBadges, badges);
    return commit(next, refusal);
}

bool NavigatorService::setLockState(const QVariantMap &dat, Refusal *refusal)
{
    const QString state = dat.value(QStringLiteral("state")).toString();
    if (!lockStates.contains(state)) {
        *refusal = {EINVAL, QStringLiteral("unknown lock state \"%1\"; one of %2")
                                .arg(state, lockStates.join(QLatin1String(", ")))};
        return false;
    }
    if (m_data.value(keyLockState).toString() == state)
        return true;
    QVariantMap next = m_data;
    next.insert(keyLockState, state);
    if (!commit(next, refusal))
        return false;
    publishState();
    QVariantMap event;
    event.insert(QStringLiteral("msg"), QStringLiteral("deviceLockState"));
    event.insert(QStringLiteral("dat"), state);
    for (int clientId : qAsConst(m_eventClients))
        m_control->reply(clientId, event);
    return true;
}

bool NavigatorService::setFlag(const QString &key, const QVariantMap &dat, Refusal *refusal)
{
    const QVariant on = dat.value(QStringLiteral("on"));
    if (on.type() != QVariant::Bool) {
        *refusal = {EINVAL, QStringLiteral("\"on\" must be true or false")};
        return false;
    }
    if (m_data.value(key).toBool() == on.toBool())
        return true;
    QVariantMap next = m_data;
    next.insert(key, on.toBool());
    if (!commit(next, refusal))
        return false;
    publishState();
    return true;
}

QVariantMap NavigatorService::home() const
{
    QVariantMap dat;
    const QVariantMap wallpaper = m_data.value(keyWallpaper).toMap();
    dat.insert(QStringLiteral("wallpaper"), wallpaper.value(QStringLiteral("source")).toString());
    dat.insert(QStringLiteral("wallpaperFile"),
               wallpaper.value(QStringLiteral("stored")).toString());
    dat.insert(keyLockState, m_data.value(keyLockState));
    dat.insert(keyBedsideMode, m_data.value(keyBedsideMode).toBool());
    dat.insert(keyWallpaperLocked, m_data.value(keyWallpaperLocked).toBool());
    dat.insert(keyShortcuts, m_data.value(keyShortcuts).toList());
    dat.insert(keyBadges, m_data.value(keyBadges).toMap());
    QVariantList prompts;
    for (const QVariantMap &prompt : m_closePrompts)
        prompts.append(prompt);
    dat.insert(QStringLiteral("closePrompts"), prompts);
    return dat;
}

OM_DEVICE_MODULE(NavigatorService, "navigator",
                 "navigator: lock state, bedside mode, wallpaper, shortcuts, badges", "");

} // namespace omdevice
