// The services' user sides as the console and the desktop bridge use
// them: "watch" and the "changed" that follows every change, and the
// inbox's user side (open, clear effects, remove, the newest items).

#include "controlclient.h"
#include "inprocessdevice.h"

#include <om/packageinfo.h>

#include <QtTest>

using omtest::ControlClient;

namespace {

const QString NotifyControl = QStringLiteral("/pps/services/notify/control");
const QString NotifyUser = QStringLiteral("/pps/simulator/notifications");

QVariantMap request(const QString &msg, const QVariantMap &dat = QVariantMap(),
                    const QString &id = QStringLiteral("r"))
{
    return ControlClient::message(msg, id, dat);
}

/** The next "changed" the client reads, skipping answers. */
QString nextChange(ControlClient &client)
{
    for (int i = 0; i < 5; ++i) {
        const QVariantMap message = client.next();
        if (message.isEmpty())
            return QStringLiteral("(nothing)");
        if (message.value("msg") == QLatin1String("changed"))
            return message.value("dat").toMap().value("what").toString();
    }
    return QStringLiteral("(no change among the messages)");
}

} // namespace

class tst_UserSideWatch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void changeIsTold_data();
    void changeIsTold();
    void onlyWatchersAreTold();
    void openItem_data();
    void openItem();
    void clearAndRemove();
    void newestItems();
    void extendPendingLock();
    void allStoredData();

private:
    QVariantMap post(const QString &itemId, const QVariantMap &extra = QVariantMap());
    QList<QVariantMap> inbox();

    std::unique_ptr<omtest::InProcessDevice> m_device;
    QString m_package;
};

void tst_UserSideWatch::init()
{
    m_package = om::PackageInfo().name();
    m_device = std::make_unique<omtest::InProcessDevice>();
    QVERIFY(m_device->start());
}

void tst_UserSideWatch::cleanup()
{
    m_device.reset();
}

QVariantMap tst_UserSideWatch::post(const QString &itemId, const QVariantMap &extra)
{
    ControlClient application(NotifyControl);
    QVariantMap dat = extra;
    dat.insert("itemId", itemId);
    dat.insert("title", "Title " + itemId);
    return application.ask(request("notify", dat, itemId));
}

QList<QVariantMap> tst_UserSideWatch::inbox()
{
    ControlClient user(NotifyUser);
    QList<QVariantMap> items;
    for (const QVariant &item : user.ask(request("inbox")).value("dat").toMap().value("items").toList())
        items.append(item.toMap());
    return items;
}

void tst_UserSideWatch::changeIsTold_data()
{
    QTest::addColumn<QString>("watched");
    QTest::addColumn<QString>("actor");
    QTest::addColumn<QVariantMap>("action");
    QTest::addColumn<QString>("what");

    const QVariantMap dialog{{"itemId", "d1"},
                             {"title", "Sure?"},
                             {"promptChoices", QVariantList{QVariantMap{{"label", "Yes"}, {"context", "yes"}}}}};
    QTest::newRow("inbox") << NotifyUser << NotifyControl
                           << request("notify", {{"itemId", "a"}, {"title", "Hello"}}) << "items";
    QTest::newRow("dialogs") << NotifyUser << NotifyControl << request("alert", dialog) << "dialogs";
    QTest::newRow("settings") << "/pps/simulator/notification-settings"
                              << "/pps/simulator/notification-settings"
                              << request("setGlobal", {{"key", "sound"}, {"value", "off"}})
                              << "settings";
    QTest::newRow("home screen") << "/pps/simulator/navigator"
                                 << "/pps/simulator/navigator"
                                 << request("setLockState", {{"state", "screenLocked"}}) << "home";
    QTest::newRow("invocation") << "/pps/simulator/invoke"
                                << "/pps/services/invoke/control"
                                << request("invoke", {{"target", "no.such.target"}, {"action", "x"}})
                                << "invocations";
    QTest::newRow("data lock") << "/pps/simulator/perimeter"
                               << "/pps/simulator/perimeter" << request("lock") << "status";
    QTest::newRow("identity") << "/pps/simulator/identity"
                              << "/pps/simulator/identity"
                              << request("setOffline", {{"offline", true}}) << "state";
    QTest::newRow("store mode") << "/pps/simulator/payments"
                                << "/pps/simulator/payments" << request("mode", {{"mode", "hold"}})
                                << "store";
    QTest::newRow("purchase") << "/pps/simulator/payments"
                              << "/pps/services/paymentsystem/control"
                              << request("paymentSystemType", {{"digitalGoodID", "gems-100"}})
                              << "store";
}

void tst_UserSideWatch::changeIsTold()
{
    QFETCH(QString, watched);
    QFETCH(QString, actor);
    QFETCH(QVariantMap, action);
    QFETCH(QString, what);

    ControlClient watcher(watched);
    QVERIFY(watcher.isOpen());
    QCOMPARE(watcher.ask(request("watch", {}, "w")).value("res").toString(), QStringLiteral("watch"));
    ControlClient acting(actor);
    QVERIFY(acting.isOpen());
    QVERIFY(acting.send(action));
    QCOMPARE(nextChange(watcher), what);
}

void tst_UserSideWatch::onlyWatchersAreTold()
{
    // omctl and other one-shot clients read answers only.
    ControlClient watcher("/pps/simulator/navigator");
    watcher.ask(request("watch"));
    ControlClient other("/pps/simulator/navigator");
    QCOMPARE(other.ask(request("setLockState", {{"state", "pinBlocked"}}, "1")).value("id").toString(),
             QStringLiteral("1"));
    QCOMPARE(other.ask(request("home", {}, "2")).value("id").toString(), QStringLiteral("2"));
    QCOMPARE(nextChange(watcher), QStringLiteral("home"));
}

void tst_UserSideWatch::openItem_data()
{
    QTest::addColumn<QVariantMap>("invocation");
    QTest::addColumn<QString>("invoked");
    QTest::addColumn<QString>("error");

    QTest::newRow("nothing to invoke") << QVariantMap() << QString() << QString();
    QTest::newRow("the maps application")
        << QVariantMap{{"target", "om.maps"},
                       {"targetAction", "om.action.OPEN"},
                       {"payloadType", "application/vnd.omb.map.action-v1"},
                       {"payload", QString::fromLatin1(QByteArray("JSON {\"view\":\"map\"}").toBase64())}}
        << "om.maps" << QString();
    QTest::newRow("no such target")
        << QVariantMap{{"target", "no.such.app"}, {"targetAction", "om.action.OPEN"}} << QString()
        << "the invocation failed";
}

void tst_UserSideWatch::openItem()
{
    QFETCH(QVariantMap, invocation);
    QFETCH(QString, invoked);
    QFETCH(QString, error);

    QVERIFY(!post("x", invocation).contains("err"));
    ControlClient user(NotifyUser);
    const QVariantMap answer =
        user.ask(request("open", {{"application", m_package}, {"itemId", "x"}}));
    if (error.isEmpty()) {
        QVERIFY2(!answer.contains("err"), qPrintable(answer.value("err").toString()));
        QCOMPARE(answer.value("dat").toMap().value("invoked").toString(), invoked);
    } else {
        QVERIFY(answer.value("err").toString().startsWith(error));
    }
    // Opened is seen, whatever the invocation did.
    QCOMPARE(inbox().value(0).value("effectsCleared").toBool(), true);

    if (!invoked.isEmpty()) {
        ControlClient invocations("/pps/simulator/invoke");
        const QVariantList list =
            invocations.ask(request("invocations")).value("dat").toMap().value("invocations").toList();
        QCOMPARE(list.size(), 1);
        QCOMPARE(list.first().toMap().value("target").toString(), invoked);
    }
}

void tst_UserSideWatch::clearAndRemove()
{
    post("a");
    post("b");
    ControlClient user(NotifyUser);
    const QVariantMap a{{"application", m_package}, {"itemId", "a"}};

    QVERIFY(!user.ask(request("clearEffects", a)).contains("err"));
    QList<QVariantMap> items = inbox();
    QCOMPARE(items.size(), 2);
    QCOMPARE(items.at(0).value("effectsCleared").toBool(), true);
    QCOMPARE(items.at(1).value("effectsCleared").toBool(), false);

    // Unknown items and applications are refused, and change nothing.
    QCOMPARE(user.ask(request("remove", {{"application", m_package}, {"itemId", "zz"}}))
                 .value("err")
                 .toString(),
             QStringLiteral("no item 'zz' of '%1' in the inbox").arg(m_package));
    QVERIFY(user.ask(request("open", {{"application", "other"}, {"itemId", "a"}})).contains("err"));
    QVERIFY(user.ask(request("remove", {{"application", "other"}})).contains("err"));
    QCOMPARE(inbox().size(), 2);

    QVERIFY(!user.ask(request("remove", a)).contains("err"));
    QCOMPARE(inbox().size(), 1);
    // Without an item: every item of the application.
    QVERIFY(!user.ask(request("remove", {{"application", m_package}})).contains("err"));
    QCOMPARE(inbox().size(), 0);
}

void tst_UserSideWatch::newestItems()
{
    for (const char *id : {"1", "2", "3"})
        post(QString::fromLatin1(id));
    ControlClient user(NotifyUser);
    const QVariantMap dat = user.ask(request("inbox", {{"last", 2}})).value("dat").toMap();
    QCOMPARE(dat.value("total").toInt(), 3);
    const QVariantList items = dat.value("items").toList();
    QCOMPARE(items.size(), 2);
    QCOMPARE(items.at(0).toMap().value("itemId").toString(), QStringLiteral("2"));
    QCOMPARE(items.at(1).toMap().value("itemId").toString(), QStringLiteral("3"));
}

void tst_UserSideWatch::extendPendingLock()
{
    ControlClient user("/pps/simulator/perimeter");
    QCOMPARE(user.ask(request("extend", {{"seconds", 30}})).value("err").toString(),
             QStringLiteral("no lock is pending"));
    const qint64 due =
        user.ask(request("pending", {{"seconds", 60}})).value("dat").toMap().value("time").toLongLong();
    QVERIFY(due > 0);
    const QVariantMap extended = user.ask(request("extend", {{"seconds", 30}})).value("dat").toMap();
    QCOMPARE(extended.value("state").toInt(), 5);
    QCOMPARE(extended.value("time").toLongLong(), due + 30);
    QVERIFY(user.ask(request("extend", {{"seconds", -1}})).contains("err"));
    QVERIFY(user.ask(request("extend", {{"seconds", 1e12}})).contains("err"));
}

void tst_UserSideWatch::allStoredData()
{
    ControlClient user("/pps/simulator/identity");
    for (const char *package : {"app.one", "app.two"}) {
        QVERIFY(!user.ask(request("setData", {{"package", package},
                                              {"name", "k"},
                                              {"value", QString::fromLatin1(QByteArray("v").toBase64())}}))
                     .contains("err"));
    }
    const QVariantList owners =
        user.ask(request("allData")).value("dat").toMap().value("owners").toList();
    QCOMPARE(owners.size(), 2);
    const QVariantList entries = owners.first().toMap().value("entries").toList();
    QCOMPARE(entries.size(), 1);
    QCOMPARE(entries.first().toMap().value("name").toString(), QStringLiteral("k"));
    QCOMPARE(entries.first().toMap().value("size").toInt(), 1);
}

QTEST_GUILESS_MAIN(tst_UserSideWatch)
#include "tst_usersidewatch.moc"
