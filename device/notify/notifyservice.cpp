#include "notify/notifyservice.h"

namespace omdevice {

namespace {
QList<NotifyPartInfo> &partRegistry()
{
    static QList<NotifyPartInfo> parts;
    return parts;
}
} // namespace

NotifyPart::NotifyPart(NotifyService *service) : QObject(service), m_service(service) {}

NotifyPartRegistrar::NotifyPartRegistrar(const NotifyPartInfo &info)
{
    partRegistry().append(info);
}

NotifyService::NotifyService(const DeviceContext &context, QObject *parent)
    : ServiceModule(parent), m_context(context),
      m_control(new ControlServer(QString::fromLatin1(ControlPath), 0666, this))
{
    QList<NotifyPartInfo> infos = partRegistry();
    std::sort(infos.begin(), infos.end(),
              [](const NotifyPartInfo &a, const NotifyPartInfo &b) { return a.name < b.name; });
    for (const NotifyPartInfo &info : infos) {
        NotifyPart *part = info.create(this);
        m_parts.append(part);
        const QStringList names = part->messages();
        for (const QString &msg : names)
            m_handlers.insert(msg, part);
    }
    connect(m_control, &ControlServer::message, this, &NotifyService::onMessage);
    connect(m_control, &ControlServer::undecodable, this, [this](int clientId) {
        m_control->reply(clientId, {{QStringLiteral("err"), QStringLiteral("malformed message")}});
    });
    connect(m_control, &ControlServer::clientClosed, this, [this](int clientId) {
        for (NotifyPart *part : qAsConst(m_parts))
            part->clientClosed(clientId);
    });
}

bool NotifyService::start(QString *error)
{
    if (!m_control->open(error))
        return false;
    for (NotifyPart *part : qAsConst(m_parts)) {
        if (!part->start(error))
            return false;
    }
    return true;
}

void NotifyService::onMessage(int clientId, const QVariantMap &attributes)
{
    const QString msg = attributes.value(QStringLiteral("msg")).toString();
    NotifyPart *part = m_handlers.value(msg);
    if (!part) {
        fail(clientId, attributes, QStringLiteral("unknown message: %1").arg(msg));
        return;
    }
    part->handle(clientId, attributes);
}

void NotifyService::answer(int clientId, const QVariantMap &request, const QVariantMap &dat)
{
    QVariantMap reply;
    reply.insert(QStringLiteral("res"), request.value(QStringLiteral("msg")));
    if (request.contains(QStringLiteral("id")))
        reply.insert(QStringLiteral("id"), request.value(QStringLiteral("id")));
    reply.insert(QStringLiteral("dat"), dat);
    m_control->reply(clientId, reply);
}

void NotifyService::fail(int clientId, const QVariantMap &request, const QString &error)
{
    QVariantMap reply;
    reply.insert(QStringLiteral("res"), request.value(QStringLiteral("msg")));
    if (request.contains(QStringLiteral("id")))
        reply.insert(QStringLiteral("id"), request.value(QStringLiteral("id")));
    reply.insert(QStringLiteral("err"), error);
    m_control->reply(clientId, reply);
}

OM_DEVICE_MODULE(NotifyService, "notifications",
                 "notification service: inbox, dialogs and notification settings",
                 "settings-control-mode=0600  mode of the object for changing global settings "
                 "(0600: the device's user only)");

} // namespace omdevice
