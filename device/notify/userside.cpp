#include "notify/userside.h"

#include "control/controlprotocol_p.h"

#include "notify/dialogs.h"
#include "notify/inbox.h"
#include "notify/notifyprotocol_p.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace omdevice {

namespace {
namespace protocol = om::notifyprotocol;

// Room for the entries of one answer; a message holds at most 64 KiB.
constexpr int PageBytes = 48 * 1024;

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
      m_router(new RequestRouter(protocol::userSidePath(), 0600, NotifyService::wireForm(), this))
{
    m_router->add({
        {protocol::inboxMessage(), Shape::OptionalMap, [this](const Request &r) { inbox(r); }},
        {protocol::dialogsMessage(), Shape::OptionalMap, [this](const Request &r) { dialogs(r); }},
        {protocol::chooseMessage(), Shape::Map, [this](const Request &r) { choose(r); }},
        {protocol::followMessage(), Shape::Any, [this](const Request &r) { follow(r); }},
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
    if (const Inbox *inbox = partFor<Inbox>(request, "an inbox"))
        list(request, inbox->items(), protocol::keyItems());
}

void UserSide::dialogs(const Request &request)
{
    if (const Dialogs *dialogs = partFor<Dialogs>(request, "dialogs"))
        list(request, dialogs->dialogs(), protocol::keyDialogs());
}

void UserSide::list(const Request &request, const QList<QVariantMap> &entries,
                    const QString &listKey)
{
    const int from = request.map().value(protocol::keyFrom()).toInt();
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

} // namespace omdevice
