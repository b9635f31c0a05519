#include "notify/userside.h"

#include "notify/dialogs.h"
#include "notify/inbox.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace omdevice {

namespace {
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
            const QString content = entry.contains(QStringLiteral("content"))
                                        ? QStringLiteral("content")
                                        : QStringLiteral("attributes");
            QVariantMap inner;
            const QVariantMap full = entry.value(content).toMap();
            for (auto it = full.cbegin(); it != full.cend(); ++it) {
                if (it.value().userType() == QMetaType::QString)
                    inner.insert(it.key(), it.value().toString().left(1024));
            }
            shown.insert(content, inner);
            shown.insert(QStringLiteral("truncated"), true);
            entry = shown;
        }
        list.append(entry);
        bytes += size;
    }
    return list;
}
} // namespace

UserSide::UserSide(NotifyService *service)
    : NotifyPart(service), m_server(new ControlServer(QString::fromLatin1(Path), 0600, this))
{
    connect(m_server, &ControlServer::message, this, &UserSide::onMessage);
}

void UserSide::handle(int clientId, const QVariantMap &request)
{
    Q_UNUSED(clientId)
    Q_UNUSED(request)
}

bool UserSide::start(QString *error)
{
    return m_server->open(error);
}

void UserSide::onMessage(int clientId, const QVariantMap &request)
{
    const QString msg = request.value(QStringLiteral("msg")).toString();
    const QVariantMap dat = request.value(QStringLiteral("dat")).toMap();
    const int from = dat.value(QStringLiteral("from")).toInt();
    if (msg == QLatin1String("inbox")) {
        const QList<QVariantMap> items = service()->part<Inbox>()->items();
        answer(clientId, request,
               {{QStringLiteral("items"), page(items, from)}, {QStringLiteral("total"), items.size()}});
    } else if (msg == QLatin1String("dialogs")) {
        const QList<QVariantMap> dialogs = service()->part<Dialogs>()->dialogs();
        answer(clientId, request,
               {{QStringLiteral("dialogs"), page(dialogs, from)},
                {QStringLiteral("total"), dialogs.size()}});
    } else if (msg == QLatin1String("choose")) {
        QVariantMap chosen;
        QString error;
        if (service()->part<Dialogs>()->choose(dat.value(QStringLiteral("dialog")).toString(),
                                               dat.value(QStringLiteral("button")).toString(),
                                               &chosen, &error))
            answer(clientId, request, chosen);
        else
            fail(clientId, request, error);
    } else {
        fail(clientId, request, QStringLiteral("unknown message: %1").arg(msg));
    }
}

void UserSide::answer(int clientId, const QVariantMap &request, const QVariantMap &dat)
{
    m_server->reply(clientId, {{QStringLiteral("res"), request.value(QStringLiteral("msg"))},
                               {QStringLiteral("id"), request.value(QStringLiteral("id"))},
                               {QStringLiteral("dat"), dat}});
}

void UserSide::fail(int clientId, const QVariantMap &request, const QString &error)
{
    m_server->reply(clientId, {{QStringLiteral("res"), request.value(QStringLiteral("msg"))},
                               {QStringLiteral("id"), request.value(QStringLiteral("id"))},
                               {QStringLiteral("err"), error}});
}

OM_NOTIFY_PART(UserSide, "userside");

} // namespace omdevice
