// A running application and a device that restarts under it: the
// application's long-lived objects find the new device on their own.

#include "deviceprocess.h"
#include "pps/bussocket_p.h"
#include "warningcapture.h"

#include <om/ppsobject.h>

#include <om/platform/notificationglobalsettings.h>
#include <om/platform/ommock/notificationppschannel.h>

#include <QSignalSpy>
#include <QtTest>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

using om::platform::NotificationGlobalSettings;
using om::platform::NotificationSettingsError;
using ommock::NotificationPpsChannel;

namespace {
QVariantMap alert(const QString &itemId)
{
    const QVariantMap button{{QStringLiteral("label"), QStringLiteral("OK")},
                             {QStringLiteral("context"), QStringLiteral("ok")}};
    return {{QStringLiteral("msg"), QStringLiteral("alert")},
            {QStringLiteral("id"), itemId},
            {QStringLiteral("dat"),
             QVariantMap{{QStringLiteral("itemId"), itemId},
                         {QStringLiteral("title"), QStringLiteral("Still there?")},
                         {QStringLiteral("promptChoices"), QVariantList{button}}}}};
}

QVariantMap control(const QVariantMap &received)
{
    return received.value(QStringLiteral("@control")).toMap();
}

// The process at the other end of a connection to @p path's server.
pid_t serverOf(const QString &path)
{
    const om::bus::SocketAddress address(om::bus::socketPath(
        QFile::encodeName(om::PpsObject::mirrorFilePath(path)), om::bus::ReadWrite));
    const int fd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    ucred cred{};
    socklen_t length = sizeof cred;
    const bool ok = ::connect(fd, address.address(), address.length()) == 0 &&
                    ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &length) == 0;
    ::close(fd);
    return ok ? cred.pid : -1;
}

// The device's global settings, as omctl lists them.
QVariantMap settingsOnDevice()
{
    const omtest::DeviceProcess::Result listing =
        omtest::DeviceProcess::omctl({QStringLiteral("settings")});
    QVariantMap found;
    bool global = false;
    for (const QByteArray &line : listing.out.split('\n')) {
        if (!line.startsWith(' ')) {
            global = line == "global";
            continue;
        }
        const QList<QByteArray> words = line.simplified().split(' ');
        if (global && words.size() == 2)
            found.insert(QString::fromUtf8(words.at(0)), QString::fromUtf8(words.at(1)));
    }
    return found;
}
} // namespace

class tst_BusEndToEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void longLivedObjectsOutliveARestart_data();
    void longLivedObjectsOutliveARestart();
};

void tst_BusEndToEnd::longLivedObjectsOutliveARestart_data()
{
    QTest::addColumn<bool>("killed");
    QTest::newRow("stopped and started") << false;
    QTest::newRow("killed and started") << true;
}

void tst_BusEndToEnd::longLivedObjectsOutliveARestart()
{
    QFETCH(bool, killed);
    qputenv("OM_PACKAGE_NAME", "com.example.restart");
    omtest::DeviceProcess device;
    QVERIFY(device.start({QStringLiteral("--services=notifications")}));
    omtest::WarningCapture capture;
    NotificationGlobalSettings settings;
    NotificationPpsChannel channel;
    QVERIFY(channel.isOpen());
    QSignalSpy received(&channel, &NotificationPpsChannel::receivePassthrough);
    Q_EMIT channel.sendPassthrough(alert(QStringLiteral("before")));
    QVERIFY(received.wait());
    QCOMPARE(control(received.takeFirst().at(0).toMap()).value(QStringLiteral("res")),
             QVariant("alert"));

    // A change the device has answered survives whatever ends the device
    // right after.
    QCOMPARE(int(settings.setVolume(44)), int(NotificationSettingsError::None));
    if (killed) {
        // The device, as the server of its objects, is at the other end of
        // every connection to them.
        const pid_t pid = serverOf(QStringLiteral("/pps/services/notify/control"));
        QVERIFY(pid > 0);
        QCOMPARE(::kill(pid, SIGKILL), 0);
        QVERIFY(!device.stop()); // it did not end on its own
    } else {
        QVERIFY(device.stop());
    }
    // While the device is away, the long-lived objects wait and tell
    // nothing; a request of its own fails. A killed device left its files,
    // so the object seems to be there, but cannot be opened.
    QCOMPARE(int(settings.setVolume(12)),
             int(killed ? NotificationSettingsError::Unknown
                        : NotificationSettingsError::ServiceUnavailable));
    QCOMPARE(capture.warnings(),
             QStringList{QStringLiteral("NotificationGlobalSettings::sendMessage(): %1  "
                                        "\"/pps/services/notify/settings-control?wait\"")
                             .arg(killed ? "Could not open PPS:" : "PPS did not exist:")});
    capture.clear();
    // What the killed device left in the tree is taken away as it starts.
    QVERIFY(device.start({QStringLiteral("--services=notifications")}));

    QCOMPARE(settingsOnDevice().value(QStringLiteral("volume")), QVariant(QStringLiteral("44")));

    // The channel is the service's client again: its next alert is shown
    // and answered on the same object, and the user's choice comes back to it.
    Q_EMIT channel.sendPassthrough(alert(QStringLiteral("after")));
    QVERIFY(received.wait());
    QCOMPARE(control(received.takeFirst().at(0).toMap()),
             (QVariantMap{{QStringLiteral("res"), QStringLiteral("alert")},
                          {QStringLiteral("id"), QStringLiteral("after")},
                          {QStringLiteral("dat"),
                           QVariantMap{{QStringLiteral("itemId"), QStringLiteral("after")}}}}));
    QCOMPARE(omtest::DeviceProcess::omctl(
                 {QStringLiteral("choose"), QStringLiteral("after"), QStringLiteral("ok")})
                 .exitCode,
             0);
    QVERIFY(received.wait());
    QCOMPARE(control(received.takeFirst().at(0).toMap()).value(QStringLiteral("msg")),
             QVariant("choice"));

    // The settings object reaches the new service as before.
    QCOMPARE(int(settings.setVolume(33)), int(NotificationSettingsError::None));
    QCOMPARE(settingsOnDevice().value(QStringLiteral("volume")), QVariant(QStringLiteral("33")));
    QCOMPARE(capture.warnings(), QStringList());
}

QTEST_GUILESS_MAIN(tst_BusEndToEnd)
#include "tst_bus_e2e.moc"
