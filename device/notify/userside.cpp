#include "notify/userside.h"

#include "control/controlprotocol_p.h"

#include "notify/dialogs.h"
#include "notify/inbox.h"
#include "notify/notifyprotocol_p.h"

#include <om/system/invokemanager.h>
#include <om/system/invokerequest.h>
#include <om/system/invoketargetreply.h>

#include <QJsonDocument>
#include <QJsonObject>

#include <cerrno>

namespace omdevice {

namespace {
namespace protocol = om::notifyprotocol;

// Room for the entries of one answer; a message holds at most 64 KiB.
constexpr int PageBytes = 48 * 1024;
// More entries than fit in one answer.
constexpr int PageEntries = 1024;

// The entries from place @p from on that fit into one answer; always at
// least one, cut down if it is too large by itself.
QVariantList page(const QList<QVariantMap> &entries, int from)
{
    QVariantList list;
    int bytes = 0;
    for (int i = qMax(0, from); i < entries.size(); ++i) {
        QVariantMap entry = entries.at(i);
        const int size =
            QJsonDocument(QJsonObject::fromVariantMap(entry)).toJson(QJsonDocument::Compact).size();
        if (!list.isEmpty() && bytes + size > PageBytes)
            break;
        if (size > PageBytes) {
            // Only what a listing shows, shortened.
            QVariantMap shown;
            for (auto it = entry.cbegin(); it != entry.cend(); ++it) {
                if (it.value().userType() != QMetaType::QVariantMap)
                    shown.insert(it.key(), it.value());
            }
            const QString content = entry.contains(protocol::keyContent())
                                        ? protocol::keyContent()
                                        : protocol::keyAttributes();
            QVariantMap inner;
            const QVariantMap full = entry.value(content).toMap();
            for (auto it = full.cbegin(); it != full.cend(); ++it) {
                if (it.value().userType() == QMetaType::QString)
                    inner.insert(it.key(), it.value().toString().left(1024));
            }
            shown.insert(content, inner);
            shown.insert(protocol::keyTruncated(), true);
            entry = shown;
        }
        list.append(entry);
        bytes += size;
    }
    return list;
}
} // namespace

UserSide::UserSide(NotifyService *service)
    : NotifyPart(service),
      m_router(new RequestRouter(protocol::userSidePath(), 0600, NotifyService::wireForm(), this)),
      m_watchers(m_router)
{
    m_router->add({
        {protocol::inboxMessage(), Shape::OptionalMap, [this](const Request &r) { inbox(r); }},
        {protocol::dialogsMessage(), Shape::OptionalMap, [this](const Request &r) { dialogs(r); }},
        {protocol::chooseMessage(), Shape::Map, [this](const Request &r) { choose(r); }},
        {protocol::followMessage(), Shape::Any, [this](const Request &r) { follow(r); }},
        {protocol::openMessage(), Shape::Map, [this](const Request &r) { open(r); }},
        {protocol::clearEffectsMessage(), Shape::Map,
         [this](const Request &r) { clear(r, false); }},
        {protocol::removeMessage(), Shape::Map, [this](const Request &r) { clear(r, true); }},
    });
    connect(m_router->server(), &ControlServer::clientClosed, this, [this](int clientId) {
        m_followers.remove(clientId);
        this->service()->setFollowers(m_followers.size());
    });
    connect(service, &NotifyService::published, this, &UserSide::publish);
}

void UserSide::follow(const Request &request)
{
    m_followers.insert(request.clientId());
    service()->setFollowers(m_followers.size());
    m_router->answer(request);
}

void UserSide::publish(const QVariantMap &event)
{
    const QVariantMap message{{om::controlprotocol::keyMsg(), protocol::eventMessage()},
                              {om::controlprotocol::keyDat(), event}};
    for (int clientId : qAsConst(m_followers))
        m_router->server()->reply(clientId, message);
}

bool UserSide::start(QString *error)
{
    // The parts exist once the service has made them all.
    if (const Inbox *inbox = service()->part<Inbox>())
        connect(inbox, &Inbox::itemsChanged, this,
                [this]() { m_watchers.changed(protocol::keyItems()); });
    if (const Dialogs *dialogs = service()->part<Dialogs>())
        connect(dialogs, &Dialogs::dialogsChanged, this,
                [this]() { m_watchers.changed(protocol::keyDialogs()); });
    return m_router->open(error);
}

template <class Part> Part *UserSide::partFor(const Request &request, const char *what) const
{
    Part *part = service()->part<Part>();
    if (!part)
        m_router->fail(
            request, 0,
            QStringLiteral("the notification service runs without %1").arg(QLatin1String(what)));
    return part;
}

void UserSide::inbox(const Request &request)
{
    const Inbox *inbox = partFor<Inbox>(request, "an inbox");
    if (!inbox)
        return;
    // Only the items from "from" on are looked at: an inbox may hold many
    // pages, and fewer than this fill one.
    const QVariantMap dat = request.map();
    const int from = qMax(0, dat.contains(protocol::keyLast())
                                 ? inbox->count() - qMax(0, dat.value(protocol::keyLast()).toInt())
                                 : dat.value(protocol::keyFrom()).toInt());
    m_router->answer(request,
                     QVariantMap{{protocol::keyItems(), page(inbox->items(from, PageEntries), 0)},
                                 {protocol::keyTotal(), inbox->count()},
                                 {protocol::keyDropped(), inbox->dropped()}});
}

void UserSide::dialogs(const Request &request)
{
    if (const Dialogs *dialogs = partFor<Dialogs>(request, "dialogs"))
        list(request, dialogs->dialogs(), protocol::keyDialogs());
}

void UserSide::list(const Request &request, const QList<QVariantMap> &entries,
                    const QString &listKey)
{
    const QVariantMap dat = request.map();
    const int from = dat.contains(protocol::keyLast())
                         ? entries.size() - qMax(0, dat.value(protocol::keyLast()).toInt())
                         : dat.value(protocol::keyFrom()).toInt();
    m_router->answer(request, QVariantMap{{listKey, page(entries, from)},
                                          {protocol::keyTotal(), entries.size()}});
}

void UserSide::choose(const Request &request)
{
    Dialogs *dialogs = partFor<Dialogs>(request, "dialogs");
    if (!dialogs)
        return;
    QVariantMap chosen;
    QString error;
    if (dialogs->choose(request.map().value(protocol::keyDialog()).toString(),
                        request.map().value(protocol::keyButton()).toString(), &chosen, &error))
        m_router->answer(request, chosen);
    else
        m_router->fail(request, 0, error);
}

void UserSide::clear(const Request &request, bool remove)
{
    Inbox *inbox = partFor<Inbox>(request, "an inbox");
    if (!inbox)
        return;
    const QVariantMap dat = request.map();
    const QString application = dat.value(protocol::keyApplication()).toString();
    const QString itemId = dat.value(protocol::keyItemId()).toString();
    QString error;
    if (!inbox->clear(application, itemId, remove, &error)) {
        m_router->fail(
            request, error.isEmpty() ? 0 : EIO,
            !error.isEmpty() ? error
            : itemId.isEmpty()
                ? QStringLiteral("no item of '%1' in the inbox").arg(application)
                : QStringLiteral("no item '%1' of '%2' in the inbox").arg(itemId, application));
        return;
    }
    m_router->answer(request);
}

void UserSide::open(const Request &request)
{
    Inbox *inbox = partFor<Inbox>(request, "an inbox");
    if (!inbox)
        return;
    const QVariantMap dat = request.map();
    const QString application = dat.value(protocol::keyApplication()).toString();
    const QString itemId = dat.value(protocol::keyItemId()).toString();
    const QVariantMap item = inbox->item(application, itemId);
    if (itemId.isEmpty() || item.isEmpty()) {
        m_router->fail(request, 0,
                       QStringLiteral("no item '%1' of '%2' in the inbox").arg(itemId, application));
        return;
    }
    // Opened is seen.
    inbox->clear(application, itemId, false);

    const QVariantMap attributes = item.value(protocol::keyAttributes()).toMap();
    om::system::InvokeRequest invocation;
    invocation.setTarget(attributes.value(protocol::keyInvokeTarget()).toString());
    invocation.setAction(attributes.value(protocol::keyInvokeAction()).toString());
    invocation.setMimeType(attributes.value(protocol::keyInvokeMimeType()).toString());
    invocation.setUri(attributes.value(protocol::keyInvokeUri()).toString());
    invocation.setData(
        QByteArray::fromBase64(attributes.value(protocol::keyInvokeData()).toString().toLatin1()));
    if (invocation.target().isEmpty() && invocation.action().isEmpty()) {
        m_router->answer(request);
        return;
    }
    // Through the invocation service, as any invoker: the answer waits for
    // its reply and never holds up the service.
    om::system::InvokeManager manager;
    om::system::InvokeTargetReply *reply = manager.invoke(invocation);
    reply->setParent(this);
    connect(reply, &om::system::InvokeReply::finished, this, [this, reply, request]() {
        reply->deleteLater();
        if (reply->error() != om::system::InvokeReply::NoError)
            m_router->fail(request, 0,
                           QStringLiteral("the invocation failed: %1").arg(reply->errorString()));
        else
            m_router->answer(request, QVariantMap{{protocol::keyInvoked(), reply->target()}});
    });
}

} // namespace omdevice
