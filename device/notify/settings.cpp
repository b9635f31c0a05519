#include "notify/settings.h"

namespace omdevice {

namespace {

const QString Msg = QStringLiteral("msg");
const QString Res = QStringLiteral("res");
const QString Id = QStringLiteral("id");
const QString Dat = QStringLiteral("dat");
const QString Err = QStringLiteral("err");
const QString Name = QStringLiteral("name");
const QString Type = QStringLiteral("type");
const QString Key = QStringLiteral("key");
const QString Value = QStringLiteral("value");
const QString Global = QStringLiteral("global");
const QString Mode = QStringLiteral("mode");

// The answer to @p request on a server object other than the control
// object: "res" and "id" of the request, and "dat" or "err".
void answerOn(ControlServer *server, int clientId, const QVariantMap &request,
              const QVariantMap &dat, const QString &error = QString())
{
    QVariantMap reply;
    reply.insert(Res, request.value(Msg));
    if (request.contains(Id))
        reply.insert(Id, request.value(Id));
    if (error.isEmpty())
        reply.insert(Dat, dat);
    else
        reply.insert(Err, error);
    server->reply(clientId, reply);
}

// The arguments of a request, or false if "dat" is not a map.
bool arguments(const QVariantMap &request, QVariantMap *dat)
{
    const QVariant value = request.value(Dat);
    if (value.userType() != QMetaType::QVariantMap)
        return false;
    *dat = value.toMap();
    return true;
}

// A request for the global settings names "global" and, unlike one for an
// application's, no "type".
bool isGlobal(const QVariantMap &dat)
{
    return dat.value(Name).toString() == Global && !dat.contains(Type);
}

} // namespace

NotificationSettingsPart::NotificationSettingsPart(NotifyService *service)
    : NotifyPart(service), m_store(service->context().dataDirectory)
{
}

QStringList NotificationSettingsPart::messages() const
{
    return {QStringLiteral("query"), QStringLiteral("monitorSettings"),
            QStringLiteral("registerSettings")};
}

bool NotificationSettingsPart::start(QString *error)
{
    const QString modeText =
        service()->context().setting(QLatin1String(ModeSetting), QStringLiteral("0600"));
    bool ok = false;
    const int mode = modeText.toInt(&ok, 8);
    if (!ok || mode < 0 || mode > 0777) {
        *error = QStringLiteral("%1: '%2' is no file mode (an octal number such as 0600)")
                     .arg(QLatin1String(ModeSetting), modeText);
        return false;
    }
    m_settingsControl = new ControlServer(QLatin1String(SettingsControlPath), mode, this);
    if (!m_settingsControl->open(error))
        return false;
    connect(m_settingsControl, &ControlServer::message, this,
            &NotificationSettingsPart::onSettingsControl);
    connect(m_settingsControl, &ControlServer::undecodable, this, [this](int clientId) {
        answerOn(m_settingsControl, clientId, QVariantMap(), QVariantMap(),
                 QStringLiteral("malformed message"));
    });

    // Only the device's owner plays the user.
    m_simulator = new ControlServer(QLatin1String(SimulatorPath), 0600, this);
    if (!m_simulator->open(error))
        return false;
    connect(m_simulator, &ControlServer::message, this, &NotificationSettingsPart::onSimulator);
    connect(m_simulator, &ControlServer::undecodable, this, [this](int clientId) {
        answerOn(m_simulator, clientId, QVariantMap(), QVariantMap(),
                 QStringLiteral("malformed message"));
    });
    return true;
}

void NotificationSettingsPart::handle(int clientId, const QVariantMap &request)
{
    const QString msg = request.value(Msg).toString();
    if (msg == QLatin1String("query"))
        query(clientId, request);
    else if (msg == QLatin1String("monitorSettings"))
        monitor(clientId, request);
    else
        registerSettings(clientId, request);
}

void NotificationSettingsPart::clientClosed(int clientId)
{
    m_globalMonitors.remove(clientId);
    m_applicationMonitors.remove(clientId);
}

QVariantMap NotificationSettingsPart::settingsOf(const QString &name, bool global) const
{
    QVariantMap settings = global ? m_store.global() : m_store.application(name);
    settings.insert(Name, name);
    return settings;
}

void NotificationSettingsPart::query(int clientId, const QVariantMap &request)
{
    QVariantMap dat;
    if (!arguments(request, &dat) || dat.value(Name).toString().isEmpty()) {
        service()->fail(clientId, request, QStringLiteral("query needs a name"));
        return;
    }
    const QString name = dat.value(Name).toString();
    const bool global = isGlobal(dat);
    if (!global)
        m_store.remember(name);
    service()->answer(clientId, request, settingsOf(name, global));
}

void NotificationSettingsPart::monitor(int clientId, const QVariantMap &request)
{
    QVariantMap dat;
    if (!arguments(request, &dat) || dat.value(Name).toString().isEmpty()) {
        service()->fail(clientId, request, QStringLiteral("monitorSettings needs a name"));
        return;
    }
    const QString name = dat.value(Name).toString();
    const QString id = request.value(Id).toString();
    if (isGlobal(dat)) {
        m_globalMonitors.insert(clientId, id);
    } else {
        m_store.remember(name);
        m_applicationMonitors[clientId].insert(name, id);
    }
    // The settings themselves come from "query": an answer here that held
    // them could arrive after a newer update and show an old value again.
    service()->answer(clientId, request, QVariantMap());
}

void NotificationSettingsPart::registerSettings(int clientId, const QVariantMap &request)
{
    QVariantMap dat;
    if (!arguments(request, &dat) || dat.value(Name).toString().isEmpty()) {
        service()->fail(clientId, request, QStringLiteral("registerSettings needs a name"));
        return;
    }
    const QString name = dat.take(Name).toString();
    bool changed = false;
    QString error;
    if (!m_store.registerDefaults(name, dat, &changed, &error)) {
        service()->fail(clientId, request, error);
        return;
    }
    service()->answer(clientId, request, settingsOf(name, false));
    if (changed)
        pushApplication(name);
}

void NotificationSettingsPart::onSettingsControl(int clientId, const QVariantMap &request)
{
    const QString msg = request.value(Msg).toString();
    QVariantMap dat;
    QVariantMap changes;
    if (msg == QLatin1String("updateGlobalSettings")) {
        if (!arguments(request, &dat) || dat.isEmpty()) {
            answerOn(m_settingsControl, clientId, request, QVariantMap(),
                     QStringLiteral("updateGlobalSettings needs a setting"));
            return;
        }
        // The mode has a message of its own.
        if (dat.contains(Mode)) {
            answerOn(m_settingsControl, clientId, request, QVariantMap(),
                     QStringLiteral("mode is changed with updateState"));
            return;
        }
        changes = dat;
    } else if (msg == QLatin1String("updateState")) {
        if (!arguments(request, &dat) || dat.value(Key).toString() != Mode ||
            !dat.contains(Value)) {
            answerOn(m_settingsControl, clientId, request, QVariantMap(),
                     QStringLiteral("updateState needs key 'mode' and a value"));
            return;
        }
        changes.insert(Mode, dat.value(Value));
    } else {
        answerOn(m_settingsControl, clientId, request, QVariantMap(),
                 QStringLiteral("unknown message: %1").arg(msg));
        return;
    }
    bool changed = false;
    QString error;
    if (!m_store.setGlobal(changes, &changed, &error)) {
        answerOn(m_settingsControl, clientId, request, QVariantMap(), error);
        return;
    }
    answerOn(m_settingsControl, clientId, request, settingsOf(Global, true));
    if (changed)
        pushGlobal();
}

void NotificationSettingsPart::onSimulator(int clientId, const QVariantMap &request)
{
    const QString msg = request.value(Msg).toString();
    QVariantMap dat;
    arguments(request, &dat);
    if (msg == QLatin1String("list")) {
        QVariantMap applications;
        const QStringList names = m_store.applications();
        for (const QString &name : names) {
            QVariantMap sources;
            const QStringList keys = NotificationSettingsStore::applicationKeys();
            for (const QString &key : keys)
                sources.insert(key,
                               NotificationSettingsStore::sourceName(m_store.source(name, key)));
            applications.insert(name,
                                QVariantMap{{QStringLiteral("settings"), m_store.application(name)},
                                            {QStringLiteral("sources"), sources}});
        }
        answerOn(m_simulator, clientId, request,
                 {{Global, m_store.global()}, {QStringLiteral("applications"), applications}});
        return;
    }
    const bool global = msg == QLatin1String("setGlobal");
    if (!global && msg != QLatin1String("setApplication")) {
        answerOn(m_simulator, clientId, request, QVariantMap(),
                 QStringLiteral("unknown message: %1").arg(msg));
        return;
    }
    const QString name = global ? Global : dat.value(Name).toString();
    if (name.isEmpty() || dat.value(Key).toString().isEmpty() || !dat.contains(Value)) {
        answerOn(m_simulator, clientId, request, QVariantMap(),
                 QStringLiteral("%1 needs %2key and value")
                     .arg(msg, global ? QString() : QStringLiteral("name, ")));
        return;
    }
    const QVariantMap changes{{dat.value(Key).toString(), dat.value(Value)}};
    bool changed = false;
    QString error;
    const bool ok = global ? m_store.setGlobal(changes, &changed, &error)
                           : m_store.setApplication(name, changes, &changed, &error);
    if (!ok) {
        answerOn(m_simulator, clientId, request, QVariantMap(), error);
        return;
    }
    answerOn(m_simulator, clientId, request, settingsOf(name, global));
    if (changed && global)
        pushGlobal();
    else if (changed)
        pushApplication(name);
}

void NotificationSettingsPart::pushGlobal()
{
    const QVariantMap settings = settingsOf(Global, true);
    for (auto it = m_globalMonitors.cbegin(); it != m_globalMonitors.cend(); ++it) {
        service()->control()->reply(
            it.key(),
            {{Msg, QStringLiteral("settingsChanged")}, {Id, it.value()}, {Dat, settings}});
    }
}

void NotificationSettingsPart::pushApplication(const QString &name)
{
    const QVariantMap settings = settingsOf(name, false);
    for (auto it = m_applicationMonitors.cbegin(); it != m_applicationMonitors.cend(); ++it) {
        const auto followed = it.value().constFind(name);
        if (followed == it.value().cend())
            continue;
        service()->control()->reply(
            it.key(),
            {{Msg, QStringLiteral("settingsChanged")}, {Id, followed.value()}, {Dat, settings}});
    }
}

OM_NOTIFY_PART(NotificationSettingsPart, "settings");

} // namespace omdevice
