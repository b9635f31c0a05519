// The data lock end to end: AdarpDomain and omctl against a real omdeviced
// running the perimeter manager.

#include "deviceprocess.h"

#include <om/platform/adarpdomain.h>
#include <om/ppsobject.h>

#include <QSignalSpy>
#include <QtTest/QtTest>

#include <memory>
#include <sys/wait.h>
#include <unistd.h>

using om::platform::AdarpDomain;
using om::platform::DataLockState;
using omtest::DeviceProcess;

namespace {

const QString controlPath = QStringLiteral("/pps/system/perimeter/control_public");

/** omctl's report of the data lock: the raw state, and the time if any. */
struct Shown
{
    int state = -1000;
    QString time; // "none" if there is none
};

Shown parseShown(const QByteArray &out)
{
    Shown shown;
    const QList<QByteArray> lines = out.split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("state: "))
            shown.state = line.mid(7, line.indexOf(' ', 7) - 7).toInt();
        else if (line.startsWith("time: "))
            shown.time = QString::fromUtf8(
                line.mid(6, line.indexOf(' ', 6) < 0 ? -1 : line.indexOf(' ', 6) - 6));
    }
    return shown;
}

/** Runs omctl @p args under @p uid and group @p gid, as another user would. */
DeviceProcess::Result omctlAs(uid_t uid, gid_t gid, const QStringList &args)
{
    DeviceProcess::Result result;
    int out[2];
    int err[2];
    if (::pipe(out) != 0 || ::pipe(err) != 0)
        return result;
    const QByteArray program = QFile::encodeName(DeviceProcess::omctlPath());
    QList<QByteArray> argv8{program};
    for (const QString &arg : args)
        argv8 << arg.toLocal8Bit();
    QVector<char *> argv;
    for (QByteArray &arg : argv8)
        argv << arg.data();
    argv << nullptr;

    const pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(out[1], 1);
        ::dup2(err[1], 2);
        if (::setgid(gid) != 0 || ::setuid(uid) != 0)
            ::_exit(126);
        ::execv(program.constData(), argv.data());
        ::_exit(127);
    }
    ::close(out[1]);
    ::close(err[1]);
    auto drain = [](int fd) {
        QByteArray data;
        char buf[4096];
        ssize_t n;
        while ((n = ::read(fd, buf, sizeof buf)) > 0)
            data.append(buf, int(n));
        ::close(fd);
        return data;
    };
    result.out = drain(out[0]);
    result.err = drain(err[0]);
    int status = 0;
    if (pid > 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status))
        result.exitCode = WEXITSTATUS(status);
    return result;
}

} // namespace

class tst_PerimeterManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void requestDataLock();
    void pendingLockShowsItsTime();
    void extensionMovesThePendingLock();
    void extensionWithNothingPending();
    void serviceAnswers_data();
    void serviceAnswers();
    void rawStates_data();
    void rawStates();
    void pendingLockFallsDue_data();
    void pendingLockFallsDue();
    void stateSurvivesRestart_data();
    void stateSurvivesRestart();
    void firstStartSetting();
    void omctlUsage_data();
    void omctlUsage();
    void omctlWithoutPerimeterManager();
    void changesNeedTheOwner();

private:
    bool startDevice(const QStringList &extra = QStringList());
    Shown omctl(const QStringList &args);

    std::unique_ptr<DeviceProcess> m_device;
};

void tst_PerimeterManager::init()
{
    m_device.reset(new DeviceProcess);
}

void tst_PerimeterManager::cleanup()
{
    m_device.reset();
}

bool tst_PerimeterManager::startDevice(const QStringList &extra)
{
    const bool started =
        m_device->start(QStringList{QStringLiteral("--services=perimeter")} + extra);
    if (!started)
        qWarning() << "omdeviced did not start:" << m_device->output();
    return started;
}

// Runs a datalock command that must succeed and gives the state it printed.
Shown tst_PerimeterManager::omctl(const QStringList &args)
{
    const DeviceProcess::Result r =
        DeviceProcess::omctl(QStringList{QStringLiteral("datalock")} + args);
    if (r.exitCode != 0)
        qWarning() << "omctl datalock" << args << "failed:" << r.exitCode << r.err;
    return r.exitCode == 0 ? parseShown(r.out) : Shown();
}

void tst_PerimeterManager::requestDataLock()
{
    QVERIFY(startDevice());
    AdarpDomain domain;
    QCOMPARE(domain.dataLockState(), DataLockState::NotLocked);
    QSignalSpy responses(&domain, &AdarpDomain::responseReceived);
    QSignalSpy states(&domain, &AdarpDomain::dataLockStateChanged);

    QCOMPARE(domain.requestDataLock(QStringLiteral("lock-1")), 0);
    QTRY_COMPARE(responses.count(), 1);
    QCOMPARE(responses.at(0), (QVariantList{QStringLiteral("lock-1"), 0}));
    QTRY_COMPARE(states.count(), 1);
    QCOMPARE(states.at(0).at(0).value<DataLockState::Type>(), DataLockState::NotLocked);
    QCOMPARE(states.at(0).at(1).value<DataLockState::Type>(), DataLockState::DataLocked);
    QCOMPARE(omctl({}).state, 3);
}

void tst_PerimeterManager::pendingLockShowsItsTime()
{
    QVERIFY(startDevice());
    AdarpDomain domain;
    QSignalSpy times(&domain, &AdarpDomain::nextDataLockTimeChanged);

    const Shown set = omctl({QStringLiteral("pending"), QStringLiteral("3600")});
    QCOMPARE(set.state, 5);
    const qint64 due = set.time.toLongLong();
    QVERIFY(qAbs(due - 3600 - QDateTime::currentSecsSinceEpoch()) < 60);

    QTRY_COMPARE(times.count(), 1);
    QCOMPARE(times.at(0).at(0).toDateTime(), QDateTime::fromSecsSinceEpoch(due));
    QCOMPARE(domain.dataLockState(), DataLockState::LockPending);
    QCOMPARE(domain.nextDataLockTime(), QDateTime::fromSecsSinceEpoch(due));

    const Shown shown = omctl({});
    QCOMPARE(shown.state, 5);
    QCOMPARE(shown.time, set.time);
}

void tst_PerimeterManager::extensionMovesThePendingLock()
{
    QVERIFY(startDevice());
    const qint64 due = omctl({QStringLiteral("pending"), QStringLiteral("3600")}).time.toLongLong();
    QVERIFY(due > 0);
    AdarpDomain domain;
    QCOMPARE(domain.nextDataLockTime(), QDateTime::fromSecsSinceEpoch(due));
    QSignalSpy responses(&domain, &AdarpDomain::responseReceived);
    QSignalSpy times(&domain, &AdarpDomain::nextDataLockTimeChanged);
    QSignalSpy states(&domain, &AdarpDomain::dataLockStateChanged);

    QCOMPARE(domain.extendDataLockTime(QStringLiteral("ext-1"), 600), 0);
    QTRY_COMPARE(responses.count(), 1);
    QCOMPARE(responses.at(0), (QVariantList{QStringLiteral("ext-1"), 0}));
    QTRY_COMPARE(times.count(), 1);
    QCOMPARE(times.at(0).at(0).toDateTime(), QDateTime::fromSecsSinceEpoch(due + 600));
    QCOMPARE(domain.nextDataLockTime(), QDateTime::fromSecsSinceEpoch(due + 600));
    QCOMPARE(states.count(), 0);
    QCOMPARE(omctl({}).time, QString::number(due + 600));
}

void tst_PerimeterManager::extensionWithNothingPending()
{
    QVERIFY(startDevice());
    AdarpDomain domain;
    QSignalSpy responses(&domain, &AdarpDomain::responseReceived);

    QCOMPARE(domain.extendDataLockTime(QStringLiteral("ext-2"), 60), 0);
    QTRY_COMPARE(responses.count(), 1);
    QCOMPARE(responses.at(0), (QVariantList{QStringLiteral("ext-2"), -1}));
    QCOMPARE(domain.dataLockState(), DataLockState::NotLocked);
    QCOMPARE(omctl({}).state, 1);
}

void tst_PerimeterManager::serviceAnswers_data()
{
    QTest::addColumn<QStringList>("setup"); // an omctl datalock command first, if any
    QTest::addColumn<QVariantMap>("request");
    QTest::addColumn<bool>("refused");
    QTest::addColumn<qint64>("extendedBy"); // the answer's time less the pending one; -1: no time
    QTest::addColumn<int>("state");         // raw state afterwards

    const QString msg = QStringLiteral("msg");
    const QString dat = QStringLiteral("dat");
    const QString lock = QStringLiteral("lock");
    const QString extend = QStringLiteral("extend_lock");
    const QString name = QStringLiteral("name");
    const QString enterprise = QStringLiteral("enterprise");
    const QString type = QStringLiteral("type");
    const QString time = QStringLiteral("time");
    const QStringList nothing;
    const QStringList pending{QStringLiteral("pending"), QStringLiteral("3600")};

    QTest::newRow("lock") << nothing
                          << QVariantMap{{msg, lock},
                                         {dat, QVariantMap{{name, enterprise}, {type, 1}}}}
                          << false << qint64(-1) << 3;
    QTest::newRow("lock a pending lock")
        << pending << QVariantMap{{msg, lock}, {dat, QVariantMap{{name, enterprise}, {type, 1}}}}
        << false << qint64(-1) << 3;
    QTest::newRow("lock while locked since start-up")
        << QStringList{QStringLiteral("raw"), QStringLiteral("0")}
        << QVariantMap{{msg, lock}, {dat, QVariantMap{{name, enterprise}, {type, 1}}}} << false
        << qint64(-1) << 0;
    QTest::newRow("lock another perimeter")
        << nothing
        << QVariantMap{{msg, lock},
                       {dat, QVariantMap{{name, QStringLiteral("personal")}, {type, 1}}}}
        << true << qint64(-1) << 1;
    QTest::newRow("lock of an unknown type")
        << nothing << QVariantMap{{msg, lock}, {dat, QVariantMap{{name, enterprise}, {type, 2}}}}
        << true << qint64(-1) << 1;
    QTest::newRow("lock without dat")
        << nothing << QVariantMap{{msg, lock}} << true << qint64(-1) << 1;
    QTest::newRow("unknown request")
        << nothing
        << QVariantMap{{msg, QStringLiteral("unlock")}, {dat, QVariantMap{{name, enterprise}}}}
        << true << qint64(-1) << 1;
    QTest::newRow("extend a pending lock")
        << pending
        << QVariantMap{{msg, extend}, {dat, QVariantMap{{name, enterprise}, {time, 600}}}} << false
        << qint64(600) << 5;
    QTest::newRow("extend by nothing")
        << pending << QVariantMap{{msg, extend}, {dat, QVariantMap{{name, enterprise}, {time, 0}}}}
        << false << qint64(0) << 5;
    QTest::newRow("extend with nothing pending")
        << nothing
        << QVariantMap{{msg, extend}, {dat, QVariantMap{{name, enterprise}, {time, 600}}}} << true
        << qint64(-1) << 1;
    QTest::newRow("extend a locked perimeter")
        << QStringList{lock}
        << QVariantMap{{msg, extend}, {dat, QVariantMap{{name, enterprise}, {time, 600}}}} << true
        << qint64(-1) << 3;
    QTest::newRow("extend a pending lock that has no time")
        << QStringList{QStringLiteral("raw"), QStringLiteral("5")}
        << QVariantMap{{msg, extend}, {dat, QVariantMap{{name, enterprise}, {time, 600}}}} << true
        << qint64(-1) << 5;
    QTest::newRow("extend without a time")
        << pending << QVariantMap{{msg, extend}, {dat, QVariantMap{{name, enterprise}}}} << true
        << qint64(-1) << 5;
    QTest::newRow("extend by a negative time")
        << pending << QVariantMap{{msg, extend}, {dat, QVariantMap{{name, enterprise}, {time, -5}}}}
        << true << qint64(-1) << 5;
    QTest::newRow("extend beyond what a 32-bit time holds")
        << pending
        << QVariantMap{{msg, extend},
                       {dat, QVariantMap{{name, enterprise}, {time, qint64(2147483647)}}}}
        << true << qint64(-1) << 5;
}

// What the perimeter manager answers on its control object, as a client
// reads it.
void tst_PerimeterManager::serviceAnswers()
{
    QFETCH(QStringList, setup);
    QFETCH(QVariantMap, request);
    QFETCH(bool, refused);
    QFETCH(qint64, extendedBy);
    QFETCH(int, state);

    QVERIFY(startDevice());
    qint64 due = -1;
    if (!setup.isEmpty())
        due = omctl(setup).time.toLongLong();

    om::PpsObject pps(controlPath);
    QVERIFY(pps.open(om::PpsOpenMode::PublishSubscribe));
    QSignalSpy readable(&pps, &om::PpsObject::readyRead);
    request.insert(QStringLiteral("id"), QStringLiteral("q-1"));
    QVERIFY(pps.write(om::PpsObject::encode(request)));
    QVERIFY(readable.wait());
    bool ok = false;
    const QByteArray text = pps.read(&ok);
    QVERIFY(ok);
    const QVariantMap decoded = om::PpsObject::decode(text, &ok);
    QVERIFY(ok);
    QCOMPARE(decoded.keys(), QStringList{QStringLiteral("@control_public")});
    const QVariantMap answer = decoded.first().toMap();
    QCOMPARE(answer.value(QStringLiteral("id")).toString(), QStringLiteral("q-1"));
    QCOMPARE(answer.value(QStringLiteral("res")), request.value(QStringLiteral("msg")));
    QCOMPARE(answer.contains(QStringLiteral("err")), refused);
    const QVariantMap dat = answer.value(QStringLiteral("dat")).toMap();
    if (extendedBy < 0)
        QVERIFY(!dat.contains(QStringLiteral("time")));
    else
        QCOMPARE(dat.value(QStringLiteral("time")).toLongLong(), due + extendedBy);
    // The state object follows the answer.
    QTRY_COMPARE(omctl({}).state, state);
}

void tst_PerimeterManager::rawStates_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<DataLockState::Type>("state");
    QTest::addColumn<qint64>("time"); // -1: null

    auto raw = [](const QString &n, const QString &time = QString()) {
        QStringList args{QStringLiteral("raw"), n};
        if (!time.isNull())
            args << time;
        return args;
    };
    QTest::newRow("0") << raw(QStringLiteral("0")) << DataLockState::StartupLocked << qint64(-1);
    QTest::newRow("3 with a time") << raw(QStringLiteral("3"), QStringLiteral("2000000000"))
                                   << DataLockState::DataLocked << qint64(-1);
    QTest::newRow("5 with a time") << raw(QStringLiteral("5"), QStringLiteral("2000000000"))
                                   << DataLockState::LockPending << qint64(2000000000);
    QTest::newRow("5 with a time that is not a number")
        << raw(QStringLiteral("5"), QStringLiteral("soon")) << DataLockState::LockPending
        << qint64(-1);
    QTest::newRow("6") << raw(QStringLiteral("6")) << DataLockState::StartupLocked << qint64(-1);
    QTest::newRow("-3") << raw(QStringLiteral("-3")) << DataLockState::NotLocked << qint64(-1);
}

// Every raw state that omctl can publish reaches an application as the
// mapping says.
void tst_PerimeterManager::rawStates()
{
    QFETCH(QStringList, args);
    QFETCH(DataLockState::Type, state);
    QFETCH(qint64, time);

    QVERIFY(startDevice());
    const Shown shown = omctl(args);
    QCOMPARE(shown.state, args.at(1).toInt());
    QCOMPARE(shown.time, args.size() > 2 ? args.at(2) : QStringLiteral("none"));
    if (state == DataLockState::LockPending && time < 0) {
        QTest::ignoreMessage(QtWarningMsg, args.size() > 2
                                               ? "[AdarpDomain] datalock time could not be read"
                                               : "[AdarpDomain] datalock time is missing");
    }
    AdarpDomain domain;
    QCOMPARE(domain.dataLockState(), state);
    QCOMPARE(domain.nextDataLockTime(),
             time < 0 ? QDateTime() : QDateTime::fromSecsSinceEpoch(time));
}

void tst_PerimeterManager::pendingLockFallsDue_data()
{
    QTest::addColumn<QStringList>("args");

    QTest::newRow("a time already past")
        << QStringList{QStringLiteral("raw"), QStringLiteral("5"),
                       QString::number(QDateTime::currentSecsSinceEpoch() - 10)};
    QTest::newRow("in a second") << QStringList{QStringLiteral("pending"), QStringLiteral("1")};
}

void tst_PerimeterManager::pendingLockFallsDue()
{
    QFETCH(QStringList, args);

    QVERIFY(startDevice());
    AdarpDomain domain;
    QSignalSpy states(&domain, &AdarpDomain::dataLockStateChanged);
    QCOMPARE(omctl(args).state, 5);
    QTRY_COMPARE_WITH_TIMEOUT(domain.dataLockState(), DataLockState::DataLocked, 15000);
    QVERIFY(domain.nextDataLockTime().isNull());
    QCOMPARE(states.last().at(1).value<DataLockState::Type>(), DataLockState::DataLocked);
    const Shown shown = omctl({});
    QCOMPARE(shown.state, 3);
    QCOMPARE(shown.time, QStringLiteral("none"));
}

void tst_PerimeterManager::stateSurvivesRestart_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<DataLockState::Type>("state");

    QTest::newRow("pending") << QStringList{QStringLiteral("pending"), QStringLiteral("3600")}
                             << DataLockState::LockPending;
    QTest::newRow("locked") << QStringList{QStringLiteral("lock")} << DataLockState::DataLocked;
    QTest::newRow("unlocked after a lock")
        << QStringList{QStringLiteral("unlock")} << DataLockState::NotLocked;
    QTest::newRow("raw, with a time as text")
        << QStringList{QStringLiteral("raw"), QStringLiteral("5"), QStringLiteral("later")}
        << DataLockState::LockPending;
}

void tst_PerimeterManager::stateSurvivesRestart()
{
    QFETCH(QStringList, args);
    QFETCH(DataLockState::Type, state);

    QVERIFY(startDevice());
    omctl({QStringLiteral("lock")});
    const Shown before = omctl(args);
    QVERIFY(m_device->stop());
    QVERIFY(startDevice());

    const Shown after = omctl({});
    QCOMPARE(after.state, before.state);
    QCOMPARE(after.time, before.time);
    if (before.time == QLatin1String("later"))
        QTest::ignoreMessage(QtWarningMsg, "[AdarpDomain] datalock time could not be read");
    AdarpDomain domain;
    QCOMPARE(domain.dataLockState(), state);
    if (state == DataLockState::LockPending && before.time != QLatin1String("later"))
        QCOMPARE(domain.nextDataLockTime(),
                 QDateTime::fromSecsSinceEpoch(before.time.toLongLong()));
}

void tst_PerimeterManager::firstStartSetting()
{
    const QString startup = QStringLiteral("perimeter.state=0");
    QVERIFY(startDevice({QStringLiteral("--set"), startup}));
    {
        AdarpDomain domain;
        QCOMPARE(domain.dataLockState(), DataLockState::StartupLocked);
    }
    // What the device saved wins over the setting.
    omctl({QStringLiteral("lock")});
    QVERIFY(m_device->stop());
    QVERIFY(startDevice({QStringLiteral("--set"), startup}));
    QCOMPARE(omctl({}).state, 3);
    QVERIFY(m_device->stop());

    DeviceProcess fresh;
    QVERIFY(!fresh.start({QStringLiteral("--services=perimeter"), QStringLiteral("--set"),
                          QStringLiteral("perimeter.state=locked")}));
    QVERIFY2(fresh.output().contains("perimeter.state must be a whole number, not 'locked'"),
             fresh.output().constData());
}

void tst_PerimeterManager::omctlUsage_data()
{
    QTest::addColumn<QStringList>("args");

    QTest::newRow("pending without seconds") << QStringList{QStringLiteral("pending")};
    QTest::newRow("pending with words")
        << QStringList{QStringLiteral("pending"), QStringLiteral("soon")};
    QTest::newRow("lock with an argument")
        << QStringList{QStringLiteral("lock"), QStringLiteral("now")};
    QTest::newRow("raw without a state") << QStringList{QStringLiteral("raw")};
    QTest::newRow("raw with a word")
        << QStringList{QStringLiteral("raw"), QStringLiteral("locked")};
    QTest::newRow("raw beyond 32 bits")
        << QStringList{QStringLiteral("raw"), QStringLiteral("4294967296")};
    QTest::newRow("raw with three arguments") << QStringList{
        QStringLiteral("raw"), QStringLiteral("5"), QStringLiteral("1"), QStringLiteral("2")};
    QTest::newRow("unknown action") << QStringList{QStringLiteral("open")};
}

void tst_PerimeterManager::omctlUsage()
{
    QFETCH(QStringList, args);

    QVERIFY(startDevice());
    const DeviceProcess::Result r =
        DeviceProcess::omctl(QStringList{QStringLiteral("datalock")} + args);
    QCOMPARE(r.exitCode, 2);
    QCOMPARE(r.out, QByteArray());
    QVERIFY2(r.err.startsWith("omctl: ") && r.err.count('\n') == 1, r.err.constData());
    // Nothing changed.
    const Shown shown = omctl({});
    QCOMPARE(shown.state, 1);
    QCOMPARE(shown.time, QStringLiteral("none"));
}

void tst_PerimeterManager::omctlWithoutPerimeterManager()
{
    QVERIFY(m_device->start({QStringLiteral("--services=none")}));
    DeviceProcess::Result r = DeviceProcess::omctl({QStringLiteral("datalock")});
    QCOMPARE(r.exitCode, 1);
    QCOMPARE(r.err,
             QByteArray("omctl: datalock: no perimeter manager on the bus "
                        "(/pps/system/perimeter/info/1000/enterprise/state does not exist)\n"));
    r = DeviceProcess::omctl({QStringLiteral("datalock"), QStringLiteral("lock")});
    QCOMPARE(r.exitCode, 1);
    QCOMPARE(r.err, QByteArray("omctl: datalock: no such object\n"));

    QVERIFY(m_device->stop());
    const QByteArray noBroker = "omctl: datalock: no bus broker is running at " +
                                QFile::encodeName(m_device->root()) + " (start omdeviced)\n";
    for (const QStringList &args :
         {QStringList{QStringLiteral("datalock")},
          QStringList{QStringLiteral("datalock"), QStringLiteral("unlock")}}) {
        r = DeviceProcess::omctl(args);
        QCOMPARE(r.exitCode, 1);
        QCOMPARE(r.err, noBroker);
    }
}

// Anybody may look at the data lock; only the device's owner plays its user.
void tst_PerimeterManager::changesNeedTheOwner()
{
    if (::geteuid() != 0)
        QSKIP("needs root, to run omctl as another user");
    QVERIFY(startDevice());
    omctl({QStringLiteral("pending"), QStringLiteral("3600")});

    DeviceProcess::Result r = omctlAs(65534, 65534, {QStringLiteral("datalock")});
    QCOMPARE(r.exitCode, 0);
    QCOMPARE(parseShown(r.out).state, 5);
    r = omctlAs(65534, 65534, {QStringLiteral("datalock"), QStringLiteral("unlock")});
    QCOMPARE(r.exitCode, 1);
    QCOMPARE(r.err, QByteArray("omctl: datalock: permission denied\n"));
    QCOMPARE(omctl({}).state, 5);
}

QTEST_GUILESS_MAIN(tst_PerimeterManager)
#include "tst_perimetermanager.moc"
