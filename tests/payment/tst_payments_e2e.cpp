// Payments end to end: applications with a shop (paymentclient processes,
// each its own package) buy from the payment service of a real omdeviced,
// and omctl plays the user and moves the store's clock.

#include "deviceprocess.h"

#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTimer>
#include <QtTest/QTest>

#include <unistd.h>

using omtest::DeviceProcess;

namespace {

const QString AppOne = QStringLiteral("com.example.one");
const QString AppTwo = QStringLiteral("com.example.two");

QProcessEnvironment environmentOf(const QString &package)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("OM_PACKAGE_NAME"), package);
    return env;
}

// One request of an application, to its finished reply.
QJsonObject shop(const QString &package, const QStringList &args)
{
    QProcess client;
    client.setProcessEnvironment(environmentOf(package));
    client.start(QStringLiteral(PAYMENTCLIENT_PATH), args);
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

// CPU time of a process so far, in seconds.
double cpuOf(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> fields = stat.readAll().split(')').value(1).trimmed().split(' ');
    // After the command: state is field 3, utime 14, stime 15.
    return (fields.value(11).toDouble() + fields.value(12).toDouble()) /
           double(sysconf(_SC_CLK_TCK));
}

void runEventLoopFor(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

} // namespace

class tst_PaymentsE2e : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void priceAndTerms();
    void ownedGoodAndSubscription();
    void userDeclinesHoldsAndApproves();
    void statusBeforeAndAfterCancel();
    void renewalAfterMovingTheClock();
    void testStoreApartFromProduction();
    void applicationsApart();
    void storeScreenInvokedFirst();
    void failureOnDemand();
    void purchasesSurviveRestart();
    void deviceGoneLeavesShopIdle();

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

void tst_PaymentsE2e::priceAndTerms()
{
    const QJsonObject price = shop(AppOne, {"price", "sword"});
    QCOMPARE(price.value("finished").toBool(), true);
    QCOMPARE(price.value("price").toString(), QStringLiteral("0.99"));
    QCOMPARE(price.value("digitalGoodId").toString(), QStringLiteral("sword"));
    const QJsonObject terms = shop(AppOne, {"terms", "premium"});
    QCOMPARE(terms.value("price").toString(), QStringLiteral("0.00"));
    QCOMPARE(terms.value("initialPeriod").toString(), QStringLiteral("7 days"));
    QCOMPARE(terms.value("renewalPrice").toString(), QStringLiteral("4.99"));
    QCOMPARE(terms.value("renewalPeriod").toString(), QStringLiteral("30 days"));
    const QJsonObject unknown = shop(AppOne, {"price", "nothing"});
    QCOMPARE(unknown.value("error").toBool(), true);
    QCOMPARE(unknown.value("errorCode").toInt(), 3);
    QCOMPARE(unknown.value("errorInfo").toString(), QStringLiteral("unknownGood"));
}

void tst_PaymentsE2e::ownedGoodAndSubscription()
{
    const QJsonObject sword = shop(AppOne, {"buy", "sword", "level 3"});
    QCOMPARE(sword.value("error").toBool(), false);
    const QJsonObject receipt = sword.value("receipt").toObject();
    QCOMPARE(receipt.value("isValid").toBool(), true);
    QCOMPARE(receipt.value("state").toInt(), 0);
    QCOMPARE(receipt.value("isSubscription").toBool(), false);
    QCOMPARE(receipt.value("purchaseMetadata").toString(), QStringLiteral("level 3"));
    QCOMPARE(sword.value("purchaseMetadata").toString(), QStringLiteral("level 3"));
    QVERIFY(!receipt.value("licenseKey").toString().isEmpty());

    const QJsonObject premium = shop(AppOne, {"buy", "premium"});
    const QJsonObject sub = premium.value("receipt").toObject();
    QCOMPARE(sub.value("state").toInt(), 1);
    QCOMPARE(sub.value("initialPeriod").toInt(), 7);
    const QDateTime start =
        QDateTime::fromString(sub.value("startDate").toString(), Qt::ISODateWithMs);
    const QDateTime end = QDateTime::fromString(sub.value("endDate").toString(), Qt::ISODateWithMs);
    QCOMPARE(start.daysTo(end), 7);
    QCOMPARE(shop(AppOne, {"status", "premium"}).value("active").toBool(), true);

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
}

void tst_PaymentsE2e::userDeclinesHoldsAndApproves()
{
    omctl({"mode", "decline"});
    const QJsonObject declined = shop(AppOne, {"buy", "gems-100"});
    QCOMPARE(declined.value("error").toBool(), true);
    QCOMPARE(declined.value("errorCode").toInt(), 1);

    omctl({"mode", "hold"});
    QProcess client;
    client.setProcessEnvironment(environmentOf(AppOne));
    client.start(QStringLiteral(PAYMENTCLIENT_PATH), {"buy", "gems-100"});
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
    second.setProcessEnvironment(environmentOf(AppOne));
    second.start(QStringLiteral(PAYMENTCLIENT_PATH), {"buy", "gems-100"});
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

void tst_PaymentsE2e::statusBeforeAndAfterCancel()
{
    const QString purchaseId = shop(AppOne, {"buy", "magazine"})
                                   .value("receipt")
                                   .toObject()
                                   .value("purchaseId")
                                   .toString();
    QVERIFY(!purchaseId.isEmpty());
    QCOMPARE(shop(AppOne, {"status", "magazine"}).value("active").toBool(), true);
    const QJsonObject cancelled = shop(AppOne, {"cancel", purchaseId});
    QCOMPARE(cancelled.value("canceled").toBool(), true);
    QCOMPARE(cancelled.value("purchaseId").toString(), purchaseId);
    // It runs to the end of its period...
    QCOMPARE(shop(AppOne, {"status", "magazine"}).value("active").toBool(), true);
    QCOMPARE(shop(AppOne, {"existing"})
                 .value("purchases")
                 .toArray()
                 .at(0)
                 .toObject()
                 .value("state")
                 .toInt(),
             3);
    // ...and not past it.
    omctl({"clock", "+8"});
    QCOMPARE(shop(AppOne, {"status", "magazine"}).value("active").toBool(), false);
}

void tst_PaymentsE2e::renewalAfterMovingTheClock()
{
    const QJsonObject receipt = shop(AppOne, {"buy", "premium"}).value("receipt").toObject();
    const QDateTime firstEnd =
        QDateTime::fromString(receipt.value("endDate").toString(), Qt::ISODateWithMs);
    QVERIFY(omctl({"clock", "+8"}).join('\n').contains("8 days ahead"));
    const QJsonObject renewed =
        shop(AppOne, {"existing"}).value("purchases").toArray().at(0).toObject();
    QCOMPARE(renewed.value("state").toInt(), 4);
    QCOMPARE(QDateTime::fromString(renewed.value("startDate").toString(), Qt::ISODateWithMs),
             firstEnd);
    QCOMPARE(QDateTime::fromString(renewed.value("endDate").toString(), Qt::ISODateWithMs),
             firstEnd.addDays(30));
    QCOMPARE(shop(AppOne, {"status", "premium"}).value("active").toBool(), true);
}

void tst_PaymentsE2e::testStoreApartFromProduction()
{
    QCOMPARE(shop(AppOne, {"--test", "buy", "sword"}).value("error").toBool(), false);
    QCOMPARE(shop(AppOne, {"existing"}).value("purchases").toArray().size(), 0);
    QCOMPARE(shop(AppOne, {"--test", "existing"}).value("purchases").toArray().size(), 1);
    // Owned in the test store only: production sells it again.
    QCOMPARE(shop(AppOne, {"buy", "sword"}).value("error").toBool(), false);
    QCOMPARE(omctl({"purchases", "--store", "test"}).size(), 1);
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
    omctl({"mode", "offline"});
    QCOMPARE(shop(AppOne, {"existing"}).value("errorCode").toInt(), 8);
    int code = 0;
    omctl({"mode", "sometimes"}, &code);
    QCOMPARE(code, 1);
}

void tst_PaymentsE2e::purchasesSurviveRestart()
{
    const QString purchaseId = shop(AppOne, {"--test", "buy", "premium"})
                                   .value("receipt")
                                   .toObject()
                                   .value("purchaseId")
                                   .toString();
    omctl({"clock", "+2"});
    QVERIFY(m_device->stop());
    QVERIFY(m_device->start());
    // A new process of the application finds it, in the same store.
    const QJsonArray existing = shop(AppOne, {"--test", "existing"}).value("purchases").toArray();
    QCOMPARE(existing.size(), 1);
    QCOMPARE(existing.at(0).toObject().value("purchaseId").toString(), purchaseId);
    QVERIFY(omctl({"clock"}).join('\n').contains("2 days ahead"));
}

void tst_PaymentsE2e::deviceGoneLeavesShopIdle()
{
    omctl({"mode", "hold"});
    QProcess client;
    client.setProcessEnvironment(environmentOf(AppOne));
    client.start(QStringLiteral(PAYMENTCLIENT_PATH), {"--timeout", "60000", "buy", "gems-100"});
    QTRY_VERIFY_WITH_TIMEOUT(omctl({"pending"}).join('\n').contains("gems-100"), 10000);
    QVERIFY(m_device->stop());
    // The shop's connection reads end-of-file: it must neither end nor spin.
    runEventLoopFor(300);
    const double before = cpuOf(client.processId());
    runEventLoopFor(1000);
    const double used = cpuOf(client.processId()) - before;
    QCOMPARE(client.state(), QProcess::Running);
    QVERIFY2(before >= 0 && used < 0.3,
             qPrintable(QStringLiteral("%1 s of CPU in a second").arg(used)));
    client.kill();
    client.waitForFinished();
    QVERIFY(client.readAllStandardOutput().isEmpty()); // the reply never finished
    QVERIFY(m_device->start());
}

QTEST_GUILESS_MAIN(tst_PaymentsE2e)
#include "tst_payments_e2e.moc"
