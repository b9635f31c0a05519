// The device's identity service in the test process, on a broker of the
// test's own, spoken to by plain bus clients that each carry the package of
// an application of their own.

#include "identity/identityservice.h"

#include "cputime.h"
#include "datarow.h"
#include "ids/idsprotocol_p.h"
#include "serviceclient.h"
#include "testbroker.h"

#include <ids/ids.h>
#include <om/platform/identity/identityserviceprovider.h>
#include <om/platform/identity/ombrelid.h>
#include <om/platform/identity/ombrelprofile.h>

#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <memory>

using omdevice::IdentityService;
namespace proto = om::ids::protocol;

namespace {

using Client = omtest::ServiceClient;
using omtest::newRow;

/** The next notification @p client gets, if one comes. */
QVariantMap notification(Client &client)
{
    return client.waitFor([](const QVariantMap &m) { return m.value("msg") == proto::msgNotify(); })
        .value("dat")
        .toMap();
}

/** Whether a notification waits once the service has handled all that came
 *  before. */
bool hasNotification(Client &client)
{
    client.call(proto::msgWake()); // answered after anything sent before it
    for (const QVariantMap &m : client.waiting()) {
        if (m.value("msg") == proto::msgNotify())
            return true;
    }
    return false;
}

int codeOf(const QVariantMap &answer)
{
    return answer.contains("err") ? answer.value("err").toInt() : 0;
}

QVariantMap entry(int type, int flags, const QString &name, const QByteArray &value = QByteArray(),
                  bool withValue = false)
{
    QVariantMap dat{{"type", type}, {"flags", flags}, {"name", name}};
    if (withValue || !value.isNull())
        dat.insert("value", proto::encodeBytes(value));
    return dat;
}

} // namespace

class tst_IdentityService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void account_data();
    void account();
    void tokens();
    void dataEntries_data();
    void dataEntries();
    void applicationsKeptApart();
    void notifications();
    void challenges();
    void userSide();
    void options_data();
    void options();
    void badRequests_data();
    void badRequests();
    void keptAcrossRestarts();
    void moduleStoppedAndBack();

private:
    void startService();
    std::unique_ptr<Client> connect(const QString &provider, const QString &package);

    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<QTemporaryDir> m_data;
    std::unique_ptr<IdentityService> m_service;
};

void tst_IdentityService::init()
{
    m_broker = std::make_unique<omtest::TestBroker>();
    m_data = std::make_unique<QTemporaryDir>();
    startService();
}

void tst_IdentityService::cleanup()
{
    m_service.reset();
    m_broker.reset();
    m_data.reset();
}

void tst_IdentityService::startService()
{
    omdevice::DeviceContext context;
    context.dataDirectory = m_data->path();
    m_service = std::make_unique<IdentityService>(context, nullptr);
    QString error;
    QVERIFY2(m_service->start(&error), qPrintable(error));
}

std::unique_ptr<Client> tst_IdentityService::connect(const QString &provider,
                                                     const QString &package)
{
    auto client = std::make_unique<Client>(proto::controlPath(), package);
    if (!client->isOpen())
        return nullptr;
    if (codeOf(client->call(proto::msgRegister(), {{"provider", provider}})) != 0)
        return nullptr;
    return client;
}

void tst_IdentityService::account_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<int>("code");

    QStringList eleven;
    for (int i = 0; i < 11; ++i)
        eleven.append("urn:omid:email");
    newRow("all six", 0,
           QStringList{"urn:omid:username", "urn:omid:screenname", "urn:omid:firstname",
                       "urn:omid:lastname", "urn:omid:uid", "urn:omid:email"},
           0);
    newRow("none", 0, QStringList(), 0);
    newRow("ten", 0, QStringList(eleven.mid(1)), 0);
    newRow("eleven", 0, eleven, int(IDS_TOO_MANY_NAMES_PASSED));
    newRow("a name of 33 bytes", 0, QStringList{QString(33, 'n')}, int(IDS_NAME_TOO_LONG));
    newRow("32 bytes, unknown", 0, QStringList{QString(32, 'n')},
           int(IDS_NULL_OR_UNKNOWN_PARAMETERS));
    newRow("another type", 1, QStringList{"urn:omid:uid"}, int(IDS_NULL_OR_UNKNOWN_PARAMETERS));
}

void tst_IdentityService::account()
{
    QFETCH(int, type);
    QFETCH(QStringList, names);
    QFETCH(int, code);

    auto app = connect(proto::providerOmid(), "com.example.one");
    QVERIFY(app);
    const QVariantMap answer =
        app->call(proto::msgGetProperties(), {{"type", type}, {"names", names}});
    QCOMPARE(codeOf(answer), code);
    if (code != 0) {
        QVERIFY(!answer.value("info").toString().isEmpty());
        return;
    }
    proto::Pairs pairs;
    QVERIFY(proto::readPropertiesAnswer(answer.value("dat").toMap(), &pairs));
    QCOMPARE(pairs.size(), names.size());
    for (int i = 0; i < names.size(); ++i)
        QCOMPARE(QString::fromUtf8(pairs.at(i).first), names.at(i));
    if (!names.isEmpty())
        QVERIFY(!pairs.last().second.isEmpty());
}

void tst_IdentityService::tokens()
{
    auto app = connect(proto::providerOmid(), "com.example.one");
    auto other = connect(proto::providerOmid(), "com.example.two");
    QVERIFY(app && other);
    auto token = [](Client &client, const QString &type, const QString &target) {
        return client.call(proto::msgGetToken(), {{"tokenType", type}, {"appliesTo", target}});
    };
    // The token of an answer, with its parameters; empty if there is none.
    auto tokenOf = [&token](Client &client) {
        proto::TokenAnswer a;
        proto::readTokenAnswer(token(client, "bearer", "urn:omb:demo").value("dat").toMap(), &a);
        return a;
    };
    QCOMPARE(codeOf(token(*app, "nope", "urn:omb:demo")), int(IDS_UNKNOWN_TOKEN_TYPE));
    QCOMPARE(codeOf(token(*app, "bearer", "urn:nope")), int(IDS_UNKNOWN_APPLIES_TO));

    // Stable until cleared, and each application's own.
    const proto::TokenAnswer a = tokenOf(*app);
    QVERIFY(!a.token.isEmpty());
    QVERIFY(!a.params.isEmpty());
    QCOMPARE(tokenOf(*app).token, a.token);
    const QByteArray others = tokenOf(*other).token;
    QVERIFY(!others.isEmpty() && others != a.token);

    const QVariantMap bearer{{"tokenType", "bearer"}, {"appliesTo", "urn:omb:demo"}};
    QCOMPARE(app->datOf(proto::msgClearToken(), bearer).value("cleared").toBool(), true);
    QCOMPARE(app->datOf(proto::msgClearToken(), bearer).value("cleared").toBool(), false);
    const QByteArray fresh = tokenOf(*app).token;
    QVERIFY(!fresh.isEmpty() && fresh != a.token);

    // Offline: no token, but the properties still.
    auto user = std::make_unique<Client>(proto::simulatorPath(), "omctl");
    QCOMPARE(codeOf(user->call(proto::simSetOffline(), {{"offline", true}})), 0);
    QCOMPARE(codeOf(token(*app, "bearer", "urn:omb:demo")),
             int(IDS_CANNOT_GET_TOKEN_WHILE_OFFLINE));
    QCOMPARE(codeOf(app->call(proto::msgGetProperties(),
                              {{"type", 0}, {"names", QStringList{"urn:omid:uid"}}})),
             0);
}

void tst_IdentityService::dataEntries_data()
{
    // Steps on a fresh service, each: request, type, flags, name, value, expected code.
    QTest::addColumn<QVariantList>("steps");

    auto step = [](const QString &msg, int type, int flags, const QString &name,
                   const QByteArray &value, int code) {
        return QVariant(QVariantList{msg, type, flags, name, value, code});
    };
    const QByteArray binary("\0\x01\xff\xfe text", 10);
    newRow(
        "create, read, set, delete",
        QVariantList{step("createData", 1, 0, "n", binary, 0),
                     step("getData", 1, 0, "n", binary, 0), step("setData", 1, 0, "n", "second", 0),
                     step("getData", 1, 0, "n", "second", 0), step("deleteData", 1, 0, "n", {}, 0),
                     step("getData", 1, 0, "n", {}, IDS_DOES_NOT_EXIST)});
    newRow("the failures of each",
           QVariantList{
               step("createData", 1, 0, "n", "v", 0),
               step("createData", 1, 0, "n", "v", IDS_ALREADY_EXISTS),
               step("setData", 1, 0, "missing", "v", IDS_DOES_NOT_EXIST),
               step("deleteData", 1, 0, "missing", {}, IDS_DOES_NOT_EXIST),
               step("getData", 1, 0, QString(129, 'x'), {}, IDS_NAME_TOO_LONG),
               step("createData", 1, 0, QString(128, 'x'), "v", 0),
               step("createData", 1, 0, "big", QByteArray(32 * 1024 + 1, 'b'), IDS_VALUE_TOO_LARGE),
               step("createData", 1, 0, "big", QByteArray(32 * 1024, 'b'), 0),
               step("setData", 1, 0, "big", QByteArray(32 * 1024 + 1, 'b'), IDS_VALUE_TOO_LARGE),
               step("createData", 1, 0, "", "v", IDS_NULL_OR_UNKNOWN_PARAMETERS),
               step("createData", 3, 0, "n", "v", IDS_NULL_OR_UNKNOWN_PARAMETERS),
               step("createData", 1, 4, "m", "v", IDS_NULL_OR_UNKNOWN_PARAMETERS),
               step("listData", 1, 1, {}, {}, IDS_NULL_OR_UNKNOWN_PARAMETERS)});
    newRow(
        "a multi-byte name is counted in bytes",
        QVariantList{step("createData", 1, 0, QString(64, QChar(0xe9)), "v", 0),
                     step("createData", 1, 0, QString(65, QChar(0xe9)), "v", IDS_NAME_TOO_LONG)});
    newRow("odd names are names",
           QVariantList{
               step("createData", 2, 0, QString::fromUtf8("a\0b\n\\\xf0\x9f\x98\x80", 9), "v", 0),
               step("getData", 2, 0, QString::fromUtf8("a\0b\n\\\xf0\x9f\x98\x80", 9), "v", 0)});
    newRow("cache only, then all",
           QVariantList{step("createData", 1, 16, "a", "1", 0),
                        step("createData", 1, 1, "b", "2", 0), step("deleteData", 1, 1, "a", {}, 0),
                        step("getData", 1, 0, "a", "1", 0), step("deleteData", 1, 2, {}, {}, 0),
                        step("getData", 1, 0, "b", {}, IDS_DOES_NOT_EXIST),
                        step("deleteData", 1, 2, {}, {}, 0)});
}

void tst_IdentityService::dataEntries()
{
    QFETCH(QVariantList, steps);

    auto app = connect(proto::providerProfile(), "com.example.one");
    QVERIFY(app);
    for (const QVariant &s : qAsConst(steps)) {
        const QVariantList step = s.toList();
        const QString msg = step.at(0).toString();
        const QByteArray value = step.at(4).toByteArray();
        const bool writes = msg == proto::msgSetData() || msg == proto::msgCreateData();
        const QVariantMap dat =
            msg == proto::msgListData()
                ? QVariantMap{{"type", step.at(1)}, {"flags", step.at(2)}}
                : entry(step.at(1).toInt(), step.at(2).toInt(), step.at(3).toString(),
                        writes ? value : QByteArray(), writes);
        const QVariantMap answer = app->call(msg, dat);
        QVERIFY2(codeOf(answer) == step.at(5).toInt(),
                 qPrintable(QStringLiteral("%1 %2: %3")
                                .arg(msg, step.at(3).toString().left(20))
                                .arg(answer.value("info").toString())));
        if (msg == proto::msgGetData() && codeOf(answer) == 0) {
            QByteArray name;
            QByteArray read;
            QVERIFY(proto::readDataAnswer(answer.value("dat").toMap(), &name, &read));
            QCOMPARE(read, value);
        }
    }
    QCOMPARE(codeOf(app->call(proto::msgListData(), {{"type", 1}, {"flags", 0}})), 0);
}

void tst_IdentityService::applicationsKeptApart()
{
    auto one = connect(proto::providerProfile(), "com.example.one");
    auto two = connect(proto::providerProfile(), "com.example.two");
    auto stranger = connect(proto::providerProfile(), "org.other.app");
    QVERIFY(one && two && stranger);

    QCOMPARE(codeOf(one->call(proto::msgCreateData(), entry(1, 0, "mine", "1"))), 0);
    QCOMPARE(codeOf(one->call(proto::msgCreateData(), entry(2, 0, "ours", "2"))), 0);

    // Application data is one application's alone, whatever it asks for.
    QCOMPARE(codeOf(two->call(proto::msgGetData(), entry(1, 0, "mine"))), int(IDS_DOES_NOT_EXIST));
    QCOMPARE(codeOf(two->call(proto::msgCreateData(), entry(1, 0, "mine", "other"))), 0);
    QCOMPARE(
        one->datOf(proto::msgListData(), {{"type", 1}, {"flags", 0}}).value("names").toStringList(),
        QStringList{"mine"});
    // Vendor data is shared by the vendor's applications, and only theirs.
    const QVariantMap shared = two->call(proto::msgGetData(), entry(2, 0, "ours"));
    QByteArray name;
    QByteArray value;
    QVERIFY(proto::readDataAnswer(shared.value("dat").toMap(), &name, &value));
    QCOMPARE(value, QByteArray("2"));
    QCOMPARE(codeOf(stranger->call(proto::msgGetData(), entry(2, 0, "ours"))),
             int(IDS_DOES_NOT_EXIST));
    QCOMPARE(codeOf(stranger->call(proto::msgDeleteData(), entry(2, 2, QString()))), 0);
    QCOMPARE(codeOf(one->call(proto::msgGetData(), entry(2, 0, "ours"))), 0);
}

void tst_IdentityService::notifications()
{
    auto one = connect(proto::providerProfile(), "com.example.one");
    auto two = connect(proto::providerProfile(), "com.example.two");
    auto user = std::make_unique<Client>(proto::simulatorPath(), "omctl");
    QVERIFY(one && two);
    QCOMPARE(codeOf(one->call(proto::msgCreateData(), entry(2, 0, "shared", "1"))), 0);

    const QVariantMap start{{"type", 2}, {"flags", 0}, {"name", "shared"}, {"watcher", 5}};
    QCOMPARE(codeOf(one->call(proto::msgRegisterNotifier(), start)), 0);
    QCOMPARE(notification(*one),
             (QVariantMap{{"type", 2}, {"name", "shared"}, {"notification", 0}, {"watcher", 5}}));

    // Its own change is no news to it; another application's is.
    QCOMPARE(codeOf(one->call(proto::msgSetData(), entry(2, 0, "shared", "2"))), 0);
    QVERIFY(!hasNotification(*one));
    QCOMPARE(codeOf(two->call(proto::msgSetData(), entry(2, 0, "shared", "3"))), 0);
    QCOMPARE(notification(*one).value("notification").toInt(), 2);
    QCOMPARE(codeOf(two->call(proto::msgSetData(), entry(1, 0, "shared", "x"))),
             int(IDS_DOES_NOT_EXIST));
    QCOMPARE(codeOf(two->call(proto::msgCreateData(), entry(2, 0, "unwatched", "x"))), 0);
    QVERIFY(!hasNotification(*one));

    // The user's change, and a delete of everything, reach it too.
    QCOMPARE(codeOf(user->call(proto::simSetData(), {{"package", "com.example.two"},
                                                     {"vendor", true},
                                                     {"name", "shared"},
                                                     {"value", proto::encodeBytes("u")}})),
             0);
    QCOMPARE(notification(*one).value("notification").toInt(), 2);
    QCOMPARE(codeOf(two->call(proto::msgDeleteData(), entry(2, 2, QString()))), 0);
    QCOMPARE(notification(*one).value("notification").toInt(), 2);

    // A resumed notifier says nothing; a stop says "Stopped", then silence.
    QVariantMap resume = start;
    resume.insert("resume", true);
    QCOMPARE(codeOf(one->call(proto::msgRegisterNotifier(), resume)), 0);
    QVERIFY(!hasNotification(*one));
    QVariantMap stop = start;
    stop.insert("flags", 1);
    QCOMPARE(codeOf(one->call(proto::msgRegisterNotifier(), stop)), 0);
    QCOMPARE(notification(*one).value("notification").toInt(), 1);
    QCOMPARE(codeOf(two->call(proto::msgCreateData(), entry(2, 0, "shared", "again"))), 0);
    QVERIFY(!hasNotification(*one));

    // Refusals are errno values.
    QCOMPARE(codeOf(one->call(proto::msgRegisterNotifier(),
                              {{"type", 7}, {"flags", 0}, {"name", "x"}, {"watcher", 1}})),
             EINVAL);
    auto account = connect(proto::providerOmid(), "com.example.one");
    QCOMPARE(codeOf(account->call(proto::msgRegisterNotifier(), start)), EINVAL);
}

void tst_IdentityService::challenges()
{
    auto app = connect(proto::providerOmid(), "com.example.one");
    auto user = std::make_unique<Client>(proto::simulatorPath(), "omctl");
    QVERIFY(app);
    auto pending = [&user] {
        return user->datOf(proto::simChallenges()).value("challenges").toList();
    };
    auto answerAll = [&user](bool approve) {
        return user->call(proto::simAnswerChallenge(),
                          QVariantMap{{"all", true}, {"approve", approve}});
    };
    const QVariantMap authenticate{{"type", 0}, {"flags", 0}};

    // It waits for the user, who sees who asks.
    const QString asked = app->send(proto::msgChallenge(), authenticate);
    QTRY_COMPARE(pending().size(), 1);
    const QVariantMap listed = pending().at(0).toMap();
    QCOMPARE(listed.value("package").toString(), QStringLiteral("com.example.one"));
    QVERIFY(app->answerTo(asked, 200).isEmpty());
    QCOMPARE(codeOf(user->call(proto::simAnswerChallenge(),
                               QVariantMap{{"id", listed.value("id")}, {"approve", true}})),
             0);
    QCOMPARE(app->answerTo(asked).value("dat").toMap().value("level").toInt(),
             int(proto::AuthenticatedOnline));

    // Refused; approved while offline; of a type that does not exist.
    const QString refused =
        app->send(proto::msgChallenge(), QVariantMap{{"type", 1}, {"flags", 0}});
    QTRY_COMPARE(pending().size(), 1);
    QCOMPARE(answerAll(false).value("dat").toMap().value("answered").toInt(), 1);
    QCOMPARE(codeOf(app->answerTo(refused)), int(IDS_USER_COULD_NOT_BE_AUTHENTICATED));
    QCOMPARE(codeOf(user->call(proto::simSetOffline(), QVariantMap{{"offline", true}})), 0);
    const QString offline = app->send(proto::msgChallenge(), authenticate);
    QTRY_COMPARE(pending().size(), 1);
    answerAll(true);
    QCOMPARE(app->answerTo(offline).value("dat").toMap().value("level").toInt(),
             int(proto::AuthenticatedOffline));
    QCOMPARE(codeOf(app->call(proto::msgChallenge(), QVariantMap{{"type", 2}, {"flags", 0}})),
             int(IDS_NULL_OR_UNKNOWN_PARAMETERS));
    QVERIFY(answerAll(true).contains("err")); // nothing pending

    // The application forbids dialogs: no waiting, NotAllowed.
    Client options(proto::controlPath(), "com.example.one");
    QCOMPARE(
        codeOf(options.call(proto::msgSetOption(), QVariantMap{{"option", 0}, {"value", "false"}})),
        0);
    QCOMPARE(codeOf(app->call(proto::msgChallenge(), authenticate)), int(IDS_NOT_ALLOWED));
    QCOMPARE(
        codeOf(options.call(proto::msgSetOption(), QVariantMap{{"option", 0}, {"value", "true"}})),
        0);

    // The user's policy answers at once.
    QCOMPARE(codeOf(user->call(proto::simSetPolicy(), QVariantMap{{"policy", "approve"}})), 0);
    QCOMPARE(codeOf(app->call(proto::msgChallenge(), authenticate)), 0);
    QCOMPARE(codeOf(user->call(proto::simSetPolicy(), QVariantMap{{"policy", "refuse"}})), 0);
    QCOMPARE(codeOf(app->call(proto::msgChallenge(), authenticate)),
             int(IDS_USER_COULD_NOT_BE_AUTHENTICATED));
    QVERIFY(user->call(proto::simSetPolicy(), QVariantMap{{"policy", "maybe"}}).contains("err"));
    QCOMPARE(codeOf(user->call(proto::simSetPolicy(), QVariantMap{{"policy", "ask"}})), 0);

    // A challenge of an application that went away goes with it.
    app->send(proto::msgChallenge(), authenticate);
    QTRY_COMPARE(pending().size(), 1);
    app.reset();
    QTRY_COMPARE(pending().size(), 0);
}

void tst_IdentityService::userSide()
{
    auto app = connect(proto::providerOmid(), "com.example.one");
    auto user = std::make_unique<Client>(proto::simulatorPath(), "omctl");
    QVERIFY(app);
    const QVariantMap bearer{{"tokenType", "bearer"}, {"appliesTo", "urn:omb:demo"}};
    QCOMPARE(codeOf(app->call(proto::msgGetToken(), bearer)), 0);
    QCOMPARE(user->datOf(proto::simTokens()).value("tokens").toList().size(), 1);

    // A new screen name keeps the tokens; another user does not.
    auto setAccount = [&user](const QString &key, const QString &value) {
        return user->datOf(proto::simSetAccount(), {{"account", QVariantMap{{key, value}}}});
    };
    QVERIFY(!setAccount("urn:omid:screenname", "lex").contains("revoked"));
    proto::Pairs pairs;
    QVERIFY(proto::readPropertiesAnswer(
        app->datOf(proto::msgGetProperties(),
                   {{"type", 0}, {"names", QStringList{"urn:omid:screenname"}}}),
        &pairs));
    QCOMPARE(pairs.at(0).second, QByteArray("lex"));
    QCOMPARE(setAccount("urn:omid:username", "kim@example.org").value("revoked").toInt(), 1);
    QVERIFY(user->call(proto::simSetAccount(),
                       QVariantMap{{"account", QVariantMap{{"urn:omid:age", "9"}}}})
                .contains("err"));

    // Revoking by application; a new applies-to target.
    QCOMPARE(codeOf(app->call(proto::msgGetToken(), bearer)), 0);
    QCOMPARE(user->datOf(proto::simRevoke(), {{"package", "com.other"}}).value("revoked").toInt(),
             0);
    QCOMPARE(
        user->datOf(proto::simRevoke(), {{"package", "com.example.one"}}).value("revoked").toInt(),
        1);
    QVariantMap target{{"tokenType", "saml"}, {"appliesTo", "urn:new"}};
    QCOMPARE(codeOf(app->call(proto::msgGetToken(), target)), int(IDS_UNKNOWN_APPLIES_TO));
    QCOMPARE(
        codeOf(user->call(proto::simAppliesTo(), QVariantMap{{"add", QStringList{"urn:new"}}})), 0);
    QCOMPARE(codeOf(app->call(proto::msgGetToken(), target)), 0);

    // The next request of a kind fails as asked, of one application or any.
    QCOMPARE(codeOf(user->call(
                 proto::simFailNext(),
                 QVariantMap{{"request", "getToken"}, {"code", 50012}, {"package", "com.other"}})),
             0);
    QCOMPARE(codeOf(user->call(
                 proto::simFailNext(),
                 QVariantMap{{"request", "getToken"}, {"code", 50003}, {"info", "locked"}})),
             0);
    const QVariantMap forced = app->call(proto::msgGetToken(), bearer);
    QCOMPARE(codeOf(forced), 50003);
    QCOMPARE(forced.value("info").toString(), QStringLiteral("locked"));
    QCOMPARE(codeOf(app->call(proto::msgGetToken(), bearer)), 0);
    QVERIFY(user->call(proto::simFailNext(), QVariantMap{{"request", "register"}, {"code", 5}})
                .contains("err"));
    QVERIFY(user->call(proto::simFailNext(), QVariantMap{{"request", "getToken"}, {"code", 0}})
                .contains("err"));
    QVERIFY(user->call(proto::simListData(), QVariantMap{{"vendor", true}}).contains("err"));
}

void tst_IdentityService::options_data()
{
    QTest::addColumn<QVariantMap>("dat");
    QTest::addColumn<int>("code");

    newRow("GUI allowed", QVariantMap{{"option", 0}, {"value", "true"}}, 0);
    newRow("GUI yes?", QVariantMap{{"option", 0}, {"value", "yes"}}, EINVAL);
    newRow("window group", QVariantMap{{"option", 1}, {"value", "g-1"}}, 0);
    newRow("Verbose", QVariantMap{{"option", 2}, {"value", "Verbose"}}, 0);
    newRow("Silent", QVariantMap{{"option", 2}, {"value", "Silent"}}, 0);
    newRow("InvalidVerbosity", QVariantMap{{"option", 2}, {"value", "InvalidVerbosity"}}, EINVAL);
    newRow("None is no verbosity", QVariantMap{{"option", 2}, {"value", "None"}}, EINVAL);
    newRow("unknown option", QVariantMap{{"option", 9}, {"value", "x"}}, EINVAL);
    newRow("no value", QVariantMap{{"option", 1}}, EINVAL);
}

void tst_IdentityService::options()
{
    QFETCH(QVariantMap, dat);
    QFETCH(int, code);

    Client client(proto::controlPath(), "com.example.one");
    QCOMPARE(codeOf(client.call(proto::msgSetOption(), dat)), code);
}

void tst_IdentityService::badRequests_data()
{
    QTest::addColumn<QString>("provider");
    QTest::addColumn<QString>("msg");
    QTest::addColumn<QVariant>("dat");
    QTest::addColumn<int>("code");

    const QString omid = proto::providerOmid();
    const QString profile = proto::providerProfile();
    newRow("before any registration", QString(), "getData", QVariant(entry(1, 0, "n")),
           int(IDS_INVALID_REQUEST));
    QVariantMap named = entry(1, 0, "n");
    named.insert("provider", profile);
    newRow("no registration, the provider named", QString(), "getData", QVariant(named),
           int(IDS_DOES_NOT_EXIST));
    newRow("unknown request", profile, "steal", QVariant(QVariantMap()), int(IDS_INVALID_REQUEST));
    newRow("\"dat\" a text", profile, "getData", QVariant("n"),
           int(IDS_NULL_OR_UNKNOWN_PARAMETERS));
    newRow("no \"dat\"", omid, "getToken", QVariant(), int(IDS_NULL_OR_UNKNOWN_PARAMETERS));
    newRow("a name that is a number", profile, "getData",
           QVariant(QVariantMap{{"type", 1}, {"flags", 0}, {"name", 5}}),
           int(IDS_NULL_OR_UNKNOWN_PARAMETERS));
    newRow("a value that is not base64", profile, "createData",
           QVariant(QVariantMap{{"type", 1}, {"flags", 0}, {"name", "n"}, {"value", "@@"}}),
           int(IDS_NULL_OR_UNKNOWN_PARAMETERS));
    newRow("a type of 2^40", profile, "listData",
           QVariant(QVariantMap{{"type", qlonglong(1) << 40}, {"flags", 0}}),
           int(IDS_NULL_OR_UNKNOWN_PARAMETERS));
    newRow("names that are not texts", omid, "getProperties",
           QVariant(QVariantMap{{"type", 0}, {"names", QVariantList{1, 2}}}),
           int(IDS_NULL_OR_UNKNOWN_PARAMETERS));
    newRow("a token of the profile", profile, "getToken",
           QVariant(QVariantMap{{"tokenType", "bearer"}, {"appliesTo", "urn:omb:demo"}}),
           int(IDS_INVALID_REQUEST));
    newRow("data of the account", omid, "listData",
           QVariant(QVariantMap{{"type", 1}, {"flags", 0}}), int(IDS_INVALID_REQUEST));
    newRow("an unknown provider", QString(), "register",
           QVariant(QVariantMap{{"provider", "ids:omb:x"}}), ECOMM);
    newRow("a second provider on one connection", omid, "register",
           QVariant(QVariantMap{{"provider", profile}}), EINVAL);
}

void tst_IdentityService::badRequests()
{
    QFETCH(QString, provider);
    QFETCH(QString, msg);
    QFETCH(QVariant, dat);
    QFETCH(int, code);

    auto client = provider.isEmpty()
                      ? std::make_unique<Client>(proto::controlPath(), "com.example.one")
                      : connect(provider, "com.example.one");
    QVERIFY(client);
    const QVariantMap answer = client->answerTo(client->send(msg, dat));
    QCOMPARE(codeOf(answer), code);
    QCOMPARE(answer.value("res").toString(), msg);

    // What cannot be decoded is refused too, and the service goes on.
    client->sendRaw(QByteArray("\x01garbage\nno:such:encoding:here\n@", 33));
    const QVariantMap refused =
        client->waitFor([](const QVariantMap &m) { return !m.contains("id"); });
    QCOMPARE(codeOf(refused), int(IDS_INVALID_REQUEST));
    QCOMPARE(codeOf(client->call(proto::msgWake())), 0);
}

void tst_IdentityService::keptAcrossRestarts()
{
    auto app = connect(proto::providerProfile(), "com.example.one");
    auto account = connect(proto::providerOmid(), "com.example.one");
    auto user = std::make_unique<Client>(proto::simulatorPath(), "omctl");
    QVERIFY(app && account);
    const QByteArray value("\0kept\xff", 6);
    QCOMPARE(codeOf(app->call(proto::msgCreateData(), entry(1, 16, "k", value))), 0);
    QCOMPARE(codeOf(app->call(proto::msgCreateData(), entry(2, 1, "v", "vendor"))), 0);
    const QVariantMap bearer{{"tokenType", "bearer"}, {"appliesTo", "urn:omb:demo"}};
    const QVariantMap token = account->call(proto::msgGetToken(), bearer);
    QCOMPARE(
        codeOf(user->call(proto::simSetAccount(),
                          QVariantMap{{"account", QVariantMap{{"urn:omid:firstname", "Kim"}}}})),
        0);
    QCOMPARE(codeOf(user->call(proto::simSetOffline(), QVariantMap{{"offline", true}})), 0);

    app.reset();
    account.reset();
    user.reset();
    m_service.reset();
    startService();

    app = connect(proto::providerProfile(), "com.example.one");
    account = connect(proto::providerOmid(), "com.example.one");
    user = std::make_unique<Client>(proto::simulatorPath(), "omctl");
    QByteArray name;
    QByteArray read;
    QVERIFY(proto::readDataAnswer(app->datOf(proto::msgGetData(), entry(1, 0, "k")), &name, &read));
    QCOMPARE(read, value);
    QCOMPARE(codeOf(app->call(proto::msgGetData(), entry(2, 0, "v"))), 0);
    const QVariantList entries = user->datOf(proto::simListData(), {{"package", "com.example.one"}})
                                     .value("entries")
                                     .toList();
    QCOMPARE(entries.size(), 1);
    QCOMPARE(entries.at(0).toMap().value("cached").toBool(), true);
    const QVariantMap state = user->datOf(proto::simState());
    QCOMPARE(state.value("offline").toBool(), true);
    QCOMPARE(state.value("account").toMap().value("urn:omid:firstname").toString(),
             QStringLiteral("Kim"));
    QCOMPARE(codeOf(user->call(proto::simSetOffline(), QVariantMap{{"offline", false}})), 0);
    QCOMPARE(account->datOf(proto::msgGetToken(), bearer).value("token"),
             token.value("dat").toMap().value("token"));
}

namespace {

/** The service on a thread of its own, as the library's registration waits
 *  for the service's answer on the caller's thread. */
class ServiceThread
{
public:
    explicit ServiceThread(const QString &dataDirectory)
    {
        m_thread.start();
        m_context.moveToThread(&m_thread);
        QMetaObject::invokeMethod(
            &m_context,
            [this, dataDirectory] {
                omdevice::DeviceContext context;
                context.dataDirectory = dataDirectory;
                m_service = new IdentityService(context, nullptr);
                QString error;
                m_started = m_service->start(&error);
            },
            Qt::BlockingQueuedConnection);
    }
    ~ServiceThread()
    {
        QMetaObject::invokeMethod(
            &m_context, [this] { delete m_service; }, Qt::BlockingQueuedConnection);
        m_thread.quit();
        m_thread.wait();
    }
    bool started() const { return m_started; }

private:
    QThread m_thread;
    QObject m_context;
    IdentityService *m_service = nullptr;
    bool m_started = false;
};

} // namespace

void tst_IdentityService::moduleStoppedAndBack()
{
    using namespace om::platform::identity;
    m_service.reset();
    auto service = std::make_unique<ServiceThread>(m_data->path());
    QVERIFY(service->started());
    const QString package = QCoreApplication::applicationName();
    IdentityServiceProvider profile(OmbrelProfile::providerName());
    IdentityServiceProvider account(OmbrelId::providerName());
    QSignalSpy created(&profile, &IdentityServiceProvider::dataCreated);
    QSignalSpy notified(&profile, &IdentityServiceProvider::notificationReceived);
    QSignalSpy read(&profile,
                    qOverload<int, const QByteArray &>(&IdentityServiceProvider::dataRetrieved));
    QSignalSpy challengeFailed(
        &account, qOverload<int, int, const QString &>(&IdentityServiceProvider::challengeFailed));
    QSignalSpy challengeComplete(&account, &IdentityServiceProvider::challengeComplete);
    profile.createData(1, 0, "kept", QByteArray("v"));
    QVERIFY(created.wait());
    QCOMPARE(profile.setNotification(1, 0, "kept"), 0);
    QVERIFY(notified.wait());
    QVERIFY(account.challenge(0, 0) != 0);
    auto user = std::make_unique<Client>(proto::simulatorPath(), "omctl");
    QTRY_COMPARE(user->datOf(proto::simChallenges()).value("challenges").toList().size(), 1);
    user.reset();

    // The module stops while the bus stays: the application sleeps.
    service.reset();
    const double used = omtest::cpuSecondsOver(1000);
    QVERIFY2(used < 0.25, qPrintable(QString::number(used)));
    QCOMPARE(challengeComplete.size(), 0);
    // Where the bus ends a connection whose server went away, the waiting
    // challenge has failed; where it keeps the connection for the next
    // server, the challenge stays pending, and its answer is lost with the
    // service that was to give it.
    const bool ended = !challengeFailed.isEmpty();
    if (ended)
        QCOMPARE(challengeFailed.at(0).at(1).toInt(), int(IDS_ERROR_WHILE_CONTACTING_SERVICE));

    // Back: requests work again, and the entry is there.
    service = std::make_unique<ServiceThread>(m_data->path());
    QVERIFY(service->started());
    QVERIFY(profile.requestData(1, 0, "kept") != 0);
    QVERIFY(read.wait());
    QCOMPARE(read.at(0).at(1).toByteArray(), QByteArray("v"));
    user = std::make_unique<Client>(proto::simulatorPath(), "omctl");
    auto change = [&user, &package](const QByteArray &value) {
        return codeOf(
            user->call(proto::simSetData(), QVariantMap{{"package", package},
                                                        {"name", "kept"},
                                                        {"value", proto::encodeBytes(value)}}));
    };
    if (!ended) {
        // The new service never saw the notifier: it is set again.
        QCOMPARE(profile.setNotification(1, 0, "kept"), 0);
        QVERIFY(notified.wait());
    }
    // The notifier follows the entry again (resumed, where the connection
    // was made anew, without a second "Started").
    const int started = notified.size();
    QCOMPARE(change("changed"), 0); // runs the event loop while it waits
    QTRY_COMPARE(notified.size(), started + 1);
    QCOMPARE(notified.last().at(2).toInt(), 2);
}

QTEST_GUILESS_MAIN(tst_IdentityService)
#include "tst_identityservice.moc"
