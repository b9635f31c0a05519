// omdeviced and omctl's bus commands as separate processes, the way a
// developer uses them.

#include "childprocess.h"
#include "deviceprocess.h"
#include "fakeserver.h"

#include <om/platform/ommock/notificationppschannel.h>
#include <om/ppsobject.h>

#include <QDir>
#include <QProcess>
#include <QtTest>

using omtest::DeviceProcess;
using ommock::NotificationPpsChannel;
using om::platform::NotificationError;

namespace {
QVariantMap notify(const QString &id, bool withItem = true)
{
    QVariantMap dat{{QStringLiteral("title"), QStringLiteral("Hi")}};
    if (withItem)
        dat.insert(QStringLiteral("itemId"), id);
    return {{QStringLiteral("msg"), QStringLiteral("notify")}, {QStringLiteral("id"), id}, {QStringLiteral("dat"), dat}};
}

QVariantMap answerOf(const QVariantMap &response)
{
    return response.value(QStringLiteral("@control")).toMap();
}

DeviceProcess::Result run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    DeviceProcess::Result result;
    if (!process.waitForFinished(15000))
        process.kill();
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

// One line, no trace of a crash.
bool oneCleanLine(const QByteArray &text)
{
    return text.endsWith('\n') && text.count('\n') == 1 && !text.contains("Abort")
           && !text.contains("terminate");
}
} // namespace

class tst_OmDeviced : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void notifyIsAnswered();
    void secondDeviceOnTheSameRootIsRefused();
    void terminatesCleanly_data();
    void terminatesCleanly();
    void bareBus();
    void badArguments_data();
    void badArguments();
    void goodSettingsStart();
    void versions();
    void helpDocumentsEverything();
    void omctlReadsAndWrites();
    void omctlErrors_data();
    void omctlErrors();
    void omctlWithoutBroker();
    void omctlRefusedPermission_data();
    void omctlRefusedPermission();
};

void tst_OmDeviced::notifyIsAnswered()
{
    DeviceProcess device;
    QVERIFY2(device.start(), device.output().constData());
    QVariantMap response;
    QCOMPARE(NotificationPpsChannel::sendAndWait(notify(QStringLiteral("n1")), response, 5000), NotificationError::None);
    QCOMPARE(answerOf(response).value(QStringLiteral("res")).toString(), QStringLiteral("notify"));
    QCOMPARE(answerOf(response).value(QStringLiteral("id")).toString(), QStringLiteral("n1"));
    QCOMPARE(answerOf(response).value(QStringLiteral("dat")).toMap().value(QStringLiteral("itemId")).toString(),
             QStringLiteral("n1"));
    QVERIFY(!answerOf(response).contains(QStringLiteral("err")));

    QCOMPARE(NotificationPpsChannel::sendAndWait(notify(QStringLiteral("n2"), false), response, 5000),
             NotificationError::None);
    QVERIFY(answerOf(response).contains(QStringLiteral("err")));
    QVERIFY(device.stop());
}

void tst_OmDeviced::secondDeviceOnTheSameRootIsRefused()
{
    DeviceProcess device;
    QVERIFY(device.start({QStringLiteral("--services=none")}));
    const DeviceProcess::Result second = run(DeviceProcess::omdevicedPath(), {QStringLiteral("--root=") + device.root()});
    QCOMPARE(second.exitCode, 1);
    QCOMPARE(second.err, QByteArray("omdeviced: another bus broker already serves ") + device.root().toUtf8() + '\n');
    // The first one is untouched.
    QCOMPARE(QDir(device.root()).entryList(QDir::System | QDir::Hidden | QDir::AllEntries | QDir::NoDotAndDotDot),
             (QStringList{QStringLiteral(".bus"), QStringLiteral(".lock")}));
    QVERIFY(device.stop());
}

void tst_OmDeviced::terminatesCleanly_data()
{
    QTest::addColumn<QString>("services");
    QTest::newRow("all") << QStringLiteral("--services=all");
    QTest::newRow("none") << QStringLiteral("--services=none");
}

void tst_OmDeviced::terminatesCleanly()
{
    QFETCH(QString, services);
    DeviceProcess device;
    QVERIFY(device.start({services}));
    om::PpsObject client(QStringLiteral("/pps/services/notify/control"));
    const bool clientOpen = client.open(om::PpsOpenMode::PublishSubscribe);
    QCOMPARE(clientOpen, services.endsWith(QLatin1String("all")));
    QVERIFY(device.stop());
    // Socket and mirrors are gone; only the lock file stays.
    QCOMPARE(QDir(device.root()).entryList(QDir::System | QDir::Hidden | QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral(".lock")});
    // A client that was open hears the end at once instead of hanging.
    if (clientOpen) {
        client.setBlocking(true);
        bool ok = true;
        client.read(&ok);
        QVERIFY(!ok);
    }
}

void tst_OmDeviced::bareBus()
{
    DeviceProcess device;
    QVERIFY(device.start({QStringLiteral("--services=none")}));
    QVariantMap response;
    QCOMPARE(NotificationPpsChannel::sendAndWait(notify(QStringLiteral("x")), response, 0),
             NotificationError::ServiceUnavailable);
    // On the bare bus a test serves the object itself.
    omtest::FakeServer own(QStringLiteral("/pps/services/notify/control"));
    own.answerOk(QStringLiteral("notify"), QVariantMap{{QStringLiteral("mine"), true}});
    QVERIFY(own.start());
    QCOMPARE(NotificationPpsChannel::sendAndWait(notify(QStringLiteral("x")), response, 5000), NotificationError::None);
    QCOMPARE(answerOf(response).value(QStringLiteral("dat")).toMap().value(QStringLiteral("mine")), QVariant(true));
    QVERIFY(device.stop());
}

void tst_OmDeviced::badArguments_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("message");
    QTest::newRow("unknown option") << QStringList{QStringLiteral("--bogus")}
                                    << QByteArray("omdeviced: unknown option '--bogus'; the options are --services=LIST, "
                                                  "--console, --desktop, --root=DIR, --data=DIR, --set "
                                                  "KEY=VALUE, --verbose, --list-services, --version, "
                                                  "--help\n");
    QTest::newRow("root without a value") << QStringList{QStringLiteral("--root=")}
                                          << QByteArray("omdeviced: --root needs a value: --root=DIR\n");
    QTest::newRow("data without =") << QStringList{QStringLiteral("--data"), QStringLiteral("/tmp")}
                                    << QByteArray("omdeviced: --data needs a value: --data=DIR\n");
    QTest::newRow("services without a value")
        << QStringList{QStringLiteral("--services")}
        << QByteArray("omdeviced: --services needs a value: --services=LIST\n");
    QTest::newRow("unknown service") << QStringList{QStringLiteral("--services=notifications,nosuch")}
                                     << QByteArray("omdeviced: --services: unknown service 'nosuch'; the services are "
                                                     "console, desktop, deviceproperties, identity, invoke, "
                                                     "navigator, notifications, payments, perimeter, or "
                                                     "'all' or 'none' alone\n");
    QTest::newRow("set without value") << QStringList{QStringLiteral("--set")}
                                       << QByteArray("omdeviced: --set needs KEY=VALUE; see --help\n");
    QTest::newRow("set without equals") << QStringList{QStringLiteral("--set=flag")}
                                        << QByteArray("omdeviced: --set needs KEY=VALUE, not 'flag'\n");
    // Every key a module reads is declared; others and bad values are
    // refused before anything starts.
    QTest::newRow("unknown setting")
        << QStringList{QStringLiteral("--set"), QStringLiteral("foo=1")}
        << QByteArray("omdeviced: --set foo=1: unknown setting 'foo'; the settings are "
                      "console.pages, console.port, console.web, "
                      "deviceproperties.deviceName, deviceproperties.hardwareId, "
                      "deviceproperties.modelName, deviceproperties.modelNumber, "
                      "deviceproperties.os, deviceproperties.osVersion, "
                      "deviceproperties.serialNumber, identity.appliesTo, identity.tokenTypes, "
                      "inbox-cap, invoke.history, perimeter.state, settings-control-mode\n");
    QTest::newRow("number that is no number")
        << QStringList{QStringLiteral("--set=invoke.history=abc")}
        << QByteArray("omdeviced: --set invoke.history=abc: invoke.history takes a whole number "
                      "from 1 to 100000, not 'abc'\n");
    QTest::newRow("number out of range")
        << QStringList{QStringLiteral("--set"), QStringLiteral("invoke.history=0")}
        << QByteArray("omdeviced: --set invoke.history=0: invoke.history takes a whole number "
                      "from 1 to 100000, not '0'\n");
    QTest::newRow("mode that is not octal")
        << QStringList{QStringLiteral("--set"), QStringLiteral("settings-control-mode=0999")}
        << QByteArray("omdeviced: --set settings-control-mode=0999: settings-control-mode takes "
                      "a file mode as an octal number from 0 to 0777, such as 0600, not "
                      "'0999'\n");
    QTest::newRow("list with an empty name")
        << QStringList{QStringLiteral("--set"), QStringLiteral("identity.tokenTypes=a,,b")}
        << QByteArray("omdeviced: --set identity.tokenTypes=a,,b: identity.tokenTypes takes a "
                      "comma-separated list of names, none of them empty, not 'a,,b'\n");
    QTest::newRow("inbox cap of nothing")
        << QStringList{QStringLiteral("--set"), QStringLiteral("inbox-cap=0")}
        << QByteArray("omdeviced: --set inbox-cap=0: inbox-cap takes a whole number from 1 to "
                      "100000000, not '0'\n");
    QTest::newRow("port that is no number")
        << QStringList{QStringLiteral("--set"), QStringLiteral("console.port=http")}
        << QByteArray("omdeviced: --set console.port=http: console.port takes a whole number "
                      "from 0 to 65535, not 'http'\n");
    QTest::newRow("directory that is empty")
        << QStringList{QStringLiteral("--set"), QStringLiteral("console.web=")}
        << QByteArray("omdeviced: --set console.web=: console.web takes text that is not empty, "
                      "not ''\n");
    QTest::newRow("state beyond 32 bits")
        << QStringList{QStringLiteral("--set"), QStringLiteral("perimeter.state=4294967296")}
        << QByteArray("omdeviced: --set perimeter.state=4294967296: perimeter.state takes a "
                      "whole number from -2147483648 to 2147483647, not '4294967296'\n");
}

void tst_OmDeviced::goodSettingsStart()
{
    DeviceProcess device;
    QVERIFY(device.start({QStringLiteral("--set"), QStringLiteral("invoke.history=5"),
                          QStringLiteral("--set=deviceproperties.osVersion=9.9.9.9"),
                          QStringLiteral("--set"), QStringLiteral("settings-control-mode=0640")}));
    QCOMPARE(DeviceProcess::omctl({QStringLiteral("cat"), QStringLiteral("/pps/services/deviceproperties")})
                 .out.contains("osVersion::9.9.9.9"),
             true);
    QVERIFY(device.stop());
}

void tst_OmDeviced::versions()
{
    for (const QString &program : {DeviceProcess::omdevicedPath(), DeviceProcess::omctlPath()}) {
        const DeviceProcess::Result result = run(program, {QStringLiteral("--version")});
        QCOMPARE(result.exitCode, 0);
        const QString name = QFileInfo(program).fileName();
        const QRegularExpression line(QStringLiteral("^%1 [0-9]+\\.[0-9]+\\.[0-9]+ \\(Qt [0-9.]+\\)\n$").arg(name));
        QVERIFY2(line.match(QString::fromUtf8(result.out)).hasMatch(), result.out.constData());
    }
}

void tst_OmDeviced::badArguments()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, message);
    DeviceProcess device; // only for a private root
    const DeviceProcess::Result result = run(DeviceProcess::omdevicedPath(), arguments);
    QCOMPARE(result.exitCode, 2);
    QCOMPARE(result.err, message);
    QVERIFY(oneCleanLine(result.err));
}

void tst_OmDeviced::helpDocumentsEverything()
{
    const DeviceProcess::Result device = run(DeviceProcess::omdevicedPath(), {QStringLiteral("--help")});
    QCOMPARE(device.exitCode, 0);
    for (const char *option : {"--services=LIST", "'none'", "--root=DIR", "--data=DIR", "--set KEY=VALUE",
                               "--list-services", "notifications"})
        QVERIFY2(device.out.contains(option), option);

    const DeviceProcess::Result omctl = DeviceProcess::omctl({QStringLiteral("--help")});
    QCOMPARE(omctl.exitCode, 0);
    for (const char *command : {"ls [path]", "cat <object>", "watch [object]", "write <object>"})
        QVERIFY2(omctl.out.contains(command), command);
    const DeviceProcess::Result writeHelp = DeviceProcess::omctl({QStringLiteral("help"), QStringLiteral("write")});
    QCOMPARE(writeHelp.exitCode, 0);
    QVERIFY(writeHelp.out.contains("Encodings:"));
}

void tst_OmDeviced::omctlReadsAndWrites()
{
    DeviceProcess device;
    QVERIFY(device.start({QStringLiteral("--services=none")}));
    const QString object = QStringLiteral("/pps/test/state");
    QCOMPARE(DeviceProcess::omctl({QStringLiteral("write"), object, QStringLiteral("--create"), QStringLiteral("a::one"),
                                   QStringLiteral("n:n:2"), QStringLiteral("text:c:two\\nlines")})
                 .exitCode,
             0);
    DeviceProcess::Result cat = DeviceProcess::omctl({QStringLiteral("cat"), object});
    QCOMPARE(cat.exitCode, 0);
    QCOMPARE(om::PpsObject::decode(cat.out),
             (QVariantMap{{QStringLiteral("@state"), QVariantMap{{QStringLiteral("a"), QStringLiteral("one")},
                                                                  {QStringLiteral("n"), 2},
                                                                  {QStringLiteral("text"), QStringLiteral("two\nlines")}}}}));
    QCOMPARE(DeviceProcess::omctl({QStringLiteral("ls"), QStringLiteral("/pps/test")}).out, QByteArray("state\n"));

    // watch prints the content, then the update.
    QProcess watch;
    watch.start(DeviceProcess::omctlPath(), {QStringLiteral("watch"), object, QStringLiteral("--count"), QStringLiteral("2")});
    QVERIFY(watch.waitForReadyRead(5000));
    QCOMPARE(DeviceProcess::omctl({QStringLiteral("write"), object, QStringLiteral("-a")}).exitCode, 0);
    QVERIFY(watch.waitForFinished(5000));
    QCOMPARE(watch.exitCode(), 0);
    const QByteArray output = watch.readAllStandardOutput();
    QCOMPARE(output.count("@state\n"), 2);
    QVERIFY(output.endsWith("@state\nn:n:2\ntext:c:two\\nlines\n"));
    QVERIFY(device.stop());
}

void tst_OmDeviced::omctlErrors_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QByteArray>("message");
    QTest::newRow("cat unknown") << QStringList{QStringLiteral("cat"), QStringLiteral("/pps/nope")} << 1
                                 << QByteArray("omctl: /pps/nope: no such object\n");
    QTest::newRow("watch unknown") << QStringList{QStringLiteral("watch"), QStringLiteral("/pps/nope")} << 1
                                   << QByteArray("omctl: /pps/nope: no such object\n");
    QTest::newRow("write unknown") << QStringList{QStringLiteral("write"), QStringLiteral("/pps/nope"), QStringLiteral("a::1")}
                                   << 1 << QByteArray("omctl: /pps/nope: no such object\n");
    QTest::newRow("ls unknown") << QStringList{QStringLiteral("ls"), QStringLiteral("/pps/nope")} << 1
                                << QByteArray("omctl: /pps/nope: no such object\n");
    QTest::newRow("bad path") << QStringList{QStringLiteral("cat"), QStringLiteral("relative/path")} << 1
                              << QByteArray("omctl: relative/path: invalid object path or option\n");
    QTest::newRow("bad attribute") << QStringList{QStringLiteral("write"), QStringLiteral("/pps/x"), QStringLiteral("oops")}
                                   << 2
                                   << QByteArray("omctl: 'oops' is not an attribute (name:encoding:value) or a removal (-name) (see 'omctl --help')\n");
    QTest::newRow("no command") << QStringList() << 2 << QByteArray("omctl: no command given (see 'omctl --help')\n");
}

void tst_OmDeviced::omctlErrors()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QByteArray, message);
    DeviceProcess device;
    QVERIFY(device.start({QStringLiteral("--services=none")}));
    const DeviceProcess::Result result = DeviceProcess::omctl(arguments);
    QCOMPARE(result.exitCode, exitCode);
    QCOMPARE(result.err, message);
    QVERIFY(oneCleanLine(result.err));
}

void tst_OmDeviced::omctlWithoutBroker()
{
    DeviceProcess device; // a root with no device running
    for (const QString &command : {QStringLiteral("cat"), QStringLiteral("watch"), QStringLiteral("ls")}) {
        const DeviceProcess::Result result = DeviceProcess::omctl({command, QStringLiteral("/pps/services")});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.err, "omctl: /pps/services: no bus broker is running at " + device.root().toUtf8()
                                 + " (start omdeviced)\n");
    }
}

void tst_OmDeviced::omctlRefusedPermission_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("refused");
    // Another user meets the "other" bits: read for cat, write for write.
    QTest::newRow("write, owner only") << QStringLiteral("write") << 0600 << true;
    QTest::newRow("write, others read") << QStringLiteral("write") << 0644 << true;
    QTest::newRow("write, others write") << QStringLiteral("write") << 0622 << false;
    QTest::newRow("cat, owner only") << QStringLiteral("cat") << 0600 << true;
    QTest::newRow("cat, others read") << QStringLiteral("cat") << 0644 << false;
    QTest::newRow("cat, others write") << QStringLiteral("cat") << 0622 << true;
}

void tst_OmDeviced::omctlRefusedPermission()
{
    QFETCH(QString, command);
    QFETCH(int, mode);
    QFETCH(bool, refused);
    if (!omtest::canDropPrivileges())
        QSKIP("needs root to run omctl as another user");
    DeviceProcess device;
    QVERIFY(device.start({QStringLiteral("--services=none")}));
    const QString path = QStringLiteral("/pps/services/private/control");
    omtest::FakeServer restricted(path, mode);
    QVERIFY(restricted.start());
    QStringList arguments{command, path};
    if (command == QLatin1String("write"))
        arguments << QStringLiteral("msg::hello");
    const DeviceProcess::Result result = DeviceProcess::omctlAsNobody(arguments);
    const QByteArray denied = "omctl: " + path.toUtf8() + ": permission denied\n";
    QCOMPARE(result.err, refused ? denied : QByteArray());
    QCOMPARE(result.exitCode, refused ? 1 : 0);
    QCOMPARE(result.out, QByteArray());
    if (refused || command != QLatin1String("write"))
        QCOMPARE(restricted.received().size(), 0);
    else
        QVERIFY(restricted.waitForReceived(1));
    QVERIFY(device.stop());
}

QTEST_GUILESS_MAIN(tst_OmDeviced)
#include "tst_omdeviced.moc"
