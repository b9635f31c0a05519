// omdeviced killed with SIGKILL, and started on state files that cannot be
// read: what it answered "ok" to is there after a restart, and what it
// cannot read is kept aside and never taken for an open lock.

#include "common/datastore.h"
#include "deviceprocess.h"

#include <om/ppsobject.h>
#include <sys/pps.h>

#include <QDir>
#include <QFile>
#include <QSet>
#include <QSignalSpy>
#include <QtTest>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

using omtest::DeviceProcess;

namespace {
const char NotifyControl[] = "/pps/services/notify/control";
const QString NotifyUser = QStringLiteral("/pps/simulator/notifications");

// The attributes of a message read from a control object, whichever way
// the server heads it.
QVariantMap attributesOf(const QByteArray &text)
{
    const QVariantMap decoded = om::PpsObject::decode(text);
    for (auto it = decoded.cbegin(); it != decoded.cend(); ++it) {
        if (it.value().userType() == QMetaType::QVariantMap)
            return it.value().toMap();
    }
    return decoded;
}

// One application's connection to the notification service, with requests
// sent ahead of their answers so that the service always has work queued.
struct Poster
{
    int fd = -1;
    int sent = 0;
    int outstanding = 0;
    bool ended = false;
};

// Every item in the inbox, as the user sees it, by itemId; with the number
// of items the cap dropped.
QSet<QString> inboxIds(int *dropped)
{
    *dropped = 0;
    QSet<QString> ids;
    const int fd = pps_open(NotifyUser.toUtf8().constData(), O_RDWR);
    if (fd < 0)
        return ids;
    int from = 0;
    for (int round = 0; round < 100000; ++round) {
        const QByteArray request = om::PpsObject::encode(
            {{QStringLiteral("msg"), QStringLiteral("inbox")},
             {QStringLiteral("id"), QString::number(round)},
             {QStringLiteral("dat"), QVariantMap{{QStringLiteral("from"), from}}}});
        if (::write(fd, request.constData(), size_t(request.size())) != request.size())
            break;
        pollfd readable{fd, POLLIN, 0};
        if (::poll(&readable, 1, 10000) != 1)
            break;
        QByteArray answer(70000, '\0');
        const ssize_t n = ::read(fd, answer.data(), size_t(answer.size()));
        if (n <= 0)
            break;
        answer.truncate(int(n));
        const QVariantMap dat = attributesOf(answer).value(QStringLiteral("dat")).toMap();
        const QVariantList items = dat.value(QStringLiteral("items")).toList();
        for (const QVariant &item : items)
            ids.insert(item.toMap().value(QStringLiteral("itemId")).toString());
        from += items.size();
        *dropped = 0;
        const QVariantMap counts = dat.value(QStringLiteral("dropped")).toMap();
        for (const QVariant &count : counts)
            *dropped += count.toInt();
        if (items.isEmpty() || from >= dat.value(QStringLiteral("total")).toInt())
            break;
    }
    ::close(fd);
    return ids;
}
} // namespace

class tst_Durability : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void killedUnderLoadLosesNothingAcknowledged_data();
    void killedUnderLoadLosesNothingAcknowledged();
    void unreadableStateIsSetAside_data();
    void unreadableStateIsSetAside();
    void capDropsTheOldestAndCountsThem();
    void mapsViewOfAnEarlierVersionIsTakenOver();
    void waitingPurchaseOutlivesTheDevice_data();
    void waitingPurchaseOutlivesTheDevice();
    void monitorComesBackAfterRestart_data();
    void monitorComesBackAfterRestart();
};

void tst_Durability::killedUnderLoadLosesNothingAcknowledged_data()
{
    QTest::addColumn<int>("killAfter"); // answers "ok" before the kill
    QTest::addColumn<int>("padding");   // bytes of text per item
    QTest::addColumn<int>("cap");

    QTest::newRow("at the first answer") << 1 << 10 << 100000;
    QTest::newRow("a few hundred in") << 350 << 10 << 100000;
    // Large items: the journal is compacted into a snapshot again and
    // again while the applications post.
    QTest::newRow("while compacting") << 700 << 3000 << 100000;
    QTest::newRow("after compactions") << 2500 << 400 << 100000;
    // The cap drops the oldest items in the records that add new ones:
    // what was answered is kept or counted as dropped.
    QTest::newRow("beyond the cap") << 900 << 10 << 300;
}

void tst_Durability::killedUnderLoadLosesNothingAcknowledged()
{
    QFETCH(int, killAfter);
    QFETCH(int, padding);
    QFETCH(int, cap);
    const QStringList arguments{QStringLiteral("--set"), QStringLiteral("inbox-cap=%1").arg(cap)};
    constexpr int Posters = 4;
    constexpr int Window = 8; // requests ahead of their answers, each

    DeviceProcess device;
    QVERIFY2(device.start(arguments), device.output().constData());

    std::vector<Poster> posters(Posters);
    for (int i = 0; i < Posters; ++i) {
        posters[size_t(i)].fd = pps_open(NotifyControl, O_RDWR);
        QVERIFY2(posters[size_t(i)].fd >= 0, strerror(errno));
    }
    const QString text(padding, QLatin1Char('x'));
    QSet<QString> acknowledged;
    bool killed = false;
    int open = Posters;
    std::vector<pollfd> fds(Posters);
    while (open > 0) {
        for (int i = 0; i < Posters; ++i) {
            Poster &p = posters[size_t(i)];
            while (!killed && !p.ended && p.outstanding < Window) {
                const QString itemId = QStringLiteral("p%1-%2").arg(i).arg(p.sent);
                const QByteArray message = om::PpsObject::encode(
                    {{QStringLiteral("msg"), QStringLiteral("notify")},
                     {QStringLiteral("id"), itemId},
                     {QStringLiteral("dat"), QVariantMap{{QStringLiteral("itemId"), itemId},
                                                         {QStringLiteral("title"), itemId},
                                                         {QStringLiteral("body"), text}}}});
                if (::write(p.fd, message.constData(), size_t(message.size())) != message.size())
                    break;
                ++p.sent;
                ++p.outstanding;
            }
            fds[size_t(i)] = pollfd{p.ended ? -1 : p.fd, POLLIN, 0};
        }
        QVERIFY2(::poll(fds.data(), nfds_t(fds.size()), 10000) > 0, "the device stopped answering");
        for (int i = 0; i < Posters; ++i) {
            Poster &p = posters[size_t(i)];
            if (p.ended || !(fds[size_t(i)].revents & (POLLIN | POLLHUP | POLLERR)))
                continue;
            QByteArray answer(70000, '\0');
            const ssize_t n = ::read(p.fd, answer.data(), size_t(answer.size()));
            if (n <= 0) {
                // Every answer sent before the kill has been read by now.
                QVERIFY2(killed, "the device ended the connection by itself");
                p.ended = true;
                --open;
                continue;
            }
            answer.truncate(int(n));
            const QVariantMap attributes = attributesOf(answer);
            --p.outstanding;
            if (attributes.contains(QStringLiteral("err")))
                QFAIL(qPrintable(QStringLiteral("notify failed: %1")
                                     .arg(attributes.value(QStringLiteral("err")).toString())));
            acknowledged.insert(attributes.value(QStringLiteral("id")).toString());
        }
        if (!killed && acknowledged.size() >= killAfter) {
            device.kill();
            killed = true;
        }
    }
    for (const Poster &p : posters)
        ::close(p.fd);

    QVERIFY2(device.start(arguments), device.output().constData());
    int dropped = 0;
    const QSet<QString> kept = inboxIds(&dropped);
    QSet<QString> lost = acknowledged;
    lost.subtract(kept);
    qInfo("acknowledged %d, kept %d, dropped by the cap %d, lost %d", int(acknowledged.size()),
          int(kept.size()), dropped, std::max(0, int(lost.size()) - dropped));
    QVERIFY(acknowledged.size() >= killAfter);
    if (cap < killAfter) {
        QCOMPARE(kept.size(), cap);
        QVERIFY2(lost.size() <= dropped,
                 qPrintable(QStringLiteral("%1 lost, %2 dropped").arg(lost.size()).arg(dropped)));
        lost.clear();
    }
    QVERIFY2(lost.isEmpty(), qPrintable(QStringLiteral("%1 of %2 acknowledged items lost, e.g. %3")
                                            .arg(lost.size())
                                            .arg(acknowledged.size())
                                            .arg(lost.values().mid(0, 5).join(QLatin1Char(' ')))));
    QVERIFY(device.stop());
}

void tst_Durability::unreadableStateIsSetAside_data()
{
    QTest::addColumn<QString>("store");
    // An object and a line of it that show the state the service starts
    // from, where a wrong default would open something.
    QTest::addColumn<QString>("object");
    QTest::addColumn<QString>("shows");

    QTest::newRow("inbox") << "inbox" << QString() << QString();
    QTest::newRow("notification settings") << "notify-settings" << QString() << QString();
    QTest::newRow("invocations") << "invoke" << QString() << QString();
    QTest::newRow("maps") << "maps" << QString() << QString();
    QTest::newRow("purchases") << "payments" << QString() << QString();
    QTest::newRow("store catalogue") << "payments-catalogue" << QString() << QString();
    QTest::newRow("store settings") << "payments-settings" << QString() << QString();
    QTest::newRow("identity") << "identity" << QString() << QString();
    QTest::newRow("device properties") << "deviceproperties" << QString() << QString();
    QTest::newRow("screen lock") << "navigator"
                                 << "/pps/services/navigator/state"
                                 << "isDeviceLocked::passwordLocked";
    QTest::newRow("data lock") << "perimeter"
                               << "/pps/system/perimeter/info/1000/enterprise/state"
                               << "state:n:3";
}

void tst_Durability::unreadableStateIsSetAside()
{
    QFETCH(QString, store);
    QFETCH(QString, object);
    QFETCH(QString, shows);

    DeviceProcess device;
    QDir data(device.dataDirectory());
    const QString path = data.filePath(store + QLatin1String(".state"));
    const QByteArray garbage("\x01\x02 this is no state file\n");
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(garbage);
    }
    QVERIFY2(device.start(), device.output().constData());

    // Kept aside whole, under a name with the time.
    const QStringList aside =
        data.entryList({store + QLatin1String(".state.unreadable-*")}, QDir::Files);
    QCOMPARE(aside.size(), 1);
    QFile kept(data.filePath(aside.first()));
    QVERIFY(kept.open(QIODevice::ReadOnly));
    QCOMPARE(kept.readAll(), garbage);

    // Told once, with the path, the reason and where it went.
    const QByteArray told = QStringLiteral("%1 cannot be read (not a state file of the device): "
                                           "kept as %2")
                                .arg(path, data.filePath(aside.first()))
                                .toUtf8();
    QCOMPARE(device.output().count(told), 1);

    if (!object.isEmpty()) {
        const DeviceProcess::Result cat = DeviceProcess::omctl({QStringLiteral("cat"), object});
        QCOMPARE(cat.exitCode, 0);
        QVERIFY2(cat.out.contains(shows.toUtf8()), cat.out.constData());
    }

    // Started again, the device reads what it wrote since and tells
    // nothing more; what was set aside stays as it was.
    QVERIFY(device.stop());
    QVERIFY2(device.start(), device.output().constData());
    QVERIFY2(!device.output().contains("cannot be read"), device.output().constData());
    QCOMPARE(data.entryList({store + QLatin1String(".state.unreadable-*")}, QDir::Files), aside);
    if (!object.isEmpty()) {
        const DeviceProcess::Result cat = DeviceProcess::omctl({QStringLiteral("cat"), object});
        QVERIFY2(cat.out.contains(shows.toUtf8()), cat.out.constData());
    }
}

void tst_Durability::capDropsTheOldestAndCountsThem()
{
    DeviceProcess device;
    QVERIFY2(device.start({QStringLiteral("--set"), QStringLiteral("inbox-cap=2")}),
             device.output().constData());
    const int fd = pps_open(NotifyControl, O_RDWR);
    QVERIFY(fd >= 0);
    for (int n = 1; n <= 5; ++n) {
        const QByteArray message = om::PpsObject::encode(
            {{QStringLiteral("msg"), QStringLiteral("notify")},
             {QStringLiteral("id"), QString::number(n)},
             {QStringLiteral("dat"), QVariantMap{{QStringLiteral("itemId"), QString::number(n)}}}});
        QCOMPARE(::write(fd, message.constData(), size_t(message.size())), ssize_t(message.size()));
        pollfd readable{fd, POLLIN, 0};
        QCOMPARE(::poll(&readable, 1, 10000), 1);
        char answer[4096];
        QVERIFY(::read(fd, answer, sizeof answer) > 0);
    }
    ::close(fd);
    int dropped = 0;
    QCOMPARE(inboxIds(&dropped), (QSet<QString>{QStringLiteral("4"), QStringLiteral("5")}));
    QCOMPARE(dropped, 3);

    // Told by omctl, and still so after a restart.
    QVERIFY(device.stop());
    QVERIFY2(device.start({QStringLiteral("--set"), QStringLiteral("inbox-cap=2")}),
             device.output().constData());
    const DeviceProcess::Result listed = DeviceProcess::omctl({QStringLiteral("notifications")});
    QCOMPARE(listed.exitCode, 0);
    QVERIFY2(listed.out.contains("(3 older items of tst_durability dropped by the inbox's cap)"),
             listed.out.constData());
    QCOMPARE(listed.out.count("tst_durability  "), 2);
}

void tst_Durability::mapsViewOfAnEarlierVersionIsTakenOver()
{
    DeviceProcess device;
    {
        // Where an earlier version kept what the maps application showed.
        omdevice::DataStore earlier(device.dataDirectory(), QStringLiteral("maps"));
        QVERIFY(earlier.save({{QStringLiteral("sender"), QStringLiteral("com.example.trip")},
                              {QStringLiteral("mimeType"), QStringLiteral("text/plain")},
                              {QStringLiteral("time"), 0},
                              {QStringLiteral("size"), 3},
                              {QStringLiteral("readable"), false},
                              {QStringLiteral("reason"), QStringLiteral("not a map")}}));
    }
    for (int start = 0; start < 2; ++start) {
        QVERIFY2(device.start(), device.output().constData());
        const DeviceProcess::Result shown = DeviceProcess::omctl({QStringLiteral("maps")});
        QVERIFY2(shown.out.contains("asked by: com.example.trip"), shown.out.constData());
        QVERIFY2(shown.out.contains("could not read it: not a map"), shown.out.constData());
        QVERIFY(device.stop());
    }
    // Taken over: the earlier store holds nothing any more.
    QVERIFY(omdevice::DataStore(device.dataDirectory(), QStringLiteral("maps")).load().isEmpty());
}

void tst_Durability::waitingPurchaseOutlivesTheDevice_data()
{
    QTest::addColumn<bool>("killed");
    QTest::newRow("killed") << true;
    QTest::newRow("stopped") << false;
}

void tst_Durability::waitingPurchaseOutlivesTheDevice()
{
    QFETCH(bool, killed);
    const auto payments = [](const QStringList &arguments) {
        const DeviceProcess::Result result =
            DeviceProcess::omctl(QStringList{QStringLiteral("payments")} + arguments);
        return QString::fromUtf8(result.out + result.err);
    };
    DeviceProcess device;
    QVERIFY2(device.start(), device.output().constData());
    payments({QStringLiteral("mode"), QStringLiteral("hold")});
    QProcess shop;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("OM_PACKAGE_NAME"), QStringLiteral("com.example.shop"));
    shop.setProcessEnvironment(env);
    shop.start(QStringLiteral(PAYMENTCLIENT_PATH),
               {QStringLiteral("buy"), QStringLiteral("gems-100")});
    QVERIFY(shop.waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(payments({QStringLiteral("pending")}).contains("gems-100"), 10000);

    if (killed)
        device.kill();
    else
        QVERIFY(device.stop());
    shop.kill();
    shop.waitForFinished();
    QVERIFY2(device.start(), device.output().constData());
    // Still waiting for the user, who buys it for the application.
    QVERIFY(payments({QStringLiteral("pending")}).contains("gems-100"));
    QVERIFY(payments({QStringLiteral("approve")}).startsWith("approved: "));
    QVERIFY(!payments({QStringLiteral("pending")}).contains("gems-100"));
    const QString bought = payments(
        {QStringLiteral("purchases"), QStringLiteral("--app"), QStringLiteral("com.example.shop")});
    QVERIFY2(bought.contains("gems-100"), qPrintable(bought));
    // Once, also after another restart.
    QVERIFY(device.stop());
    QVERIFY2(device.start(), device.output().constData());
    QVERIFY(!payments({QStringLiteral("pending")}).contains("gems-100"));
}

void tst_Durability::monitorComesBackAfterRestart_data()
{
    QTest::addColumn<bool>("killed");
    QTest::newRow("killed") << true;
    QTest::newRow("stopped") << false;
}

void tst_Durability::monitorComesBackAfterRestart()
{
    QFETCH(bool, killed);
    DeviceProcess device;
    QVERIFY2(device.start(), device.output().constData());
    om::PpsObject monitor(QStringLiteral("/pps/services/navigator/state"));
    QVERIFY(monitor.open(om::PpsOpenMode::Subscribe));
    QSignalSpy readable(&monitor, &om::PpsObject::readyRead);
    const auto readAll = [&monitor]() {
        QByteArray all;
        bool ok = true;
        while (ok) {
            const QByteArray data = monitor.read(&ok);
            all += data;
        }
        return all;
    };
    QVERIFY(readable.wait(5000));
    QVERIFY(readAll().contains("isDeviceLocked::notLocked"));

    if (killed)
        device.kill();
    else
        QVERIFY(device.stop());
    QVERIFY2(device.start(), device.output().constData());
    // Nothing is asked of the monitor's owner: it reads the object again
    // as it is now, then its changes.
    QVERIFY(readable.wait(5000));
    QVERIFY(readAll().contains("isDeviceLocked::notLocked"));
    QCOMPARE(monitor.error(), EAGAIN);
    const DeviceProcess::Result lock =
        DeviceProcess::omctl({QStringLiteral("lock"), QStringLiteral("screenLocked")});
    QVERIFY2(lock.exitCode == 0, lock.err.constData());
    QByteArray seen;
    while (!seen.contains("isDeviceLocked::screenLocked") && readable.wait(5000))
        seen += readAll();
    QVERIFY2(seen.contains("isDeviceLocked::screenLocked"), seen.constData());
}

QTEST_GUILESS_MAIN(tst_Durability)
#include "tst_durability.moc"
