// libids against a fake identity service on a broker of the test's own:
// what goes on the wire, what reaches the callbacks, and how a registration
// lives through the end of its connection.

#include "cputime.h"
#include "datarow.h"
#include "fakeidentity.h"
#include "testbroker.h"

#include <ids/ids.h>

#include <QElapsedTimer>
#include <QJsonObject>
#include <QSocketNotifier>
#include <QtTest>

#include <cerrno>
#include <functional>
#include <memory>
#include <poll.h>
#include <unistd.h>

using namespace omtest;
namespace proto = om::ids::protocol;

namespace {

/** What the callbacks were given, in order. */
struct Recorder
{
    struct Call
    {
        QString what;
        unsigned int id = 0;
        QVariantList args;
    };
    QList<Call> calls;

    int count(const QString &what) const
    {
        int n = 0;
        for (const Call &c : calls)
            n += c.what == what ? 1 : 0;
        return n;
    }
};

Recorder *rec(void *data)
{
    return static_cast<Recorder *>(data);
}

QVariantList pairsOf(int count, const ids_token_param_t *params)
{
    QVariantList list;
    for (int i = 0; i < count; ++i)
        list.append(
            QVariant(QVariantList{QByteArray(params[i].name), QByteArray(params[i].value)}));
    return list;
}

void tokenCb(unsigned int id, const char *token, int count, const ids_token_param_t *params,
             void *data)
{
    rec(data)->calls.append(
        {QStringLiteral("token"), id, {QByteArray(token), pairsOf(count, params)}});
}

void clearCb(unsigned int id, bool cleared, void *data)
{
    rec(data)->calls.append({QStringLiteral("clear"), id, {cleared}});
}

void propertiesCb(unsigned int id, int count, const ids_property_t *properties, void *data)
{
    QVariantList list;
    for (int i = 0; i < count; ++i)
        list.append(QVariant(
            QVariantList{QByteArray(properties[i].name), QByteArray(properties[i].value)}));
    rec(data)->calls.append({QStringLiteral("properties"), id, {list}});
}

void dataCb(unsigned int id, const ids_data_t *entry, void *data)
{
    rec(data)->calls.append(
        {QStringLiteral("data"),
         id,
         {QByteArray(entry->name),
          QByteArray(static_cast<const char *>(entry->value), int(entry->length))}});
}

void doneCb(unsigned int id, void *data)
{
    rec(data)->calls.append({QStringLiteral("done"), id, {}});
}

void listCb(unsigned int id, int count, const char **names, void *data)
{
    QVariantList list;
    for (int i = 0; i < count; ++i)
        list.append(QByteArray(names[i]));
    rec(data)->calls.append({QStringLiteral("list"), id, {list}});
}

void challengeCb(unsigned int id, int level, void *data)
{
    rec(data)->calls.append({QStringLiteral("challenge"), id, {level}});
}

void failureCb(unsigned int id, ids_result_t result, const char *info, void *data)
{
    rec(data)->calls.append({QStringLiteral("failure"),
                             id,
                             {int(result), info ? QVariant(QByteArray(info)) : QVariant()}});
}

void notifyCb(int type, const char *name, int notification, void *data)
{
    rec(data)->calls.append({QStringLiteral("notify"), 0, {type, QByteArray(name), notification}});
}

/** Calls ids_process_msg() on @p fd whenever it is readable until @p done
 *  holds; the results of the calls go to @p results. */
bool pumpUntil(int fd, const std::function<bool()> &done, QList<int> *results = nullptr,
               int timeoutMs = 5000)
{
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        pollfd p = {fd, POLLIN, 0};
        if (::poll(&p, 1, 20) > 0) {
            const int result = ids_process_msg(fd);
            if (results)
                results->append(result);
        }
        QCoreApplication::processEvents();
    }
    return true;
}

/** The request kinds, each issued with the same arguments. */
enum class Op { Token, Clear, Properties, Get, Set, Create, Delete, List, Challenge };

const ids_data_t SampleEntry = {"blob", "a\0b\xff", 4};

int issue(Op op, ids_provider_t *provider, Recorder *r, unsigned int *id)
{
    static const char *const names[] = {"urn:omid:username", "urn:omid:email"};
    switch (op) {
    case Op::Token:
        return ids_get_token(provider, "bearer", "urn:demo", tokenCb, failureCb, r, id);
    case Op::Clear:
        return ids_clear_token(provider, "bearer", "urn:demo", clearCb, failureCb, r, id);
    case Op::Properties:
        return ids_get_properties(provider, 0, 2, names, propertiesCb, failureCb, r, id);
    case Op::Get:
        return ids_get_data(provider, 1, 1, "blob", dataCb, failureCb, r, id);
    case Op::Set:
        return ids_set_data(provider, 1, 1, &SampleEntry, doneCb, failureCb, r, id);
    case Op::Create:
        return ids_create_data(provider, 2, 17, &SampleEntry, doneCb, failureCb, r, id);
    case Op::Delete:
        return ids_delete_data(provider, 1, 2, "blob", doneCb, failureCb, r, id);
    case Op::List:
        return ids_list_data(provider, 1, 0, listCb, failureCb, r, id);
    case Op::Challenge:
        return ids_challenge(provider, 1, 0, challengeCb, failureCb, r, id);
    }
    return -1;
}

} // namespace

/** A request that the library refuses before it reaches the service. */
using Refused = std::function<int(ids_provider_t *p, Recorder *r, unsigned int *id)>;
#define REFUSED(...)                                                                               \
    Refused([](ids_provider_t *p, Recorder *r, unsigned int *id) {                                 \
        Q_UNUSED(p)                                                                                \
        Q_UNUSED(id)                                                                               \
        return __VA_ARGS__;                                                                        \
    })

Q_DECLARE_METATYPE(Op)
Q_DECLARE_METATYPE(Refused)

class tst_Ids : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void registration_data();
    void registration();
    void registeredTwiceGivesTheSameRegistration();
    void requestsOnTheWire_data();
    void requestsOnTheWire();
    void answersReachTheCallbacks_data();
    void answersReachTheCallbacks();
    void badAnswersRunNoCallbackWithGarbage();
    void refusedRequests_data();
    void refusedRequests();
    void processingNeverBlocks();
    void notifiers();
    void answersReadDuringANotifierRegistrationAreNotLost();
    void cancelledDataHearsNothing();
    void shutdownIsCounted();
    void options_data();
    void options();
    void endOfConnection();
    void idleAfterTheServiceWentAway();
    void backAfterTheServiceReturns();

private:
    /** Registers the profile provider: m_provider and m_fd. */
    bool registerProfile();
    /** The last message named @p msg, waited for. */
    Received waitFor(const QString &msg, int count = 1);

    std::unique_ptr<TestBroker> m_broker;
    std::unique_ptr<FakeServer> m_server;
    ids_provider_t *m_provider = nullptr;
    int m_fd = -1;
};

void tst_Ids::initTestCase()
{
    qRegisterMetaType<Op>();
    qputenv("OM_IDS_TIMEOUT_MS", "2000");
}

void tst_Ids::init()
{
    m_broker = std::make_unique<TestBroker>();
    QVERIFY(m_broker->isRunning());
    m_server = startFakeIdentity();
    QVERIFY(m_server);
    QCOMPARE(ids_initialize(), 0);
    m_provider = nullptr;
    m_fd = -1;
}

void tst_Ids::cleanup()
{
    // Every test leaves the library as it found it: not initialized.
    while (ids_shutdown() == 0) {
    }
    m_server.reset();
    m_broker.reset();
}

bool tst_Ids::registerProfile()
{
    const int result = ids_register_provider("ids:omb:profile", &m_provider, &m_fd);
    return result == 0 || errno == EEXIST;
}

Received tst_Ids::waitFor(const QString &msg, int count)
{
    QElapsedTimer timer;
    timer.start();
    while (receivedNamed(*m_server, msg).size() < count && timer.elapsed() < 5000)
        m_server->waitForReceived(m_server->received().size() + 1, 100);
    const QList<Received> found = receivedNamed(*m_server, msg);
    return found.size() >= count ? found.at(count - 1) : Received();
}

void tst_Ids::registration_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<bool>("nullName");
    QTest::addColumn<int>("expectedErrno");

    newRow("omid", QByteArray("ids:omb:omid"), false, 0);
    newRow("profile", QByteArray("ids:omb:profile"), false, 0);
    newRow("unknown m_provider", QByteArray("ids:omb:nothing"), false, ECOMM);
    newRow("empty", QByteArray(""), false, EINVAL);
    newRow("not UTF-8", QByteArray("ids:\xff"), false, EINVAL);
    newRow("null", QByteArray(), true, EINVAL);
}

void tst_Ids::registration()
{
    QFETCH(QByteArray, name);
    QFETCH(bool, nullName);
    QFETCH(int, expectedErrno);

    errno = 0;
    const int result =
        ids_register_provider(nullName ? nullptr : name.constData(), &m_provider, &m_fd);
    if (expectedErrno == 0) {
        QCOMPARE(result, 0);
        QVERIFY(m_provider);
        QVERIFY(m_fd >= 0);
        QCOMPARE(waitFor(proto::msgRegister()).dat().value(proto::keyProvider()).toString(),
                 QString::fromUtf8(name));
    } else {
        QCOMPARE(result, -1);
        QCOMPARE(errno, expectedErrno);
    }
}

void tst_Ids::registeredTwiceGivesTheSameRegistration()
{
    ids_provider_t *first = nullptr;
    int firstFd = -1;
    QCOMPARE(ids_register_provider("ids:omb:omid", &first, &firstFd), 0);

    ids_provider_t *second = nullptr;
    int secondFd = -1;
    QCOMPARE(ids_register_provider("ids:omb:omid", &second, &secondFd), -1);
    QCOMPARE(errno, EEXIST);
    QCOMPARE(second, first);
    QCOMPARE(secondFd, firstFd);
    QCOMPARE(receivedNamed(*m_server, proto::msgRegister()).size(), 1);

    // Without ids_initialize() in effect nothing registers.
    while (ids_shutdown() == 0) {
    }
    QCOMPARE(ids_register_provider("ids:omb:omid", &second, &secondFd), -1);
    QCOMPARE(errno, EINVAL);
}

void tst_Ids::requestsOnTheWire_data()
{
    QTest::addColumn<Op>("op");
    QTest::addColumn<QString>("msg");
    QTest::addColumn<QVariantMap>("dat");

    const QString blob = QString::fromLatin1(QByteArray("a\0b\xff", 4).toBase64());
    newRow("getToken", Op::Token, proto::msgGetToken(),
           QVariantMap{{"tokenType", "bearer"}, {"appliesTo", "urn:demo"}});
    newRow("clearToken", Op::Clear, proto::msgClearToken(),
           QVariantMap{{"tokenType", "bearer"}, {"appliesTo", "urn:demo"}});
    newRow(
        "getProperties", Op::Properties, proto::msgGetProperties(),
        QVariantMap{{"type", 0}, {"names", QVariantList{"urn:omid:username", "urn:omid:email"}}});
    newRow("getData", Op::Get, proto::msgGetData(),
           QVariantMap{{"type", 1}, {"flags", 1}, {"name", "blob"}});
    newRow("setData: NUL and 0xff", Op::Set, proto::msgSetData(),
           QVariantMap{{"type", 1}, {"flags", 1}, {"name", "blob"}, {"value", blob}});
    newRow("createData", Op::Create, proto::msgCreateData(),
           QVariantMap{{"type", 2}, {"flags", 17}, {"name", "blob"}, {"value", blob}});
    newRow("deleteData", Op::Delete, proto::msgDeleteData(),
           QVariantMap{{"type", 1}, {"flags", 2}, {"name", "blob"}});
    newRow("listData", Op::List, proto::msgListData(), QVariantMap{{"type", 1}, {"flags", 0}});
    newRow("challenge", Op::Challenge, proto::msgChallenge(),
           QVariantMap{{"type", 1}, {"flags", 0}});
}

void tst_Ids::requestsOnTheWire()
{
    QFETCH(Op, op);
    QFETCH(QString, msg);
    QFETCH(QVariantMap, dat);

    QVERIFY(registerProfile());
    Recorder r;
    unsigned int id = 0;
    QCOMPARE(issue(op, m_provider, &r, &id), 0);
    QVERIFY(id != 0);

    const Received got = waitFor(msg);
    QCOMPARE(got.id(), QString::number(id));
    // Every request names its provider; numbers come back from the wire as
    // 64-bit, and json compares them as numbers.
    dat.insert("provider", "ids:omb:profile");
    QCOMPARE(QJsonObject::fromVariantMap(got.dat()), QJsonObject::fromVariantMap(dat));
    QByteArray value;
    if (dat.contains("value")) {
        QVERIFY(proto::readBytes(got.dat(), "value", &value));
        QCOMPARE(value, QByteArray("a\0b\xff", 4));
    }
    QVERIFY(r.calls.isEmpty());
}

void tst_Ids::answersReachTheCallbacks_data()
{
    QTest::addColumn<Op>("op");
    QTest::addColumn<QVariantMap>("dat");
    QTest::addColumn<QString>("what");
    QTest::addColumn<QVariantList>("args");

    auto pair = [](const char *name, const char *value) {
        return QVariantMap{{"name", QString::fromUtf8(name)}, {"value", QString::fromUtf8(value)}};
    };
    auto bytes = [](const char *name, const char *value) {
        return QVariant(QVariantList{QByteArray(name), QByteArray(value)});
    };
    newRow(
        "token with parameters, equal names kept in order", Op::Token,
        QVariantMap{{"token", "tok-1"},
                    {"params", QVariantList{pair("expires", "3600"), pair("scope", "a"),
                                            pair("scope", "b")}}},
        "token",
        QVariantList{QByteArray("tok-1"), QVariantList{bytes("expires", "3600"),
                                                       bytes("scope", "a"), bytes("scope", "b")}});
    newRow("token without parameters", Op::Token, QVariantMap{{"token", "tok-2"}}, "token",
           QVariantList{QByteArray("tok-2"), QVariantList()});
    newRow("clear", Op::Clear, QVariantMap{{"cleared", true}}, "clear", QVariantList{true});
    newRow("properties, UTF-8 value", Op::Properties,
           QVariantMap{{"properties", QVariantList{pair("urn:omid:username", "J\xc3\xb6rg")}}},
           "properties", QVariantList{QVariantList{bytes("urn:omid:username", "J\xc3\xb6rg")}});
    newRow("data with NUL and 0xff", Op::Get,
           QVariantMap{{"name", "blob"},
                       {"value", QString::fromLatin1(QByteArray("x\0\xff", 3).toBase64())}},
           "data", QVariantList{QByteArray("blob"), QByteArray("x\0\xff", 3)});
    newRow("empty data", Op::Get, QVariantMap{{"name", "blob"}, {"value", ""}}, "data",
           QVariantList{QByteArray("blob"), QByteArray("")});
    newRow("set", Op::Set, QVariantMap(), "done", QVariantList());
    newRow("create", Op::Create, QVariantMap(), "done", QVariantList());
    newRow("delete", Op::Delete, QVariantMap(), "done", QVariantList());
    newRow("list", Op::List, QVariantMap{{"names", QVariantList{"b", "a", "a"}}}, "list",
           QVariantList{QVariantList{QByteArray("b"), QByteArray("a"), QByteArray("a")}});
    newRow("empty list", Op::List, QVariantMap{{"names", QVariantList()}}, "list",
           QVariantList{QVariantList()});
    newRow("challenge", Op::Challenge, QVariantMap{{"level", 1}}, "challenge", QVariantList{1});
    // Failures: "err" and "info" instead of "dat".
    newRow("failure with a text", Op::Token,
           QVariantMap{{"err", 50008}, {"info", "unknown token type"}}, "failure",
           QVariantList{50008, QByteArray("unknown token type")});
    newRow("failure without a text", Op::Token, QVariantMap{{"err", 50011}}, "failure",
           QVariantList{50011, QVariant()});
    newRow("failure, a code of no list", Op::List, QVariantMap{{"err", 12345}, {"info", ""}},
           "failure", QVariantList{12345, QByteArray("")});
}

void tst_Ids::answersReachTheCallbacks()
{
    QFETCH(Op, op);
    QFETCH(QVariantMap, dat);
    QFETCH(QString, what);
    QFETCH(QVariantList, args);

    const auto answer = [dat](const Received &r) {
        if (!dat.contains("err"))
            return idsAnswer(r, dat);
        return idsFailure(r, dat.value("err").toInt(),
                          dat.contains("info") ? dat.value("info").toString() : QString());
    };
    respondWith(m_server.get(), [answer](const Received &r) {
        return r.msg() != proto::msgRegister() && r.msg() != proto::msgWake() ? Maps{answer(r)}
                                                                              : Maps();
    });
    QVERIFY(registerProfile());
    Recorder r;
    unsigned int id = 0;
    QCOMPARE(issue(op, m_provider, &r, &id), 0);
    QVERIFY(pumpUntil(m_fd, [&] { return !r.calls.isEmpty(); }));
    QCOMPARE(r.calls.size(), 1);
    QCOMPARE(r.calls.at(0).what, what);
    QCOMPARE(r.calls.at(0).id, id);
    QCOMPARE(r.calls.at(0).args, args);

    // The request is over: nothing more comes for it, even if the service
    // answers again.
    const Received request = m_server->last();
    QVERIFY(m_server->reply(request.clientId, answer(request)));
    QVERIFY(m_server->waitForSent(m_server->sentCount()));
    pollfd p = {m_fd, POLLIN, 0};
    QVERIFY(::poll(&p, 1, 5000) == 1);
    QCOMPARE(ids_process_msg(m_fd), 1);
    QCOMPARE(r.calls.size(), 1);
}

void tst_Ids::badAnswersRunNoCallbackWithGarbage()
{
    QVERIFY(registerProfile());
    Recorder r;
    unsigned int tokenId = 0;
    unsigned int listId = 0;
    QCOMPARE(issue(Op::Token, m_provider, &r, &tokenId), 0);
    QCOMPARE(issue(Op::List, m_provider, &r, &listId), 0);
    const Received token = waitFor(proto::msgGetToken());
    const Received list = waitFor(proto::msgListData());

    const int client = token.clientId;
    QList<int> results;
    // Undecodable text, an answer for an id never issued, a notification
    // of no notifier, an answer whose "dat" is of the wrong shape.
    QVERIFY(m_server->replyRaw(client, QByteArray("dat:json:{\"broken\n")));
    QVERIFY(m_server->reply(
        client, {{"res", "getToken"}, {"id", "999999"}, {"dat", QVariantMap{{"token", "x"}}}}));
    QVERIFY(m_server->reply(client, {{"res", "getToken"}, {"id", "zero"}}));
    QVERIFY(m_server->reply(client, idsNotification(1, "nobody", 2, 77)));
    QVERIFY(m_server->reply(client, idsAnswer(list, {{"names", QVariantList{1, 2}}})));
    QVERIFY(m_server->reply(client, idsAnswer(token, {{"token", "good"}})));
    QVERIFY(pumpUntil(
        m_fd, [&] { return r.calls.size() == 2; }, &results));
    QCOMPARE(r.calls.at(0).what, QStringLiteral("failure"));
    QCOMPARE(r.calls.at(0).id, listId);
    QCOMPARE(r.calls.at(0).args.at(0).toInt(), int(IDS_INTERNAL_ERROR));
    QCOMPARE(r.calls.at(1).what, QStringLiteral("token"));
    QCOMPARE(r.calls.at(1).args.at(0).toByteArray(), QByteArray("good"));
    QVERIFY(!results.contains(0));
}

void tst_Ids::refusedRequests_data()
{
    QTest::addColumn<Refused>("call");
    QTest::addColumn<int>("expectedErrno");

    static const QByteArray huge(70 * 1024, 'x');
    static const QByteArray large(60 * 1024, 'x'); // fits raw, not in base64
    static const ids_data_t hugeEntry = {"big", huge.constData(), size_t(huge.size())};
    static const ids_data_t largeEntry = {"big", large.constData(), size_t(large.size())};
    newRow("no handle", REFUSED(ids_get_data(nullptr, 1, 0, "x", dataCb, failureCb, r, id)),
           EINVAL);
    newRow("made-up handle",
           REFUSED(ids_get_data(reinterpret_cast<ids_provider_t *>(r), 1, 0, "x", dataCb, failureCb,
                                r, id)),
           EINVAL);
    newRow("name not UTF-8", REFUSED(ids_get_data(p, 1, 0, "\xc3(", dataCb, failureCb, r, id)),
           EINVAL);
    newRow("null token type", REFUSED(ids_get_token(p, nullptr, "x", tokenCb, failureCb, r, id)),
           EINVAL);
    newRow("value larger than a message",
           REFUSED(ids_set_data(p, 1, 0, &hugeEntry, doneCb, failureCb, r, id)), E2BIG);
    newRow("value that grows past a message",
           REFUSED(ids_create_data(p, 1, 0, &largeEntry, doneCb, failureCb, r, id)), E2BIG);
    newRow("negative name count",
           REFUSED(ids_get_properties(p, 0, -1, nullptr, propertiesCb, failureCb, r, id)), EINVAL);
    newRow("no id to write", REFUSED(ids_list_data(p, 1, 0, listCb, failureCb, r, nullptr)),
           EINVAL);
}

void tst_Ids::refusedRequests()
{
    QFETCH(Refused, call);
    QFETCH(int, expectedErrno);

    QVERIFY(registerProfile());
    Recorder r;
    unsigned int id = 12345;
    QCOMPARE(call(m_provider, &r, &id), -1);
    QCOMPARE(errno, expectedErrno);
    QCOMPARE(id, 12345u);
}

void tst_Ids::processingNeverBlocks()
{
    QVERIFY(registerProfile());
    // Nothing waiting: returns at once (a blocking read would hang here).
    QCOMPARE(ids_process_msg(m_fd), 1);
    QCOMPARE(ids_process_msg(m_fd), 1);
    QCOMPARE(ids_process_msg(-1), -1);
    QCOMPARE(errno, EINVAL);

    // One message, two watchers: the first reads it, the second finds nothing.
    m_server->answerOk(proto::msgChallenge(), QVariantMap{{"level", 0}});
    Recorder r;
    unsigned int id = 0;
    QCOMPARE(issue(Op::Challenge, m_provider, &r, &id), 0);
    pollfd p = {m_fd, POLLIN, 0};
    QCOMPARE(::poll(&p, 1, 5000), 1);
    QCOMPARE(ids_process_msg(m_fd), 1);
    QCOMPARE(r.calls.size(), 1);
    QCOMPARE(ids_process_msg(m_fd), 1);
    QCOMPARE(r.calls.size(), 1);
}

void tst_Ids::notifiers()
{
    // The service answers, then says "Started" or "Stopped" to the watcher.
    respondWith(m_server.get(), [](const Received &r) {
        const QVariantMap dat = r.dat();
        if (r.msg() != proto::msgRegisterNotifier())
            return Maps();
        if (dat.value("name").toString() == QLatin1String("refused"))
            return Maps{idsFailure(r, EINVAL, "no such type")};
        return Maps{idsAnswer(r),
                    idsNotification(dat.value("type").toInt(), dat.value("name").toString(),
                                    dat.value("flags").toInt() == 0 ? 0 : 1,
                                    dat.value("watcher").toInt())};
    });
    QVERIFY(registerProfile());
    Recorder a;
    Recorder b;
    QCOMPARE(ids_register_notifier(m_provider, 1, 0, "entry", notifyCb, &a), 0);
    QCOMPARE(ids_register_notifier(m_provider, 1, 0, "entry", notifyCb, &b), 0);
    QCOMPARE(ids_register_notifier(m_provider, 1, 0, "refused", notifyCb, &a), -1);
    QCOMPARE(errno, EINVAL);
    const QList<Received> started = receivedNamed(*m_server, proto::msgRegisterNotifier());
    QCOMPARE(started.size(), 3);
    const int watcherA = started.at(0).dat().value("watcher").toInt();
    const int watcherB = started.at(1).dat().value("watcher").toInt();
    QVERIFY(watcherA != watcherB);
    QCOMPARE(started.at(0).dat().value("flags").toInt(), 0);

    QVERIFY(pumpUntil(m_fd, [&] { return a.calls.size() == 1 && b.calls.size() == 1; }));
    QCOMPARE(a.calls.at(0).args, (QVariantList{1, QByteArray("entry"), 0}));

    // A change told to one watcher reaches that one only.
    QVERIFY(m_server->reply(started.at(0).clientId, idsNotification(1, "entry", 2, watcherB)));
    QVERIFY(pumpUntil(m_fd, [&] { return b.calls.size() == 2; }));
    QCOMPARE(b.calls.at(1).args, (QVariantList{1, QByteArray("entry"), 2}));
    QCOMPARE(a.calls.size(), 1);

    // Stopping: "Stopped" comes, then nothing more for that watcher.
    QCOMPARE(ids_register_notifier(m_provider, 1, 1, "entry", notifyCb, &a), 0);
    QVERIFY(pumpUntil(m_fd, [&] { return a.calls.size() == 2; }));
    QCOMPARE(a.calls.at(1).args, (QVariantList{1, QByteArray("entry"), 1}));
    QVERIFY(m_server->reply(started.at(0).clientId, idsNotification(1, "entry", 2, watcherA)));
    QVERIFY(m_server->reply(started.at(0).clientId, idsNotification(1, "entry", 2, watcherB)));
    QVERIFY(pumpUntil(m_fd, [&] { return b.calls.size() == 3; }));
    QCOMPARE(a.calls.size(), 2);
}

void tst_Ids::answersReadDuringANotifierRegistrationAreNotLost()
{
    // The service answers an earlier request just before the notifier's
    // answer, so the library reads it while it waits: it must still come
    // through ids_process_msg(), and the descriptor must say so.
    QVERIFY(registerProfile());
    Recorder r;
    unsigned int id = 0;
    QCOMPARE(issue(Op::Challenge, m_provider, &r, &id), 0);
    const Received challenge = waitFor(proto::msgChallenge());
    respondWith(m_server.get(), [challenge](const Received &r) {
        return r.msg() == proto::msgRegisterNotifier()
                   ? Maps{idsAnswer(challenge, {{"level", 1}}), idsAnswer(r)}
                   : Maps();
    });
    QCOMPARE(ids_register_notifier(m_provider, 1, 0, "entry", notifyCb, &r), 0);
    QVERIFY(r.calls.isEmpty());
    QVERIFY(pumpUntil(m_fd, [&] { return r.calls.size() == 1; }));
    QCOMPARE(r.calls.at(0).what, QStringLiteral("challenge"));
    QCOMPARE(r.calls.at(0).id, id);
}

void tst_Ids::cancelledDataHearsNothing()
{
    m_server->answerOk(proto::msgRegisterNotifier(), QVariantMap());
    QVERIFY(registerProfile());
    Recorder gone;
    Recorder kept;
    unsigned int goneId = 0;
    unsigned int keptId = 0;
    QCOMPARE(issue(Op::List, m_provider, &gone, &goneId), 0);
    QCOMPARE(issue(Op::List, m_provider, &kept, &keptId), 0);
    QCOMPARE(ids_register_notifier(m_provider, 1, 0, "entry", notifyCb, &gone), 0);
    const int watcher = waitFor(proto::msgRegisterNotifier()).dat().value("watcher").toInt();
    const QList<Received> lists = receivedNamed(*m_server, proto::msgListData());
    QTRY_COMPARE(receivedNamed(*m_server, proto::msgListData()).size(), 2);

    QCOMPARE(ids_cancel_callbacks(&gone), 0);
    // Its notifier is stopped at the service too.
    const Received stop = waitFor(proto::msgRegisterNotifier(), 2);
    QCOMPARE(stop.dat().value("flags").toInt(), 1);
    QCOMPARE(stop.dat().value("watcher").toInt(), watcher);

    const Received first = receivedNamed(*m_server, proto::msgListData()).at(0);
    const Received second = receivedNamed(*m_server, proto::msgListData()).at(1);
    QVERIFY(m_server->reply(first.clientId, idsNotification(1, "entry", 2, watcher)));
    QVERIFY(m_server->reply(first.clientId, idsAnswer(first, {{"names", QVariantList()}})));
    QVERIFY(m_server->reply(first.clientId, idsAnswer(second, {{"names", QVariantList()}})));
    QVERIFY(pumpUntil(m_fd, [&] { return kept.calls.size() == 1; }));
    QCOMPARE(kept.calls.at(0).id, keptId);
    QVERIFY(gone.calls.isEmpty());
}

void tst_Ids::shutdownIsCounted()
{
    QCOMPARE(ids_initialize(), 0); // two in effect
    QVERIFY(registerProfile());
    Recorder r;
    unsigned int id = 0;
    QCOMPARE(issue(Op::List, m_provider, &r, &id), 0);
    const Received pending = waitFor(proto::msgListData());

    QCOMPARE(ids_shutdown(), 0); // one left: everything keeps working
    QCOMPARE(issue(Op::List, m_provider, &r, &id), 0);
    QVERIFY(m_server->reply(pending.clientId, idsAnswer(pending, {{"names", QVariantList()}})));
    QVERIFY(pumpUntil(m_fd, [&] { return r.calls.size() == 1; }));

    QCOMPARE(ids_shutdown(), 0); // the last: the registration ends
    QCOMPARE(issue(Op::List, m_provider, &r, &id), -1);
    QCOMPARE(errno, EINVAL);
    QCOMPARE(ids_process_msg(m_fd), -1);
    QVERIFY(m_server->waitForClosed(1));
    QCOMPARE(ids_shutdown(), -1);

    // A new registration of the provider takes the same descriptor number,
    // so a watcher left on it is never handed another file.
    QCOMPARE(ids_initialize(), 0);
    ids_provider_t *again = nullptr;
    int againFd = -1;
    QCOMPARE(ids_register_provider("ids:omb:profile", &again, &againFd), 0);
    QCOMPARE(againFd, m_fd);
    QCOMPARE(issue(Op::List, again, &r, &id), 0);
}

void tst_Ids::options_data()
{
    QTest::addColumn<int>("option");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<int>("serviceCode");
    QTest::addColumn<int>("expectedErrno");

    newRow("taken", int(IDS_OPT_VERBOSITY), QByteArray("Verbose"), 0, 0);
    newRow("refused by the service", int(IDS_OPT_VERBOSITY), QByteArray("InvalidVerbosity"), EINVAL,
           EINVAL);
    newRow("unknown option", 7, QByteArray("x"), 0, EINVAL);
    newRow("no answer", int(IDS_OPT_GUI_ALLOWED), QByteArray("true"), -1, ECOMM);
}

void tst_Ids::options()
{
    QFETCH(int, option);
    QFETCH(QByteArray, value);
    QFETCH(int, serviceCode);
    QFETCH(int, expectedErrno);

    m_server->clearScript();
    if (serviceCode >= 0) {
        respondWith(m_server.get(), [serviceCode](const Received &r) {
            return Maps{serviceCode ? idsFailure(r, serviceCode) : idsAnswer(r)};
        });
    }
    if (serviceCode < 0)
        qputenv("OM_IDS_TIMEOUT_MS", "200");
    const int result = ids_set_option(ids_option_t(option), value.constData());
    qputenv("OM_IDS_TIMEOUT_MS", "2000");
    QCOMPARE(result, expectedErrno ? -1 : 0);
    if (expectedErrno)
        QCOMPARE(errno, expectedErrno);
    if (option <= 2 && serviceCode >= 0) {
        const Received got = waitFor(proto::msgSetOption());
        QCOMPARE(got.dat().value("option").toInt(), option);
        QCOMPARE(got.dat().value("value").toString(), QString::fromUtf8(value));
    }
}

void tst_Ids::endOfConnection()
{
    QVERIFY(registerProfile());
    Recorder r;
    unsigned int id = 0;
    QCOMPARE(issue(Op::Challenge, m_provider, &r, &id), 0);
    waitFor(proto::msgChallenge());

    // Service and bus gone: whichever of them held the other end, the
    // connection ends.
    m_server->stop();
    m_broker->stop();
    QList<int> results;
    QVERIFY(pumpUntil(
        m_fd, [&] { return !r.calls.isEmpty(); }, &results));
    QCOMPARE(results.last(), 0); // the descriptor changed
    QCOMPARE(r.calls.at(0).what, QStringLiteral("failure"));
    QCOMPARE(r.calls.at(0).id, id);
    QCOMPARE(r.calls.at(0).args.at(0).toInt(), int(IDS_ERROR_WHILE_CONTACTING_SERVICE));

    // New requests find no service.
    unsigned int untouched = 7;
    QCOMPARE(issue(Op::List, m_provider, &r, &untouched), -1);
    QCOMPARE(errno, ECOMM);
    QCOMPARE(untouched, 7u);
}

void tst_Ids::idleAfterTheServiceWentAway()
{
    QVERIFY(registerProfile());
    int activations = 0;
    int changed = 0;
    QSocketNotifier notifier(m_fd, QSocketNotifier::Read);
    connect(&notifier, &QSocketNotifier::activated, this, [&] {
        ++activations;
        if (ids_process_msg(m_fd) == 0)
            ++changed;
    });
    m_server->stop();
    m_broker->stop();
    QTRY_COMPARE(changed, 1);

    // Over a second of the event loop the application sleeps: a watcher
    // wakes for the few attempts to connect again, and the process uses
    // next to no CPU time.
    activations = 0;
    const double used = omtest::cpuSecondsOver(1000);
    QVERIFY2(activations <= 4, qPrintable(QString::number(activations)));
    QVERIFY2(used < 0.25, qPrintable(QString::number(used)));
}

void tst_Ids::backAfterTheServiceReturns()
{
    m_server->answerOk(proto::msgRegisterNotifier(), QVariantMap());
    QVERIFY(registerProfile());
    Recorder r;
    QCOMPARE(ids_register_notifier(m_provider, 1, 0, "entry", notifyCb, &r), 0);
    m_server->stop();
    m_server.reset();
    m_broker->stop();
    QList<int> results;
    QVERIFY(pumpUntil(
        m_fd, [&] { return results.contains(0); }, &results));

    // The bus and the service come back.
    m_broker.reset();
    m_broker = std::make_unique<TestBroker>();
    QVERIFY(m_broker->isRunning());
    m_server = startFakeIdentity();
    QVERIFY(m_server);
    respondWith(m_server.get(), [](const Received &r) {
        const bool answered =
            r.msg() == proto::msgRegisterNotifier() || r.msg() == proto::msgListData();
        return answered ? Maps{idsAnswer(r, {{"names", QVariantList{"x"}}})} : Maps();
    });

    // The watcher's timer connects again by itself, registering the
    // provider and resuming the notifier without a "Started".
    results.clear();
    QVERIFY(pumpUntil(
        m_fd, [&] { return results.contains(0); }, &results, 15000));
    const Received resumed = waitFor(proto::msgRegisterNotifier());
    QCOMPARE(resumed.dat().value("resume").toBool(), true);
    QCOMPARE(resumed.dat().value("name").toString(), QStringLiteral("entry"));

    unsigned int id = 0;
    QCOMPARE(issue(Op::List, m_provider, &r, &id), 0);
    QVERIFY(pumpUntil(m_fd, [&] { return r.count("list") == 1; }));
    QCOMPARE(r.count("notify"), 0);
}

QTEST_GUILESS_MAIN(tst_Ids)
#include "tst_ids.moc"
