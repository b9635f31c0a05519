// omctl's ways common to every command: options and help from the parser,
// arguments taken as written where they may begin with a dash, and the one
// request helper against a service played by a fake server.

#include "deviceprocess.h"
#include "fakeserver.h"
#include "testbroker.h"

#include <om/ppsobject.h>

#include <QtTest>

#include <memory>

using omtest::DeviceProcess;
using omtest::FakeServer;

namespace {
const QString UserSide = QStringLiteral("/pps/simulator/navigator");
}

class tst_Omctl : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { m_broker.reset(); }

    void helpComesFromTheParser_data();
    void helpComesFromTheParser();
    void usageErrors_data();
    void usageErrors();
    void argumentsTakenAsWritten();
    void requestHelper_data();
    void requestHelper();

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
};

void tst_Omctl::init()
{
    m_broker.reset(new omtest::TestBroker);
    QVERIFY(m_broker->isRunning());
}

void tst_Omctl::helpComesFromTheParser_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::newRow("help <command>") << QStringList{"help", "watch"};
    QTest::newRow("--help") << QStringList{"watch", "--help"};
    QTest::newRow("-h after an argument") << QStringList{"watch", "/pps/x", "-h"};
}

void tst_Omctl::helpComesFromTheParser()
{
    QFETCH(QStringList, args);
    const DeviceProcess::Result r = DeviceProcess::omctl(args);
    QCOMPARE(r.exitCode, 0);
    const QStringList lines = QString::fromUtf8(r.out).split('\n');
    QCOMPARE(lines.first(), QStringLiteral("Usage: omctl watch [object] [--count N]"));
    QVERIFY(lines.contains(QStringLiteral("Options:")));
    QVERIFY(lines.contains(QStringLiteral("  --count <N>  Stop after N events or updates.")));
    QVERIFY(lines.contains(QStringLiteral("  -q, --quiet  Print nothing on success.")));
    QVERIFY(lines.contains(QStringLiteral("  -h, --help   Show this help.")));
}

void tst_Omctl::usageErrors_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QString>("err");
    QTest::newRow("unknown option")
        << QStringList{"watch", "--bogus", "/pps/x"}
        << "omctl: watch: unknown option '--bogus'; the options are --count, --quiet, --help";
    QTest::newRow("missing value") << QStringList{"notifications", "--app"}
                                   << "omctl: notifications: --app needs a value: --app NAME";
    QTest::newRow("bad number") << QStringList{"invocations", "--last", "0"}
                                << "omctl: --last needs a positive number";
    QTest::newRow("arguments to a command that takes none")
        << QStringList{"home", "now"} << "omctl: home takes no arguments";
    QTest::newRow("unknown option before the first argument")
        << QStringList{"write", "-x", "/pps/x", "a::1"}
        << "omctl: write: unknown option '-x'; the options are --create, --quiet, --help";
    const QString unknownCommand =
        "omctl: unknown command 'frobnicate'; the commands are bedside, cat, choose, "
        "clear-effects, datalock, delete, dialogs, home, identity, invocations, lock, ls, maps, "
        "notifications, notify, open, payments, settings, wallpaper-lock, watch, write";
    QTest::newRow("unknown command")
        << QStringList{"frobnicate"}
        << unknownCommand;
    QTest::newRow("help of an unknown command")
        << QStringList{"help", "frobnicate"}
        << unknownCommand;
    QTest::newRow("option value of a command missing")
        << QStringList{"payments", "add", "--price"}
        << "omctl: payments: --price needs a value: --price price";
    QTest::newRow("unknown option of omctl itself")
        << QStringList{"--bogus", "home"}
        << "omctl: unknown option '--bogus'; before the command omctl takes -q, --version and "
           "--help";
    QTest::newRow("lock state not known")
        << QStringList{"lock", "asleep"}
        << "omctl: lock takes one of notLocked, screenLocked, passwordLocked, pinBlocked, not "
           "'asleep'";
    QTest::newRow("switch neither on nor off")
        << QStringList{"bedside", "maybe"} << "omctl: bedside takes on or off, not 'maybe'";
    QTest::newRow("urgency not known")
        << QStringList{"notify", "-u", "urgent", "Hi"}
        << "omctl: notify: --urgency takes low, normal, critical, not 'urgent'";
    QTest::newRow("type not known")
        << QStringList{"notify", "--type", "loud", "Hi"}
        << "omctl: notify: --type takes default, preview-off, all-alerts-off, hub-off, not "
           "'loud'";
    QTest::newRow("action without a label")
        << QStringList{"notify", "-A", "yes=", "Hi"}
        << "omctl: notify: --action takes NAME=LABEL or LABEL, not 'yes='";
    QTest::newRow("notify without a title")
        << QStringList{"notify"} << "omctl: notify takes a title and, optionally, a body";
    QTest::newRow("watch of two objects")
        << QStringList{"watch", "/pps/a", "/pps/b"} << "omctl: watch takes at most one object path";
}

void tst_Omctl::usageErrors()
{
    QFETCH(QStringList, args);
    QFETCH(QString, err);
    const DeviceProcess::Result r = DeviceProcess::omctl(args);
    QCOMPARE(r.exitCode, 2);
    QCOMPARE(QString::fromUtf8(r.err), err + QStringLiteral(" (see 'omctl --help')\n"));
    QVERIFY(r.out.isEmpty());
}

void tst_Omctl::argumentsTakenAsWritten()
{
    const QString object = QStringLiteral("/pps/test/state");
    QCOMPARE(DeviceProcess::omctl({"write", "--create", object, "a::1", "b::2", "h::3"}).exitCode,
             0);
    // "-a" and "-h" are removals, not options; "--create" is an option
    // wherever it stands.
    const DeviceProcess::Result r =
        DeviceProcess::omctl({"write", object, "-a", "c::4", "--create", "-h"});
    QCOMPARE(r.err, QByteArray());
    QCOMPARE(r.exitCode, 0);
    om::PpsObject pps(object);
    QVERIFY(pps.open(om::PpsOpenMode::Subscribe));
    bool ok = false;
    QCOMPARE(om::PpsObject::decode(pps.read(&ok)).value("@state").toMap(),
             (QVariantMap{{"b", "2"}, {"c", "4"}}));
}

void tst_Omctl::requestHelper_data()
{
    QTest::addColumn<QString>("answer"); // dat, err, none (no server)
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("err");
    QTest::newRow("done") << "dat" << 0 << QString();
    QTest::newRow("refused") << "err" << 1 << "omctl: lock: the device is busy\n";
    QTest::newRow("no service")
        << "none" << 1
        << "omctl: /pps/simulator/navigator: no such object (is its service running?)\n";
}

void tst_Omctl::requestHelper()
{
    QFETCH(QString, answer);
    QFETCH(int, exitCode);
    QFETCH(QString, err);
    FakeServer navigator(UserSide, 0600);
    navigator.respond([answer](const omtest::Received &r) {
        QVariantMap attributes = FakeServer::okAnswer(r.attributes, QVariantMap());
        if (answer == QLatin1String("err"))
            attributes = {{"res", r.msg()}, {"id", r.id()}, {"err", "the device is busy"}};
        // A message for every client first: the answer is the one with our id.
        QVariantMap broadcast{{"msg", "deviceLockState"}, {"id", "not yours"}};
        return QList<omtest::Answer>{{broadcast, {}, {}, 0}, {attributes, {}, {}, 0}};
    });
    if (answer != QLatin1String("none"))
        QVERIFY(navigator.start());

    // Quietly: the state it would print next is a request of its own.
    const DeviceProcess::Result r = DeviceProcess::omctl({"-q", "lock", "screenLocked"});
    QCOMPARE(r.exitCode, exitCode);
    QCOMPARE(QString::fromUtf8(r.err), err);
    QVERIFY(r.out.isEmpty());
    if (answer != QLatin1String("none")) {
        QCOMPARE(navigator.received().size(), 1);
        QCOMPARE(navigator.last().msg(), QStringLiteral("setLockState"));
        QCOMPARE(navigator.last().dat(), (QVariantMap{{"state", "screenLocked"}}));
        QVERIFY(!navigator.last().id().isEmpty());
    }
}

QTEST_GUILESS_MAIN(tst_Omctl)
#include "tst_omctl.moc"
