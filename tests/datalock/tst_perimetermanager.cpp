// The data lock end to end: AdarpDomain and omctl against a real omdeviced
// running the perimeter manager.

#include "deviceprocess.h"
#include "recorder.h"

#include <om/ppsobject.h>

#include <QtTest/QtTest>

#include <memory>

using namespace datalocktest;
using omtest::DeviceProcess;

class tst_PerimeterManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void requestDataLock();
    void pendingLockAndItsExtension();
    void anotherPerimeterIsRefused();
    void pendingLockFallsDue();
    void stateSurvivesRestart_data();
    void stateSurvivesRestart();

private:
    QStringList omctl(const QStringList &args);

    std::unique_ptr<DeviceProcess> m_device;
};

void tst_PerimeterManager::init()
{
    m_device.reset(); // the one before goes first
    m_device.reset(new DeviceProcess);
    QVERIFY2(m_device->start({"--services=perimeter"}), m_device->output().constData());
}

// Runs an omctl datalock command that must succeed; gives the raw state and
// the time ("none" if none) that it printed.
QStringList tst_PerimeterManager::omctl(const QStringList &args)
{
    const auto r = DeviceProcess::omctl(QStringList{"datalock"} + args);
    QStringList shown;
    for (const QByteArray &line : r.out.split('\n'))
        if (line.startsWith("state: ") || line.startsWith("time: "))
            shown << QString::fromUtf8(line.split(' ').at(1));
    return r.exitCode == 0 ? shown : QStringList{"failed", QString::fromUtf8(r.err)};
}

void tst_PerimeterManager::requestDataLock()
{
    AdarpDomain domain;
    Recorder recorder(&domain);
    QCOMPARE(domain.requestDataLock("lock-1"), 0);
    // The answer and the state come on two objects, in no fixed order.
    QTRY_COMPARE(recorder.events.size(), 2);
    recorder.events.sort();
    QCOMPARE(recorder.events, (QStringList{"response lock-1 0", "state NotLocked DataLocked"}));
    QCOMPARE(omctl({}), (QStringList{"3", "none"}));
}

void tst_PerimeterManager::pendingLockAndItsExtension()
{
    AdarpDomain domain;
    Recorder recorder(&domain);
    // With nothing pending, an extension is refused.
    QCOMPARE(domain.extendDataLockTime("ext-1", 60), 0);
    QTRY_COMPARE(recorder.events, QStringList{"response ext-1 -1"});
    QCOMPARE(omctl({}), (QStringList{"1", "none"}));
    recorder.events.clear();

    const QStringList set = omctl({"pending", "3600"});
    QCOMPARE(set.value(0), QString("5"));
    const qint64 due = set.value(1).toLongLong();
    QVERIFY(qAbs(due - 3600 - QDateTime::currentSecsSinceEpoch()) < 60);
    QTRY_COMPARE(recorder.events,
                 (QStringList{"state NotLocked LockPending", QStringLiteral("time %1").arg(due)}));
    recorder.events.clear();

    QCOMPARE(domain.extendDataLockTime("ext-2", 600), 0);
    QTRY_COMPARE(recorder.events.size(), 2);
    recorder.events.sort();
    QCOMPARE(recorder.events,
             (QStringList{"response ext-2 0", QStringLiteral("time %1").arg(due + 600)}));
    QCOMPARE(omctl({}), (QStringList{"5", QString::number(due + 600)}));
    // The user may put it off too.
    QCOMPARE(omctl({"extend", "60"}), (QStringList{"5", QString::number(due + 660)}));
    QCOMPARE(omctl({"extend", "-1"}).value(0), QStringLiteral("failed"));
    QCOMPARE(omctl({}), (QStringList{"5", QString::number(due + 660)}));
}

// A request for another perimeter than the enterprise one, as any client
// may write it, is answered with "err" and changes nothing.
void tst_PerimeterManager::anotherPerimeterIsRefused()
{
    const QStringList pending = omctl({"pending", "3600"});
    om::PpsObject pps("/pps/system/perimeter/control_public");
    QVERIFY(pps.open(om::PpsOpenMode::PublishSubscribe));
    QSignalSpy readable(&pps, &om::PpsObject::readyRead);
    QVERIFY(pps.write("msg::lock\nid::q-1\ndat:json:{\"name\":\"personal\",\"type\":1}\n"));
    QVERIFY(readable.wait());
    bool ok = false;
    const QVariantMap answer =
        om::PpsObject::decode(pps.read(&ok), &ok).value("@control_public").toMap();
    QVERIFY(ok);
    QVERIFY(answer.contains("err"));
    QCOMPARE(answer.value("id").toString() + ' ' + answer.value("res").toString(), "q-1 lock");
    QCOMPARE(omctl({}), pending);
}

void tst_PerimeterManager::pendingLockFallsDue()
{
    AdarpDomain domain;
    QCOMPARE(omctl({"pending", "1"}).value(0), QString("5"));
    QTRY_COMPARE_WITH_TIMEOUT(domain.dataLockState(), S::DataLocked, 15000);
    QVERIFY(domain.nextDataLockTime().isNull());
    QCOMPARE(omctl({}), (QStringList{"3", "none"}));
}

void tst_PerimeterManager::stateSurvivesRestart_data()
{
    QTest::addColumn<QStringList>("args"); // after a lock
    QTest::addColumn<S::Type>("expected");

    QTest::newRow("locked") << QStringList{"lock"} << S::DataLocked;
    QTest::newRow("pending") << QStringList{"pending", "3600"} << S::LockPending;
    QTest::newRow("unlocked") << QStringList{"unlock"} << S::NotLocked;
    QTest::newRow("raw 0") << QStringList{"raw", "0"} << S::StartupLocked;
}

void tst_PerimeterManager::stateSurvivesRestart()
{
    QFETCH(QStringList, args);
    QFETCH(S::Type, expected);

    omctl({"lock"});
    QStringList before = omctl(args);
    QVERIFY(m_device->stop());
    QVERIFY(m_device->start({"--services=perimeter"}));
    QCOMPARE(omctl({}), before);
    AdarpDomain domain;
    QCOMPARE(domain.dataLockState(), expected);
    QCOMPARE(timeText(domain.nextDataLockTime()), before.value(1).replace("none", "null"));
}

QTEST_GUILESS_MAIN(tst_PerimeterManager)
#include "tst_perimetermanager.moc"
