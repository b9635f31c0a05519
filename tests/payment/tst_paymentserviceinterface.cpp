// The payment wire layer against a server on a real bus: the text of each
// request, every kind of answer read into a record, the descriptor it
// relies on, and what happens when the service goes away.

#include "cputime.h"
#include "datarow.h"
#include "fakeserver.h"
#include "rawserver.h"
#include "testbroker.h"

#include "ommock/paymentserviceinterfaceimpl_p.h"

#include <om/platform/ommock/paymentserviceinterface.h>
#include <sys/pps.h>

#include <QSignalSpy>
#include <QtTest/QTest>

#include <csignal>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

using om::platform::DigitalGoodState;
using om::platform::PaymentConnectionMode;
using ommock::PaymentServiceInterface;
using ommock::ResponseInfo;

namespace {

const QString ControlPath = QStringLiteral("/pps/services/paymentsystem/control");
using Send = std::function<void(const PaymentServiceInterface &)>;
// A Send that makes the request named, as in SEND(getPrice("g", "", "", 1)).
#define SEND(...) Send([](const PaymentServiceInterface &l) { l.__VA_ARGS__; })
using omtest::newRow;

// Every field of a record, for comparison with what a test expects.
QVariantMap describe(const ResponseInfo &r)
{
    QVariantMap m{{"requestId", r.requestId},         {"error", r.error},
                  {"errorCode", r.errorCode},         {"errorText", r.errorText},
                  {"errorInfo", r.errorInfo},         {"receipt", !r.receipt.isNull()},
                  {"purchases", r.purchases.size()},  {"price", r.price},
                  {"initialPeriod", r.initialPeriod}, {"renewalPrice", r.renewalPrice},
                  {"renewalPeriod", r.renewalPeriod}, {"subscriptionExists", r.subscriptionExists},
                  {"purchaseId", r.purchaseId},       {"cancelled", r.cancelled},
                  {"invokeTarget", r.invokeTarget}};
    return m;
}

QVariantMap defaultsWith(const QVariantMap &fields)
{
    QVariantMap m = describe(ResponseInfo());
    for (auto it = fields.cbegin(); it != fields.cend(); ++it)
        m.insert(it.key(), it.value());
    return m;
}

void onAlarm(int) {}

} // namespace

Q_DECLARE_METATYPE(Send)

class tst_PaymentServiceInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void openFailureThrows();
    void requestText_data();
    void requestText();
    void requestTooLargeThrowsAndWritesNothing();
    void answers_data();
    void answers();
    void receipts_data();
    void receipts();
    void dates_data();
    void dates();
    void invocationAnswerInvokes_data();
    void invocationAnswerInvokes();
    void readWithNothingWaitingReturns();
    void writesWhileServiceIsSlowAreKept();
    void serviceGoneLeavesApplicationIdle();

private:
    // Sends an answer to the layer and reads it back.
    QSharedPointer<ResponseInfo> roundTrip(const QByteArray &answer);

    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::RawServer> m_server;
    std::unique_ptr<PaymentServiceInterface> m_layer;
};

void tst_PaymentServiceInterface::init()
{
    m_broker.reset(new omtest::TestBroker);
    QVERIFY(m_broker->isRunning());
    m_server.reset(new omtest::RawServer(ControlPath));
    QVERIFY(m_server->open());
    m_layer.reset(PaymentServiceInterface::create(PaymentConnectionMode::Production));
}

void tst_PaymentServiceInterface::cleanup()
{
    m_layer.reset();
    m_server.reset();
    m_broker.reset();
}

QSharedPointer<ResponseInfo> tst_PaymentServiceInterface::roundTrip(const QByteArray &answer)
{
    // A request first, so that the server knows the client.
    m_layer->getPrice(QStringLiteral("g"), QString(), QString(), 0);
    if (!m_server->waitForReceived(1))
        return QSharedPointer<ResponseInfo>();
    QSignalSpy ready(m_layer.get(), &PaymentServiceInterface::dataReady);
    if (!m_server->answer(m_server->received().constLast().clientId, answer) || !ready.wait())
        return QSharedPointer<ResponseInfo>();
    return m_layer->readResponse();
}

void tst_PaymentServiceInterface::openFailureThrows()
{
    m_server.reset();
    try {
        PaymentServiceInterface::create(PaymentConnectionMode::Test);
        QFAIL("no exception");
    } catch (const std::runtime_error &e) {
        QCOMPARE(QString::fromLatin1(e.what()),
                 QStringLiteral("Failed to open pps, error %1").arg(ENOENT));
    }
}

void tst_PaymentServiceInterface::requestText_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<Send>("send");
    QTest::addColumn<QByteArray>("text");

    const int test = PaymentConnectionMode::Test;
    const int production = PaymentConnectionMode::Production;
    const QByteArray common = "\"uiGroupID\":\"wg\",\"canHandleInvocation\":true";
    const QByteArray commonTest = common + ",\"localMode\":true";

    const Send price = SEND(getPrice("g1", "sku1", "wg", 3));
    newRow("price", production, price,
           "id::3\nmsg::getPriceType\ndat:json:{" + common +
               ",\"digitalGoodID\":\"g1\",\"digitalGoodSKU\":\"sku1\"}\n");
    newRow("price, test store", test, price,
           "id::3\nmsg::getPriceType\ndat:json:{" + commonTest +
               ",\"digitalGoodID\":\"g1\",\"digitalGoodSKU\":\"sku1\"}\n");
    newRow("status: common fields last", test, SEND(checkExisting("g1", "", "wg", 4)),
           "id::4\nmsg::checkExistingType\ndat:json:{"
           "\"digitalGoodID\":\"g1\",\"digitalGoodSKU\":\"\"," +
               commonTest + "}\n");
    newRow("existing purchases", production, SEND(getExistingPurchasesRequest(false, "wg", 5)),
           "id::5\nmsg::getExistingPurchasesType\ndat:json:{" + common +
               ",\"allowRefresh\":false}\n");
    newRow("cancel", test, SEND(cancelSubscription("p-9", "wg", 6)),
           "id::6\nmsg::cancelSubscriptionType\ndat:json:{" + commonTest +
               ",\"purchaseID\":\"p-9\"}\n");
    newRow(
        "purchase without extras", production,
        SEND(purchaseRequest("g1", "", "Sword", "meta", {}, "Shop", "file:///icon.png", "wg", 7)),
        "id::7\nmsg::paymentSystemType\ndat:json:{" + common +
            ",\"digitalGoodID\":\"g1\",\"digitalGoodSKU\":\"\",\"digitalGoodName\":\"Sword\","
            "\"metaData\":\"meta\",\"purchaseAppName\":\"Shop\",\"purchaseAppIcon\":\"file:///"
            "icon.png\"}\n");
    newRow("purchase with extras, test store", test,
           SEND(purchaseRequest("g1", "s", "", "", {{"b", 42}, {"a", "x"}, {"c", true}}, "", "", "",
                                8)),
           QByteArray("id::8\nmsg::paymentSystemType\ndat:json:{\"uiGroupID\":\"\","
                      "\"canHandleInvocation\":true,"
                      "\"localMode\":true,\"digitalGoodID\":\"g1\",\"digitalGoodSKU\":\"s\","
                      "\"digitalGoodName\":\"\","
                      "\"metaData\":\"\",\"extras\":{\"a\":\"x\",\"b\":\"42\",\"c\":\"true\"},"
                      "\"purchaseAppName\":\"\","
                      "\"purchaseAppIcon\":\"\"}\n"));
    newRow("text goes out as Latin-1", production,
           SEND(getPrice(QString::fromUtf8("caf\xc3\xa9 \xe2\x82\xac"), "a\"b", "wg", 9)),
           "id::9\nmsg::getPriceType\ndat:json:{" + common +
               ",\"digitalGoodID\":\"caf\xe9 ?\",\"digitalGoodSKU\":\"a\\\"b\"}\n");
    newRow("ids from 2^31 are negative", production, SEND(getPrice("g", "", "", 2147483648u)),
           QByteArray("id::-2147483648\nmsg::getPriceType\ndat:json:{\"uiGroupID\":\"\","
                      "\"canHandleInvocation\":true,"
                      "\"digitalGoodID\":\"g\",\"digitalGoodSKU\":\"\"}\n"));
}

void tst_PaymentServiceInterface::requestText()
{
    QFETCH(int, mode);
    QFETCH(Send, send);
    QFETCH(QByteArray, text);
    m_layer.reset(PaymentServiceInterface::create(PaymentConnectionMode::Type(mode)));
    send(*m_layer);
    QVERIFY(m_server->waitForReceived(1));
    QCOMPARE(m_server->received().constFirst().text, text);
}

void tst_PaymentServiceInterface::requestTooLargeThrowsAndWritesNothing()
{
    const QString huge(70000, QLatin1Char('m'));
    try {
        m_layer->purchaseRequest("g", "", "", huge, {}, "", "", "", 1);
        QFAIL("no exception");
    } catch (const std::runtime_error &e) {
        QCOMPARE(QByteArray(e.what()), QByteArray("Failed to pps encode request."));
    }
    try {
        m_layer->getPrice("g", huge, "", 2);
        QFAIL("no exception");
    } catch (const std::runtime_error &e) {
        QCOMPARE(QByteArray(e.what()), QByteArray("Failed to start encoding good sku."));
    }
    // Only what comes after reaches the service.
    m_layer->getPrice("after", "", "", 3);
    QVERIFY(m_server->waitForReceived(1));
    QVERIFY(m_server->received().constFirst().text.startsWith("id::3\n"));
}

void tst_PaymentServiceInterface::answers_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("isNull");
    QTest::addColumn<QVariantMap>("fields");

    const QByteArray head = "msg::getPriceType\nid::12\n";
    // The fields of the record read that differ from a fresh one (its request
    // 12 unless said otherwise), or no record at all.
    const auto read = [](const char *tag, const QByteArray &answer, QVariantMap fields = {}) {
        if (!fields.contains("requestId"))
            fields.insert("requestId", 12u);
        newRow(tag, answer, false, fields);
    };
    const auto unread = [](const char *tag, const QByteArray &answer) {
        QTest::newRow(tag) << answer << true << QVariantMap();
    };
    read("text comes in as UTF-8",
         head + "res::getPriceSuccess\ndat:json:{\"price\":\"3 \xe2\x82\xac\"}\n",
         {{"price", QString::fromUtf8("3 \xe2\x82\xac")}});
    unread("failure with a text code",
           head + "res::getPriceFailure\ndat:json:{\"errorID\":\"3\",\"errorText\":\"x\"}\n");
    read("status as text is no status",
         head + "res::checkExistingSuccess\ndat:json:{\"subscriptionExists\":\"true\"}\n");
    read("cancelled",
         head + "res::cancelSubscriptionSuccess\ndat:json:{\"purchaseID\":\"p1\",\"cancelled\":"
                "\"true\"}\n",
         {{"purchaseId", "p1"}, {"cancelled", true}});
    read("cancelled TRUE is not",
         head + "res::cancelSubscriptionSuccess\ndat:json:{\"cancelled\":\"TRUE\"}\n");
    read("cancelled 1 is not",
         head + "res::cancelSubscriptionSuccess\ndat:json:{\"cancelled\":\"1\"}\n");
    read("cancelled as a boolean is not",
         head + "res::cancelSubscriptionSuccess\ndat:json:{\"cancelled\":true}\n");
    unread("unknown kind without dat", head + "res::somethingNew\n");
    unread("success without dat", head + "res::getPriceSuccess\n");
    unread("dat that is text", head + "res::getPriceSuccess\ndat::x\n");
    unread("without msg", "id::1\nres::getPriceSuccess\ndat:json:{}\n");
    unread("without id", "msg::m\nres::getPriceSuccess\ndat:json:{}\n");
    unread("without res", "msg::m\nid::1\ndat:json:{}\n");
    unread("not a message", "this is not\nPPS\n");
    read("id of letters is 0", "msg::m\nid::abc\nres::getPriceSuccess\ndat:json:{}\n",
         {{"requestId", 0u}});
    read("negative id", "msg::m\nid::-1\nres::getPriceSuccess\ndat:json:{}\n",
         {{"requestId", 4294967295u}});
}

void tst_PaymentServiceInterface::answers()
{
    QFETCH(QByteArray, answer);
    QFETCH(bool, isNull);
    QFETCH(QVariantMap, fields);
    const QSharedPointer<ResponseInfo> record = roundTrip(answer);
    QCOMPARE(record.isNull(), isNull);
    if (!isNull)
        QCOMPARE(describe(*record), defaultsWith(fields));
}

void tst_PaymentServiceInterface::receipts_data()
{
    QTest::addColumn<QByteArray>("dat");
    QTest::addColumn<QVariantList>("receipts");

    // Each expected receipt: state, digitalGoodId, date, startDate, endDate,
    // initialPeriod, extras.
    const qint64 s = 1700000000;
    // One receipt: a list that holds one list. Braces alone would copy the
    // inner list instead with some compilers.
    const auto one = [](const QVariantList &receipt) { return QVariantList{QVariant(receipt)}; };
    newRow("owned, every field",
           QByteArray("[{\"itemState\":\"0\",\"date\":\"1700000000\",\"digitalGoodID\":\"g1\","
                      "\"digitalGoodSKU\":\"s1\","
                      "\"licenseKey\":\"L\",\"metaData\":\"m\",\"purchaseID\":\"p1\",\"extras\":{"
                      "\"k\":\"v\"}}]"),
           one({0, "g1", s * 1000, QVariant(), QVariant(), -1, QVariantMap{{"k", "v"}}}));
    newRow("subscription with its period",
           QByteArray(
               "[{\"itemState\":\"1\",\"date\":\"1700000000000\",\"startDate\":\"1700000000\","
               "\"endDate\":\"1702592000\",\"initialPeriod\":\"30\",\"digitalGoodID\":\"sub\"}]"),
           one({1, "sub", s * 1000, s * 1000, 1702592000LL * 1000, 30, QVariantMap()}));
    newRow("owned leaves its dates unread",
           QByteArray("[{\"itemState\":\"0\",\"date\":\"1\",\"startDate\":\"2\",\"endDate\":\"3\","
                      "\"initialPeriod\":\"9\"}]"),
           one({0, "", 1000LL, QVariant(), QVariant(), -1, QVariantMap()}));
    newRow("no state: Unknown, no dates needed", QByteArray("[{\"date\":\"5\"}]"),
           one({5, "", 5000LL, QVariant(), QVariant(), -1, QVariantMap()}));
    newRow("a state outside the names is a subscription state",
           QByteArray("[{\"itemState\":\"9\",\"date\":\"5\"},{\"itemState\":\"9\",\"date\":\"5\","
                      "\"startDate\":\"1\",\"endDate\":\"2\"}]"),
           one({9, "", 5000LL, 1000LL, 2000LL, -1, QVariantMap()}));
    newRow(
        "unreadable receipts are skipped",
        QByteArray(
            "[{\"itemState\":\"0\"},{\"itemState\":\"1\",\"date\":\"1\",\"startDate\":\"1\"},"
            "{\"date\":\"7\",\"digitalGoodID\":\"kept\"}]"),
        one({5, "kept", 7000LL, QVariant(), QVariant(), -1, QVariantMap()}));
    newRow("extras: the walk ends at the first element that is no text",
           QByteArray("[{\"date\":\"1\",\"extras\":{\"a\":\"1\",\"b\":2,\"c\":\"3\"}}]"),
           one({5, "", 1000LL, QVariant(), QVariant(), -1, QVariantMap{{"a", "1"}}}));
    newRow("an object of receipts", QByteArray("{\"x\":{\"date\":\"1\"},\"y\":{\"date\":\"2\"}}"),
           QVariantList{QVariantList{5, "", 1000LL, QVariant(), QVariant(), -1, QVariantMap()},
                        QVariantList{5, "", 2000LL, QVariant(), QVariant(), -1, QVariantMap()}});
    newRow("empty list", QByteArray("[]"), QVariantList());
}

void tst_PaymentServiceInterface::receipts()
{
    QFETCH(QByteArray, dat);
    QFETCH(QVariantList, receipts);
    const QSharedPointer<ResponseInfo> record =
        roundTrip("msg::m\nid::1\nres::getExistingPurchasesSuccess\ndat:json:" + dat + "\n");
    QVERIFY(record);
    QCOMPARE(record->purchases.size(), receipts.size());
    auto msecs = [](const QDateTime &d) {
        return d.isValid() ? QVariant(d.toMSecsSinceEpoch()) : QVariant();
    };
    for (int i = 0; i < receipts.size(); ++i) {
        const om::platform::PurchaseReceipt &r = record->purchases.at(i);
        const QVariantList expected = receipts.at(i).toList();
        QVERIFY(r.isValid());
        QCOMPARE(int(r.state()), expected.at(0).toInt());
        QCOMPARE(r.digitalGoodId(), expected.at(1).toString());
        QCOMPARE(msecs(r.date()), expected.at(2));
        QCOMPARE(msecs(r.startDate()), expected.at(3));
        QCOMPARE(msecs(r.endDate()), expected.at(4));
        QCOMPARE(r.initialPeriod(), expected.at(5).toInt());
        QCOMPARE(r.extraParameters(), expected.at(6).toMap());
    }
    if (QByteArray(QTest::currentDataTag()) == "owned, every field") {
        const om::platform::PurchaseReceipt &r = record->purchases.constFirst();
        QCOMPARE(r.digitalGoodSku(), QStringLiteral("s1"));
        QCOMPARE(r.licenseKey(), QStringLiteral("L"));
        QCOMPARE(r.purchaseMetadata(), QStringLiteral("m"));
        QCOMPARE(r.purchaseId(), QStringLiteral("p1"));
        QVERIFY(!r.isSubscription());
    }
}

void tst_PaymentServiceInterface::dates_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QVariant>("msecs");
    newRow("10 digits are seconds", QByteArray("1700000000"), QVariant(1700000000000LL));
    newRow("11 digits are milliseconds", QByteArray("17000000000"), QVariant(17000000000LL));
    newRow("milliseconds of today", QByteArray("1700000000123"), QVariant(1700000000123LL));
    newRow("short", QByteArray("1"), QVariant(1000LL));
    newRow("empty", QByteArray(""), QVariant());
    newRow("letters", QByteArray("soon"), QVariant());
}

void tst_PaymentServiceInterface::dates()
{
    QFETCH(QByteArray, text);
    QFETCH(QVariant, msecs);
    const QDateTime date = m_layer->convertToDateTime(text.constData());
    QCOMPARE(date.isValid() ? QVariant(date.toMSecsSinceEpoch()) : QVariant(), msecs);
    QVERIFY(!m_layer->convertToDateTime(nullptr).isValid());
}

void tst_PaymentServiceInterface::invocationAnswerInvokes_data()
{
    QTest::addColumn<QByteArray>("dat");
    QTest::addColumn<QVariantMap>("invoked");
    newRow("every field",
           QByteArray(
               "{\"target\":\"om.payments.store\",\"action\":\"om.action.PAY\",\"mimeType\":\"text/"
               "plain\","
               "\"uri\":\"store://p\",\"fileTransferMode\":1,\"perimeter\":2,\"targetTypes\":5,"
               "\"metadata\":{\"purchase\":\"7\"}}"),
           QVariantMap{{"target", "om.payments.store"},
                       {"action", "om.action.PAY"},
                       {"mimeType", "text/plain"},
                       {"uri", "store://p"},
                       {"fileTransferMode", 1},
                       {"perimeter", 2},
                       {"targetTypes", 5},
                       {"metadata", QVariantMap{{"purchase", "7"}}}});
    newRow("no field: an empty request", QByteArray("{}"), QVariantMap());
}

void tst_PaymentServiceInterface::invocationAnswerInvokes()
{
    QFETCH(QByteArray, dat);
    QFETCH(QVariantMap, invoked);
    omtest::FakeServer invoke(QStringLiteral("/pps/services/invoke/control"));
    QVERIFY(invoke.start());
    const QSharedPointer<ResponseInfo> record =
        roundTrip("msg::m\nid::4\nres::invokeTargetType\ndat:json:" + dat + "\n");
    QVERIFY(record);
    QVERIFY(record->invokeTarget);
    QCOMPARE(record->requestId, 4u);
    QVERIFY(invoke.waitForReceived(1));
    QVariantMap dat2 = invoke.last().dat();
    dat2.remove(QStringLiteral("sender"));
    QCOMPARE(invoke.last().msg(), QStringLiteral("invoke"));
    QCOMPARE(dat2, invoked);
}

void tst_PaymentServiceInterface::readWithNothingWaitingReturns()
{
    // The notifier can report the descriptor again before a queued read
    // runs: a read with nothing waiting must come back, not hold the
    // application. The alarm only ends a read that would never return.
    const int fd = pps_open(ControlPath.toUtf8().constData(), O_RDWR);
    QVERIFY(fd >= 0);
    struct sigaction action
    {
    };
    action.sa_handler = onAlarm;
    struct sigaction previous
    {
    };
    sigaction(SIGALRM, &action, &previous);
    alarm(10);
    char buffer[64];
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    const int error = errno;
    alarm(0);
    sigaction(SIGALRM, &previous, nullptr);
    ::close(fd);
    QCOMPARE(n, ssize_t(-1));
    QCOMPARE(error, EAGAIN);
    // And the layer reads nothing from such a descriptor without a word.
    QVERIFY(!m_layer->readResponse());
}

void tst_PaymentServiceInterface::writesWhileServiceIsSlowAreKept()
{
    // A service that stops reading for a while: the layer writes far more
    // than the descriptor's buffer holds, and ignores what write returns,
    // so nothing may be dropped.
    m_layer.reset();
    m_server.reset();
    omtest::FakeServer slow(ControlPath);
    QVERIFY(slow.start());
    slow.respond([](const omtest::Received &r) {
        if (r.id() == QLatin1String("0"))
            QThread::msleep(500);
        return QList<omtest::Answer>();
    });
    m_layer.reset(PaymentServiceInterface::create(PaymentConnectionMode::Production));
    const int count = 2000;
    for (int i = 0; i < count; ++i)
        m_layer->getPrice(QStringLiteral("good-%1").arg(i), QString(), QStringLiteral("wg"),
                          unsigned(i));
    QVERIFY(slow.waitForReceived(count, 30000));
    const QList<omtest::Received> received = slow.received();
    QCOMPARE(received.size(), count);
    for (int i = 0; i < count; ++i)
        QCOMPARE(received.at(i).id(), QString::number(i));
}

void tst_PaymentServiceInterface::serviceGoneLeavesApplicationIdle()
{
    QSignalSpy ready(m_layer.get(), &PaymentServiceInterface::dataReady);
    m_layer->getPrice("g", "", "", 1);
    QVERIFY(m_server->waitForReceived(1));
    // The device goes: the descriptor reads end-of-file.
    m_server.reset();
    m_broker->stop();
    QVERIFY(ready.wait());
    QVERIFY(!m_layer->readResponse());

    // From now on the application is idle: the notifier does not fire, and
    // the process uses (almost) no CPU for a second of its event loop.
    ready.clear();
    const double used = omtest::cpuSecondsOver(1000);
    QCOMPARE(ready.count(), 0);
    QVERIFY2(used < 0.3, qPrintable(QStringLiteral("%1 s of CPU in an idle second").arg(used)));
    // Requests still go out, into nothing, and nothing breaks.
    m_layer->getPrice("g", "", "", 2);
    QVERIFY(!m_layer->readResponse());
}

QTEST_GUILESS_MAIN(tst_PaymentServiceInterface)
#include "tst_paymentserviceinterface.moc"
