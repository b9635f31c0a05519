// Payments end to end: applications with a shop (paymentclient processes,
// each its own package) buy from the payment service of a real omdeviced,
// and omctl plays the user and moves the store's clock.

#include "deviceprocess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QtTest/QTest>

using omtest::DeviceProcess;

namespace {

const QString AppOne = QStringLiteral("com.example.one");
const QString AppTwo = QStringLiteral("com.example.two");

// Starts a request of the application @p package in @p client.
void startShop(QProcess &client, const QString &package, const QStringList &args)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("OM_PACKAGE_NAME"), package);
    client.setProcessEnvironment(env);
    client.start(QStringLiteral(PAYMENTCLIENT_PATH), args);
}

// One request of an application, to its finished reply.
QJsonObject shop(const QString &package, const QStringList &args)
{
    QProcess client;
    startShop(client, package, args);
    if (!client.waitForFinished(20000)) {
        client.kill();
        client.waitForFinished();
        return QJsonObject();
    }
    return QJsonDocument::fromJson(client.readAllStandardOutput()).object();
}

QStringList omctl(const QStringList &args, int *exitCode = nullptr)
{
    const DeviceProcess::Result result =
        DeviceProcess::omctl(QStringList{QStringLiteral("payments")} + args);
    if (exitCode)
        *exitCode = result.exitCode;
    else if (result.exitCode != 0)
        qWarning("omctl payments %s: %s", qPrintable(args.join(' ')), result.err.constData());
    return QString::fromUtf8(result.out).split('\n', Qt::SkipEmptyParts);
}

} // namespace

class tst_PaymentsE2e : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void price();
    void ownedGoodsAndStores();
    void userDeclinesHoldsAndApproves();
    void applicationsApart();
    void storeScreenInvokedFirst();
    void failureOnDemand();

private:
    std::unique_ptr<DeviceProcess> m_device;
};

void tst_PaymentsE2e::init()
{
    m_device.reset(new DeviceProcess);
    QVERIFY2(m_device->start(), m_device->output().constData());
}

void tst_PaymentsE2e::cleanup()
{
    m_device.reset();
}

void tst_PaymentsE2e::price()
{
    const QJsonObject price = shop(AppOne, {"price", "sword"});
    QCOMPARE(price.value("finished").toBool(), true);
    QCOMPARE(price.value("price").toString(), QStringLiteral("0.99"));
    QCOMPARE(price.value("digitalGoodId").toString(), QStringLiteral("sword"));
    const QJsonObject unknown = shop(AppOne, {"price", "nothing"});
    QCOMPARE(unknown.value("error").toBool(), true);
    QCOMPARE(unknown.value("errorCode").toInt(), 3);
    QCOMPARE(unknown.value("errorInfo").toString(), QStringLiteral("unknownGood"));
}

void tst_PaymentsE2e::ownedGoodsAndStores()
{
    const QJsonObject sword = shop(AppOne, {"buy", "sword", "level 3"});
    QCOMPARE(sword.value("error").toBool(), false);
    QCOMPARE(sword.value("receipt").toObject().value("purchaseMetadata").toString(),
             QStringLiteral("level 3"));

    QCOMPARE(shop(AppOne, {"buy", "premium"}).value("receipt").toObject().value("state").toInt(),
             1);

    // Owned already: a second purchase of the sword fails.
    QCOMPARE(shop(AppOne, {"buy", "sword"}).value("errorCode").toInt(), 3);
    const QJsonArray existing = shop(AppOne, {"existing"}).value("purchases").toArray();
    QCOMPARE(existing.size(), 2);
    QCOMPARE(existing.at(0).toObject().value("digitalGoodId").toString(), QStringLiteral("sword"));
    QCOMPARE(existing.at(1).toObject().value("digitalGoodId").toString(),
             QStringLiteral("premium"));
    const QStringList listed = omctl({"purchases", "--app", AppOne});
    QCOMPARE(listed.size(), 2);
    QVERIFY(listed.first().contains("sword") && listed.first().contains("production store"));

    // The test store is another: it sells the sword again, and lists it alone.
    QCOMPARE(shop(AppOne, {"--test", "buy", "sword"}).value("error").toBool(), false);
    QCOMPARE(shop(AppOne, {"--test", "existing"}).value("purchases").toArray().size(), 1);
    QCOMPARE(omctl({"purchases", "--store", "test"}).size(), 1);
}

void tst_PaymentsE2e::userDeclinesHoldsAndApproves()
{
    omctl({"mode", "decline"});
    const QJsonObject declined = shop(AppOne, {"buy", "gems-100"});
    QCOMPARE(declined.value("error").toBool(), true);
    QCOMPARE(declined.value("errorCode").toInt(), 1);

    omctl({"mode", "hold"});
    QProcess client;
    startShop(client, AppOne, {"buy", "gems-100"});
    QVERIFY(client.waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(omctl({"pending"}).join('\n').contains("gems-100"), 10000);
    QVERIFY(client.state() == QProcess::Running); // waiting for the user
    QVERIFY(omctl({"approve"}).join('\n').startsWith("approved: "));
    QVERIFY(client.waitForFinished(10000));
    const QJsonObject approved = QJsonDocument::fromJson(client.readAllStandardOutput()).object();
    QCOMPARE(approved.value("error").toBool(), false);
    QCOMPARE(approved.value("receipt").toObject().value("digitalGoodId").toString(),
             QStringLiteral("gems-100"));

    QProcess second;
    startShop(second, AppOne, {"buy", "gems-100"});
    QTRY_VERIFY_WITH_TIMEOUT(omctl({"pending"}).join('\n').contains("gems-100"), 10000);
    QVERIFY(omctl({"decline"}).join('\n').startsWith("declined purchase"));
    QVERIFY(second.waitForFinished(10000));
    QCOMPARE(
        QJsonDocument::fromJson(second.readAllStandardOutput()).object().value("errorCode").toInt(),
        1);
    int code = 0;
    omctl({"approve"}, &code);
    QCOMPARE(code, 1); // nothing waits now
}

void tst_PaymentsE2e::applicationsApart()
{
    const QString purchaseId =
        shop(AppOne, {"buy", "premium"}).value("receipt").toObject().value("purchaseId").toString();
    QCOMPARE(shop(AppTwo, {"existing"}).value("purchases").toArray().size(), 0);
    QCOMPARE(shop(AppTwo, {"status", "premium"}).value("active").toBool(), false);
    // Another application cannot cancel it, nor learn that it exists.
    const QJsonObject foreign = shop(AppTwo, {"cancel", purchaseId});
    QCOMPARE(foreign.value("errorCode").toInt(), 3);
    QCOMPARE(foreign.value("errorInfo").toString(), QStringLiteral("unknownPurchase"));
    QCOMPARE(shop(AppOne, {"status", "premium"}).value("active").toBool(), true);
    QCOMPARE(shop(AppTwo, {"buy", "premium"}).value("error").toBool(), false);
}

void tst_PaymentsE2e::storeScreenInvokedFirst()
{
    omctl({"mode", "approve", "--invoke", "on"});
    const QJsonObject bought = shop(AppOne, {"buy", "sword"});
    QCOMPARE(bought.value("error").toBool(), false);
    QCOMPARE(bought.value("receipt").toObject().value("digitalGoodId").toString(),
             QStringLiteral("sword"));
    // The application invoked the store's screen through the invocation service.
    QTRY_VERIFY_WITH_TIMEOUT(omctl({"invocations"}).join('\n').contains("from " + AppOne), 10000);
    const QString shown = omctl({"invocations"}).join('\n');
    QVERIFY2(shown.contains("om.action.PAY") && shown.contains("store://purchase/sword"),
             qPrintable(shown));
}

void tst_PaymentsE2e::failureOnDemand()
{
    omctl({"fail-next", "7", "--text", "seven", "--request", "purchase"});
    const QJsonObject failed = shop(AppOne, {"buy", "sword"});
    QCOMPARE(failed.value("errorCode").toInt(), 7);
    QCOMPARE(failed.value("errorText").toString(), QStringLiteral("seven"));
    QCOMPARE(shop(AppOne, {"buy", "sword"}).value("error").toBool(), false);
    QVERIFY(omctl({"clock", "+2"}).join('\n').contains("2 days ahead"));
    QVERIFY(omctl({"clock"}).join('\n').contains("2 days ahead"));
    int code = 0;
    omctl({"mode", "sometimes"}, &code);
    QCOMPARE(code, 1);
}

QTEST_GUILESS_MAIN(tst_PaymentsE2e)
#include "tst_payments_e2e.moc"
