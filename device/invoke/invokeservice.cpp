#include "invoke/invokeservice.h"

#include "invoke/invokeprotocol_p.h"

#include <om/ppsobject.h>
#include <om/system/invokereply.h>

#include <QDateTime>

namespace omdevice {

namespace protocol = om::system::invokeprotocol;
using om::system::InvokeReply;

namespace {

// A listing is one bus message: keep each invocation's data short, and
// leave room for the envelope.
constexpr int ListedDataBytes = 4096;
constexpr int ListingBudget = om::PpsObject::MaxMessageSize - 4096;

QVariantMap envelope(const QVariantMap &request, const QString &res)
{
    QVariantMap reply;
    reply.insert(QStringLiteral("res"), res);
    if (request.contains(QStringLiteral("id")))
        reply.insert(QStringLiteral("id"), request.value(QStringLiteral("id")));
    return reply;
}

} // namespace

InvokeService::InvokeService(const DeviceContext &context, QObject *parent)
    : ServiceModule(parent),
      m_control(new ControlServer(protocol::controlPath(), 0666, this)),
      m_simulator(new ControlServer(QStringLiteral("/pps/simulator/invoke"), 0600, this)),
      m_store(context.dataDirectory, QStringLiteral("invoke")),
      m_history(context.setting(QStringLiteral("invoke.history")).toInt()),
      m_maps(context.dataDirectory)
{
    if (m_history <= 0)
        m_history = DefaultHistory;
    const QVariantList stored = m_store.load().value(QStringLiteral("invocations")).toList();
    for (const QVariant &entry : stored)
        m_invocations.append(Invocation::fromVariant(entry.toMap()));
    while (m_invocations.size() > m_history)
        m_invocations.removeFirst();

    m_targets.add(&m_maps);
    for (InvokeTarget *target : TargetRegistry::offered())
        m_targets.add(target);

    connect(m_control, &ControlServer::message, this, &InvokeService::onRequest);
    connect(m_control, &ControlServer::undecodable, this, [this](int clientId) {
        QVariantMap reply = envelope(QVariantMap(), protocol::invokeMessage());
        reply.insert(protocol::keyError(), int(InvokeReply::BadRequest));
        reply.insert(protocol::keyErrorText(), QStringLiteral("the request cannot be decoded"));
        m_control->reply(clientId, reply);
    });
    connect(m_simulator, &ControlServer::message, this, &InvokeService::onSimulatorRequest);
}

InvokeService::~InvokeService() = default;

bool InvokeService::start(QString *error)
{
    return m_control->open(error) && m_simulator->open(error);
}

void InvokeService::onRequest(int clientId, const QVariantMap &request)
{
    const QString msg = request.value(QStringLiteral("msg")).toString();
    QVariantMap reply = envelope(request, msg);
    auto refuse = [&](int code, const QString &text) {
        reply.insert(protocol::keyError(), code);
        reply.insert(protocol::keyErrorText(), text);
        m_control->reply(clientId, reply);
    };
    if (msg != protocol::invokeMessage()) {
        refuse(InvokeReply::BadRequest, QStringLiteral("unknown message \"%1\"").arg(msg));
        return;
    }
    if (request.value(QStringLiteral("dat")).userType() != QMetaType::QVariantMap) {
        refuse(InvokeReply::BadRequest, QStringLiteral("the request has no \"dat\" object"));
        return;
    }
    om::system::InvokeRequest decoded;
    Invocation invocation;
    QString reason;
    if (!protocol::decodeRequest(request.value(QStringLiteral("dat")).toMap(), &decoded,
                                 &invocation.sender, &reason)) {
        refuse(InvokeReply::BadRequest, reason);
        return;
    }
    invocation.time = QDateTime::currentMSecsSinceEpoch();
    invocation.action = decoded.action();
    invocation.mimeType = decoded.mimeType();
    invocation.uri = QString::fromUtf8(decoded.uri().toEncoded());
    invocation.data = decoded.data();
    invocation.requestedTarget = decoded.target();

    InvokeTarget *target = m_targets.route(invocation, &invocation.error, &invocation.errorText);
    if (target)
        invocation.target = target->name();
    record(invocation);
    if (!target) {
        refuse(invocation.error, invocation.errorText);
        return;
    }
    target->take(invocation);
    reply.insert(QStringLiteral("dat"), QVariantMap{{protocol::keyTarget(), target->name()}});
    m_control->reply(clientId, reply);
}

void InvokeService::record(const Invocation &invocation)
{
    m_invocations.append(invocation);
    while (m_invocations.size() > m_history)
        m_invocations.removeFirst();
    save();
}

void InvokeService::save()
{
    QVariantList stored;
    for (const Invocation &invocation : qAsConst(m_invocations))
        stored.append(invocation.toVariant());
    QString error;
    if (!m_store.save({{QStringLiteral("invocations"), stored}}, &error))
        qWarning("omdeviced: invoke: cannot save %s: %s", qPrintable(m_store.fileName()),
                 qPrintable(error));
}

void InvokeService::onSimulatorRequest(int clientId, const QVariantMap &request)
{
    const QString msg = request.value(QStringLiteral("msg")).toString();
    QVariantMap reply = envelope(request, msg);
    const QVariantMap dat = request.value(QStringLiteral("dat")).toMap();
    QVariantMap answer;
    if (msg == QLatin1String("invocations")) {
        // Newest first until the answer would not fit in one message.
        const int last = dat.contains(QStringLiteral("last"))
                             ? dat.value(QStringLiteral("last")).toInt()
                             : m_invocations.size();
        QVariantList listed;
        int size = 0;
        for (int i = m_invocations.size() - 1; i >= 0 && listed.size() < last; --i) {
            const QVariantMap entry = m_invocations.at(i).toVariant(ListedDataBytes);
            const int entrySize = om::PpsObject::encode({{QStringLiteral("x"), entry}}).size();
            if (size + entrySize > ListingBudget)
                break;
            size += entrySize;
            listed.prepend(entry);
        }
        answer.insert(QStringLiteral("invocations"), listed);
        answer.insert(QStringLiteral("total"), m_invocations.size());
    } else if (msg == QLatin1String("clear")) {
        answer.insert(QStringLiteral("cleared"), m_invocations.size());
        m_invocations.clear();
        save();
    } else if (msg == QLatin1String("targets")) {
        QVariantList targets;
        for (const InvokeTarget *target : m_targets.targets()) {
            targets.append(QVariantMap{{QStringLiteral("name"), target->name()},
                                       {QStringLiteral("actions"), target->actions()},
                                       {QStringLiteral("mimeTypes"), target->mimeTypes()}});
        }
        answer.insert(QStringLiteral("targets"), targets);
    } else if (msg == QLatin1String("maps")) {
        answer = m_maps.shown();
    } else {
        reply.insert(QStringLiteral("err"), QStringLiteral("unknown message \"%1\"").arg(msg));
        m_simulator->reply(clientId, reply);
        return;
    }
    reply.insert(QStringLiteral("dat"), answer);
    m_simulator->reply(clientId, reply);
}

OM_DEVICE_MODULE(InvokeService, "invoke",
                 "invocation service: routes invocations to targets, among them the maps application",
                 "invoke.history=N  how many recent invocations to keep (default 50)");

} // namespace omdevice
