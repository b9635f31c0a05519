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
// In the store: number -> invocation.
const QString HistoryKey = QStringLiteral("history");

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
      m_watchers(m_userSide), m_store(context.dataDirectory, QStringLiteral("invoke")),
      m_history(context.setting(QStringLiteral("invoke.history")).toInt()),
      m_maps(&m_store, context.dataDirectory)
{
    if (m_history <= 0)
        m_history = DefaultHistory;
    load();
    // A history that made no sense was set aside with the rest of the
    // store, what the maps application showed included.
    if (m_store.origin() == DataStore::Origin::SetAside)
        m_maps.forget();

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
    // Who invoked is what the bus vouches for, not what the request says.
    invocation.sender = request.application();
    invocation.time = QDateTime::currentMSecsSinceEpoch();
    invocation.action = decoded.action();
    invocation.mimeType = decoded.mimeType();
    invocation.uri = QString::fromUtf8(decoded.uri().toEncoded());
    invocation.data = decoded.data();
    invocation.requestedTarget = decoded.target();

    InvokeTarget *target = m_targets.route(invocation, &invocation.error, &invocation.errorText);
    if (target)
        invocation.target = target->name();
    // What the maps application shows goes with the invocation: one record.
    DataStore::Changes changes;
    if (target == &m_maps)
        m_maps.take(invocation, &changes);
    record(invocation, &changes);
    if (!target) {
        m_control->fail(request, invocation.error, invocation.errorText);
        m_watchers.changed(protocol::invocationsMessage());
        return;
    }
    if (target != &m_maps)
        target->take(invocation);
    m_control->answer(request, QVariantMap{{protocol::keyTarget(), target->name()}});
    // After the target took it: what the maps application shows changes too.
    m_watchers.changed(protocol::invocationsMessage());
}

void InvokeService::load()
{
    const QVariantMap saved = m_store.load();
    const QVariant history = saved.value(HistoryKey);
    if (history.isValid() && history.userType() != QMetaType::QVariantMap) {
        m_store.setAside(QStringLiteral("the invocations are not a map"));
        return;
    }
    // Keys are the invocations' numbers, written so that they sort in order.
    const QVariantMap byNumber = history.toMap();
    for (auto it = byNumber.cbegin(); it != byNumber.cend(); ++it) {
        bool ok = false;
        const qint64 number = it.key().toLongLong(&ok);
        if (!ok || number <= 0 || it.value().userType() != QMetaType::QVariantMap) {
            m_store.setAside(QStringLiteral("invocation '%1' makes no sense").arg(it.key()));
            m_invocations.clear();
            m_numbers.clear();
            return;
        }
        m_invocations.append(Invocation::fromVariant(it.value().toMap()));
        m_numbers.append(number);
    }
    // An earlier version kept a list, written whole each time.
    const QVariantList earlier = saved.value(QStringLiteral("invocations")).toList();
    DataStore::Changes changes;
    for (const QVariant &entry : earlier) {
        const qint64 number = (m_numbers.isEmpty() ? 0 : m_numbers.last()) + 1;
        m_invocations.append(Invocation::fromVariant(entry.toMap()));
        m_numbers.append(number);
        changes.set({HistoryKey, numberKey(number)}, entry);
    }
    if (saved.contains(QStringLiteral("invocations")))
        changes.remove({QStringLiteral("invocations")});
    trim(&changes);
    m_store.commit(changes);
}

QString InvokeService::numberKey(qint64 number)
{
    return QStringLiteral("%1").arg(number, 12, 10, QLatin1Char('0'));
}

void InvokeService::trim(DataStore::Changes *changes)
{
    while (m_invocations.size() > m_history) {
        changes->remove({HistoryKey, numberKey(m_numbers.takeFirst())});
        m_invocations.removeFirst();
    }
}

void InvokeService::record(const Invocation &invocation, DataStore::Changes *changes)
{
    // One record: the invocation, and the oldest one it pushes out.
    const qint64 number = (m_numbers.isEmpty() ? 0 : m_numbers.last()) + 1;
    changes->set({HistoryKey, numberKey(number)}, invocation.toVariant());
    m_invocations.append(invocation);
    m_numbers.append(number);
    trim(changes);
    QString error;
    if (!m_store.commit(*changes, &error))
        qCWarning(lcInvoke).noquote() << "cannot save the invocations:" << error;
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
    QString error;
    if (!m_store.remove({HistoryKey}, &error)) {
        m_userSide->fail(request, 0, QStringLiteral("cannot clear the invocations: %1").arg(error));
        return;
    }
    m_invocations.clear();
    m_numbers.clear();
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
