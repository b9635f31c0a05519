// PlatformInfo over a replaced platform layer.

#include <om/platform/platforminfo.h>

#include "fakeoms.h"

#include <QMetaProperty>
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
        QTest::addColumn<QStringList>("calls");

        const QStringList fullRound = {QStringLiteral("initialize"), QStringLiteral("get_details"),
                                       QStringLiteral("details_get_device_os_version"),
                                       QStringLiteral("free_details"), QStringLiteral("shutdown")};
        QTest::newRow("a version")
            << 0 << 0 << QByteArray("10.3.2.2639") << "10.3.2.2639" << fullRound;
        QTest::newRow("a text of another form, unchanged")
            << 0 << 0 << QByteArray(" beta 7 (build x) ") << " beta 7 (build x) " << fullRound;
        QTest::newRow("an empty text") << 0 << 0 << QByteArray("") << "" << fullRound;
        QTest::newRow("initialize fails") << -1 << 0 << QByteArray("1.2.3.4") << "0.0.0.0"
                                          << QStringList({QStringLiteral("initialize")});
        QTest::newRow("initialize gives another non-zero")
            << 3 << 0 << QByteArray("1.2.3.4") << "0.0.0.0"
            << QStringList({QStringLiteral("initialize")});
        QTest::newRow("get_details fails")
            << 0 << -1 << QByteArray("1.2.3.4") << "0.0.0.0"
            << QStringList({QStringLiteral("initialize"), QStringLiteral("get_details"),
                            QStringLiteral("shutdown")});
    }

    void osVersion()
    {
        QFETCH(int, initializeResult);
        QFETCH(int, getDetailsResult);
        QFETCH(QByteArray, platformVersion);
        QFETCH(QString, expected);
        QFETCH(QStringList, calls);

        omtest::FakeOms oms;
        oms.core->initializeResult = initializeResult;
        oms.deviceInfo->getDetailsResult = getDetailsResult;
        oms.deviceInfo->version = platformVersion;

        PlatformInfo info;
        QCOMPARE(info.osVersion(), expected);
        QCOMPARE(oms.calls, calls);
    }

    void asksAtEveryRead()
    {
        omtest::FakeOms oms;
        oms.deviceInfo->version = "1.0.0.1";
        PlatformInfo info;
        QCOMPARE(info.property("osVersion").toString(), QStringLiteral("1.0.0.1"));
        oms.deviceInfo->version = "2.0.0.2";
        QCOMPARE(info.property("osVersion").toString(), QStringLiteral("2.0.0.2"));
        QCOMPARE(oms.calls.count(QStringLiteral("initialize")), 2);
        QCOMPARE(oms.calls.count(QStringLiteral("shutdown")), 2);
    }

    void propertyIsConstantAndReadOnly()
    {
        const QMetaObject &meta = PlatformInfo::staticMetaObject;
        const QMetaProperty property = meta.property(meta.indexOfProperty("osVersion"));
        QVERIFY(property.isValid());
        QVERIFY(property.isConstant());
        QVERIFY(!property.isWritable());
        QVERIFY(!property.hasNotifySignal());
    }

    void replacementAfterConstructionIsSeen()
    {
        PlatformInfo info;
        omtest::FakeOms oms;
        oms.deviceInfo->version = "9.9.9.9";
        QCOMPARE(info.osVersion(), QStringLiteral("9.9.9.9"));
    }
};

QTEST_GUILESS_MAIN(tst_PlatformInfo)

#include "tst_platforminfo.moc"
