#include "desktop/desktopbridge.h"

#include "console/usersideclient.h"

#include "notify/notifyprotocol_p.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QUrl>

namespace omdevice {

OM_DEVICE_LOGGING_CATEGORY(lcDesktop, "desktop");

namespace {
namespace protocol = om::notifyprotocol;

// The newest items looked at; older ones came before the bridge anyway.
constexpr int WatchedItems = 50;
// The action a desktop sends for a click on the notification itself.
const QString DefaultAction = QStringLiteral("default");

QString itemKey(const QString &application, const QString &itemId)
{
    return QStringLiteral("item:") + application + QLatin1Char('/') + itemId;
}

QString dialogKey(const QString &itemId)
{
    return QStringLiteral("dialog:") + itemId;
}

QDBusMessage call(const char *method)
{
    return QDBusMessage::createMethodCall(QLatin1String(DesktopBridge::Service),
                                          QLatin1String(DesktopBridge::Path),
                                          QLatin1String(DesktopBridge::Service),
                                          QLatin1String(method));
}

DesktopBridge::Urgency urgencyOf(const QString &category)
{
    return category == protocol::categoryHubSilent() ? DesktopBridge::Low : DesktopBridge::Normal;
}
} // namespace

DesktopBridge::DesktopBridge(const DeviceContext &context, QObject *parent)
    : ServiceModule(parent), m_bus(QStringLiteral("omdevice-desktop-unconnected"))
{
    Q_UNUSED(context)
}

DesktopBridge::~DesktopBridge() = default;

bool DesktopBridge::start(QString *error)
{
    Q_UNUSED(error)
    m_bus = QDBusConnection::sessionBus();
    if (!m_bus.isConnected()) {
        // Not a failure of the device: it runs on, without the desktop.
        qCWarning(lcDesktop).noquote()
            << "no session bus, so desktop notifications stay off:" << m_bus.lastError().message();
        return true;
    }
    // QtDBus takes the slots by their signatures only.
    m_bus.connect(QLatin1String(Service), QLatin1String(Path), QLatin1String(Service),
                  QStringLiteral("ActionInvoked"), this, SLOT(onActionInvoked(uint, QString)));
    m_bus.connect(QLatin1String(Service), QLatin1String(Path), QLatin1String(Service),
                  QStringLiteral("NotificationClosed"), this,
                  SLOT(onNotificationClosed(uint, uint)));
    m_watcher = new QDBusServiceWatcher(QLatin1String(Service), m_bus,
                                        QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(m_watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString &, const QString &, const QString &owner) { serverChanged(owner); });

    m_client = new UserSideClient(protocol::userSidePath(), this);
    connect(m_client, &UserSideClient::connectedChanged, this, [this](bool connected) {
        if (!connected)
            return;
        refreshItems();
        refreshDialogs();
    });
    connect(m_client, &UserSideClient::changed, this, [this](const QString &what) {
        if (what == protocol::keyDialogs())
            refreshDialogs();
        else
            refreshItems();
    });
    m_client->start();
    return true;
}

void DesktopBridge::refreshItems()
{
    // One listing at a time, and one more for the changes meanwhile: a
    // burst of notifications costs two listings, not one each.
    if (m_refreshingItems) {
        m_itemsAgain = true;
        return;
    }
    m_refreshingItems = true;
    m_client->request(protocol::inboxMessage(), {{protocol::keyLast(), WatchedItems}},
                      [this](const UserSideClient::Answer &answer) {
                          m_refreshingItems = false;
                          if (answer.ok)
                              itemsListed(answer.dat.value(protocol::keyItems()).toList());
                          if (m_itemsAgain) {
                              m_itemsAgain = false;
                              refreshItems();
                          }
                      });
}

void DesktopBridge::refreshDialogs()
{
    m_client->request(protocol::dialogsMessage(), {}, [this](const UserSideClient::Answer &answer) {
        if (answer.ok)
            dialogsListed(answer.dat.value(protocol::keyDialogs()).toList());
    });
}

void DesktopBridge::itemsListed(const QVariantList &items)
{
    QSet<QString> listed;
    for (const QVariant &value : items) {
        const QVariantMap item = value.toMap();
        const QVariantMap attributes = item.value(protocol::keyAttributes()).toMap();
        Shown shown;
        shown.application = item.value(protocol::keyApplication()).toString();
        shown.itemId = item.value(protocol::keyItemId()).toString();
        shown.updated = item.value(protocol::keyUpdated()).toLongLong();
        const QString key = itemKey(shown.application, shown.itemId);
        listed.insert(key);
        const auto known = m_shown.constFind(key);
        const bool cleared = item.value(protocol::keyEffectsCleared()).toBool();
        if (!m_baseline || (known != m_shown.cend() && known->updated == shown.updated)) {
            if (!m_baseline)
                m_shown.insert(key, shown);
            if (cleared && known != m_shown.cend() && known->desktopId != 0)
                close(key);
            continue;
        }
        if (cleared)
            continue;
        if (known != m_shown.cend())
            shown.desktopId = known->desktopId; // replaced on the desktop
        QStringList actions;
        if (!attributes.value(protocol::keyInvokeTarget()).toString().isEmpty() ||
            !attributes.value(protocol::keyInvokeAction()).toString().isEmpty())
            actions << DefaultAction << tr("Open");
        const QUrl icon(attributes.value(protocol::keyIcon()).toString());
        show(key, shown, attributes.value(protocol::keyTitle()).toString(),
             attributes.value(protocol::keyBody()).toString(), actions,
             urgencyOf(attributes.value(protocol::keyCategory()).toString()),
             icon.isLocalFile() ? icon.toLocalFile() : QString());
    }
    m_baseline = true;
    // The listing holds the newest items only: what it no longer holds is
    // gone from the inbox or older than all of them; either way it is off
    // the desktop.
    const QStringList keys = m_shown.keys();
    for (const QString &key : keys) {
        if (!m_shown.value(key).dialog && !listed.contains(key))
            close(key);
    }
}

void DesktopBridge::dialogsListed(const QVariantList &dialogs)
{
    m_dialogs = dialogs;
    QSet<QString> listed;
    for (const QVariant &value : dialogs) {
        const QVariantMap dialog = value.toMap();
        const QVariantMap content = dialog.value(protocol::keyContent()).toMap();
        const QString key = dialogKey(dialog.value(protocol::keyItemId()).toString());
        listed.insert(key);
        if (m_shown.contains(key) && m_shown.value(key).desktopId != 0)
            continue;
        Shown shown;
        shown.dialog = true;
        shown.application = dialog.value(protocol::keyApplication()).toString();
        shown.itemId = dialog.value(protocol::keyItemId()).toString();
        QStringList actions;
        for (const QVariant &b : content.value(protocol::keyButtons()).toList()) {
            const QVariantMap button = b.toMap();
            actions << button.value(protocol::keyButtonContext()).toString()
                    << button.value(protocol::keyButtonLabel()).toString();
        }
        show(key, shown, content.value(protocol::keyTitle()).toString(),
             content.value(protocol::keyBody()).toString(), actions, Critical, QString());
    }
    const QStringList keys = m_shown.keys();
    for (const QString &key : keys) {
        if (m_shown.value(key).dialog && !listed.contains(key))
            close(key);
    }
}

void DesktopBridge::show(const QString &key, const Shown &shown, const QString &summary,
                         const QString &body, const QStringList &actions, Urgency urgency,
                         const QString &icon)
{
    m_shown.insert(key, shown);
    QDBusMessage message = call("Notify");
    QVariantMap hints{{QStringLiteral("urgency"), QVariant::fromValue(uchar(urgency))}};
    if (shown.dialog)
        hints.insert(QStringLiteral("resident"), true);
    message << shown.application << shown.desktopId << icon << summary << body << actions << hints
            // A dialog stays until answered; the rest as the desktop likes.
            << (shown.dialog ? 0 : -1);
    // Asynchronous: a slow desktop never holds up the device.
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(message), this);
    const qint64 updated = shown.updated;
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, watcher, key, updated](QDBusPendingCallWatcher *) {
                watcher->deleteLater();
                const QDBusPendingReply<uint> reply = *watcher;
                if (reply.isError()) {
                    qCDebug(lcDesktop).noquote()
                        << "the desktop did not show" << key << reply.error().message();
                    return;
                }
                const auto it = m_shown.find(key);
                if (it == m_shown.end() || it->updated != updated) {
                    // Gone (or replaced) while the desktop was asked.
                    if (it == m_shown.end())
                        m_bus.asyncCall(call("CloseNotification") << reply.value());
                    return;
                }
                it->desktopId = reply.value();
                m_byDesktopId.insert(reply.value(), key);
            });
}

void DesktopBridge::close(const QString &key)
{
    const Shown shown = m_shown.take(key);
    if (shown.desktopId == 0)
        return;
    m_byDesktopId.remove(shown.desktopId);
    m_bus.asyncCall(call("CloseNotification") << shown.desktopId);
}

void DesktopBridge::onNotificationClosed(uint id, uint reason)
{
    Q_UNUSED(reason)
    const QString key = m_byDesktopId.take(id);
    const auto it = m_shown.find(key);
    if (it != m_shown.end())
        it->desktopId = 0;
}

void DesktopBridge::onActionInvoked(uint id, const QString &action)
{
    const QString key = m_byDesktopId.value(id);
    if (key.isEmpty())
        return;
    const Shown shown = m_shown.value(key);
    const auto done = [key](const UserSideClient::Answer &answer) {
        if (!answer.ok)
            qCWarning(lcDesktop).noquote() << "the user's answer to" << key
                                           << "did not reach the device:" << answer.error;
    };
    if (shown.dialog)
        m_client->request(protocol::chooseMessage(),
                          {{protocol::keyDialog(), shown.itemId}, {protocol::keyButton(), action}},
                          done);
    else if (action == DefaultAction)
        m_client->request(protocol::openMessage(),
                          {{protocol::keyApplication(), shown.application},
                           {protocol::keyItemId(), shown.itemId}},
                          done);
}

void DesktopBridge::serverChanged(const QString &owner)
{
    // The desktop's ids belonged to the server that went.
    m_byDesktopId.clear();
    for (Shown &shown : m_shown)
        shown.desktopId = 0;
    if (owner.isEmpty())
        return;
    qCInfo(lcDesktop) << "the desktop's notification service started again";
    // What waits for the user is shown again.
    if (m_client)
        dialogsListed(m_dialogs);
}

OM_DEVICE_OPTIONAL_MODULE(DesktopBridge, "desktop",
                          "the device's notifications on the desktop (session D-Bus)", "");

} // namespace omdevice
