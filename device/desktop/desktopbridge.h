#ifndef OMDEVICE_DESKTOPBRIDGE_H
#define OMDEVICE_DESKTOPBRIDGE_H

#include "common/servicemodule.h"

#include <QDBusConnection>
#include <QHash>
#include <QLoggingCategory>
#include <QSet>
#include <QVariantMap>

class QDBusServiceWatcher;

namespace omdevice {

Q_DECLARE_LOGGING_CATEGORY(lcDesktop)

class UserSideClient;

/**
 * The desktop bridge: shows the device's notifications and dialogs through
 * the desktop's notification service (org.freedesktop.Notifications on
 * the session bus), and brings a click on one of their actions back into
 * the device as the user's answer, through the notification service's
 * user side as omctl and the console do.
 *
 * An item's summary and body are its title and body; its urgency comes
 * from how it alerts (low for one without alerts, else normal; critical
 * for a dialog); it offers "Open" when it carries an invocation, and a
 * dialog offers its buttons. Only what comes after the bridge started is
 * shown, apart from the dialogs already waiting. When the desktop's
 * service starts again, the dialogs still waiting are shown again.
 *
 * Off by default (--desktop). Without a session bus it says so once and
 * stays off.
 */
class DesktopBridge : public ServiceModule
{
    Q_OBJECT
public:
    DesktopBridge(const DeviceContext &context, QObject *parent);
    ~DesktopBridge() override;

    bool start(QString *error) override;

    static constexpr const char *Service = "org.freedesktop.Notifications";
    static constexpr const char *Path = "/org/freedesktop/Notifications";
    enum Urgency { Low = 0, Normal = 1, Critical = 2 };

private Q_SLOTS:
    void onActionInvoked(uint id, const QString &action);
    void onNotificationClosed(uint id, uint reason);

private:
    /** One notification on the desktop: an item or a dialog of the device. */
    struct Shown
    {
        bool dialog = false;
        QString application;
        QString itemId;
        qint64 updated = 0;
        uint desktopId = 0;
    };

    void refreshItems();
    void refreshDialogs();
    void itemsListed(const QVariantList &items);
    void dialogsListed(const QVariantList &dialogs);
    void show(const QString &key, const Shown &shown, const QString &summary, const QString &body,
              const QStringList &actions, Urgency urgency, const QString &icon);
    void close(const QString &key);
    void serverChanged(const QString &owner);

    QDBusConnection m_bus;
    UserSideClient *m_client = nullptr;
    QDBusServiceWatcher *m_watcher = nullptr;
    bool m_baseline = false;
    bool m_refreshingItems = false;
    bool m_itemsAgain = false;
    // key ("item:<app>/<id>" or "dialog:<id>") -> what is shown for it
    QHash<QString, Shown> m_shown;
    QHash<uint, QString> m_byDesktopId;
    // The last listing of the dialogs, to show them again to a new server.
    QVariantList m_dialogs;
};

} // namespace omdevice

#endif
