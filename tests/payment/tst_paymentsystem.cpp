// The device's payment service, in this process on a bus of its own: its
// answers in the form the library reads, purchases in time, the user's
// side, bad requests, and what survives a restart.

#include "datarow.h"
#include "serviceclient.h"
#include "testbroker.h"

#include "common/servicemodule.h"
#include "payments/paymentsprotocol_p.h"
#include "payments/paymentsystem.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest/QTest>

#include <memory>

using omdevice::PaymentSystem;
namespace protocol = om::paymentsprotocol;

namespace {

constexpr qint64 Day = 24 * 60 * 60 * 1000LL;

using Client = omtest::ServiceClient;
using omtest::newRow;

QVariantMap dat(const QVariantMap &answer)
{
    return answer.value("dat").toMap();
}

} // namespace

class tst_PaymentSystem : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void answersInTheLibrarysForm_data();
    void answersInTheLibrarysForm();
    void ownedGoodsAndStores();
    void subscriptionInTime();
    void userSideModes_data();
    void userSideModes();
    void purchaseHeldForTheUser();
    void failuresOnDemand();
    void invocationComesFirst();
    void badRequests_data();
    void badRequests();
    void catalogueFromTheUserSide();
    void restartLosesNothing();
    void unreadableCatalogueIsKept();

private:
    void startService();
    QVariantMap user(const QString &msg, const QVariantMap &dat = QVariantMap());
    // The application's requests: the kind of answer, its "dat", the purchases.
    QString res(const QString &msg, const QVariantMap &fields)
    {
        return m_app->call(msg, fields).value("res").toString();
    }
    QVariantMap appDat(const QString &msg, const QVariantMap &fields)
    {
        return dat(m_app->call(msg, fields));
    }
    QVariantList purchases(const QVariantMap &fields = QVariantMap())
    {
        return m_app->call("getExistingPurchasesType", fields).value("dat").toList();
    }

    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<QTemporaryDir> m_data;
    std::unique_ptr<PaymentSystem> m_service;
    std::unique_ptr<Client> m_app;
    std::unique_ptr<Client> m_user;
};

void tst_PaymentSystem::init()
{
    m_broker.reset(new omtest::TestBroker);
    m_data.reset(new QTemporaryDir);
    startService();
}

void tst_PaymentSystem::cleanup()
{
    m_app.reset();
    m_user.reset();
    m_service.reset();
    m_broker.reset();
    m_data.reset();
}

void tst_PaymentSystem::startService()
{
    m_app.reset();
    m_user.reset();
    m_service.reset();
    omdevice::DeviceContext context;
    context.dataDirectory = m_data->path();
    m_service.reset(new PaymentSystem(context, nullptr));
    QString error;
    QVERIFY2(m_service->start(&error), qPrintable(error));
    m_app.reset(new Client(protocol::controlPath()));
    m_user.reset(new Client(protocol::userSidePath()));
    QVERIFY(m_app->isOpen() && m_user->isOpen());
}

QVariantMap tst_PaymentSystem::user(const QString &msg, const QVariantMap &dat)
{
    const QVariantMap answer = m_user->call(msg, dat);
    if (answer.contains("err"))
        qWarning("the user side refused %s: %s", qPrintable(msg),
                 qPrintable(answer.value("err").toString()));
    return answer.value("dat").toMap();
}

void tst_PaymentSystem::answersInTheLibrarysForm_data()
{
    QTest::addColumn<QString>("msg");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QVariantMap>("request");
    QTest::addColumn<QString>("res");
    QTest::addColumn<QVariant>("dat");

    newRow("price of an owned good", "getPriceType", "3", QVariantMap{{"digitalGoodID", "sword"}},
           "getPriceSuccess", QVariant(QVariantMap{{"price", "0.99"}}));
    newRow("terms of a subscription, found by SKU", "getPriceType", "4",
           QVariantMap{{"digitalGoodID", ""}, {"digitalGoodSKU", "PREMIUM-MONTH"}},
           "getPriceSuccess",
           QVariant(QVariantMap{{"price", "0.00"},
                                {"initialPeriod", "7 days"},
                                {"renewalPrice", "4.99"},
                                {"renewalPeriod", "30 days"}}));
    newRow("the id as it came, also from 2^31 on", "checkExistingType", "-2147483648",
           QVariantMap{{"digitalGoodID", "premium"}}, "checkExistingSuccess",
           QVariant(QVariantMap{{"subscriptionExists", false}}));
    newRow("unknown good", "getPriceType", "5", QVariantMap{{"digitalGoodID", "nothing"}},
           "getPriceFailure",
           QVariant(
               QVariantMap{{"errorID", 3},
                           {"errorText", "no digital good with the id \"nothing\" or the SKU \"\""},
                           {"errorSubCode", "unknownGood"}}));
    newRow("no purchases: an empty list", "getExistingPurchasesType", "6",
           QVariantMap{{"allowRefresh", true}}, "getExistingPurchasesSuccess",
           QVariant(QVariantList()));
    newRow("cancel of no purchase", "cancelSubscriptionType", "7",
           QVariantMap{{"purchaseID", "99"}}, "cancelSubscriptionFailure",
           QVariant(QVariantMap{{"errorID", 3},
                                {"errorText", "no purchase \"99\""},
                                {"errorSubCode", "unknownPurchase"}}));
}

void tst_PaymentSystem::answersInTheLibrarysForm()
{
    QFETCH(QString, msg);
    QFETCH(QString, id);
    QFETCH(QVariantMap, request);
    QFETCH(QString, res);
    QFETCH(QVariant, dat);
    QVariantMap fields{{"uiGroupID", "wg"}, {"canHandleInvocation", true}};
    for (auto it = request.cbegin(); it != request.cend(); ++it)
        fields.insert(it.key(), it.value());
    const QVariantMap answer = m_app->call(msg, fields, id);
    QCOMPARE(answer.value("msg").toString(), msg);
    QCOMPARE(answer.value("id"), QVariant(id));
    QCOMPARE(answer.value("res").toString(), res);
    QCOMPARE(answer.value("dat"), dat);
}

void tst_PaymentSystem::ownedGoodsAndStores()
{
    const QVariantMap bought =
        m_app->call("paymentSystemType", {{"digitalGoodID", "sword"},
                                          {"metaData", "level 3"},
                                          {"extras", QVariantMap{{"colour", "red"}}},
                                          {"purchaseAppName", "Shop"}});
    QCOMPARE(bought.value("res").toString(), QString("paymentSystemSuccess"));
    const QVariantMap receipt = dat(bought);
    QCOMPARE(receipt.value("itemState"), QVariant("0"));
    QCOMPARE(receipt.value("digitalGoodID"), QVariant("sword"));
    QCOMPARE(receipt.value("digitalGoodSKU"), QVariant("SWORD-1"));
    QCOMPARE(receipt.value("metaData"), QVariant("level 3"));
    QCOMPARE(receipt.value("extras"), QVariant(QVariantMap{{"colour", "red"}}));
    QVERIFY(!receipt.value("licenseKey").toString().isEmpty());
    QVERIFY(!receipt.contains("startDate"));
    const QString date = receipt.value("date").toString();
    bool digits = false;
    QVERIFY(qAbs(date.toLongLong(&digits) - QDateTime::currentMSecsSinceEpoch()) < Day);
    QVERIFY(digits && date.size() == 13);

    // Owned once: a second purchase fails.
    const QVariantMap again = m_app->call("paymentSystemType", {{"digitalGoodSKU", "SWORD-1"}});
    QCOMPARE(again.value("res").toString(), QString("paymentSystemFailure"));
    QCOMPARE(dat(again).value("errorSubCode"), QVariant("alreadyOwned"));
    // A consumable, as often as one likes.
    QCOMPARE(res("paymentSystemType", {{"digitalGoodID", "gems-100"}}),
             QString("paymentSystemSuccess"));
    QCOMPARE(res("paymentSystemType", {{"digitalGoodID", "gems-100"}}),
             QString("paymentSystemSuccess"));

    const QVariantList production = purchases();
    QCOMPARE(production.size(), 3);
    QCOMPARE(production.first().toMap().value("purchaseID"), receipt.value("purchaseID"));
    // The test store is another store.
    QCOMPARE(purchases({{"localMode", true}}), QVariantList());
    QCOMPARE(appDat("checkExistingType", {{"digitalGoodID", "sword"}, {"localMode", true}})
                 .value("subscriptionExists"),
             QVariant(false));
    QCOMPARE(appDat("checkExistingType", {{"digitalGoodID", "sword"}}).value("subscriptionExists"),
             QVariant(true));
    // Refunded, it is owned no more.
    user("refund", {{"purchaseId", receipt.value("purchaseID")}});
    QCOMPARE(purchases().size(), 2);
    QCOMPARE(res("paymentSystemType", {{"digitalGoodID", "sword"}}),
             QString("paymentSystemSuccess"));
}

void tst_PaymentSystem::subscriptionInTime()
{
    const QVariantMap receipt = appDat("paymentSystemType", {{"digitalGoodID", "premium"}});
    QCOMPARE(receipt.value("itemState"), QVariant("1"));
    QCOMPARE(receipt.value("initialPeriod"), QVariant("7"));
    const qint64 start = receipt.value("startDate").toString().toLongLong();
    const qint64 end = receipt.value("endDate").toString().toLongLong();
    QCOMPARE(end - start, 7 * Day);
    const QString purchaseId = receipt.value("purchaseID").toString();
    auto status = [&]() {
        return appDat("checkExistingType", {{"digitalGoodID", "premium"}})
            .value("subscriptionExists")
            .toBool();
    };
    auto state = [&]() { return purchases().first().toMap(); };
    QVERIFY(status());

    // Past the first period: renewed for 30 days, and once more after them.
    QCOMPARE(user("clock", {{"days", 8}}).value("offsetDays"), QVariant(8));
    QVariantMap renewed = state();
    QCOMPARE(renewed.value("itemState"), QVariant("4"));
    QCOMPARE(renewed.value("startDate").toString().toLongLong(), end);
    QCOMPARE(renewed.value("endDate").toString().toLongLong(), end + 30 * Day);
    user("clock", {{"days", 30}});
    QCOMPARE(state().value("startDate").toString().toLongLong(), end + 30 * Day);
    QVERIFY(status());

    // Cancelled: it runs to the end of its period, and is not renewed.
    const QVariantMap cancelled =
        m_app->call("cancelSubscriptionType", {{"purchaseID", purchaseId}});
    QCOMPARE(cancelled.value("res").toString(), QString("cancelSubscriptionSuccess"));
    QCOMPARE(dat(cancelled), (QVariantMap{{"purchaseID", purchaseId}, {"cancelled", "true"}}));
    QCOMPARE(state().value("itemState"), QVariant("3"));
    QVERIFY(status());
    user("clock", {{"days", 31}});
    QVERIFY(!status());
    QCOMPARE(state().value("itemState"), QVariant("3"));
    QCOMPARE(state().value("endDate").toString().toLongLong(), end + 60 * Day);

    // A new subscription, refunded: over at once.
    const QString second =
        appDat("paymentSystemType", {{"digitalGoodID", "premium"}}).value("purchaseID").toString();
    QVERIFY(status());
    user("refund", {{"purchaseId", second}});
    QVERIFY(!status());
    QCOMPARE(purchases().last().toMap().value("itemState"), QVariant("2"));
    QCOMPARE(appDat("cancelSubscriptionType", {{"purchaseID", second}}).value("errorID"),
             QVariant(3));
    // The clock only moves ahead.
    QVERIFY(m_user->call("clock", {{"days", -1}}).contains("err"));
}

void tst_PaymentSystem::userSideModes_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<int>("errorId");
    QTest::addColumn<QString>("subCode");
    QTest::addColumn<bool>("priceWorks");
    newRow("decline", "decline", 1, "declined", true);
    newRow("fail", "fail", 3, "failed", true);
    newRow("busy", "busy", 2, "busy", true);
    newRow("offline", "offline", 8, "offline", false);
}

void tst_PaymentSystem::userSideModes()
{
    QFETCH(QString, mode);
    QFETCH(int, errorId);
    QFETCH(QString, subCode);
    QFETCH(bool, priceWorks);
    QCOMPARE(user("mode", {{"mode", mode}}).value("mode").toString(), mode);
    const QVariantMap answer = m_app->call("paymentSystemType", {{"digitalGoodID", "gems-100"}});
    QCOMPARE(answer.value("res").toString(), QString("paymentSystemFailure"));
    QCOMPARE(dat(answer).value("errorID"), QVariant(errorId));
    QCOMPARE(dat(answer).value("errorSubCode"), QVariant(subCode));
    QVERIFY(!dat(answer).value("errorText").toString().isEmpty());
    QCOMPARE(res("getPriceType", {{"digitalGoodID", "sword"}}),
             QString(priceWorks ? "getPriceSuccess" : "getPriceFailure"));
    QCOMPARE(purchases(), QVariantList());
    QVERIFY(m_user->call("mode", {{"mode", "sometimes"}}).contains("err"));
}

void tst_PaymentSystem::purchaseHeldForTheUser()
{
    user("mode", {{"mode", "hold"}});
    m_app->send("paymentSystemType", QVariantMap{{"digitalGoodID", "sword"}}, "10");
    QVERIFY(m_app->quiet());
    const QVariantList pending = user("pending").value("pending").toList();
    QCOMPARE(pending.size(), 1);
    QCOMPARE(pending.first().toMap().value("id"), QVariant("sword"));
    // A second purchase meanwhile: busy.
    const QVariantMap busy =
        m_app->call("paymentSystemType", {{"digitalGoodID", "gems-100"}}, "11");
    QCOMPARE(dat(busy).value("errorID"), QVariant(2));
    // The user approves; the first purchase gets its answer.
    QVERIFY(user("approve").contains("purchase"));
    const QVariantMap approved = m_app->next();
    QCOMPARE(approved.value("id"), QVariant("10"));
    QCOMPARE(approved.value("res").toString(), QString("paymentSystemSuccess"));
    // The next one is declined.
    m_app->send("paymentSystemType", QVariantMap{{"digitalGoodID", "gems-100"}}, "12");
    QVERIFY(m_app->quiet());
    const int number =
        user("pending").value("pending").toList().first().toMap().value("pending").toInt();
    QVERIFY(m_user->call("decline", {{"pending", number + 1}}).contains("err"));
    QCOMPARE(user("decline", {{"pending", number}}).value("pending"), QVariant(number));
    const QVariantMap declined = m_app->next();
    QCOMPARE(declined.value("id"), QVariant("12"));
    QCOMPARE(dat(declined).value("errorID"), QVariant(1));
    QVERIFY(m_user->call("approve", {}).contains("err")); // nothing waits
}

void tst_PaymentSystem::failuresOnDemand()
{
    QCOMPARE(user("failNext", {{"code", 7}}).value("queued"), QVariant(1));
    user("failNext", {{"code", 5}, {"text", "five"}, {"subCode", "s5"}, {"request", "price"}});
    const QVariantMap seven = m_app->call("checkExistingType", {{"digitalGoodID", "sword"}});
    QCOMPARE(seven.value("res").toString(), QString("checkExistingFailure"));
    QCOMPARE(dat(seven), (QVariantMap{{"errorID", 7},
                                      {"errorText", "failed on demand with 7"},
                                      {"errorSubCode", "onDemand"}}));
    // The failure for a price waits for a price.
    QCOMPARE(res("checkExistingType", {{"digitalGoodID", "sword"}}),
             QString("checkExistingSuccess"));
    QCOMPARE(appDat("getPriceType", {{"digitalGoodID", "sword"}}),
             (QVariantMap{{"errorID", 5}, {"errorText", "five"}, {"errorSubCode", "s5"}}));
    QCOMPARE(res("getPriceType", {{"digitalGoodID", "sword"}}), QString("getPriceSuccess"));
    QVERIFY(m_user->call("failNext", {{"code", "x"}}).contains("err"));
    QVERIFY(m_user->call("failNext", {{"code", 1}, {"request", "everything"}}).contains("err"));
}

void tst_PaymentSystem::invocationComesFirst()
{
    QCOMPARE(user("mode", {{"invoke", true}}).value("invoke"), QVariant(true));
    const QVariantMap first = m_app->call("paymentSystemType", {{"digitalGoodID", "sword"}}, "20");
    QCOMPARE(first.value("res").toString(), QString("invokeTargetType"));
    QCOMPARE(first.value("id"), QVariant("20"));
    QCOMPARE(dat(first).value("target"), QVariant("om.payments.store"));
    QCOMPARE(dat(first).value("metadata").toMap().value("digitalGoodID"), QVariant("sword"));
    const QVariantMap answer = m_app->next();
    QCOMPARE(answer.value("id"), QVariant("20"));
    QCOMPARE(answer.value("res").toString(), QString("paymentSystemSuccess"));
    // Other requests come without.
    QCOMPARE(res("getPriceType", {{"digitalGoodID", "sword"}}), QString("getPriceSuccess"));
}

void tst_PaymentSystem::badRequests_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("res");
    newRow("not PPS", QByteArray("no colon here\n"), "Failure");
    newRow("dat that is text", QByteArray("id::1\nmsg::getPriceType\ndat::sword\n"),
           "getPriceFailure");
    newRow("no dat", QByteArray("id::1\nmsg::checkExistingType\n"), "checkExistingFailure");
    newRow("unknown request", QByteArray("id::1\nmsg::refundEverythingType\ndat:json:{}\n"),
           "refundEverythingFailure");
    newRow("text that is not UTF-8",
           QByteArray("id::1\nmsg::paymentSystemType\ndat:json:{\"digitalGoodID\":"
                      "\"gems-100\",\"metaData\":\"caf\xe9\"}\n"),
           "paymentSystemSuccess");
    newRow("fields of the wrong type",
           QByteArray(
               "id::1\nmsg::paymentSystemType\ndat:json:{\"digitalGoodID\":7,\"extras\":[1]}\n"),
           "paymentSystemFailure");
}

void tst_PaymentSystem::badRequests()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, res);
    m_app->sendRaw(text);
    const QVariantMap answer = m_app->next();
    QCOMPARE(answer.value("res").toString(), res);
    QVERIFY(answer.contains("dat"));
    if (res.endsWith("Failure"))
        QCOMPARE(dat(answer).value("errorID"), QVariant(3));
    // And the service goes on.
    QCOMPARE(this->res("getPriceType", {{"digitalGoodID", "sword"}}), QString("getPriceSuccess"));
}

void tst_PaymentSystem::catalogueFromTheUserSide()
{
    QCOMPARE(user("goods").value("goods").toList().size(), 4);
    const QVariantMap added = user("addGood", {{"id", "potion"},
                                               {"sku", "POT"},
                                               {"name", "Potion"},
                                               {"price", "0.10"},
                                               {"kind", "consumable"}});
    QCOMPARE(added.value("good").toMap().value("kind"), QVariant("consumable"));
    QVERIFY(m_user->call("addGood", {{"id", "potion"}}).contains("err"));
    QVERIFY(m_user->call("addGood", {{"id", "other"}, {"sku", "POT"}}).contains("err"));
    QVERIFY(m_user->call("addGood", {{"id", "sub"}, {"kind", "subscription"}}).contains("err"));
    QVERIFY(m_user->call("addGood", {{"id", "x"}, {"kind", "rental"}}).contains("err"));
    QCOMPARE(user("changeGood", {{"id", "potion"}, {"price", "0.20"}})
                 .value("good")
                 .toMap()
                 .value("price"),
             QVariant("0.20"));
    QVERIFY(m_user->call("changeGood", {{"id", "nothing"}, {"price", "1"}}).contains("err"));
    QCOMPARE(appDat("getPriceType", {{"digitalGoodSKU", "POT"}}).value("price"), QVariant("0.20"));
    user("removeGood", {{"id", "potion"}});
    QCOMPARE(appDat("getPriceType", {{"digitalGoodSKU", "POT"}}).value("errorSubCode"),
             QVariant("unknownGood"));
}

void tst_PaymentSystem::restartLosesNothing()
{
    const QString bought =
        appDat("paymentSystemType", {{"digitalGoodID", "premium"}, {"localMode", true}})
            .value("purchaseID")
            .toString();
    user("clock", {{"days", 3}});
    user("addGood", {{"id", "potion"}, {"price", "0.10"}});
    user("mode", {{"mode", "decline"}, {"invoke", true}});
    startService();
    const QVariantList test = purchases({{"localMode", true}});
    QCOMPARE(test.size(), 1);
    QCOMPARE(test.first().toMap().value("purchaseID"), QVariant(bought));
    QCOMPARE(user("clock").value("offsetDays"), QVariant(3));
    QCOMPARE(appDat("getPriceType", {{"digitalGoodID", "potion"}}).value("price"),
             QVariant("0.10"));
    const QVariantMap mode = user("mode");
    QCOMPARE(mode, (QVariantMap{{"mode", "decline"}, {"invoke", true}}));
    // Numbers of purchases go on from where they were.
    user("mode", {{"mode", "approve"}, {"invoke", false}});
    const QString next =
        appDat("paymentSystemType", {{"digitalGoodID", "sword"}}).value("purchaseID").toString();
    QVERIFY(next != bought && !next.isEmpty());
}

void tst_PaymentSystem::unreadableCatalogueIsKept()
{
    // A catalogue a developer writes by hand while the device is stopped,
    // and gets wrong, is kept aside; the store starts with the samples.
    m_service.reset();
    const QString file = m_data->filePath("payments-catalogue.json");
    {
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write("{ \"goods\": [ this is being edited");
    }
    startService();
    QCOMPARE(appDat("getPriceType", {{"digitalGoodID", "sword"}}).value("price"),
             QVariant("0.99"));
    QVERIFY(!m_user->call("addGood", {{"id", "potion"}, {"sku", "POT"}, {"name", "Potion"},
                                      {"price", "0.10"}, {"kind", "consumable"}})
                 .contains("err"));
    const QStringList kept =
        QDir(m_data->path()).entryList({QStringLiteral("payments-catalogue.json.unreadable-*")});
    QCOMPARE(kept.size(), 1);
    QFile f(m_data->filePath(kept.first()));
    QVERIFY(f.open(QIODevice::ReadOnly));
    QCOMPARE(f.readAll(), QByteArray("{ \"goods\": [ this is being edited"));
}

QTEST_GUILESS_MAIN(tst_PaymentSystem)
#include "tst_paymentsystem.moc"
