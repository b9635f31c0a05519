// AdarpDomain against a state publisher and a fake perimeter manager on an
// in-process bus.

#include "datalock/adarpdomain_p.h"

#include "controlserver.h"
#include "fakeserver.h"
#include "statepublisher.h"
#include "testbroker.h"
#include "warningcapture.h"

#include <om/platform/adarpdomain.h>

#include <QMetaEnum>
#include <QMutex>
#include <QSignalSpy>
#include <QThread>
#include <QtTest/QtTest>

#include <cerrno>
#include <cstring>
#include <memory>

// QtCore's hook for watching every signal emission of the process (QtTest's
// -vs option rests on it). Declared here as QtCore exports it.
struct QSignalSpyCallbackSet
{
    typedef void (*BeginCallback)(QObject *caller, int signal_or_method_index, void **argv);
    typedef void (*EndCallback)(QObject *caller, int signal_or_method_index);
    BeginCallback signal_begin_callback, slot_begin_callback;
    EndCallback signal_end_callback, slot_end_callback;
};
void Q_CORE_EXPORT qt_register_signal_spy_callbacks(QSignalSpyCallbackSet *callback_set);

using om::platform::AdarpDomain;
using om::platform::AdarpDomainPrivate;
using om::platform::DataLockState;

namespace {

const QString statePath = QStringLiteral("/pps/system/perimeter/info/1000/enterprise/state");
const QString controlPath = QStringLiteral("/pps/system/perimeter/control_public");
const QString stateWaitPath = statePath + QStringLiteral("?wait");

QString stateName(DataLockState::Type state)
{
    return QString::fromLatin1(QMetaEnum::fromType<DataLockState::Type>().valueToKey(state));
}

QString timeText(const QDateTime &time)
{
    return time.isNull() ? QStringLiteral("null") : QString::number(time.toSecsSinceEpoch());
}

QString errnoText(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

/** Everything a domain signals, as one line per signal, in order. */
class Recorder : public QObject
{
public:
    explicit Recorder(AdarpDomain *domain)
    {
        connect(domain, &AdarpDomain::dataLockStateChanged, this,
                [this](DataLockState::Type oldState, DataLockState::Type newState) {
                    events << QStringLiteral("state %1 %2")
                                  .arg(stateName(oldState), stateName(newState));
                });
        connect(domain, &AdarpDomain::nextDataLockTimeChanged, this, [this](const QDateTime &time) {
            events << QStringLiteral("time ") + timeText(time);
        });
        connect(domain, &AdarpDomain::responseReceived, this,
                [this](const QString &id, int status) {
                    events << QStringLiteral("response %1 %2").arg(id).arg(status);
                });
    }
    QStringList events;
};

/** Records the signals that objects emit while it lives, whether or not
 *  anything is connected to them. */
class EmissionWatch
{
public:
    EmissionWatch()
    {
        s_emissions.clear();
        static QSignalSpyCallbackSet callbacks = {&EmissionWatch::onSignal, nullptr, nullptr,
                                                  nullptr};
        qt_register_signal_spy_callbacks(&callbacks);
    }
    ~EmissionWatch() { qt_register_signal_spy_callbacks(nullptr); }

    /** The signatures of the signals that @p sender emitted. */
    static QStringList emittedBy(const QObject *sender)
    {
        QMutexLocker lock(&s_mutex);
        QStringList signatures;
        for (const auto &e : qAsConst(s_emissions)) {
            if (e.first == sender)
                signatures << e.second;
        }
        return signatures;
    }

private:
    static void onSignal(QObject *caller, int signalIndex, void **)
    {
        // Signals are counted class by class, base first, and every class
        // lists its signals before its other methods.
        const QMetaObject *meta = caller->metaObject();
        QString signature = QString::number(signalIndex);
        for (int i = 0, seen = 0; i < meta->methodCount(); ++i) {
            const QMetaMethod method = meta->method(i);
            if (method.methodType() == QMetaMethod::Signal && seen++ == signalIndex) {
                signature = QString::fromLatin1(method.methodSignature());
                break;
            }
        }
        QMutexLocker lock(&s_mutex);
        s_emissions.append(qMakePair(static_cast<const QObject *>(caller), signature));
    }

    static QMutex s_mutex;
    static QList<QPair<const QObject *, QString>> s_emissions;
};
QMutex EmissionWatch::s_mutex;
QList<QPair<const QObject *, QString>> EmissionWatch::s_emissions;

/**
 * Serves an object on a thread of its own and sends every client that opens
 * it @p content under @p objectName: a state object whose content is not
 * headed the way a plain object's is.
 */
class GreetingServer
{
public:
    GreetingServer(const QString &path, const QString &objectName, const QVariantMap &content)
    {
        m_thread.start();
        QMetaObject::invokeMethod(
            &m_context,
            [&]() {
                m_server = new omdevice::ControlServer(path);
                m_opened = m_server->open(nullptr);
                QObject::connect(m_server, &omdevice::ControlServer::clientOpened, m_server,
                                 [server = m_server, objectName, content](int clientId) {
                                     server->replyAs(clientId, objectName, content);
                                 });
            },
            Qt::BlockingQueuedConnection);
    }
    ~GreetingServer()
    {
        QMetaObject::invokeMethod(
            &m_context, [this]() { delete m_server; }, Qt::BlockingQueuedConnection);
        m_thread.quit();
        m_thread.wait();
    }
    bool isOpen() const { return m_opened; }

private:
    struct Context : QObject
    {
        explicit Context(QThread *thread) { moveToThread(thread); }
    };
    QThread m_thread;
    Context m_context{&m_thread};
    omdevice::ControlServer *m_server = nullptr;
    bool m_opened = false;
};

} // namespace

class tst_AdarpDomain : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void firstReading_data();
    void firstReading();
    void stateObjectOfAnotherName();
    void updates_data();
    void updates();
    void signalsSeeNewValues();
    void deletedByAReceiver();

    void requests_data();
    void requests();
    void requestTooLarge();
    void answers_data();
    void answers();

    void channelsFailIndependently_data();
    void channelsFailIndependently();
    void noBroker();
    void brokerGoesAway();

private:
    void publish(const QVariantMap &attributes, const QStringList &removed = QStringList(),
                 const QByteArray &raw = QByteArray());
    bool startServer();
    bool settle(Recorder &recorder, DataLockState::Type expectedState);

    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omdevice::StatePublisher> m_publisher;
    std::unique_ptr<omtest::FakeServer> m_server;
};

void tst_AdarpDomain::init()
{
    m_broker.reset(new omtest::TestBroker);
    QVERIFY(m_broker->isRunning());
}

void tst_AdarpDomain::cleanup()
{
    m_server.reset();
    m_publisher.reset();
    m_broker.reset();
}

void tst_AdarpDomain::publish(const QVariantMap &attributes, const QStringList &removed,
                              const QByteArray &raw)
{
    if (!m_publisher) {
        m_publisher.reset(new omdevice::StatePublisher(statePath));
        QString error;
        QVERIFY2(m_publisher->open(&error), qPrintable(error));
    }
    if (raw.isEmpty())
        QVERIFY(m_publisher->publish(attributes, removed));
    else
        QVERIFY(m_publisher->publishRaw(raw));
}

bool tst_AdarpDomain::startServer()
{
    m_server.reset(new omtest::FakeServer(controlPath));
    return m_server->start();
}

// Publishes a pending lock at 42 seconds, a reading that no test uses, and
// waits until the domain has signalled it: by then the domain has taken
// every earlier update. The barrier's own signals are checked and removed
// from the recorder.
bool tst_AdarpDomain::settle(Recorder &recorder, DataLockState::Type expectedState)
{
    publish(
        {{QStringLiteral("state"), 5}, {QStringLiteral("data_lock_time"), QStringLiteral("42")}});
    QStringList barrier;
    if (expectedState != DataLockState::LockPending)
        barrier << QStringLiteral("state %1 LockPending").arg(stateName(expectedState));
    barrier << QStringLiteral("time 42");
    if (!QTest::qWaitFor([&]() { return recorder.events.endsWith(QStringLiteral("time 42")); }))
        return false;
    const int before = recorder.events.size() - barrier.size();
    if (before < 0 || recorder.events.mid(before) != barrier) {
        qWarning() << "unexpected signals around the barrier:" << recorder.events;
        return false;
    }
    recorder.events = recorder.events.mid(0, before);
    return true;
}

// ------------------------------------------------------------ the state

void tst_AdarpDomain::firstReading_data()
{
    QTest::addColumn<QVariantMap>("content");
    QTest::addColumn<QByteArray>("raw");
    QTest::addColumn<DataLockState::Type>("state");
    QTest::addColumn<qint64>("time"); // -1: null
    QTest::addColumn<QStringList>("warnings");

    const QString state = QStringLiteral("state");
    const QString lockTime = QStringLiteral("data_lock_time");
    const QStringList none;
    const QString missing = QStringLiteral("[AdarpDomain] datalock time is missing");
    const QString unreadable = QStringLiteral("[AdarpDomain] datalock time could not be read");

    QTest::newRow("raw 0") << QVariantMap{{state, 0}} << QByteArray()
                           << DataLockState::StartupLocked << qint64(-1) << none;
    QTest::newRow("raw 1") << QVariantMap{{state, 1}} << QByteArray() << DataLockState::NotLocked
                           << qint64(-1) << none;
    QTest::newRow("raw 2") << QVariantMap{{state, 2}} << QByteArray() << DataLockState::NotLocked
                           << qint64(-1) << none;
    QTest::newRow("raw 3") << QVariantMap{{state, 3}} << QByteArray() << DataLockState::DataLocked
                           << qint64(-1) << none;
    QTest::newRow("raw 4") << QVariantMap{{state, 4}} << QByteArray() << DataLockState::NotLocked
                           << qint64(-1) << none;
    QTest::newRow("raw 5 with a time")
        << QVariantMap{{state, 5}, {lockTime, QStringLiteral("1700000000")}} << QByteArray()
        << DataLockState::LockPending << qint64(1700000000) << none;
    QTest::newRow("raw 6") << QVariantMap{{state, 6}} << QByteArray()
                           << DataLockState::StartupLocked << qint64(-1) << none;
    QTest::newRow("raw 7") << QVariantMap{{state, 7}} << QByteArray() << DataLockState::NotLocked
                           << qint64(-1) << none;
    QTest::newRow("raw -1") << QVariantMap{{state, -1}} << QByteArray() << DataLockState::NotLocked
                            << qint64(-1) << none;
    QTest::newRow("largest raw") << QVariantMap{{state, 2147483647}} << QByteArray()
                                 << DataLockState::NotLocked << qint64(-1) << none;
    QTest::newRow("no state attribute reads as raw 0")
        << QVariantMap{{QStringLiteral("owner"), QStringLiteral("it")}} << QByteArray()
        << DataLockState::StartupLocked << qint64(-1) << none;
    QTest::newRow("state that is not a number reads as raw 0")
        << QVariantMap{{state, QStringLiteral("locked")}} << QByteArray()
        << DataLockState::StartupLocked << qint64(-1) << none;
    QTest::newRow("state as text") << QVariantMap{{state, QStringLiteral("3")}} << QByteArray()
                                   << DataLockState::DataLocked << qint64(-1) << none;
    QTest::newRow("time as a number")
        << QVariantMap{{state, 5}, {lockTime, qint64(1700000000)}} << QByteArray()
        << DataLockState::LockPending << qint64(1700000000) << none;
    QTest::newRow("time missing") << QVariantMap{{state, 5}} << QByteArray()
                                  << DataLockState::LockPending << qint64(-1)
                                  << QStringList{missing};
    QTest::newRow("time empty") << QVariantMap{{state, 5}, {lockTime, QString()}} << QByteArray()
                                << DataLockState::LockPending << qint64(-1) << QStringList{missing};
    QTest::newRow("time not a number")
        << QVariantMap{{state, 5}, {lockTime, QStringLiteral("abc")}} << QByteArray()
        << DataLockState::LockPending << qint64(-1) << QStringList{unreadable};
    QTest::newRow("time with trailing text")
        << QVariantMap{{state, 5}, {lockTime, QStringLiteral("12abc")}} << QByteArray()
        << DataLockState::LockPending << qint64(-1) << QStringList{unreadable};
    QTest::newRow("time beyond 32 bits")
        << QVariantMap{{state, 5}, {lockTime, QStringLiteral("4294967296")}} << QByteArray()
        << DataLockState::LockPending << qint64(-1) << QStringList{unreadable};
    QTest::newRow("negative time counts as unsigned")
        << QVariantMap{{state, 5}, {lockTime, QStringLiteral("-1")}} << QByteArray()
        << DataLockState::LockPending << qint64(4294967295) << none;
    QTest::newRow("time zero is a time")
        << QVariantMap{{state, 5}, {lockTime, QStringLiteral("0")}} << QByteArray()
        << DataLockState::LockPending << qint64(0) << none;
    QTest::newRow("time of a state that is not pending is ignored")
        << QVariantMap{{state, 3}, {lockTime, QStringLiteral("1700000000")}} << QByteArray()
        << DataLockState::DataLocked << qint64(-1) << none;
    QTest::newRow("undecodable") << QVariantMap() << QByteArray("state:n:garbage\n")
                                 << DataLockState::NotLocked << qint64(-1)
                                 << QStringList{QStringLiteral(
                                        "[AdarpDomain] Could read, but not decode pps")};
}

// The constructor reads the state once, blocking, and stores what it reads
// without a signal, neither during construction nor afterwards.
void tst_AdarpDomain::firstReading()
{
    QFETCH(QVariantMap, content);
    QFETCH(QByteArray, raw);
    QFETCH(DataLockState::Type, state);
    QFETCH(qint64, time);
    QFETCH(QStringList, warnings);

    publish(content, QStringList(), raw);
    QVERIFY(startServer());
    omtest::WarningCapture capture;
    std::unique_ptr<AdarpDomain> domain;
    {
        EmissionWatch watch;
        domain.reset(new AdarpDomain);
        QCOMPARE(EmissionWatch::emittedBy(domain.get()), QStringList());
    }
    QCOMPARE(capture.warnings(), warnings);
    QCOMPARE(domain->dataLockState(), state);
    QCOMPARE(domain->nextDataLockTime(),
             time < 0 ? QDateTime() : QDateTime::fromSecsSinceEpoch(time));
    QCOMPARE(domain->property("dataLockState").value<DataLockState::Type>(), state);

    Recorder recorder(domain.get());
    QVERIFY(settle(recorder, state));
    QCOMPARE(recorder.events, QStringList());
}

void tst_AdarpDomain::stateObjectOfAnotherName()
{
    GreetingServer server(statePath, QStringLiteral("@status"), {{QStringLiteral("state"), 3}});
    QVERIFY(server.isOpen());
    QVERIFY(startServer());
    omtest::WarningCapture capture;
    AdarpDomain domain;
    QCOMPARE(capture.warnings(),
             QStringList{QStringLiteral("[AdarpDomain] pps does not contain  @state")});
    QCOMPARE(domain.dataLockState(), DataLockState::NotLocked);
    QVERIFY(domain.nextDataLockTime().isNull());
}

void tst_AdarpDomain::updates_data()
{
    QTest::addColumn<QVariantMap>("first");
    QTest::addColumn<QVariantMap>("update");
    QTest::addColumn<QStringList>("removed");
    QTest::addColumn<QByteArray>("raw");
    QTest::addColumn<QStringList>("events");
    QTest::addColumn<DataLockState::Type>("state");
    QTest::addColumn<QStringList>("warnings");

    const QString state = QStringLiteral("state");
    const QString lockTime = QStringLiteral("data_lock_time");
    const QStringList none;
    const QVariantMap unlocked{{state, 1}};
    const QVariantMap locked{{state, 3}};
    const QVariantMap pending{{state, 5}, {lockTime, QStringLiteral("1000")}};

    QTest::newRow("unlocked, then locked")
        << unlocked << locked << none << QByteArray()
        << QStringList{QStringLiteral("state NotLocked DataLocked")} << DataLockState::DataLocked
        << none;
    QTest::newRow("unlocked, then pending")
        << unlocked << pending << none << QByteArray()
        << QStringList{QStringLiteral("state NotLocked LockPending"), QStringLiteral("time 1000")}
        << DataLockState::LockPending << none;
    QTest::newRow("pending, then locked: state first, then the null time")
        << pending << locked << QStringList{lockTime} << QByteArray()
        << QStringList{QStringLiteral("state LockPending DataLocked"), QStringLiteral("time null")}
        << DataLockState::DataLocked << none;
    QTest::newRow("the same reading again")
        << locked << locked << none << QByteArray() << none << DataLockState::DataLocked << none;
    QTest::newRow("another raw value of the same state")
        << QVariantMap{{state, 6}} << QVariantMap{{state, 0}} << none << QByteArray() << none
        << DataLockState::StartupLocked << none;
    QTest::newRow("only the time changes")
        << pending << QVariantMap{{lockTime, QStringLiteral("2000")}} << none << QByteArray()
        << QStringList{QStringLiteral("time 2000")} << DataLockState::LockPending << none;
    QTest::newRow("a time beside a state that is not pending")
        << locked << QVariantMap{{lockTime, QStringLiteral("1000")}} << none << QByteArray() << none
        << DataLockState::DataLocked << none;
    QTest::newRow("the pending time becomes unreadable")
        << pending << QVariantMap{{lockTime, QStringLiteral("soon")}} << none << QByteArray()
        << QStringList{QStringLiteral("time null")} << DataLockState::LockPending
        << QStringList{QStringLiteral("[AdarpDomain] datalock time could not be read")};
    QTest::newRow("the pending time goes away")
        << pending << QVariantMap() << QStringList{lockTime} << QByteArray()
        << QStringList{QStringLiteral("time null")} << DataLockState::LockPending
        << QStringList{QStringLiteral("[AdarpDomain] datalock time is missing")};
    QTest::newRow("locked, then the state goes away")
        << locked << QVariantMap() << QStringList{state} << QByteArray()
        << QStringList{QStringLiteral("state DataLocked StartupLocked")}
        << DataLockState::StartupLocked << none;
    QTest::newRow("locked, then an unknown raw value")
        << locked << QVariantMap{{state, 7}} << none << QByteArray()
        << QStringList{QStringLiteral("state DataLocked NotLocked")} << DataLockState::NotLocked
        << none;
    QTest::newRow("locked, then an update that cannot be decoded")
        << locked << QVariantMap() << none << QByteArray("state:n:garbage\n")
        << QStringList{QStringLiteral("state DataLocked NotLocked")} << DataLockState::NotLocked
        << QStringList{QStringLiteral("[AdarpDomain] Could read, but not decode pps")};
    QTest::newRow("pending, then an update that cannot be decoded")
        << pending << QVariantMap() << none << QByteArray("data_lock_time:n:soon\n")
        << QStringList{QStringLiteral("state LockPending NotLocked"), QStringLiteral("time null")}
        << DataLockState::NotLocked
        << QStringList{QStringLiteral("[AdarpDomain] Could read, but not decode pps")};
}

void tst_AdarpDomain::updates()
{
    QFETCH(QVariantMap, first);
    QFETCH(QVariantMap, update);
    QFETCH(QStringList, removed);
    QFETCH(QByteArray, raw);
    QFETCH(QStringList, events);
    QFETCH(DataLockState::Type, state);
    QFETCH(QStringList, warnings);

    publish(first);
    QVERIFY(startServer());
    AdarpDomain domain;
    Recorder recorder(&domain);
    omtest::WarningCapture capture;

    publish(update, removed, raw);
    QVERIFY(settle(recorder, state));
    QCOMPARE(recorder.events, events);
    QCOMPARE(capture.warnings(), warnings);
}

// When a signal comes, both properties already hold the new reading.
void tst_AdarpDomain::signalsSeeNewValues()
{
    publish(
        {{QStringLiteral("state"), 5}, {QStringLiteral("data_lock_time"), QStringLiteral("1000")}});
    QVERIFY(startServer());
    AdarpDomain domain;
    QStringList seen;
    auto snapshot = [&](const QString &signal) {
        seen << QStringLiteral("%1: %2 %3")
                    .arg(signal, stateName(domain.dataLockState()),
                         timeText(domain.nextDataLockTime()));
    };
    connect(&domain, &AdarpDomain::dataLockStateChanged, this,
            [&]() { snapshot(QStringLiteral("state")); });
    connect(&domain, &AdarpDomain::nextDataLockTimeChanged, this,
            [&]() { snapshot(QStringLiteral("time")); });

    publish({{QStringLiteral("state"), 3}}, {QStringLiteral("data_lock_time")});
    QTRY_COMPARE(seen.size(), 2);
    QCOMPARE(seen, (QStringList{QStringLiteral("state: DataLocked null"),
                                QStringLiteral("time: DataLocked null")}));
}

// A receiver of the state signal may delete the domain; the time signal
// then does not come, and nothing else breaks.
void tst_AdarpDomain::deletedByAReceiver()
{
    publish(
        {{QStringLiteral("state"), 5}, {QStringLiteral("data_lock_time"), QStringLiteral("1000")}});
    QVERIFY(startServer());
    auto *domain = new AdarpDomain;
    QPointer<AdarpDomain> guard(domain);
    QStringList seen;
    connect(domain, &AdarpDomain::dataLockStateChanged, this, [&]() {
        seen << QStringLiteral("state");
        delete domain;
    });
    connect(domain, &AdarpDomain::nextDataLockTimeChanged, this,
            [&]() { seen << QStringLiteral("time"); });

    publish({{QStringLiteral("state"), 3}}, {QStringLiteral("data_lock_time")});
    QTRY_VERIFY(guard.isNull());
    QCOMPARE(seen, QStringList{QStringLiteral("state")});
    // The bus is still fine for a new domain.
    AdarpDomain other;
    QCOMPARE(other.dataLockState(), DataLockState::DataLocked);
}

// ------------------------------------------------------------ requests

void tst_AdarpDomain::requests_data()
{
    QTest::addColumn<bool>("extend");
    QTest::addColumn<QString>("requestId");
    QTest::addColumn<uint>("interval");

    QTest::newRow("lock") << false << QStringLiteral("lock-1") << 0u;
    QTest::newRow("lock with an empty id") << false << QString() << 0u;
    QTest::newRow("lock with an id of two lines") << false << QStringLiteral("a\nb") << 0u;
    QTest::newRow("extension") << true << QStringLiteral("extend-1") << 600u;
    QTest::newRow("extension by nothing") << true << QStringLiteral("extend-2") << 0u;
    QTest::newRow("longest extension") << true << QStringLiteral("extend-3") << 4294967295u;
}

void tst_AdarpDomain::requests()
{
    QFETCH(bool, extend);
    QFETCH(QString, requestId);
    QFETCH(uint, interval);

    publish({{QStringLiteral("state"), 1}});
    QVERIFY(startServer());
    AdarpDomain domain;
    omtest::WarningCapture capture;

    const int result =
        extend ? domain.extendDataLockTime(requestId, interval) : domain.requestDataLock(requestId);
    QCOMPARE(result, 0);
    QVERIFY(m_server->waitForReceived(1));
    const omtest::Received request = m_server->last();
    QVERIFY(request.decoded);
    QCOMPARE(request.attributes.keys(),
             (QStringList{QStringLiteral("dat"), QStringLiteral("id"), QStringLiteral("msg")}));
    QCOMPARE(request.msg(), extend ? QStringLiteral("extend_lock") : QStringLiteral("lock"));
    QCOMPARE(request.id(), requestId);
    const QVariantMap dat = request.dat();
    QCOMPARE(dat.value(QStringLiteral("name")).toString(), QStringLiteral("enterprise"));
    if (extend) {
        QCOMPARE(dat.keys(), (QStringList{QStringLiteral("name"), QStringLiteral("time")}));
        QCOMPARE(dat.value(QStringLiteral("time")).toLongLong(), qint64(interval));
    } else {
        QCOMPARE(dat.keys(), (QStringList{QStringLiteral("name"), QStringLiteral("type")}));
        QCOMPARE(dat.value(QStringLiteral("type")).toLongLong(), 1);
    }
    QCOMPARE(capture.warnings(), QStringList());
}

void tst_AdarpDomain::requestTooLarge()
{
    publish({{QStringLiteral("state"), 1}});
    QVERIFY(startServer());
    AdarpDomain domain;
    omtest::WarningCapture capture;

    QCOMPARE(domain.requestDataLock(QString(70000, QLatin1Char('x'))), -1);
    QCOMPARE(
        capture.warnings(),
        QStringList{QStringLiteral("[AdarpDomain] error writing pps control channel: ( \"%1\" )")
                        .arg(errnoText(EMSGSIZE))});
    // The channel is still usable.
    QCOMPARE(domain.requestDataLock(QStringLiteral("after")), 0);
    QVERIFY(m_server->waitForReceived(1));
    QCOMPARE(m_server->last().id(), QStringLiteral("after"));
}

// ------------------------------------------------------------ answers

void tst_AdarpDomain::answers_data()
{
    QTest::addColumn<QString>("objectName");
    QTest::addColumn<QVariantMap>("answer");
    QTest::addColumn<QByteArray>("raw");
    QTest::addColumn<QStringList>("events");
    QTest::addColumn<QStringList>("warnings");
    QTest::addColumn<int>("extendedTime");

    const QString id = QStringLiteral("id");
    const QString res = QStringLiteral("res");
    const QString err = QStringLiteral("err");
    const QString dat = QStringLiteral("dat");
    const QString lock = QStringLiteral("lock");
    const QString extend = QStringLiteral("extend_lock");
    const QString r = QStringLiteral("r-1");
    const QStringList none;
    const QStringList granted{QStringLiteral("response r-1 0")};
    const QStringList refused{QStringLiteral("response r-1 -1")};
    const QString noId = QStringLiteral("[AdarpDomain] pps response id is missing");
    const QString noRes = QStringLiteral("[AdarpDomain] pps response request type is missing");
    // Every row starts after an extension granted with time 99.
    const int before = 99;

    QTest::newRow("lock granted") << QString() << QVariantMap{{id, r}, {res, lock}} << QByteArray()
                                  << granted << none << before;
    QTest::newRow("lock refused") << QString()
                                  << QVariantMap{{id, r}, {res, lock}, {err, QStringLiteral("no")}}
                                  << QByteArray() << refused << none << before;
    QTest::newRow("an empty err still refuses")
        << QString() << QVariantMap{{id, r}, {res, lock}, {err, QString()}} << QByteArray()
        << refused << none << before;
    QTest::newRow("no id") << QString() << QVariantMap{{res, lock}} << QByteArray() << none
                           << QStringList{noId} << before;
    QTest::newRow("no res") << QString() << QVariantMap{{id, r}} << QByteArray() << refused
                            << QStringList{noRes} << before;
    QTest::newRow("err without res takes the res branch")
        << QString() << QVariantMap{{id, r}, {err, QStringLiteral("no")}} << QByteArray() << refused
        << QStringList{noRes} << before;
    QTest::newRow("extension with a time")
        << QString()
        << QVariantMap{{id, r}, {res, extend}, {dat, QVariantMap{{QStringLiteral("time"), 1234}}}}
        << QByteArray() << granted << none << 1234;
    QTest::newRow("extension without dat")
        << QString() << QVariantMap{{id, r}, {res, extend}} << QByteArray() << granted << none << 0;
    QTest::newRow("extension whose dat has no time")
        << QString()
        << QVariantMap{{id, r}, {res, extend}, {dat, QVariantMap{{QStringLiteral("other"), 5}}}}
        << QByteArray() << granted << none << 0;
    QTest::newRow("extension whose dat is not a map")
        << QString() << QVariantMap{{id, r}, {res, extend}, {dat, QStringLiteral("1234")}}
        << QByteArray() << granted << none << 0;
    QTest::newRow("extension refused keeps the last time")
        << QString()
        << QVariantMap{{id, r},
                       {res, extend},
                       {err, QStringLiteral("nothing pending")},
                       {dat, QVariantMap{{QStringLiteral("time"), 5}}}}
        << QByteArray() << refused << none << before;
    QTest::newRow("unknown res is success")
        << QString() << QVariantMap{{id, r}, {res, QStringLiteral("frobnicate")}} << QByteArray()
        << granted << none << before;
    QTest::newRow("empty id") << QString() << QVariantMap{{id, QString()}, {res, lock}}
                              << QByteArray() << QStringList{QStringLiteral("response  0")} << none
                              << before;
    QTest::newRow("numeric id") << QString() << QVariantMap{{id, 42}, {res, lock}} << QByteArray()
                                << QStringList{QStringLiteral("response 42 0")} << none << before;
    QTest::newRow("answer under another object name")
        << QStringLiteral("@control") << QVariantMap{{id, r}, {res, lock}} << QByteArray() << none
        << QStringList{noId} << before;
    QTest::newRow("answer that cannot be decoded")
        << QString() << QVariantMap() << QByteArray("id::r-1\nres:n:lock\n") << none
        << QStringList{QStringLiteral("[AdarpDomain] Unable to decode pps control result")}
        << before;
}

void tst_AdarpDomain::answers()
{
    QFETCH(QString, objectName);
    QFETCH(QVariantMap, answer);
    QFETCH(QByteArray, raw);
    QFETCH(QStringList, events);
    QFETCH(QStringList, warnings);
    QFETCH(int, extendedTime);

    publish(
        {{QStringLiteral("state"), 5}, {QStringLiteral("data_lock_time"), QStringLiteral("1000")}});
    QVERIFY(startServer());
    AdarpDomain domain;
    auto *d = domain.findChild<AdarpDomainPrivate *>();
    QVERIFY(d);
    QCOMPARE(d->extendedTime, 0);
    Recorder recorder(&domain);
    QVERIFY(m_server->waitForClients(1));
    const int client = m_server->clients().first();

    // Answers come in order on one channel: the one after the row's answer
    // tells that the row's has been handled.
    auto settleAnswers = [&]() {
        QVERIFY(m_server->reply(client, {{QStringLiteral("id"), QStringLiteral("barrier")},
                                         {QStringLiteral("res"), QStringLiteral("lock")}}));
        QTRY_VERIFY(recorder.events.endsWith(QStringLiteral("response barrier 0")));
        recorder.events.removeLast();
    };
    QVERIFY(m_server->reply(client,
                            {{QStringLiteral("id"), QStringLiteral("first")},
                             {QStringLiteral("res"), QStringLiteral("extend_lock")},
                             {QStringLiteral("dat"), QVariantMap{{QStringLiteral("time"), 99}}}}));
    settleAnswers();
    QCOMPARE(recorder.events, QStringList{QStringLiteral("response first 0")});
    QCOMPARE(d->extendedTime, 99);
    recorder.events.clear();

    omtest::WarningCapture capture;
    if (!raw.isEmpty())
        QVERIFY(m_server->replyRaw(client, raw));
    else if (!objectName.isEmpty())
        QVERIFY(m_server->replyAs(client, objectName, answer));
    else
        QVERIFY(m_server->reply(client, answer));
    settleAnswers();
    QCOMPARE(recorder.events, events);
    QCOMPARE(capture.warnings(), warnings);
    QCOMPARE(d->extendedTime, extendedTime);
    // An answer never touches the state.
    QCOMPARE(domain.dataLockState(), DataLockState::LockPending);
    QCOMPARE(domain.nextDataLockTime(), QDateTime::fromSecsSinceEpoch(1000));
}

// ------------------------------------------------------------ failures

void tst_AdarpDomain::channelsFailIndependently_data()
{
    QTest::addColumn<bool>("withState");
    QTest::addColumn<bool>("withControl");

    QTest::newRow("no state object") << false << true;
    QTest::newRow("no control object") << true << false;
    QTest::newRow("neither") << false << false;
}

void tst_AdarpDomain::channelsFailIndependently()
{
    QFETCH(bool, withState);
    QFETCH(bool, withControl);

    if (withState)
        publish({{QStringLiteral("state"), 3}});
    if (withControl)
        QVERIFY(startServer());

    omtest::WarningCapture capture;
    AdarpDomain domain;
    QStringList expected;
    if (!withState)
        expected << QStringLiteral("[AdarpDomain] Unable to open perimeter manager PPS channel  ") +
                        stateWaitPath;
    if (!withControl)
        expected
            << QStringLiteral("[AdarpDomain] error opening pps control channel:  %1").arg(ENOENT);
    QCOMPARE(capture.warnings(), expected);
    QCOMPARE(domain.dataLockState(),
             withState ? DataLockState::DataLocked : DataLockState::NotLocked);
    capture.clear();

    Recorder recorder(&domain);
    // Requests: written if the control object opened, else refused at once.
    const int lockResult = domain.requestDataLock(QStringLiteral("r-1"));
    const int extendResult = domain.extendDataLockTime(QStringLiteral("r-2"), 60);
    if (withControl) {
        QCOMPARE(lockResult, 0);
        QCOMPARE(extendResult, 0);
        QVERIFY(m_server->waitForReceived(2));
        QVERIFY(m_server->reply(m_server->last().clientId,
                                omtest::FakeServer::okAnswer(m_server->last().attributes)));
        QTRY_COMPARE(recorder.events, QStringList{QStringLiteral("response r-2 0")});
        QCOMPARE(capture.warnings(), QStringList());
    } else {
        QCOMPARE(lockResult, -1);
        QCOMPARE(extendResult, -1);
        const QString line =
            QStringLiteral("[AdarpDomain] error writing pps control channel: ( \"%1\" )")
                .arg(errnoText(EBADF));
        QCOMPARE(capture.warnings(), (QStringList{line, line}));
    }

    // The state is followed if its object opened, and never otherwise.
    if (withState) {
        publish({{QStringLiteral("state"), 1}});
        QTRY_COMPARE(recorder.events.size(), withControl ? 2 : 1);
        QCOMPARE(recorder.events.last(), QStringLiteral("state DataLocked NotLocked"));
    } else {
        // The object appears only now; a domain whose open failed stays
        // where it was.
        publish({{QStringLiteral("state"), 3}});
        AdarpDomain other;
        QCOMPARE(other.dataLockState(), DataLockState::DataLocked);
        QCOMPARE(domain.dataLockState(), DataLockState::NotLocked);
    }
}

void tst_AdarpDomain::noBroker()
{
    m_broker->stop();
    omtest::WarningCapture capture;
    AdarpDomain domain;
    QCOMPARE(capture.warnings(),
             (QStringList{
                 QStringLiteral("[AdarpDomain] Unable to open perimeter manager PPS channel  ") +
                     stateWaitPath,
                 QStringLiteral("[AdarpDomain] error opening pps control channel:  %1")
                     .arg(ECONNREFUSED)}));
    QCOMPARE(domain.dataLockState(), DataLockState::NotLocked);
    QVERIFY(domain.nextDataLockTime().isNull());
    capture.clear();
    QCOMPARE(domain.requestDataLock(QStringLiteral("r")), -1);
    QCOMPARE(capture.warnings().size(), 1);
}

// A service that goes away while the data is locked reads as "not locked",
// and the control channel says it can no longer read.
void tst_AdarpDomain::brokerGoesAway()
{
    publish({{QStringLiteral("state"), 3}});
    QVERIFY(startServer());
    AdarpDomain domain;
    QSignalSpy stateSpy(&domain, &AdarpDomain::dataLockStateChanged);
    QSignalSpy responseSpy(&domain, &AdarpDomain::responseReceived);
    omtest::WarningCapture capture;

    m_server.reset();
    m_publisher.reset();
    m_broker->stop();

    QVERIFY(stateSpy.wait());
    QCOMPARE(stateSpy.count(), 1);
    QCOMPARE(stateSpy.at(0).at(0).value<DataLockState::Type>(), DataLockState::DataLocked);
    QCOMPARE(stateSpy.at(0).at(1).value<DataLockState::Type>(), DataLockState::NotLocked);
    const QString gone = errnoText(ENOTCONN);
    QTRY_COMPARE(capture.warnings().size(), 2);
    QStringList warnings = capture.warnings();
    warnings.sort();
    QCOMPARE(
        warnings,
        (QStringList{QStringLiteral("[AdarpDomain] Could not read pps. error: \"%1\"").arg(gone),
                     QStringLiteral("[AdarpDomain] unable to read pps control channel: ( \"%1\" )")
                         .arg(gone)}));
    QCOMPARE(responseSpy.count(), 0);
    QCOMPARE(domain.dataLockState(), DataLockState::NotLocked);
}

QTEST_GUILESS_MAIN(tst_AdarpDomain)
#include "tst_adarpdomain.moc"
