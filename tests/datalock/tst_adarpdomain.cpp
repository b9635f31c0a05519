// AdarpDomain against a state publisher and a fake perimeter manager on an
// in-process bus. Contents and answers are written as the bus's text.

#include "datalock/adarpdomain_p.h"

#include "common/statepublisher.h"
#include "fakeserver.h"
#include "recorder.h"
#include "testbroker.h"
#include "warningcapture.h"

#include <QtTest/QtTest>

#include <cerrno>
#include <cstring>
#include <memory>

// QtCore's hook that sees every signal emitted, receivers or not (QtTest's
// -vs rests on it), declared as QtCore exports it.
struct QSignalSpyCallbackSet
{
    typedef void (*BeginCallback)(QObject *caller, int signal_or_method_index, void **argv);
    typedef void (*EndCallback)(QObject *caller, int signal_or_method_index);
    BeginCallback signal_begin_callback, slot_begin_callback;
    EndCallback signal_end_callback, slot_end_callback;
};
void Q_CORE_EXPORT qt_register_signal_spy_callbacks(QSignalSpyCallbackSet *callback_set);

using namespace datalocktest;

static const QString statePath = QStringLiteral("/pps/system/perimeter/info/1000/enterprise/state");
static int domainSignals = 0;

static void countDomainSignals(QObject *caller, int, void **)
{
    domainSignals += caller->metaObject() == &AdarpDomain::staticMetaObject;
}

class tst_AdarpDomain : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void firstReading_data();
    void firstReading();
    void updates_data();
    void updates();
    void signalsSeeNewValues();
    void answers_data();
    void answers();
    void withoutStateObject();
    void withoutControlObject();

private:
    void publish(const QByteArray &text);
    QStringList settle(const Recorder &recorder, S::Type expectedState);

    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omdevice::StatePublisher> m_publisher;
    std::unique_ptr<omtest::FakeServer> m_server;
};

void tst_AdarpDomain::init()
{
    m_server.reset();
    m_publisher.reset();
    m_broker.reset(); // before the next one takes over the environment
    m_broker.reset(new omtest::TestBroker);
    m_server.reset(new omtest::FakeServer(QStringLiteral("/pps/system/perimeter/control_public")));
    QVERIFY(m_server->start());
}

void tst_AdarpDomain::publish(const QByteArray &text)
{
    if (!m_publisher) {
        m_publisher.reset(new omdevice::StatePublisher(statePath));
        QVERIFY(m_publisher->open(nullptr));
    }
    QVERIFY(m_publisher->publishRaw(text));
}

// Publishes a reading no row uses and waits for its signals, which come after
// every earlier update's and start from @p expectedState; gives the signals
// before them (or all, marked, if the barrier's own are not as said).
QStringList tst_AdarpDomain::settle(const Recorder &recorder, S::Type expectedState)
{
    publish("state:n:5\ndata_lock_time::42\n");
    QStringList barrier{"time 42"};
    if (expectedState != S::LockPending)
        barrier.prepend(QStringLiteral("state %1 LockPending").arg(stateName(expectedState)));
    const bool came = QTest::qWaitFor([&]() { return recorder.events.endsWith(barrier.last()); });
    const int before = recorder.events.size() - barrier.size();
    return came && before >= 0 && recorder.events.mid(before) == barrier
               ? recorder.events.mid(0, before)
               : recorder.events + QStringList{"(no barrier)"};
}

void tst_AdarpDomain::firstReading_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<S::Type>("expected");
    QTest::addColumn<qint64>("time"); // -1: null
    QTest::addColumn<QStringList>("warnings");

    auto row = [](const char *name, const QByteArray &content, S::Type expected, qint64 time = -1,
                  const QStringList &warnings = {}) {
        QTest::newRow(name) << content << expected << time << warnings;
    };
    // Every raw state comes with a time, which only raw 5 reads.
    auto raw = [](const char *n) { return "state:n:" + QByteArray(n) + "\ndata_lock_time::17\n"; };
    auto pending = [](QByteArray t) { return "state:n:5\ndata_lock_time::" + t + '\n'; };
    const QString missing = "[AdarpDomain] datalock time is missing";
    const QString unreadable = "[AdarpDomain] datalock time could not be read";

    row("raw 0", raw("0"), S::StartupLocked);
    row("raw 1", raw("1"), S::NotLocked);
    row("raw 2", raw("2"), S::NotLocked);
    row("raw 3", raw("3"), S::DataLocked);
    row("raw 4", raw("4"), S::NotLocked);
    row("raw 5", raw("5"), S::LockPending, 17);
    row("raw 6", raw("6"), S::StartupLocked);
    row("raw 7", raw("7"), S::NotLocked);
    row("raw -1", raw("-1"), S::NotLocked);
    row("no state attribute reads as raw 0", "owner::it\n", S::StartupLocked);
    row("state that is not a number reads as raw 0", "state::locked\n", S::StartupLocked);
    row("time missing", "state:n:5\n", S::LockPending, -1, {missing});
    row("time empty", pending(""), S::LockPending, -1, {missing});
    row("time not a number", pending("abc"), S::LockPending, -1, {unreadable});
    row("time beyond 32 bits", pending("4294967296"), S::LockPending, -1, {unreadable});
    row("negative time counts as unsigned", pending("-1"), S::LockPending, 4294967295);
    row("undecodable", "state:n:garbage\n", S::NotLocked, -1,
        {"[AdarpDomain] Could read, but not decode pps"});
}

// The constructor reads the state and stores it without a signal, neither
// during construction nor afterwards.
void tst_AdarpDomain::firstReading()
{
    QFETCH(QByteArray, content);
    QFETCH(S::Type, expected);
    QFETCH(qint64, time);
    QFETCH(QStringList, warnings);

    publish(content);
    omtest::WarningCapture capture;
    static QSignalSpyCallbackSet counter = {&countDomainSignals, nullptr, nullptr, nullptr};
    domainSignals = 0;
    qt_register_signal_spy_callbacks(&counter);
    AdarpDomain domain;
    qt_register_signal_spy_callbacks(nullptr);
    QCOMPARE(domainSignals, 0);
    QCOMPARE(capture.warnings(), warnings);
    QCOMPARE(domain.dataLockState(), expected);
    QCOMPARE(domain.nextDataLockTime(),
             time < 0 ? QDateTime() : QDateTime::fromSecsSinceEpoch(time));
    Recorder recorder(&domain);
    QCOMPARE(settle(recorder, expected), QStringList());
}

void tst_AdarpDomain::updates_data()
{
    QTest::addColumn<QByteArray>("first");
    QTest::addColumn<QByteArray>("update");
    QTest::addColumn<S::Type>("expected");
    QTest::addColumn<QStringList>("events");
    QTest::addColumn<QStringList>("warnings");

    auto row = [](const char *name, const QByteArray &first, const QByteArray &update,
                  S::Type expected, const QStringList &events, const QStringList &warnings = {}) {
        QTest::newRow(name) << first << update << expected << events << warnings;
    };
    const QByteArray pending = "state:n:5\ndata_lock_time::1000\n";

    row("unlocked, then pending", "state:n:1\n", pending, S::LockPending,
        {"state NotLocked LockPending", "time 1000"});
    row("pending, then locked: the state first, then the null time", pending,
        "state:n:3\n-data_lock_time\n", S::DataLocked,
        {"state LockPending DataLocked", "time null"});
    row("the same reading again", "state:n:3\n", "state:n:3\n", S::DataLocked, {});
    row("another raw value of the same state", "state:n:6\n", "state:n:0\n", S::StartupLocked, {});
    row("only the time changes", pending, "data_lock_time::2000\n", S::LockPending, {"time 2000"});
    row("unlocked, then pending with a time that cannot be read", "state:n:1\n",
        "state:n:5\ndata_lock_time::abc\n", S::LockPending, {"state NotLocked LockPending"},
        {"[AdarpDomain] datalock time could not be read"});
    row("locked, then an update that cannot be decoded", "state:n:3\n", "state:n:garbage\n",
        S::NotLocked, {"state DataLocked NotLocked"},
        {"[AdarpDomain] Could read, but not decode pps"});
}

void tst_AdarpDomain::updates()
{
    QFETCH(QByteArray, first);
    QFETCH(QByteArray, update);
    QFETCH(S::Type, expected);
    QFETCH(QStringList, events);
    QFETCH(QStringList, warnings);

    publish(first);
    AdarpDomain domain;
    Recorder recorder(&domain);
    omtest::WarningCapture capture;
    publish(update);
    QCOMPARE(settle(recorder, expected), events);
    QCOMPARE(capture.warnings(), warnings);
}

// When a signal comes, both properties already hold the new reading.
void tst_AdarpDomain::signalsSeeNewValues()
{
    publish("state:n:5\ndata_lock_time::1000\n");
    AdarpDomain domain;
    QStringList seen;
    auto look = [&]() {
        seen << stateName(domain.dataLockState()) + ' ' + timeText(domain.nextDataLockTime());
    };
    connect(&domain, &AdarpDomain::dataLockStateChanged, this, look);
    connect(&domain, &AdarpDomain::nextDataLockTimeChanged, this, look);
    publish("state:n:3\n-data_lock_time\n");
    QTRY_COMPARE(seen, (QStringList{"DataLocked null", "DataLocked null"}));
}

void tst_AdarpDomain::answers_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QStringList>("events");
    QTest::addColumn<QStringList>("warnings");
    QTest::addColumn<int>("extendedTime");

    auto row = [](const char *name, const QByteArray &answer, const QStringList &events,
                  const QStringList &warnings = {}, int extendedTime = 99) {
        QTest::newRow(name) << answer << events << warnings << extendedTime;
    };
    const QStringList granted{"response r-1 0"};
    const QStringList refused{"response r-1 -1"};
    const QStringList noRes{"[AdarpDomain] pps response request type is missing"};

    row("lock granted", "id::r-1\nres::lock\n", granted);
    row("err refuses", "id::r-1\nres::lock\nerr::no\n", refused);
    row("no id", "res::lock\n", {}, {"[AdarpDomain] pps response id is missing"});
    row("no res", "id::r-1\n", refused, noRes);
    row("err without res takes the res branch", "id::r-1\nerr::no\n", refused, noRes);
    row("extension with a time", "id::r-1\nres::extend_lock\ndat:json:{\"time\":1234}\n", granted,
        {}, 1234);
    row("extension without dat", "id::r-1\nres::extend_lock\n", granted, {}, 0);
    row("extension refused keeps the last time",
        "id::r-1\nres::extend_lock\nerr::\ndat:json:{\"time\":5}\n", refused);
    row("unknown res is success", "id::r-1\nres::frobnicate\n", granted);
    row("empty id", "id::\nres::lock\n", {"response  0"});
    row("answer that cannot be decoded", "id::r-1\nres:n:lock\n", {},
        {"[AdarpDomain] Unable to decode pps control result"});
}

void tst_AdarpDomain::answers()
{
    QFETCH(QByteArray, answer);
    QFETCH(QStringList, events);
    QFETCH(QStringList, warnings);
    QFETCH(int, extendedTime);

    publish("state:n:5\ndata_lock_time::1000\n");
    AdarpDomain domain;
    auto *d = domain.findChild<om::platform::AdarpDomainPrivate *>();
    QVERIFY(d);
    d->extendedTime = 99; // as an earlier extension left it
    Recorder recorder(&domain);
    QVERIFY(m_server->waitForClients(1));
    omtest::WarningCapture capture;
    // Answers come in order: once the next is handled, so is this one.
    QVERIFY(m_server->replyRaw(m_server->clients().first(), answer));
    QVERIFY(m_server->replyRaw(m_server->clients().first(), "id::next\nres::lock\n"));
    QTRY_VERIFY(recorder.events.endsWith("response next 0"));
    QCOMPARE(recorder.events.mid(0, recorder.events.size() - 1), events);
    QCOMPARE(capture.warnings(), warnings);
    QCOMPARE(d->extendedTime, extendedTime);
    // An answer never touches the state.
    QCOMPARE(domain.dataLockState(), S::LockPending);
    QCOMPARE(domain.nextDataLockTime(), QDateTime::fromSecsSinceEpoch(1000));
}

// The two channels fail independently: each works without the other.
void tst_AdarpDomain::withoutStateObject()
{
    omtest::WarningCapture capture;
    AdarpDomain domain;
    Recorder recorder(&domain);
    QCOMPARE(capture.warnings(),
             QStringList{"[AdarpDomain] Unable to open perimeter manager PPS channel  " +
                         statePath + "?wait"});
    // Requests go out as they are, and answers come in.
    QCOMPARE(domain.requestDataLock(QString()), 0);
    QCOMPARE(domain.extendDataLockTime("r-2", 4294967295u), 0);
    QVERIFY(m_server->waitForReceived(2));
    QCOMPARE(m_server->received().at(0).id(), QString());
    QCOMPARE(m_server->received().at(1).dat().value("time").toLongLong(), 4294967295);
    QVERIFY(m_server->replyRaw(m_server->last().clientId, "id::r-2\nres::extend_lock\n"));
    QTRY_COMPARE(recorder.events, QStringList{"response r-2 0"});
}

void tst_AdarpDomain::withoutControlObject()
{
    publish("state:n:3\n");
    m_server.reset();
    omtest::WarningCapture capture;
    AdarpDomain domain;
    Recorder recorder(&domain);
    QCOMPARE(domain.requestDataLock("r-1"), -1);
    QCOMPARE(domain.extendDataLockTime("r-2", 60), -1);
    const QString writeError =
        QStringLiteral("[AdarpDomain] error writing pps control channel: ( \"%1\" )")
            .arg(QString::fromLocal8Bit(std::strerror(EBADF)));
    QCOMPARE(capture.warnings(),
             (QStringList{
                 QStringLiteral("[AdarpDomain] error opening pps control channel:  %1").arg(ENOENT),
                 writeError, writeError}));
    publish("state:n:1\n");
    QTRY_COMPARE(recorder.events, QStringList{"state DataLocked NotLocked"});
}

QTEST_GUILESS_MAIN(tst_AdarpDomain)
#include "tst_adarpdomain.moc"
