// The facade on the platform services: the process-wide instance, its
// replacement, and the default implementations.

#include <om/platform/ommock/omsapi.h>
#include <om/platform/ommock/omscoreimpl.h>
#include <om/platform/ommock/omsdeviceinfoimpl.h>
#include <om/platform/ommock/omsnavigatorimpl.h>

#include "ommock/omsapi_p.h"

#include <QProcess>
#include <QtTest/QTest>

#include <cerrno>
#include <cstdio>
#include <thread>
#include <vector>

using ommock::OmsApi;

namespace {

// Parts that note when they are destroyedParts.
QStringList destroyedParts;

class NotingCore : public ommock::OmsCoreImpl
{
public:
    ~NotingCore() override { destroyedParts << QStringLiteral("core"); }
};

class NotingDeviceInfo : public ommock::OmsDeviceInfoImpl
{
public:
    ~NotingDeviceInfo() override { destroyedParts << QStringLiteral("deviceInfo"); }
};

class NotingNavigator : public ommock::OmsNavigatorImpl
{
public:
    ~NotingNavigator() override { destroyedParts << QStringLiteral("navigator"); }
};

OmsApi *makeApi()
{
    return new OmsApi(*new NotingCore, *new NotingDeviceInfo, *new NotingNavigator);
}

void clearInstance()
{
    if (ommock::omsApiInstance)
        OmsApi::unsetInstance(*ommock::omsApiInstance);
}

// The child's part of fatalSecondSetInstance: sets an instance twice.
int runFatalChild(const QString &how)
{
    if (how == QLatin1String("afterDefault"))
        OmsApi::getInstance();
    else
        OmsApi::setInstance(*makeApi());
    std::fprintf(stderr, "before second setInstance\n");
    OmsApi::setInstance(*makeApi());
    std::fprintf(stderr, "after second setInstance\n");
    return 0;
}

} // namespace

class tst_OmsApi : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        clearInstance();
        destroyedParts.clear();
    }

    void getInstanceGivesOneDefault()
    {
        OmsApi *first = OmsApi::getInstance();
        QVERIFY(first);
        QCOMPARE(OmsApi::getInstance(), first);
        QVERIFY(dynamic_cast<ommock::OmsCoreImpl *>(&first->core));
        QVERIFY(dynamic_cast<ommock::OmsDeviceInfoImpl *>(&first->deviceInfo));
        QVERIFY(dynamic_cast<ommock::OmsNavigatorImpl *>(&first->navigator));
    }

    void getInstanceFromManyThreadsMakesOne()
    {
        std::vector<OmsApi *> seen(8, nullptr);
        std::vector<std::thread> threads;
        for (size_t i = 0; i < seen.size(); ++i)
            threads.emplace_back([&seen, i]() { seen[i] = OmsApi::getInstance(); });
        for (std::thread &t : threads)
            t.join();
        for (OmsApi *api : seen)
            QCOMPARE(api, seen.front());
        QCOMPARE(OmsApi::getInstance(), seen.front());
    }

    void setInstanceReplaces()
    {
        OmsApi *a = makeApi();
        OmsApi::setInstance(*a);
        QCOMPARE(OmsApi::getInstance(), a);
        OmsApi::unsetInstance(*a);
        delete a;
    }

    void unsetInstanceOfAnotherDoesNothing()
    {
        OmsApi *a = makeApi();
        OmsApi *b = makeApi();
        OmsApi::setInstance(*a);
        OmsApi::unsetInstance(*b);
        QCOMPARE(OmsApi::getInstance(), a);
        QVERIFY(destroyedParts.isEmpty());
        OmsApi::unsetInstance(*a);
        delete a;
        delete b;
    }

    void unsetInstanceLeavesObjectAlive()
    {
        OmsApi *a = makeApi();
        OmsApi::setInstance(*a);
        OmsApi::unsetInstance(*a);
        QVERIFY(destroyedParts.isEmpty());
        OmsApi *next = OmsApi::getInstance();
        QVERIFY(next != a);
        QVERIFY(dynamic_cast<ommock::OmsCoreImpl *>(&next->core));
        QVERIFY(!dynamic_cast<NotingCore *>(&next->core));
        // a is still whole and usable.
        QCOMPARE(a->core.get_version(), OMS_VERSION);
        delete a;
    }

    void destructorDestroysPartsInOrder()
    {
        delete makeApi();
        QCOMPARE(destroyedParts, QStringList({QStringLiteral("core"), QStringLiteral("deviceInfo"),
                                              QStringLiteral("navigator")}));
    }

    void fatalSecondSetInstance_data()
    {
        QTest::addColumn<QString>("how");
        QTest::newRow("after the default instance") << QStringLiteral("afterDefault");
        QTest::newRow("after another setInstance") << QStringLiteral("afterSet");
    }

    void fatalSecondSetInstance()
    {
        QFETCH(QString, how);
        QProcess child;
        child.start(QCoreApplication::applicationFilePath(),
                    {QStringLiteral("--fatal-child"), how});
        QVERIFY(child.waitForFinished(30000));
        QCOMPARE(child.exitStatus(), QProcess::CrashExit);
        const QList<QByteArray> lines = child.readAllStandardError().split('\n');
        QVERIFY(lines.contains("before second setInstance"));
        QVERIFY(lines.contains("OmsApi::setInstance: instance already exists"));
        QVERIFY(!lines.contains("after second setInstance"));
    }

    void stopEventsOfDefaultNavigator_data()
    {
        QTest::addColumn<int>("flags");
        QTest::newRow("0") << 0;
        QTest::newRow("1") << 1;
        QTest::newRow("-1") << -1;
    }

    void stopEventsOfDefaultNavigator()
    {
        QFETCH(int, flags);
        // Without oms_initialize() any call of the platform would fail:
        // stop_events() makes none.
        errno = 0;
        QCOMPARE(OmsApi::getInstance()->navigator.stop_events(flags), 0);
        QCOMPARE(errno, 0);
    }

    void defaultsForward()
    {
        OmsApi *api = OmsApi::getInstance();
        QCOMPARE(api->core.get_version(), oms_get_version());

        char *err = nullptr;
        errno = 0;
        QCOMPARE(api->navigator.invoke("http://example.com", &err), -1);
        QCOMPARE(errno, ENOTSUP);
        QVERIFY(err);
        QCOMPARE(QByteArray(err), QByteArray("not supported on this device"));
        api->core.free(err);

        const int domain = api->core.register_domain();
        QVERIFY(domain > 0);
        oms_event_t *event = nullptr;
        oms_event_payload_t payload = {1, 2, 3};
        QCOMPARE(api->core.event_create(&event, unsigned(domain), 7, &payload, nullptr), 0);
        QCOMPARE(api->core.event_get_domain(event), domain);
        QCOMPARE(api->core.event_get_code(event), 7);
        QCOMPARE(api->core.event_get_payload(event)->data3, uintptr_t(3));
        api->core.event_destroy(event);

        deviceinfo_details_t *details = nullptr;
        api->deviceInfo.free_details(&details); // a null reading is fine to release
        QVERIFY(!api->deviceInfo.details_get_device_os_version(nullptr));
        QCOMPARE(errno, EINVAL);
    }
};

int main(int argc, char *argv[])
{
    if (argc == 3 && qstrcmp(argv[1], "--fatal-child") == 0) {
        QCoreApplication app(argc, argv);
        return runFatalChild(QString::fromLatin1(argv[2]));
    }
    QCoreApplication app(argc, argv);
    tst_OmsApi test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_omsapi.moc"
