// Who may serve and create where on the bus, and how long a plain object
// lives: a client of another user (uid 65534) against a broker of this
// process's user, with and without a policy file.

#include "broker/broker.h"
#include "broker/policy.h"
#include "childprocess.h"
#include "testbroker.h"

#include <om/ppsobject.h>

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <memory>
#include <unistd.h>

using om::PpsObject;
using om::PpsOpenMode;

namespace {

const QByteArray Package = "com.example.app";

// Opens @p path (with its options) as a server or as a publisher that
// creates, as uid 65534 if @p asNobody, with Package for its package.
// Returns 0 or the errno value of the failed open.
int claim(const QString &path, bool asNobody)
{
    return omtest::runInChild(
        [&]() {
            qputenv("OM_PACKAGE_NAME", Package);
            PpsObject pps(path);
            const bool server = path.contains(QLatin1String("server"));
            if (!pps.open(server ? PpsOpenMode::PublishSubscribe
                                 : PpsOpenMode::Publish | PpsOpenMode::Create))
                return pps.error();
            return 0;
        },
        asNobody);
}

// Whether a plain object exists: an open without create finds it.
bool exists(const QString &path)
{
    PpsObject pps(path);
    return pps.open(PpsOpenMode::Subscribe);
}

bool writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

} // namespace

class tst_BusAccess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_broker.reset(new omtest::TestBroker); }
    void cleanup() { m_broker.reset(); }

    void claims_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("asNobody");
        QTest::addColumn<int>("error");
        const QString own = QStringLiteral("/pps/applications/65534/com.example.app");
        QTest::newRow("the owner serves a service")
            << "/pps/services/payments/control?server" << false << 0;
        QTest::newRow("another user serves a service")
            << "/pps/services/payments/control?server" << true << EACCES;
        QTest::newRow("another user serves a simulator object")
            << "/pps/simulator/payments?server" << true << EACCES;
        QTest::newRow("another user serves in its area") << own + "/control?server" << true << 0;
        QTest::newRow("another user serves in root's area")
            << "/pps/applications/0/com.example.app/control?server" << true << EACCES;
        QTest::newRow("the owner creates anywhere") << "/pps/shared/state" << false << 0;
        QTest::newRow("another user creates outside its area")
            << "/pps/shared/state?mode=0666" << true << EACCES;
        QTest::newRow("another user creates a service's object")
            << "/pps/services/navigator/state" << true << EACCES;
        QTest::newRow("another user creates in its area") << own + "/state?mode=0600" << true << 0;
        QTest::newRow("another user creates at its area's door")
            << "/pps/applications/65534/com.example.app" << true << EACCES;
        QTest::newRow("another user creates in another package's area")
            << "/pps/applications/65534/com.example.other/state" << true << EACCES;
        QTest::newRow("another user leaves an object for good")
            << own + "/state?persistent" << true << EACCES;
        QTest::newRow("the owner leaves an object for good")
            << "/pps/shared/state?persistent" << false << 0;
    }

    void claims()
    {
        QFETCH(QString, path);
        QFETCH(bool, asNobody);
        QFETCH(int, error);
        if (asNobody && !omtest::canDropPrivileges())
            QSKIP("needs root to run a client as another user (uid 65534)");
        QCOMPARE(claim(path, asNobody), error);
    }

    void policyFileLetsIn_data()
    {
        QTest::addColumn<QByteArray>("rules");
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("error");
        QTest::newRow("a service for its user by number")
            << QByteArray("serve /pps/services/payments/control 65534\n")
            << "/pps/services/payments/control?server" << 0;
        QTest::newRow("a service for another user")
            << QByteArray("serve /pps/services/payments/control 1234\n")
            << "/pps/services/payments/control?server" << EACCES;
        QTest::newRow("only the path named")
            << QByteArray("serve /pps/services/payments/control 65534\n")
            << "/pps/services/payments/controller?server" << EACCES;
        QTest::newRow("serving is not creating")
            << QByteArray("serve /pps/shared/ 65534\n") << "/pps/shared/state" << EACCES;
        QTest::newRow("a directory, with a comment")
            << QByteArray("# shared state\ncreate /pps/shared/ 65534  # the kiosk\n")
            << "/pps/shared/a/state?persistent" << 0;
        QTest::newRow("a directory, not its neighbour")
            << QByteArray("create /pps/shared/ 65534\n") << "/pps/sharedx/state" << EACCES;
    }

    void policyFileLetsIn()
    {
        QFETCH(QByteArray, rules);
        QFETCH(QString, path);
        QFETCH(int, error);
        if (!omtest::canDropPrivileges())
            QSKIP("needs root to run a client as another user (uid 65534)");
        QTemporaryDir dir;
        const QString file = dir.filePath(QStringLiteral("policy"));
        QVERIFY(writeFile(file, rules));
        m_broker.reset();
        qputenv("OM_BUS_POLICY", QFile::encodeName(file));
        m_broker.reset(new omtest::TestBroker);
        qunsetenv("OM_BUS_POLICY");
        QVERIFY(m_broker->isRunning());
        QCOMPARE(claim(path, true), error);
    }

    void badPolicyFileIsRefused_data()
    {
        QTest::addColumn<QByteArray>("rules");
        QTest::addColumn<QString>("problem");
        QTest::newRow("an unknown claim")
            << QByteArray("\nread /pps/x 0\n")
            << ":2: not a rule (serve|create <path> <user>): read /pps/x 0";
        QTest::newRow("no user") << QByteArray("serve /pps/x\n")
                                 << ":1: not a rule (serve|create <path> <user>): serve /pps/x";
        QTest::newRow("an unknown user")
            << QByteArray("serve /pps/x no-such-user-here\n")
            << ":1: not a rule (serve|create <path> <user>): serve /pps/x no-such-user-here";
        QTest::newRow("a path outside the bus")
            << QByteArray("create /etc/ 0\n")
            << ":1: not a rule (serve|create <path> <user>): create /etc/ 0";
    }

    void badPolicyFileIsRefused()
    {
        QFETCH(QByteArray, rules);
        QFETCH(QString, problem);
        QTemporaryDir dir;
        const QString file = dir.filePath(QStringLiteral("policy"));
        QVERIFY(writeFile(file, rules));
        omdevice::broker::ClaimPolicy policy;
        QString error;
        QVERIFY(!policy.load(file, &error));
        QCOMPARE(error, file + problem);
        QVERIFY(!policy.load(dir.filePath(QStringLiteral("missing")), &error));
        QVERIFY(error.startsWith(QStringLiteral("cannot read the bus policy ")));

        // A broker told of such a file does not start.
        qputenv("OM_BUS_POLICY", QFile::encodeName(file));
        omdevice::Broker broker(dir.filePath(QStringLiteral("root")));
        const bool listening = broker.listen(&error);
        qunsetenv("OM_BUS_POLICY");
        QVERIFY(!listening);
        QCOMPARE(error, file + problem);
    }

    void plainObjectsGoWithTheirLastClient_data()
    {
        QTest::addColumn<QString>("options");
        QTest::addColumn<bool>("subscriberStays");
        QTest::addColumn<bool>("stays");
        QTest::newRow("alone") << "" << false << false;
        QTest::newRow("read by another") << "" << true << true;
        QTest::newRow("persistent") << "?persistent" << false << true;
    }

    void plainObjectsGoWithTheirLastClient()
    {
        QFETCH(QString, options);
        QFETCH(bool, subscriberStays);
        QFETCH(bool, stays);
        const QString path = QStringLiteral("/pps/shared/state");
        std::unique_ptr<PpsObject> creator(new PpsObject(path + options));
        QVERIFY(creator->open(PpsOpenMode::Publish | PpsOpenMode::Create));
        QVERIFY(creator->write("a::1\n"));
        const QString mirror = PpsObject::mirrorFilePath(path);
        QVERIFY(QFile::exists(mirror));
        std::unique_ptr<PpsObject> subscriber(new PpsObject(path));
        QVERIFY(subscriber->open(PpsOpenMode::Subscribe));
        if (!subscriberStays)
            subscriber.reset();
        creator.reset();
        // The broker handles the ends before a later open on a new
        // connection: an open tells what it kept.
        QCOMPARE(exists(path), stays);
        QCOMPARE(QFile::exists(mirror), stays);
        subscriber.reset();
        QCOMPARE(exists(path), stays && options == QLatin1String("?persistent"));
    }

    void objectsOfAProcessThatEndedGo_data()
    {
        QTest::addColumn<QString>("options");
        QTest::addColumn<bool>("stays");
        QTest::newRow("plain") << "" << false;
        QTest::newRow("persistent") << "?persistent" << true;
    }

    void objectsOfAProcessThatEndedGo()
    {
        // The process ends without closing anything: the kernel ends its
        // connections for it.
        QFETCH(QString, options);
        QFETCH(bool, stays);
        const QString path = QStringLiteral("/pps/shared/left");
        const int status = omtest::runInChild([&]() {
            auto *pps = new PpsObject(path + options);
            return pps->open(PpsOpenMode::Publish | PpsOpenMode::Create) && pps->write("a::1\n")
                       ? 0
                       : 1;
        });
        QCOMPARE(status, 0);
        QCOMPARE(exists(path), stays);
    }

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
};

QTEST_GUILESS_MAIN(tst_BusAccess)
#include "tst_busaccess.moc"
