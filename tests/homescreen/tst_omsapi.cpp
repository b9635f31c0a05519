// The facade on the platform services: its one instance, replacement and defaults.

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

QStringList destroyedParts;

template <typename Part> struct Noting : Part
{
    explicit Noting(const char *name) : name(name) {}
    ~Noting() override { destroyedParts << name; }
    const char *name;
};

OmsApi *makeApi()
{
    return new OmsApi(*new Noting<ommock::OmsCoreImpl>("core"),
                      *new Noting<ommock::OmsDeviceInfoImpl>("deviceInfo"),
                      *new Noting<ommock::OmsNavigatorImpl>("navigator"));
}

// The child of fatalSecondSetInstance: sets an instance twice.
int runFatalChild(const char *how)
{
    if (qstrcmp(how, "afterDefault") == 0)
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
        if (ommock::omsApiInstance)
            OmsApi::unsetInstance(*ommock::omsApiInstance);
        destroyedParts.clear();
    }

    void getInstanceMakesOneDefaultFromAnyThread()
    {
        std::vector<OmsApi *> seen(8, nullptr);
        std::vector<std::thread> threads;
        for (size_t i = 0; i < seen.size(); ++i)
            threads.emplace_back([&seen, i]() { seen[i] = OmsApi::getInstance(); });
        for (std::thread &t : threads)
            t.join();
        OmsApi *first = OmsApi::getInstance();
        for (OmsApi *api : seen)
            QCOMPARE(api, first);
        QVERIFY(dynamic_cast<ommock::OmsCoreImpl *>(&first->core));
        QVERIFY(dynamic_cast<ommock::OmsDeviceInfoImpl *>(&first->deviceInfo));
        QVERIFY(dynamic_cast<ommock::OmsNavigatorImpl *>(&first->navigator));
    }

    void unsetInstanceOnlyOfTheCurrentAndLeavesItAlive()
    {
        OmsApi *a = makeApi();
        OmsApi *b = makeApi();
        OmsApi::setInstance(*a);
        OmsApi::unsetInstance(*b);
        QCOMPARE(OmsApi::getInstance(), a);
        OmsApi::unsetInstance(*a);
        QVERIFY(destroyedParts.isEmpty());
        OmsApi *next = OmsApi::getInstance();
        QVERIFY(next != a);
        QVERIFY(!dynamic_cast<Noting<ommock::OmsCoreImpl> *>(&next->core));
        QCOMPARE(a->core.get_version(), OMS_VERSION);
        delete b;
        destroyedParts.clear();
        delete a;
        QCOMPARE(destroyedParts, QStringList({"core", "deviceInfo", "navigator"}));
    }

    void fatalSecondSetInstance_data()
    {
        QTest::addColumn<QString>("how");
        QTest::newRow("after the default instance") << "afterDefault";
        QTest::newRow("after another setInstance") << "afterSet";
    }

    void fatalSecondSetInstance()
    {
        QFETCH(QString, how);
        QProcess child;
        child.start(QCoreApplication::applicationFilePath(), {"--fatal-child", how});
        QVERIFY(child.waitForFinished(30000));
        QCOMPARE(child.exitStatus(), QProcess::CrashExit);
        const QList<QByteArray> lines = child.readAllStandardError().split('\n');
        QVERIFY(lines.contains("before second setInstance"));
        QVERIFY(lines.contains("OmsApi::setInstance: instance already exists"));
        QVERIFY(!lines.contains("after second setInstance"));
    }

    void defaultsForward()
    {
        OmsApi *api = OmsApi::getInstance();
        // Without oms_initialize() any platform call would fail: stop_events makes none.
        errno = 0;
        QCOMPARE(api->navigator.stop_events(0), 0);
        QCOMPARE(errno, 0);
        QCOMPARE(api->core.get_version(), oms_get_version());

        char *err = nullptr;
        QCOMPARE(api->navigator.invoke("http://example.com", &err), -1);
        QCOMPARE(errno, ENOTSUP);
        QCOMPARE(QByteArray(err), QByteArray("not supported on this device"));
        api->core.free(err);
    }
};

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (argc == 3 && qstrcmp(argv[1], "--fatal-child") == 0)
        return runFatalChild(argv[2]);
    tst_OmsApi test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_omsapi.moc"
