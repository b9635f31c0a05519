// The desktop bridge against a fake desktop notification service on a
// private session bus: what the desktop is shown, actions that come back
// as the user's answers, the desktop's service starting again, and a
// device without a session bus.

#include "controlclient.h"
#include "deviceprocess.h"
#include "inprocessdevice.h"

#include <om/packageinfo.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QProcess>
#include <QtTest>

#include <memory>

using omtest::ControlClient;

namespace {

const QString Service = QStringLiteral("org.freedesktop.Notifications");
const QString Path = QStringLiteral("/org/freedesktop/Notifications");
const QString NotifyControl = QStringLiteral("/pps/services/notify/control");

QVariantMap request(const QString &msg, const QVariantMap &dat, const QString &id = QStringLiteral("r"))
{
    return ControlClient::message(msg, id, dat);
}

} // namespace

/** A desktop's notification service that records what it is asked. */
class FakeNotifications : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    struct Shown
    {
        uint id;
        QString application;
        uint replaces;
        QString summary;
        QString body;
        QStringList actions;
        QVariantMap hints;
        int timeout;
    };

    explicit FakeNotifications(const QString &address, const QString &name)
        : m_bus(QDBusConnection::connectToBus(address, name))
    {
        m_bus.registerObject(Path, this, QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals);
    }
    ~FakeNotifications() override
    {
        m_bus.unregisterService(Service);
        m_bus.unregisterObject(Path);
        const QString name = m_bus.name();
        QDBusConnection::disconnectFromBus(name);
    }

    /** Takes the service's name; false while another connection still
     *  holds it (the bus frees a name when it has seen its holder go). */
    bool registerService() { return m_bus.registerService(Service); }
    QList<Shown> shown;
    QList<uint> closed;

    void invokeAction(uint id, const QString &action) { Q_EMIT ActionInvoked(id, action); }

public Q_SLOTS:
    uint Notify(const QString &application, uint replaces, const QString &icon, const QString &summary,
                const QString &body, const QStringList &actions, const QVariantMap &hints, int timeout)
    {
        Q_UNUSED(icon)
        const uint id = replaces != 0 ? replaces : ++m_lastId;
        shown.append({id, application, replaces, summary, body, actions, hints, timeout});
        return id;
    }
    void CloseNotification(uint id) { closed.append(id); }
    QStringList GetCapabilities() { return {QStringLiteral("actions"), QStringLiteral("body")}; }
    QString GetServerInformation(QString &vendor, QString &version, QString &specVersion)
    {
        vendor = QStringLiteral("test");
        version = QStringLiteral("1");
        specVersion = QStringLiteral("1.2");
        return QStringLiteral("fake");
    }

Q_SIGNALS:
    void ActionInvoked(uint id, const QString &action_key);
    void NotificationClosed(uint id, uint reason);

private:
    QDBusConnection m_bus;
    uint m_lastId = 100;
};

class tst_DesktopBridge : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void notificationShownWithItsFields_data();
    void notificationShownWithItsFields();
    void dialogButtonAnswersTheApplication();
    void openActionOpensTheItem();
    void desktopServiceStartsAgain();
    void withoutSessionBusStaysOff();

private:
    const FakeNotifications::Shown *waitForShown(FakeNotifications *fake, const QString &summary);

    QProcess m_dbus;
    QString m_address;
    std::unique_ptr<FakeNotifications> m_fake;
    std::unique_ptr<omtest::InProcessDevice> m_device;
    int m_fakes = 0;
};

void tst_DesktopBridge::initTestCase()
{
    m_dbus.start(QStringLiteral("dbus-daemon"),
                 {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address=1")});
    QVERIFY2(m_dbus.waitForStarted(10000), "dbus-daemon (Debian's dbus-daemon) did not start");
    while (!m_dbus.canReadLine())
        QVERIFY(m_dbus.waitForReadyRead(10000));
    m_address = QString::fromLocal8Bit(m_dbus.readLine()).trimmed();
    QVERIFY(!m_address.isEmpty());
    // Before anything in this process reaches for the session bus.
    qputenv("DBUS_SESSION_BUS_ADDRESS", m_address.toLocal8Bit());
}

void tst_DesktopBridge::cleanupTestCase()
{
    m_dbus.terminate();
    m_dbus.waitForFinished(5000);
}

void tst_DesktopBridge::init()
{
    m_fake = std::make_unique<FakeNotifications>(m_address, QStringLiteral("fake%1").arg(++m_fakes));
    QTRY_VERIFY_WITH_TIMEOUT(m_fake->registerService(), 5000);
    if (QTest::currentTestFunction() == QLatin1String("withoutSessionBusStaysOff"))
        return;
    m_device = std::make_unique<omtest::InProcessDevice>();
    QVERIFY(m_device->start({QStringLiteral("desktop")}));
    // The bridge shows what comes after its first look at the inbox, which
    // it takes on its own time: post until the desktop shows something.
    ControlClient application(NotifyControl);
    for (int i = 0; i < 20 && m_fake->shown.isEmpty(); ++i) {
        application.ask(request("notify", {{"itemId", "warm-up"}, {"title", QString::number(i)}}));
        (void)QTest::qWaitFor([this]() { return !m_fake->shown.isEmpty(); }, 250);
    }
    QVERIFY(!m_fake->shown.isEmpty());
    m_fake->shown.clear();
}

void tst_DesktopBridge::cleanup()
{
    m_device.reset();
    m_fake.reset();
}

const FakeNotifications::Shown *tst_DesktopBridge::waitForShown(FakeNotifications *fake,
                                                                const QString &summary)
{
    const FakeNotifications::Shown *found = nullptr;
    auto find = [&]() {
        for (const FakeNotifications::Shown &shown : fake->shown) {
            if (shown.summary == summary)
                found = &shown;
        }
        return found != nullptr;
    };
    (void)QTest::qWaitFor(find, 5000);
    return found;
}

void tst_DesktopBridge::notificationShownWithItsFields_data()
{
    QTest::addColumn<QVariantMap>("extra");
    QTest::addColumn<int>("urgency");
    QTest::addColumn<QStringList>("actions");

    QTest::newRow("plain") << QVariantMap() << 1 << QStringList();
    QTest::newRow("without alerts") << QVariantMap{{"type", "uib_silent"}} << 0 << QStringList();
    QTest::newRow("with an invocation")
        << QVariantMap{{"target", "om.maps"}, {"targetAction", "om.action.OPEN"}} << 1
        << QStringList{"default", "Open"};
}

void tst_DesktopBridge::notificationShownWithItsFields()
{
    QFETCH(QVariantMap, extra);
    QFETCH(int, urgency);
    QFETCH(QStringList, actions);

    ControlClient application(NotifyControl);
    QVariantMap dat = extra;
    dat.insert("itemId", "n1");
    dat.insert("title", "Your order shipped");
    dat.insert("subtitle", "It arrives on Friday");
    application.ask(request("notify", dat));
    const FakeNotifications::Shown *shown = waitForShown(m_fake.get(), "Your order shipped");
    QVERIFY(shown);
    QCOMPARE(shown->application, om::PackageInfo().name());
    QCOMPARE(shown->body, QStringLiteral("It arrives on Friday"));
    QCOMPARE(shown->hints.value("urgency").toInt(), urgency);
    QCOMPARE(shown->actions, actions);

    // Deleted by the application: off the desktop.
    const uint id = shown->id;
    application.send(ControlClient::message("delete", QVariant(), QVariantMap{{"itemId", "n1"}}));
    QTRY_VERIFY_WITH_TIMEOUT(m_fake->closed.contains(id), 5000);
}

void tst_DesktopBridge::dialogButtonAnswersTheApplication()
{
    ControlClient application(NotifyControl);
    const QVariantMap dialog{
        {"itemId", "{d1}"},
        {"title", "Install the update?"},
        {"subtitle", "The device restarts."},
        {"promptChoices", QVariantList{QVariantMap{{"label", "Later"}, {"context", "later"}},
                                       QVariantMap{{"label", "Install"}, {"context", "install"}}}}};
    QCOMPARE(application.ask(request("alert", dialog)).value("res").toString(), QStringLiteral("alert"));
    const FakeNotifications::Shown *shown = waitForShown(m_fake.get(), "Install the update?");
    QVERIFY(shown);
    QCOMPARE(shown->actions, (QStringList{"later", "Later", "install", "Install"}));
    QCOMPARE(shown->hints.value("urgency").toInt(), 2);
    QCOMPARE(shown->timeout, 0);

    m_fake->invokeAction(shown->id, "install");
    const QVariantMap choice = application.next();
    QCOMPARE(choice.value("msg").toString(), QStringLiteral("choice"));
    QCOMPARE(choice.value("dat").toMap().value("context").toString(), QStringLiteral("install"));
    // Answered: the dialog leaves the desktop too.
    QTRY_VERIFY_WITH_TIMEOUT(m_fake->closed.contains(shown->id), 5000);
}

void tst_DesktopBridge::openActionOpensTheItem()
{
    ControlClient application(NotifyControl);
    application.ask(request("notify", {{"itemId", "map"},
                                       {"title", "Meet here"},
                                       {"target", "om.maps"},
                                       {"targetAction", "om.action.OPEN"},
                                       {"payloadType", "application/vnd.omb.map.action-v1"},
                                       {"payload", QString::fromLatin1(QByteArray("JSON {}").toBase64())}}));
    const FakeNotifications::Shown *shown = waitForShown(m_fake.get(), "Meet here");
    QVERIFY(shown);
    m_fake->invokeAction(shown->id, "default");
    // The maps application took the item's invocation.
    ControlClient invocations(QStringLiteral("/pps/simulator/invoke"));
    QTRY_COMPARE_WITH_TIMEOUT(invocations.ask(request("invocations", {}))
                                  .value("dat")
                                  .toMap()
                                  .value("total")
                                  .toInt(),
                              1, 5000);
}

void tst_DesktopBridge::desktopServiceStartsAgain()
{
    ControlClient application(NotifyControl);
    application.ask(request("alert", {{"itemId", "{d2}"},
                                      {"title", "Still there?"},
                                      {"promptChoices", QVariantList{QVariantMap{{"label", "Yes"}, {"context", "yes"}}}}}));
    QVERIFY(waitForShown(m_fake.get(), "Still there?"));

    // The desktop's service goes and another takes its place.
    m_fake.reset();
    auto again = std::make_unique<FakeNotifications>(m_address, QStringLiteral("fake%1").arg(++m_fakes));
    QTRY_VERIFY_WITH_TIMEOUT(again->registerService(), 5000);
    // The dialog that waits is shown to it, and answered through it.
    const FakeNotifications::Shown *shown = waitForShown(again.get(), "Still there?");
    QVERIFY(shown);
    again->invokeAction(shown->id, "yes");
    QCOMPARE(application.next().value("dat").toMap().value("context").toString(), QStringLiteral("yes"));
    // New notifications reach it too.
    application.ask(request("notify", {{"itemId", "later"}, {"title", "After the restart"}}));
    QVERIFY(waitForShown(again.get(), "After the restart"));
    m_fake = std::move(again);
}

void tst_DesktopBridge::withoutSessionBusStaysOff()
{
    const QByteArray address = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    omtest::DeviceProcess device;
    const bool started = device.start({QStringLiteral("--services=notifications"), QStringLiteral("--desktop")});
    qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    QVERIFY(started);
    ControlClient application(NotifyControl);
    QCOMPARE(application.ask(request("notify", {{"itemId", "x"}, {"title", "x"}})).value("res").toString(),
             QStringLiteral("notify"));
    QVERIFY(device.stop());
    const QByteArray output = device.output();
    QCOMPARE(output.count("omdeviced: om.device.desktop: no session bus, so desktop notifications stay off"), 1);
    QVERIFY(output.contains("(services: notifications, desktop)"));
}

QTEST_GUILESS_MAIN(tst_DesktopBridge)
#include "tst_desktopbridge.moc"
