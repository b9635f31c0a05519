#include "notify/settings.h"

#include "control/controlprotocol_p.h"
#include "notify/notifyprotocol_p.h"

namespace omdevice {

namespace {

namespace protocol = om::notifyprotocol;
const QString Name = protocol::keyName();
const QString Key = protocol::keyKey();
const QString Value = protocol::keyValue();
const QString Mode = protocol::keyMode();
const QString Global = protocol::globalName();

// A request for the global settings names "global" and, unlike one for an
// application's, no "type".
bool isGlobal(const QVariantMap &dat)
{
    return dat.value(Name).toString() == Global && !dat.contains(protocol::keyType());
}

// The name a settings request is about: "global", or the application
// it names as the client's user's; empty if it has none.
QString nameOf(const Request &request)
{
    const QString name = request.map().value(Name).toString();
    if (name.isEmpty() || isGlobal(request.map()))
        return name;
    return request.application(name);
}

} // namespace

NotificationSettingsPart::NotificationSettingsPart(NotifyService *service)
    : NotifyPart(service), m_store(service->context().dataDirectory)
{
    // "dat" of another shape than a map has no name and is refused so.
    service->router()->add({
        {protocol::queryMessage(), Shape::Any, [this](const Request &r) { query(r); }},
        {protocol::monitorSettingsMessage(), Shape::Any, [this](const Request &r) { monitor(r); }},
        {protocol::registerSettingsMessage(), Shape::Any,
         [this](const Request &r) { registerSettings(r); }},
    });
    connect(service->control(), &ControlServer::clientClosed, this,
            &NotificationSettingsPart::clientClosed);
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
    m_settingsControl =
        new RequestRouter(protocol::settingsControlPath(), mode, NotifyService::wireForm(), this);
    m_settingsControl->add({
        {protocol::updateGlobalSettingsMessage(), Shape::Any,
         [this](const Request &r) { updateGlobal(r); }},
        {protocol::updateStateMessage(), Shape::Any, [this](const Request &r) { updateState(r); }},
    });

    // Only the device's owner plays the user.
    m_userSide =
        new RequestRouter(protocol::settingsUserSidePath(), 0600, NotifyService::wireForm(), this);
    m_userSide->add({
        {protocol::listMessage(), Shape::Any, [this](const Request &r) { list(r); }},
        {protocol::setGlobalMessage(), Shape::Any, [this](const Request &r) { set(r, true); }},
        {protocol::setApplicationMessage(), Shape::Any,
         [this](const Request &r) { set(r, false); }},
    });
    m_watchers = std::make_unique<Watchers>(m_userSide);
    return m_settingsControl->open(error) && m_userSide->open(error);
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

void NotificationSettingsPart::query(const Request &request)
{
    const QString name = nameOf(request);
    if (name.isEmpty()) {
        service()->router()->fail(request, 0, QStringLiteral("query needs a name"));
        return;
    }
    const bool global = isGlobal(request.map());
    if (!global)
        remember(name);
    service()->router()->answer(request, settingsOf(name, global));
}

void NotificationSettingsPart::monitor(const Request &request)
{
    const QString name = nameOf(request);
    if (name.isEmpty()) {
        service()->router()->fail(request, 0, QStringLiteral("monitorSettings needs a name"));
        return;
    }
    const QString id = request.id().toString();
    if (isGlobal(request.map())) {
        m_globalMonitors.insert(request.clientId(), id);
    } else {
        remember(name);
        m_applicationMonitors[request.clientId()].insert(name, id);
    }
    // The settings themselves come from "query": an answer here that held
    // them could arrive after a newer update and show an old value again.
    service()->router()->answer(request);
}

void NotificationSettingsPart::registerSettings(const Request &request)
{
    const QString name = nameOf(request);
    QVariantMap dat = request.map();
    dat.remove(Name);
    if (name.isEmpty()) {
        service()->router()->fail(request, 0, QStringLiteral("registerSettings needs a name"));
        return;
    }
    bool changed = false;
    QString error;
    if (!m_store.registerDefaults(name, dat, &changed, &error)) {
        service()->router()->fail(request, 0, error);
        return;
    }
    service()->router()->answer(request, settingsOf(name, false));
    if (changed)
        pushApplication(name);
}

void NotificationSettingsPart::updateGlobal(const Request &request)
{
    const QVariantMap dat = request.map();
    if (dat.isEmpty()) {
        m_settingsControl->fail(request, 0, QStringLiteral("updateGlobalSettings needs a setting"));
        return;
    }
    // The mode has a message of its own.
    if (dat.contains(Mode)) {
        m_settingsControl->fail(request, 0, QStringLiteral("mode is changed with updateState"));
        return;
    }
    changeGlobal(request, dat);
}

void NotificationSettingsPart::updateState(const Request &request)
{
    const QVariantMap dat = request.map();
    if (dat.value(Key).toString() != Mode || !dat.contains(Value)) {
        m_settingsControl->fail(request, 0,
                                QStringLiteral("updateState needs key 'mode' and a value"));
        return;
    }
    changeGlobal(request, {{Mode, dat.value(Value)}});
}

void NotificationSettingsPart::changeGlobal(const Request &request, const QVariantMap &changes)
{
    bool changed = false;
    QString error;
    if (!m_store.setGlobal(changes, &changed, &error)) {
        m_settingsControl->fail(request, 0, error);
        return;
    }
    m_settingsControl->answer(request, settingsOf(Global, true));
    if (changed)
        pushGlobal();
}

void NotificationSettingsPart::list(const Request &request)
{
    QVariantMap applications;
    const QStringList names = m_store.applications();
    for (const QString &name : names) {
        QVariantMap sources;
        const QStringList keys = NotificationSettingsStore::applicationKeys();
        for (const QString &key : keys)
            sources.insert(key, NotificationSettingsStore::sourceName(m_store.source(name, key)));
        applications.insert(name, QVariantMap{{protocol::keySettings(), m_store.application(name)},
                                              {protocol::keySources(), sources}});
    }
    m_userSide->answer(request, QVariantMap{{Global, m_store.global()},
                                            {protocol::keyApplications(), applications}});
}

void NotificationSettingsPart::set(const Request &request, bool global)
{
    const QVariantMap dat = request.map();
    const QString name = global ? Global : dat.value(Name).toString();
    if (name.isEmpty() || dat.value(Key).toString().isEmpty() || !dat.contains(Value)) {
        m_userSide->fail(request, 0,
                         QStringLiteral("%1 needs %2key and value")
                             .arg(request.msg(), global ? QString() : QStringLiteral("name, ")));
        return;
    }
    const QVariantMap changes{{dat.value(Key).toString(), dat.value(Value)}};
    bool changed = false;
    QString error;
    const bool ok = global ? m_store.setGlobal(changes, &changed, &error)
                           : m_store.setApplication(name, changes, &changed, &error);
    if (!ok) {
        m_userSide->fail(request, 0, error);
        return;
    }
    m_userSide->answer(request, settingsOf(name, global));
    if (changed && global)
        pushGlobal();
    else if (changed)
        pushApplication(name);
}

void NotificationSettingsPart::remember(const QString &name)
{
    const bool known = m_store.applications().contains(name);
    m_store.remember(name);
    if (!known && m_watchers)
        m_watchers->changed(protocol::keySettings());
}

void NotificationSettingsPart::pushGlobal()
{
    if (m_watchers)
        m_watchers->changed(protocol::keySettings());
    const QVariantMap settings = settingsOf(Global, true);
    for (auto it = m_globalMonitors.cbegin(); it != m_globalMonitors.cend(); ++it)
        service()->control()->reply(it.key(), settingsChanged(it.value(), settings));
    service()->publish(protocol::eventSettings(),
                       {{protocol::keyScope(), protocol::globalName()},
                        {protocol::keySettings(), settings}});
}

void NotificationSettingsPart::pushApplication(const QString &name)
{
    if (m_watchers)
        m_watchers->changed(protocol::keySettings());
    const QVariantMap settings = settingsOf(name, false);
    for (auto it = m_applicationMonitors.cbegin(); it != m_applicationMonitors.cend(); ++it) {
        const auto followed = it.value().constFind(name);
        if (followed != it.value().cend())
            service()->control()->reply(it.key(), settingsChanged(followed.value(), settings));
    }
    service()->publish(protocol::eventSettings(),
                       {{protocol::keyScope(), name}, {protocol::keySettings(), settings}});
}

QVariantMap NotificationSettingsPart::settingsChanged(const QString &id,
                                                      const QVariantMap &settings)
{
    // Not an answer but a message of the service's own, under the id the
    // client followed the settings with.
    namespace control = om::controlprotocol;
    return {{control::keyMsg(), protocol::settingsChangedMessage()},
            {control::keyId(), id},
            {control::keyDat(), settings}};
}

} // namespace omdevice
