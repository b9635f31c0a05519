// Identity end to end: IdentityServiceProvider in this process, a real
// omdeviced with its identity service, and omctl playing the user.

#include "cputime.h"
#include "deviceprocess.h"

#include <om/platform/identity/identityserviceprovider.h>
#include <om/platform/identity/ombrelid.h>
#include <om/platform/identity/ombrelidassurancelevel.h>
#include <om/platform/identity/ombrelprofile.h>
#include <om/platform/identity/ombrelprofiledeletedataflag.h>
#include <om/platform/identity/ombrelprofilenotification.h>
#include <om/platform/identity/ombrelprofilepropertytype.h>

#include <QProcess>
#include <QtTest>

#include <memory>

using namespace om::platform::identity;
using omtest::DeviceProcess;

namespace {

const QString Package = QStringLiteral("com.example.e2e");
constexpr int App = OmbrelProfilePropertyType::Application;
constexpr int Vendor = OmbrelProfilePropertyType::Vendor;

/** omctl identity with @p args: its exit code and its output. */
DeviceProcess::Result identity(const QStringList &args)
{
    return DeviceProcess::omctl(QStringList{QStringLiteral("identity")} + args);
}

/** The id of the first challenge omctl lists, waiting until there is one. */
QString pendingChallenge()
{
    for (int i = 0; i < 100; ++i) {
        const QByteArray out = identity({"challenges"}).out.trimmed();
        if (!out.isEmpty())
            return QString::fromUtf8(out.split(' ').at(0));
        QTest::qWait(50);
    }
    return QString();
}

/** One data operation of another application, @p package: its output line. */
QByteArray peer(const QString &package, const QStringList &args)
{
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("OM_PACKAGE_NAME"), package);
    process.setProcessEnvironment(env);
    process.start(QStringLiteral(IDENTITYPEER_PATH), args);
    if (!process.waitForFinished(15000))
        return "no end";
    return process.readAllStandardOutput().trimmed();
}

/** Waits for the failure of request @p id in its int form; its result. */
int failureOf(QSignalSpy &spy, int id)
{
    for (int round = 0; round < 2; ++round) {
        for (const QList<QVariant> &args : qAsConst(spy)) {
            if (args.at(0).toInt() == id)
                return args.at(1).toInt();
        }
        if (!spy.wait(10000))
            break;
    }
    return -1;
}

} // namespace

class tst_IdentityE2e : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void propertiesAndToken();
    void challengeAnsweredFromOmctl_data();
    void challengeAnsweredFromOmctl();
    void dataLifecycle();
    void nextFailureFromOmctl();
    void applicationsKeptApart();
    void deviceRestart();

private:
    std::unique_ptr<DeviceProcess> m_device;
};

void tst_IdentityE2e::initTestCase()
{
    qputenv("OM_PACKAGE_NAME", Package.toUtf8());
}

void tst_IdentityE2e::init()
{
    m_device = std::make_unique<DeviceProcess>();
    QVERIFY2(m_device->start({"--services=identity"}), m_device->output().constData());
}

void tst_IdentityE2e::cleanup()
{
    m_device.reset();
}

void tst_IdentityE2e::propertiesAndToken()
{
    IdentityServiceProvider account(OmbrelId::providerName());
    QVERIFY(account.isValid());
    QCOMPARE(identity({"account", "firstname=Kim", "email=kim@example.org"}).exitCode, 0);

    QSignalSpy properties(&account, qOverload<int, const QVariantMap &>(
                                        &IdentityServiceProvider::propertiesRetrieved));
    const int asked = account.requestProperties(
        0, {OmbrelId::firstNamePropertyKey(), OmbrelId::emailPropertyKey()});
    QVERIFY(properties.wait());
    QCOMPARE(properties.at(0).at(0).toInt(), asked);
    QCOMPARE(properties.at(0).at(1).toMap(),
             (QVariantMap{{OmbrelId::firstNamePropertyKey(), QStringLiteral("Kim")},
                          {OmbrelId::emailPropertyKey(), QStringLiteral("kim@example.org")}}));

    QSignalSpy tokens(&account, qOverload<int, const QByteArray &, const QMap<QString, QString> &>(
                                    &IdentityServiceProvider::tokenRetrieved));
    account.requestToken("bearer", "urn:omb:demo");
    QVERIFY(tokens.wait());
    const QByteArray token = tokens.at(0).at(1).toByteArray();
    QVERIFY(!token.isEmpty());
    const auto params = tokens.at(0).at(2).value<QMap<QString, QString>>();
    QCOMPARE(params.value("appliesTo"), QStringLiteral("urn:omb:demo"));
    QVERIFY(identity({"tokens"}).out.contains(Package.toUtf8() + " bearer urn:omb:demo " + token));

    // Offline, by omctl: no token until it is online again.
    QSignalSpy failed(&account, qOverload<int, int, const QString &>(
                                    &IdentityServiceProvider::tokenRetrievalFailed));
    QCOMPARE(identity({"offline", "on"}).exitCode, 0);
    QCOMPARE(failureOf(failed, account.requestToken("bearer", "urn:omb:demo")), 50011);
    QCOMPARE(identity({"offline", "off"}).exitCode, 0);
    account.requestToken("bearer", "urn:omb:demo");
    QVERIFY(tokens.wait());
    QCOMPARE(failed.size(), 1);
}

void tst_IdentityE2e::challengeAnsweredFromOmctl_data()
{
    QTest::addColumn<QStringList>("answer");
    QTest::addColumn<int>("level");
    QTest::addColumn<int>("failure");

    QTest::newRow("approved") << QStringList{"approve"}
                              << int(OmbrelIdAssuranceLevel::AuthenticatedOnline) << 0;
    QTest::newRow("approved as offline") << QStringList{"approve", "--level", "offline"}
                                         << int(OmbrelIdAssuranceLevel::AuthenticatedOffline) << 0;
    QTest::newRow("refused") << QStringList{"refuse"} << -1 << 50004;
}

void tst_IdentityE2e::challengeAnsweredFromOmctl()
{
    QFETCH(QStringList, answer);
    QFETCH(int, level);
    QFETCH(int, failure);

    IdentityServiceProvider account(OmbrelId::providerName());
    QSignalSpy complete(&account, &IdentityServiceProvider::challengeComplete);
    QSignalSpy failed(
        &account, qOverload<int, int, const QString &>(&IdentityServiceProvider::challengeFailed));
    const int id = account.challenge(0, 0);
    QVERIFY(id != 0);
    const QString pending = pendingChallenge();
    QVERIFY(!pending.isEmpty());
    QCOMPARE(identity(QStringList{answer.at(0), pending} + answer.mid(1)).exitCode, 0);
    if (failure) {
        QCOMPARE(failureOf(failed, id), failure);
    } else {
        QVERIFY(complete.wait());
        QCOMPARE(complete.at(0), (QVariantList{id, level}));
    }
    QCOMPARE(identity({"refuse", "all"}).exitCode, 1); // nothing left
}

void tst_IdentityE2e::dataLifecycle()
{
    IdentityServiceProvider profile(OmbrelProfile::providerName());
    QSignalSpy created(&profile, &IdentityServiceProvider::dataCreated);
    QSignalSpy deleted(&profile, &IdentityServiceProvider::dataDeleted);
    QSignalSpy read(&profile,
                    qOverload<int, const QByteArray &>(&IdentityServiceProvider::dataRetrieved));
    QSignalSpy readFailed(&profile, qOverload<int, int, const QString &>(
                                        &IdentityServiceProvider::dataRetrievalFailed));
    QSignalSpy createFailed(
        &profile, qOverload<int, int, const QString &>(&IdentityServiceProvider::dataCreateFailed));

    const QByteArray value("bin\0\xff\xfe", 6);
    profile.createData(App, 0, "k", value);
    QVERIFY(created.wait());
    QCOMPARE(failureOf(createFailed, profile.createData(App, 0, "k", value)), 50159);
    profile.requestData(App, 0, "k");
    QVERIFY(read.wait());
    QCOMPARE(read.at(0).at(1).toByteArray(), value);
    profile.deleteData(App, 0, "k");
    QVERIFY(deleted.wait());

    QCOMPARE(failureOf(readFailed, profile.requestData(App, 0, "k")), 50007);

    // DeleteAll empties the application's data and nothing else.
    profile.createData(Vendor, 0, "v", QByteArray("1"));
    profile.createData(App, 0, "a", QByteArray("1"));
    QTRY_COMPARE(created.size(), 3);
    profile.deleteData(App, OmbrelProfileDeleteDataFlag::DeleteAll, QString());
    QTRY_COMPARE(deleted.size(), 2);
    QVERIFY(identity({"data", "list", "--package", Package}).out.isEmpty());
    QVERIFY(
        identity({"data", "list", "--package", Package, "--vendor"}).out.startsWith("v (1 bytes)"));
}

void tst_IdentityE2e::nextFailureFromOmctl()
{
    IdentityServiceProvider profile(OmbrelProfile::providerName());
    QSignalSpy failed(
        &profile, qOverload<int, int, const QString &>(&IdentityServiceProvider::dataListFailed));
    QSignalSpy listed(&profile, &IdentityServiceProvider::dataListRetrieved);
    QCOMPARE(identity({"fail", "listData", "50010", "no room"}).exitCode, 0);
    const int id = profile.listData(App, 0);
    QCOMPARE(failureOf(failed, id), 50010);
    QCOMPARE(failed.at(0).at(2).toString(), QStringLiteral("no room"));
    profile.listData(App, 0);
    QVERIFY(listed.wait());

    // Bad input is one line and a non-zero exit.
    const auto bad = identity({"fail", "register", "1"});
    QCOMPARE(bad.exitCode, 1);
    QCOMPARE(bad.err.count('\n'), 1);
    QCOMPARE(identity({"fail", "listData", "zero"}).exitCode, 2);
    QCOMPARE(identity({"nonsense"}).exitCode, 2);
}

void tst_IdentityE2e::applicationsKeptApart()
{
    IdentityServiceProvider profile(OmbrelProfile::providerName());
    QSignalSpy created(&profile, &IdentityServiceProvider::dataCreated);
    profile.createData(App, 0, "private", QByteArray("mine"));
    profile.createData(Vendor, 0, "shared", QByteArray("ours"));
    QTRY_COMPARE(created.size(), 2);

    // Another application of the vendor sees the vendor's entry, not ours,
    // and its own entry of the same name is its own; an application of
    // another vendor sees neither.
    const QString other = QStringLiteral("com.example.other");
    QCOMPARE(peer(other, {"read", QString::number(App), "private"}), QByteArray("failed 50007"));
    QCOMPARE(peer(other, {"read", QString::number(Vendor), "shared"}), QByteArray("ok ours"));
    QCOMPARE(peer(other, {"create", QString::number(App), "private", "theirs"}), QByteArray("ok"));
    QCOMPARE(peer("org.elsewhere.app", {"read", QString::number(Vendor), "shared"}),
             QByteArray("failed 50007"));
    QCOMPARE(identity({"data", "show", "private", "--package", other}).out, QByteArray("theirs\n"));
    QCOMPARE(identity({"data", "show", "shared", "--package", "com.example.other", "--vendor"}).out,
             QByteArray("ours\n"));
    QCOMPARE(
        identity({"data", "show", "shared", "--package", "org.elsewhere.app", "--vendor"}).exitCode,
        1);
    QCOMPARE(identity({"data", "show", "private", "--package", Package}).out, QByteArray("mine\n"));
}

void tst_IdentityE2e::deviceRestart()
{
    IdentityServiceProvider profile(OmbrelProfile::providerName());
    IdentityServiceProvider account(OmbrelId::providerName());
    QSignalSpy created(&profile, &IdentityServiceProvider::dataCreated);
    QSignalSpy notified(&profile, &IdentityServiceProvider::notificationReceived);
    QSignalSpy challengeFailed(
        &account, qOverload<int, int, const QString &>(&IdentityServiceProvider::challengeFailed));
    profile.createData(App, 16, "kept", QByteArray("\0survives", 9));
    QVERIFY(created.wait());
    QCOMPARE(profile.setNotification(App, 0, "kept"), 0);
    QVERIFY(notified.wait());
    QCOMPARE(notified.at(0),
             (QVariantList{App, QStringLiteral("kept"), int(OmbrelProfileNotification::Started)}));
    const int pending = account.challenge(0, 0);
    QVERIFY(!pendingChallenge().isEmpty());

    // The device ends: the waiting challenge fails, and the application
    // sleeps while there is no device.
    QVERIFY(m_device->stop());
    QCOMPARE(failureOf(challengeFailed, pending), 50012);
    QVERIFY2(omtest::cpuSecondsOver(1000) < 0.25, "the application is busy without a device");
    QVERIFY(profile.isValid());

    // Back: the entry is there, and the notifier follows it again, to the
    // user's change by omctl.
    QVERIFY2(m_device->start({"--services=identity"}), m_device->output().constData());
    QSignalSpy read(&profile,
                    qOverload<int, const QByteArray &>(&IdentityServiceProvider::dataRetrieved));
    QVERIFY(profile.requestData(App, 0, "kept") != 0);
    QVERIFY(read.wait());
    QCOMPARE(read.at(0).at(1).toByteArray(), QByteArray("\0survives", 9));
    QCOMPARE(identity({"data", "set", "kept", "new", "--package", Package}).exitCode, 0);
    QVERIFY(notified.wait());
    QCOMPARE(notified.last().at(2).toInt(), int(OmbrelProfileNotification::Changed));
    QCOMPARE(identity({"data", "show", "kept", "--package", Package}).out, QByteArray("new\n"));
    QVERIFY(identity({"data", "list", "--package", Package}).out.contains("kept (3 bytes) cached"));
    QCOMPARE(profile.setNotification(App, 1, "kept"), 0);
    QVERIFY(notified.wait());
    QCOMPARE(notified.last().at(2).toInt(), int(OmbrelProfileNotification::Stopped));
}

QTEST_GUILESS_MAIN(tst_IdentityE2e)
#include "tst_identity_e2e.moc"
