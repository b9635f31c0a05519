#include "invoke/invokeservice.h"

#include "control/controlprotocol_p.h"
#include "invoke/invokeprotocol_p.h"

#include <om/ppsobject.h>
#include <om/system/invokereply.h>

#include <QDateTime>

namespace omdevice {

OM_DEVICE_LOGGING_CATEGORY(lcInvoke, "invoke");

namespace protocol = om::system::invokeprotocol;
using om::system::InvokeReply;

namespace {

// A listing is one bus message: keep each invocation's data short, and
// leave room for the envelope.
constexpr int ListedDataBytes = 4096;
constexpr int ListingBudget = om::PpsObject::MaxMessageSize - 4096;

// The user side's form: the standard one, with the service's own words
// for a message it does not know.
WireForm userSideForm()
{
    WireForm form = WireForm::standard();
    form.unknown = [](const Request &request) {
        return Failure(0, QStringLiteral("unknown message \"%1\"").arg(request.msg()));
    };
    return form;
}

} // namespace

WireForm InvokeService::wireForm()
{
    WireForm form = WireForm::standard();
    form.failure = [](const Request &request, const Failure &failure) {
        QVariantMap reply = WireForm::envelope(request);
        // Nothing of an undecodable message is known; it can only have
        // been an invocation.
        if (request.message().isEmpty())
            reply.insert(om::controlprotocol::keyRes(), protocol::invokeMessage());
        reply.insert(protocol::keyError(), failure.code);
        reply.insert(protocol::keyErrorText(), failure.text);
        return reply;
    };
    form.malformed =
        Failure(InvokeReply::BadRequest, QStringLiteral("the request cannot be decoded"));
    form.unknown = [](const Request &request) {
        return Failure(InvokeReply::BadRequest,
                       QStringLiteral("unknown message \"%1\"").arg(request.msg()));
    };
    form.badShape = [](const Request &, Shape) {
        return Failure(InvokeReply::BadRequest,
                       QStringLiteral("the request has no \"dat\" object"));
    };
    return form;
}

InvokeService::InvokeService(const DeviceContext &context, QObject *parent)
    : ServiceModule(parent),
      m_control(new RequestRouter(protocol::controlPath(), 0666, wireForm(), this)),
      m_userSide(new RequestRouter(protocol::userSidePath(), 0600, userSideForm(), this)),
      m_watchers(m_userSide),
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

    m_control->add(protocol::invokeMessage(), Shape::Map, [this](const Request &r) { invoke(r); });
    m_userSide->add({
        {protocol::invocationsMessage(), Shape::OptionalMap, [this](const Request &r) { list(r); }},
        {protocol::clearMessage(), Shape::Any, [this](const Request &r) { clear(r); }},
        {protocol::targetsMessage(), Shape::Any, [this](const Request &r) { listTargets(r); }},
        {protocol::mapsMessage(), Shape::Any,
         [this](const Request &r) { m_userSide->answer(r, m_maps.shown()); }},
    });
}

InvokeService::~InvokeService() = default;

bool InvokeService::start(QString *error)
{
    return m_control->open(error) && m_userSide->open(error);
}

void InvokeService::invoke(const Request &request)
{
    om::system::InvokeRequest decoded;
    Invocation invocation;
    QString reason;
    if (!protocol::decodeRequest(request.map(), &decoded, &invocation.sender, &reason)) {
        m_control->fail(request, InvokeReply::BadRequest, reason);
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
        m_control->fail(request, invocation.error, invocation.errorText);
        m_watchers.changed(protocol::invocationsMessage());
        return;
    }
    target->take(invocation);
    m_control->answer(request, QVariantMap{{protocol::keyTarget(), target->name()}});
    // After the target took it: what the maps application shows changes too.
    m_watchers.changed(protocol::invocationsMessage());
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
    m_store.save({{QStringLiteral("invocations"), stored}}, lcInvoke());
}

void InvokeService::list(const Request &request)
{
    // Newest first until the answer would not fit in one message.
    const QVariantMap dat = request.map();
    const int last = dat.contains(protocol::keyLast()) ? dat.value(protocol::keyLast()).toInt()
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
    m_userSide->answer(request, QVariantMap{{protocol::keyInvocations(), listed},
                                            {protocol::keyTotal(), m_invocations.size()}});
}

void InvokeService::clear(const Request &request)
{
    const int cleared = m_invocations.size();
    m_invocations.clear();
    save();
    m_userSide->answer(request, QVariantMap{{protocol::keyCleared(), cleared}});
    m_watchers.changed(protocol::invocationsMessage());
}

void InvokeService::listTargets(const Request &request)
{
    QVariantList targets;
    for (const InvokeTarget *target : m_targets.targets()) {
        targets.append(QVariantMap{{protocol::keyName(), target->name()},
                                   {protocol::keyActions(), target->actions()},
                                   {protocol::keyMimeTypes(), target->mimeTypes()}});
    }
    m_userSide->answer(request, QVariantMap{{protocol::keyTargets(), targets}});
}

OM_DEVICE_MODULE(InvokeService, "invoke",
                 "invocation service: routes invocations to targets, among them the maps application",
                 {{QStringLiteral("invoke.history"), QStringLiteral("N"),
                   QStringLiteral("how many recent invocations to keep (default 50)"),
                   Setting::wholeNumber(1, 100000)}});

} // namespace omdevice
