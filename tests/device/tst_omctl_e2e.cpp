// omctl notify and omctl watch against a real omdeviced: what a user sees
// of them, line by line.

#include "deviceprocess.h"

#include <QProcess>
#include <QtTest>

using omtest::DeviceProcess;

namespace {

QString run(const QStringList &arguments)
{
    const DeviceProcess::Result result = DeviceProcess::omctl(arguments);
    if (result.exitCode != 0)
        return QStringLiteral("exit %1: %2").arg(result.exitCode).arg(QString::fromUtf8(result.err));
    return QString::fromUtf8(result.out);
}

// omctl running in the background, read line by line.
class Background
{
public:
    explicit Background(const QStringList &arguments)
    {
        m_process.start(DeviceProcess::omctlPath(), arguments);
    }
    ~Background()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished(5000);
        }
    }
    QProcess &process() { return m_process; }
    // Waits until the process has written @p text on standard error.
    bool waitForError(const QByteArray &text)
    {
        QElapsedTimer clock;
        clock.start();
        while (!m_err.contains(text) && clock.elapsed() < 15000) {
            m_process.waitForReadyRead(100);
            m_err += m_process.readAllStandardError();
        }
        return m_err.contains(text);
    }
    // Waits for the end and gives standard output.
    QString finish()
    {
        if (!m_process.waitForFinished(15000))
            return QStringLiteral("(did not end)");
        return QString::fromUtf8(m_process.readAllStandardOutput());
    }

private:
    QProcess m_process;
    QByteArray m_err;
};

// The first dialog on screen.
QString dialogOnScreen()
{
    const QStringList lines = run({QStringLiteral("dialogs")}).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (line.startsWith(QLatin1Char('{')))
            return line.section(QLatin1Char(' '), 0, 0);
    }
    return QString();
}

// A watch line without its time.
QString withoutTime(const QString &line)
{
    return line.mid(9).simplified();
}

} // namespace

class tst_OmctlEndToEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void notifyPostsUpdatesAndRemoves();
    void notifyActionsAskTheUser();
    void quietPrintsNothing();
    void watchFollowsTheDevice();

private:
    std::unique_ptr<DeviceProcess> m_device;
};

void tst_OmctlEndToEnd::init()
{
    qputenv("OM_PACKAGE_NAME", "com.example.cli");
    m_device.reset(new DeviceProcess);
    QVERIFY(m_device->start());
}

void tst_OmctlEndToEnd::cleanup()
{
    m_device.reset();
}

void tst_OmctlEndToEnd::notifyPostsUpdatesAndRemoves()
{
    QCOMPARE(run({"notify", "--id", "build-7", "-u", "low", "Build", "running"}),
             QStringLiteral("posted build-7 \"Build\" \"running\"\n"));
    QCOMPARE(run({"notify", "--app", "com.example.other", "-i", "/tmp/icon.png", "Other"})
                 .section(QLatin1Char(' '), 2),
             QStringLiteral("\"Other\"\n"));
    QCOMPARE(run({"notify", "--id", "build-7", "Build", "done"}),
             QStringLiteral("posted build-7 \"Build\" \"done\"\n"));

    const QString inbox = run({"notifications", "--app", "com.example.cli"});
    QCOMPARE(inbox.count(QLatin1String("com.example.cli  build-7")), 1);
    QVERIFY2(inbox.contains(QLatin1String("body:     done")), qPrintable(inbox));
    QVERIFY2(run({"notifications", "--app", "com.example.other"}).contains(QLatin1String("title:    Other")),
             "posted as the application --app names");

    QCOMPARE(run({"notify", "--remove", "build-7"}), QStringLiteral("removed build-7\n"));
    QTRY_VERIFY(!run({"notifications"}).contains(QLatin1String("build-7")));
    QVERIFY(run({"notifications"}).contains(QLatin1String("com.example.other")));
}

void tst_OmctlEndToEnd::notifyActionsAskTheUser()
{
    Background asking({"notify", "-A", "keep=Keep", "-A", "drop=Discard", "Keep the draft?"});
    QString id;
    QTRY_VERIFY(!(id = dialogOnScreen()).isEmpty());
    const QString listed = run({"dialogs"});
    QVERIFY2(listed.contains(QLatin1String("button:   Keep  [")), qPrintable(listed));
    QVERIFY(run({"choose", id, "Discard"}).startsWith(QLatin1String("chose 'Discard'")));
    // The action's name, as notify-send prints it.
    QCOMPARE(asking.finish(), QStringLiteral("drop\n"));
    QCOMPARE(asking.process().exitCode(), 0);
}

void tst_OmctlEndToEnd::quietPrintsNothing()
{
    const DeviceProcess::Result posted = DeviceProcess::omctl({"-q", "notify", "Quiet"});
    QCOMPARE(posted.exitCode, 0);
    QCOMPARE(posted.out, QByteArray());
    const DeviceProcess::Result changed =
        DeviceProcess::omctl({"settings", "global", "volume", "40", "--quiet"});
    QCOMPARE(changed.exitCode, 0);
    QCOMPARE(changed.out, QByteArray());
    QVERIFY(run({"settings"}).contains(QLatin1String("volume     40")));
    // Failures still say why.
    const DeviceProcess::Result refused = DeviceProcess::omctl({"-q", "choose", "nosuch", "Keep"});
    QCOMPARE(refused.exitCode, 1);
    QCOMPARE(refused.err, QByteArray("omctl: choose: no dialog 'nosuch' on screen\n"));
}

void tst_OmctlEndToEnd::watchFollowsTheDevice()
{
    Background watch({"watch", "--count", "6"});
    QVERIFY(watch.waitForError("omctl: watching notifications, navigator, datalock, device on "));

    QVERIFY(run({"notify", "--id", "n1", "Hello", "World"}).startsWith(QLatin1String("posted")));
    QCOMPARE(run({"lock", "screenLocked"}), QStringLiteral("Lock state:     screenLocked\n"));
    QVERIFY(run({"settings", "global", "mode", "silent"}).startsWith(QLatin1String("global mode")));
    Background asking({"notify", "-A", "Yes", "Sure?"});
    QString id;
    QTRY_VERIFY(!(id = dialogOnScreen()).isEmpty());
    QVERIFY(run({"choose", id, "Yes"}).startsWith(QLatin1String("chose")));
    QCOMPARE(asking.finish(), QStringLiteral("Yes\n"));
    QCOMPARE(run({"notify", "--remove", "n1"}), QStringLiteral("removed n1\n"));

    const QStringList lines = watch.finish().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(watch.process().exitCode(), 0);
    QStringList seen;
    for (const QString &line : lines)
        seen.append(withoutTime(line));
    QCOMPARE(seen.size(), 6);
    QCOMPARE(seen.at(0), QStringLiteral("notification com.example.cli n1 \"Hello\" \"World\""));
    QCOMPARE(seen.at(1), QStringLiteral("navigator isDeviceLocked=screenLocked"));
    QVERIFY2(seen.at(2).startsWith(QLatin1String("settings global ")) &&
                 seen.at(2).contains(QLatin1String("mode=silent")),
             qPrintable(seen.at(2)));
    QVERIFY2(seen.at(3).startsWith(QLatin1String("dialog com.example.cli {")) &&
                 seen.at(3).endsWith(QLatin1String("\"Sure?\" [Yes]")),
             qPrintable(seen.at(3)));
    QCOMPARE(seen.at(4), QStringLiteral("dialog ended com.example.cli %1 chose \"Yes\"").arg(id));
    QCOMPARE(seen.at(5), QStringLiteral("removed com.example.cli n1"));
}

QTEST_GUILESS_MAIN(tst_OmctlEndToEnd)
#include "tst_omctl_e2e.moc"
