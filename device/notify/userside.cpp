#include "notify/userside.h"

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
      m_router(new RequestRouter(protocol::userSidePath(), 0600, NotifyService::wireForm(), this))
{
    m_router->add({
        {protocol::inboxMessage(), Shape::OptionalMap, [this](const Request &r) { inbox(r); }},
        {protocol::dialogsMessage(), Shape::OptionalMap, [this](const Request &r) { dialogs(r); }},
        {protocol::chooseMessage(), Shape::Map, [this](const Request &r) { choose(r); }},
    });
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
    const Inbox *inbox = partFor<Inbox>(request, "an inbox");
    if (!inbox)
        return;
    // Only the items from "from" on are looked at: an inbox may hold many
    // pages, and fewer than this fill one.
    const int from = qMax(0, request.map().value(protocol::keyFrom()).toInt());
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
