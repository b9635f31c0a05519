// PlatformInfo over a replaced platform layer.

#include <om/platform/platforminfo.h>

#include "fakeoms.h"

#include <QtTest/QTest>

using om::platform::PlatformInfo;

class tst_PlatformInfo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void osVersion_data()
    {
        QTest::addColumn<int>("initializeResult");
        QTest::addColumn<int>("getDetailsResult");
        QTest::addColumn<QByteArray>("platformVersion");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<QString>("calls");

        const QString all = "initialize get_details details_get_device_os_version free_details "
                            "shutdown";
        QTest::newRow("a version") << 0 << 0 << QByteArray("10.3.2.2639") << "10.3.2.2639" << all;
        QTest::newRow("a text of another form, unchanged")
            << 0 << 0 << QByteArray(" beta 7 (build x) ") << " beta 7 (build x) " << all;
        QTest::newRow("initialize fails") << -1 << 0 << QByteArray("1.2") << "0.0.0.0"
                                          << "initialize";
        QTest::newRow("initialize gives another non-zero")
            << 3 << 0 << QByteArray("1.2") << "0.0.0.0"
            << "initialize";
        QTest::newRow("get_details fails") << 0 << -1 << QByteArray("1.2") << "0.0.0.0"
                                           << "initialize get_details shutdown";
    }

    void osVersion()
    {
        QFETCH(int, initializeResult);
        QFETCH(int, getDetailsResult);
        QFETCH(QByteArray, platformVersion);
        QFETCH(QString, expected);
        QFETCH(QString, calls);
        omtest::FakeOms oms;
        oms.core->initializeResult = initializeResult;
        oms.deviceInfo->getDetailsResult = getDetailsResult;
        oms.deviceInfo->version = platformVersion;
        QCOMPARE(PlatformInfo().osVersion(), expected);
        QCOMPARE(oms.calls.join(QLatin1Char(' ')), calls);
    }

    // Nothing is cached, not even the platform layer in place at construction.
    void asksAtEveryRead()
    {
        PlatformInfo info;
        omtest::FakeOms oms;
        oms.deviceInfo->version = "1.0.0.1";
        QCOMPARE(info.property("osVersion").toString(), QString("1.0.0.1"));
        oms.deviceInfo->version = "2.0.0.2";
        QCOMPARE(info.osVersion(), QString("2.0.0.2"));
        QCOMPARE(oms.calls.count(QString("initialize")), 2);
        QCOMPARE(oms.calls.count(QString("shutdown")), 2);
    }
};

QTEST_GUILESS_MAIN(tst_PlatformInfo)

#include "tst_platforminfo.moc"
