// IdentityServiceProvider and its engine against a fake identity service:
// the signals in both forms and their order, the request table, the last
// error, registration, and the log.

#include "datarow.h"
#include "fakeidentity.h"
#include "signallog.h"
#include "testbroker.h"

#include "identity/identityserviceprovider_p.h"

#include <om/platform/identity/identityservice.h>
#include <om/platform/identity/identityservicepropertyresult.h>
#include <om/platform/identity/identityserviceprovider.h>
#include <om/platform/identity/identityservicetokenresult.h>
#include <om/platform/identity/ombrelid.h>
#include <om/platform/identity/ombrelprofile.h>
#include <om/platform/identity/ombrelprofilenotification.h>

#include <QFile>
#include <QMetaEnum>
#include <QPointer>
#include <QSocketNotifier>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using namespace omtest;
using namespace om::platform::identity;
namespace proto = om::ids::protocol;

using Entries = QList<QPair<QByteArray, QVariantList>>;
using TextMap = QMap<QString, QString>;

namespace {

/** The lines of the log file, without the empty one after the last. */
QList<QByteArray> logLines(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QList<QByteArray> lines = file.readAll().split('\n');
    lines.removeLast();
    return lines;
}

/** A QMap<QString,QString> in a QVariant has no comparison of its own in Qt 5:
 *  arguments are compared with such maps turned into QVariantMaps. */
QVariantList comparable(const QVariantList &args)
{
    QVariantList out;
    for (const QVariant &arg : args) {
        if (arg.userType() != qMetaTypeId<QMap<QString, QString>>()) {
            out.append(arg);
            continue;
        }
        QVariantMap map;
        const auto texts = arg.value<QMap<QString, QString>>();
        for (auto it = texts.cbegin(); it != texts.cend(); ++it)
            map.insert(QStringLiteral("text:") + it.key(), it.value());
        out.append(map);
    }
    return out;
}

/** Issues the request that goes out as @p msg; its id. */
int issue(IdentityServiceProvider &provider, const QString &msg)
{
    if (msg == proto::msgGetToken())
        return provider.requestToken("bearer", "urn:demo");
    if (msg == proto::msgClearToken())
        return provider.clearToken("bearer", "urn:demo");
    if (msg == proto::msgGetProperties())
        return provider.requestProperties(0, {"urn:omid:email"});
    if (msg == proto::msgGetData())
        return provider.requestData(1, 0, "n");
    if (msg == proto::msgSetData())
        return provider.setData(1, 0, "n", QByteArray("v"));
    if (msg == proto::msgCreateData())
        return provider.createData(1, 0, "n", QByteArray("v"));
    if (msg == proto::msgDeleteData())
        return provider.deleteData(1, 0, "n");
    if (msg == proto::msgListData())
        return provider.listData(1, 0);
    if (msg == proto::msgChallenge())
        return provider.challenge(0, 0);
    return 0;
}

QVariantMap pair(const QString &name, const QString &value)
{
    return {{proto::keyName(), name}, {proto::keyValue(), value}};
}

} // namespace

class tst_IdentityServiceProvider : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void successSignals_data();
    void successSignals();
    void failureSignals_data();
    void failureSignals();
    void theTableDecidesFailuresNotSuccesses();
    void requestTokenTwiceFailsOnce();
    void passedOnUnchecked();
    void textFormsOfData();
    void registration();
    void aSecondRegistrationLeavesTheOldNotifier();
    void lastError();
    void notifications();
    void options_data();
    void options();
    void descriptorsAndEnumerations();
    void serviceGoneAndBack();
    void anObjectDestroyedWithPendingRequests();

private:
    /** Answers the requests named @p msg with @p dat, or fails them. */
    void answerWith(const QString &msg, const QVariantMap &dat)
    {
        answerEach(msg, [dat](const Received &r) { return idsAnswer(r, dat); });
    }
    void failWith(const QString &msg, int code, const QString &info)
    {
        answerEach(msg, [=](const Received &r) { return idsFailure(r, code, info); });
    }
    void answerEach(const QString &msg, const std::function<QVariantMap(const Received &)> &answer)
    {
        respondWith(m_server.get(),
                    [=](const Received &r) { return r.msg() == msg ? Maps{answer(r)} : Maps(); });
    }

    QTemporaryDir m_dir;
    QString m_log;
    std::unique_ptr<TestBroker> m_broker;
    std::unique_ptr<FakeServer> m_server;
};

void tst_IdentityServiceProvider::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_log = m_dir.filePath(QStringLiteral("slog"));
    qputenv("OM_SLOG_FILE", QFile::encodeName(m_log));
    qputenv("OM_IDS_TIMEOUT_MS", "2000");
}

void tst_IdentityServiceProvider::init()
{
    m_broker = std::make_unique<TestBroker>();
    QVERIFY(m_broker->isRunning());
    m_server = startFakeIdentity();
    QVERIFY(m_server);
}

void tst_IdentityServiceProvider::cleanup()
{
    m_server.reset();
    m_broker.reset();
}

void tst_IdentityServiceProvider::successSignals_data()
{
    QTest::addColumn<QString>("msg");
    QTest::addColumn<QVariantMap>("dat");
    QTest::addColumn<QList<QByteArray>>("signatures");
    QTest::addColumn<QVariantList>("firstArgs");
    QTest::addColumn<QVariantList>("secondArgs");

    const TextMap params{{"expires", "60"}, {"scope", "second"}};
    const QVariantMap variantParams{{"expires", QVariant(QStringLiteral("60"))},
                                    {"scope", QVariant(QStringLiteral("second"))}};
    newRow("token: equal names, the later wins", proto::msgGetToken(),
           QVariantMap{{"token", "tok"},
                       {"params", QVariantList{pair("scope", "first"), pair("expires", "60"),
                                               pair("scope", "second")}}},
           QList<QByteArray>{"tokenRetrieved(int,QByteArray,QMap<QString,QString>)",
                             "tokenRetrieved(int,QVariant,QVariantMap)"},
           QVariantList{QByteArray("tok"), QVariant::fromValue(params)},
           QVariantList{QVariant::fromValue(QVariant(QByteArray("tok"))), variantParams});
    newRow("token: no parameters", proto::msgGetToken(), QVariantMap{{"token", "tok"}},
           QList<QByteArray>{"tokenRetrieved(int,QByteArray,QMap<QString,QString>)",
                             "tokenRetrieved(int,QVariant,QVariantMap)"},
           QVariantList{QByteArray("tok"), QVariant::fromValue(TextMap())},
           QVariantList{QVariant::fromValue(QVariant(QByteArray("tok"))), QVariantMap()});
    newRow("clearToken", proto::msgClearToken(), QVariantMap{{"cleared", false}},
           QList<QByteArray>{"tokenCleared(int)"}, QVariantList(), QVariantList());
    newRow("properties", proto::msgGetProperties(),
           QVariantMap{{"properties", QVariantList{pair("urn:omid:email", "a@b.c")}}},
           QList<QByteArray>{"propertiesRetrieved(int,QMap<QString,QString>)",
                             "propertiesRetrieved(int,QVariantMap)"},
           QVariantList{QVariant::fromValue(TextMap{{"urn:omid:email", "a@b.c"}})},
           QVariantList{QVariantMap{{"urn:omid:email", QVariant(QStringLiteral("a@b.c"))}}});
    newRow("data: whole as bytes, cut at the NUL as text", proto::msgGetData(),
           QVariantMap{{"name", "n"},
                       {"value", QString::fromLatin1(QByteArray("ab\0cd", 5).toBase64())}},
           QList<QByteArray>{"dataRetrieved(int,QByteArray)", "dataRetrieved(int,QString)"},
           QVariantList{QByteArray("ab\0cd", 5)}, QVariantList{QStringLiteral("ab")});
    newRow("setData: twice", proto::msgSetData(), QVariantMap(),
           QList<QByteArray>{"dataSet(int)", "dataSet(int)"}, QVariantList(), QVariantList());
    newRow("createData: once", proto::msgCreateData(), QVariantMap(),
           QList<QByteArray>{"dataCreated(int)"}, QVariantList(), QVariantList());
    newRow("deleteData: once", proto::msgDeleteData(), QVariantMap(),
           QList<QByteArray>{"dataDeleted(int)"}, QVariantList(), QVariantList());
    newRow("listData: in the given order", proto::msgListData(),
           QVariantMap{{"names", QVariantList{"z", "a"}}},
           QList<QByteArray>{"dataListRetrieved(int,QStringList)"},
           QVariantList{QStringList{"z", "a"}}, QVariantList());
    newRow("challenge: the level second", proto::msgChallenge(), QVariantMap{{"level", 1}},
           QList<QByteArray>{"challengeComplete(int,int)"}, QVariantList{1}, QVariantList());
}

void tst_IdentityServiceProvider::successSignals()
{
    QFETCH(QString, msg);
    QFETCH(QVariantMap, dat);
    QFETCH(QList<QByteArray>, signatures);
    QFETCH(QVariantList, firstArgs);
    QFETCH(QVariantList, secondArgs);

    answerWith(msg, dat);
    IdentityServiceProvider provider(OmbrelProfile::providerName());
    QVERIFY(provider.isValid());
    SignalLog log(&provider);
    IdentityServiceProviderPrivate *d = provider.findChild<IdentityServiceProviderPrivate *>();
    QVERIFY(d);

    const int id = issue(provider, msg);
    QVERIFY(id != 0);
    // Nothing is emitted inside the call; the request waits in the table.
    QCOMPARE(log.size(), 0);
    QVERIFY(d->requestList().contains(unsigned(id)));

    QTRY_COMPARE(log.size(), signatures.size());
    QCOMPARE(log.signatures(), signatures);
    const Entries entries = log.entries();
    QCOMPARE(comparable(entries.at(0).second), comparable(QVariantList{id} + firstArgs));
    if (signatures.size() > 1)
        QCOMPARE(comparable(entries.at(1).second),
                 comparable(QVariantList{id} + (secondArgs.isEmpty() ? firstArgs : secondArgs)));
    QVERIFY(!d->requestList().contains(unsigned(id)));
}

void tst_IdentityServiceProvider::failureSignals_data()
{
    QTest::addColumn<QString>("msg");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("info");
    QTest::addColumn<QByteArray>("enumSignature");
    QTest::addColumn<QByteArray>("intSignature");

    // Each failure comes as the result's enumeration, then as an int.
    const auto row = [](const char *tag, const QString &msg, int code, const QString &info,
                        const QByteArray &signal) {
        const QByteArray type = signal.startsWith("token") ? "Token" : "Property";
        newRow(tag, msg, code, info,
               signal + "(int,om::platform::identity::IdentityService" + type +
                   "Result::Type,QString)",
               signal + "(int,int,QString)");
    };
    row("getToken", proto::msgGetToken(), 50011, "offline", "tokenRetrievalFailed");
    row("clearToken, no text", proto::msgClearToken(), 50009, QString(), "tokenClearFailed");
    row("getProperties", proto::msgGetProperties(), 50005, "too many", "propertyRetrievalFailed");
    row("getData", proto::msgGetData(), 50007, "no such entry", "dataRetrievalFailed");
    row("setData", proto::msgSetData(), 50107, "too large", "dataSetFailed");
    row("createData", proto::msgCreateData(), 50159, "exists", "dataCreateFailed");
    row("deleteData", proto::msgDeleteData(), 50007, "gone", "dataDeleteFailed");
    row("listData, a code of no list", proto::msgListData(), 4242, "odd", "dataListFailed");
    row("challenge", proto::msgChallenge(), 50004, "refused", "challengeFailed");
}

void tst_IdentityServiceProvider::failureSignals()
{
    QFETCH(QString, msg);
    QFETCH(int, code);
    QFETCH(QString, info);
    QFETCH(QByteArray, enumSignature);
    QFETCH(QByteArray, intSignature);

    failWith(msg, code, info);
    IdentityServiceProvider provider(OmbrelProfile::providerName());
    SignalLog log(&provider);
    const int before = provider.error();
    const int id = issue(provider, msg);
    QVERIFY(id != 0);

    QTRY_COMPARE(log.size(), 2);
    QCOMPARE(log.signatures(), (QList<QByteArray>{enumSignature, intSignature}));
    const Entries entries = log.entries();
    QCOMPARE(entries.at(0).second.at(0).toInt(), id);
    QCOMPARE(entries.at(0).second.at(1).toInt(), code);
    QCOMPARE(entries.at(0).second.at(2).toString(), info);
    QCOMPARE(entries.at(0).second.at(2).toString().isNull(), info.isNull());
    QCOMPARE(entries.at(1).second, (QVariantList{id, code, info}));
    QCOMPARE(entries.at(1).second.at(2).toString().isNull(), info.isNull());
    QCOMPARE(provider.error(), before);
}

void tst_IdentityServiceProvider::theTableDecidesFailuresNotSuccesses()
{
    IdentityServiceProvider provider(OmbrelProfile::providerName());
    IdentityServiceProviderPrivate *d = provider.findChild<IdentityServiceProviderPrivate *>();
    SignalLog log(&provider);
    const int failing = provider.listData(1, 0);
    const int succeeding = provider.listData(1, 0);
    QVERIFY(m_server->waitForReceived(3)); // the registration and both requests
    d->removeRequest(unsigned(failing));
    d->removeRequest(unsigned(succeeding));

    const QList<Received> lists = receivedNamed(*m_server, proto::msgListData());
    QCOMPARE(lists.size(), 2);
    QVERIFY(m_server->reply(lists.at(0).clientId, idsFailure(lists.at(0), 50007, "x")));
    QVERIFY(m_server->reply(lists.at(1).clientId,
                            idsAnswer(lists.at(1), {{"names", QVariantList{"a"}}})));
    QTRY_COMPARE(log.size(), 1);
    QCOMPARE(log.signatures().at(0), QByteArray("dataListRetrieved(int,QStringList)"));
    QCOMPARE(log.entries().at(0).second.at(0).toInt(), succeeding);
}

void tst_IdentityServiceProvider::requestTokenTwiceFailsOnce()
{
    failWith(proto::msgGetToken(), 50008, "unknown token type");
    IdentityServiceProvider provider(OmbrelId::providerName());
    SignalLog log(&provider);
    const int first = provider.requestToken("nope", "urn:demo");
    const int second = provider.requestToken("nope", "urn:demo");
    QVERIFY(first != second);
    QTRY_COMPARE(log.size(), 4);
    const Entries entries = log.entries();
    for (int i = 0; i < 4; ++i)
        QCOMPARE(entries.at(i).second.at(0).toInt(), i < 2 ? first : second);
}

void tst_IdentityServiceProvider::passedOnUnchecked()
{
    IdentityServiceProvider provider(OmbrelId::providerName());
    QCOMPARE(provider.maxPropertyCount(), 10);
    QCOMPARE(provider.maxPropertyNameLength(), 32);
    QCOMPARE(provider.maxDataNameLength(), 128);
    QStringList names;
    for (int i = 0; i < 11; ++i)
        names.append(QString(40, QLatin1Char('a' + i)));
    QVERIFY(provider.requestProperties(7, names) != 0);
    QVERIFY(provider.requestProperties(0, {}) != 0);
    QVERIFY(provider.requestData(1, 0, QString(200, 'n')) != 0);
    QTRY_COMPARE(m_server->received().size(), 4);
    const QList<Received> got = receivedNamed(*m_server, proto::msgGetProperties());
    QCOMPARE(got.at(0).dat().value("names").toStringList(), names);
    QCOMPARE(got.at(0).dat().value("type").toInt(), 7);
    QCOMPARE(got.at(1).dat().value("names").toStringList(), QStringList());
}

void tst_IdentityServiceProvider::textFormsOfData()
{
    // Out as Latin-1, back as UTF-8: a text beyond ASCII does not survive.
    IdentityServiceProvider provider(OmbrelProfile::providerName());
    QVERIFY(provider.setData(1, 0, "t", QStringLiteral("caf\u00e9")) != 0);
    QVERIFY(provider.createData(2, 16, "u", QStringLiteral("\u00fc")) != 0);
    QTRY_COMPARE(m_server->received().size(), 3);
    QByteArray value;
    QVERIFY(proto::readBytes(receivedNamed(*m_server, proto::msgSetData()).at(0).dat(), "value",
                             &value));
    QCOMPARE(value, QByteArray("caf\xe9"));
    QVERIFY(proto::readBytes(receivedNamed(*m_server, proto::msgCreateData()).at(0).dat(), "value",
                             &value));
    QCOMPARE(value, QByteArray("\xfc"));

    answerWith(proto::msgGetData(),
               {{"name", "t"}, {"value", QString::fromLatin1(QByteArray("caf\xe9").toBase64())}});
    QSignalSpy text(&provider,
                    qOverload<int, const QString &>(&IdentityServiceProvider::dataRetrieved));
    provider.requestData(1, 0, "t");
    QVERIFY(text.wait());
    QVERIFY(text.at(0).at(1).toString() != QStringLiteral("caf\u00e9"));
}

void tst_IdentityServiceProvider::registration()
{
    IdentityServiceProvider none;
    QVERIFY(!none.isValid());
    QCOMPARE(none.error(), 49999);

    IdentityServiceProvider unknown(QStringLiteral("ids:omb:unknown"));
    QVERIFY(!unknown.isValid());
    QCOMPARE(unknown.error(), 49999);

    // Two objects of one provider: the second meets "registered already"
    // and works all the same, on the same descriptor.
    IdentityServiceProvider first(OmbrelId::providerName());
    IdentityServiceProvider second;
    QCOMPARE(second.setProvider(OmbrelId::providerName()), 0);
    QVERIFY(first.isValid());
    QVERIFY(second.isValid());
    answerWith(proto::msgChallenge(), {{"level", 0}});
    QSignalSpy done(&second, &IdentityServiceProvider::challengeComplete);
    QVERIFY(second.challenge(0, 0) != 0);
    QVERIFY(done.wait());

    // Any other failure ends the object's registration.
    QCOMPARE(second.setProvider(QStringLiteral("ids:omb:unknown")), 70);
    QVERIFY(!second.isValid());
    QCOMPARE(second.error(), 49999);
    QCOMPARE(second.setProvider(QString()), 22);
    QVERIFY(first.isValid());

    m_server->stop();
    QCOMPARE(IdentityServiceProvider().setProvider(OmbrelProfile::providerName()), 70);
}

void tst_IdentityServiceProvider::aSecondRegistrationLeavesTheOldNotifier()
{
    IdentityServiceProvider provider(OmbrelId::providerName());
    IdentityServiceProviderPrivate *d = provider.findChild<IdentityServiceProviderPrivate *>();
    const QPointer<QSocketNotifier> old = d->m_notifier;
    QVERIFY(old);
    QCOMPARE(provider.setProvider(OmbrelId::providerName()), 0);
    QVERIFY(d->m_notifier != old.data());
    QVERIFY(old);
    QVERIFY(old->isEnabled());

    // Both watch the descriptor; one answer still makes one signal.
    answerWith(proto::msgListData(), {{"names", QVariantList()}});
    QSignalSpy listed(&provider, &IdentityServiceProvider::dataListRetrieved);
    provider.listData(1, 0);
    QVERIFY(listed.wait());
    QTest::qWait(50);
    QCOMPARE(listed.size(), 1);
}

void tst_IdentityServiceProvider::lastError()
{
    IdentityServiceProvider provider;
    QCOMPARE(provider.error(), int(IdentityServiceTokenResult::InternalError));
    // Not registered: refused by the library, the reason kept.
    QCOMPARE(provider.requestToken("bearer", "urn:demo"), 0);
    QCOMPARE(provider.error(), 22);
    QCOMPARE(provider.setProvider(OmbrelProfile::providerName()), 0);
    QCOMPARE(provider.error(), 22); // a registration does not clear it
    QVERIFY(provider.listData(1, 0) != 0);
    QCOMPARE(provider.error(), 22); // nor does an issued request
    QCOMPARE(provider.setData(1, 0, "big", QByteArray(70 * 1024, 'x')), 0);
    QCOMPARE(provider.error(), 7);
}

void tst_IdentityServiceProvider::notifications()
{
    respondWith(m_server.get(), [](const Received &r) {
        const QVariantMap dat = r.dat();
        if (r.msg() != proto::msgRegisterNotifier())
            return Maps();
        if (dat.value("type").toInt() == 9)
            return Maps{idsFailure(r, EINVAL)};
        return Maps{idsAnswer(r),
                    idsNotification(dat.value("type").toInt(), dat.value("name").toString(),
                                    dat.value("flags").toInt(), dat.value("watcher").toInt())};
    });
    IdentityServiceProvider provider(OmbrelProfile::providerName());
    QSignalSpy received(&provider, &IdentityServiceProvider::notificationReceived);
    QCOMPARE(provider.setNotification(1, 0, "score"), 0);
    QVERIFY(received.wait());
    QCOMPARE(received.at(0),
             (QVariantList{1, QStringLiteral("score"), int(OmbrelProfileNotification::Started)}));

    const Received start = receivedNamed(*m_server, proto::msgRegisterNotifier()).at(0);
    QVERIFY(m_server->reply(start.clientId,
                            idsNotification(1, "score", OmbrelProfileNotification::Changed,
                                            start.dat().value("watcher").toInt())));
    QVERIFY(received.wait());
    QCOMPARE(received.at(1).at(2).toInt(), int(OmbrelProfileNotification::Changed));

    QCOMPARE(provider.setNotification(9, 0, "score"), 22);
    QCOMPARE(provider.error(), 22);
}

void tst_IdentityServiceProvider::options_data()
{
    QTest::addColumn<int>("which");
    QTest::addColumn<int>("argument");
    QTest::addColumn<int>("option");
    QTest::addColumn<QString>("sent");

    newRow("verbosity None", 0, 0, 2, "Silent");
    newRow("verbosity Normal", 0, 1, 2, "Normal");
    newRow("verbosity Verbose", 0, 2, 2, "Verbose");
    newRow("verbosity 3", 0, 3, 2, "InvalidVerbosity");
    newRow("verbosity -1", 0, -1, 2, "InvalidVerbosity");
    newRow("GUI allowed", 1, 1, 0, "true");
    newRow("GUI not allowed", 1, 0, 0, "false");
    newRow("window group", 2, 0, 1, QStringLiteral("gr\u00fcppe-1"));
}

void tst_IdentityServiceProvider::options()
{
    QFETCH(int, which);
    QFETCH(int, argument);
    QFETCH(int, option);
    QFETCH(QString, sent);

    // The fake refuses what the real service refuses.
    m_server->clearScript();
    respondWith(m_server.get(), [](const Received &r) {
        const bool bad = r.dat().value("value").toString() == QLatin1String("InvalidVerbosity");
        return Maps{bad ? idsFailure(r, EINVAL) : idsAnswer(r)};
    });
    int result = -1;
    if (which == 0)
        result = IdentityService::setLogVerbosity(IdentityServiceLogVerbosity::Type(argument));
    else if (which == 1)
        result = IdentityService::setGuiAllowed(argument != 0);
    else
        result = IdentityService::setWindowGroupId(sent);
    QCOMPARE(result, sent == QLatin1String("InvalidVerbosity") ? 22 : 0);
    const Received got = m_server->last();
    QCOMPARE(got.msg(), proto::msgSetOption());
    QCOMPARE(got.dat().value("option").toInt(), option);
    QCOMPARE(got.dat().value("value").toString(), sent);

    // The invokable forms reach the same functions.
    IdentityService service;
    QCOMPARE(service.property("version").toInt(), IdentityService::version());
    QVERIFY(QMetaObject::invokeMethod(&service, "setGuiAllowed", Q_RETURN_ARG(int, result),
                                      Q_ARG(bool, true)));
    QCOMPARE(result, 0);
}

void tst_IdentityServiceProvider::descriptorsAndEnumerations()
{
    QCOMPARE(OmbrelId::providerName(), QStringLiteral("ids:omb:omid"));
    QCOMPARE(OmbrelProfile::providerName(), QStringLiteral("ids:omb:profile"));
    OmbrelId id;
    QCOMPARE(id.property("emailPropertyKey").toString(), QStringLiteral("urn:omid:email"));
    QCOMPARE(id.property("uniqueIdPropertyKey").toString(), QStringLiteral("urn:omid:uid"));

    // Token-only and property-only results.
    const QMetaEnum token = QMetaEnum::fromType<IdentityServiceTokenResult::Type>();
    const QMetaEnum property = QMetaEnum::fromType<IdentityServicePropertyResult::Type>();
    QCOMPARE(token.keyToValue("UnknownTokenType"), 50008);
    QCOMPARE(token.keyToValue("UnknownAppliesTo"), 50009);
    QVERIFY(!property.valueToKey(50008) && !property.valueToKey(50009));
    QCOMPARE(property.keyToValue("NameTooLong"), 50002);
    QCOMPARE(property.keyToValue("TooManyNamesPassed"), 50005);
    QVERIFY(!token.valueToKey(50002) && !token.valueToKey(50005));
}

void tst_IdentityServiceProvider::serviceGoneAndBack()
{
    IdentityServiceProvider provider(OmbrelProfile::providerName());
    SignalLog log(&provider);
    const int pending = provider.challenge(0, 0);
    QVERIFY(pending != 0);
    QVERIFY(m_server->waitForReceived(2));

    m_server->stop();
    m_broker->stop();
    // The pending request fails; the descriptor changed, which is logged.
    QTRY_COMPARE(log.size(), 2);
    QCOMPARE(log.entries().at(1).second,
             (QVariantList{pending, int(IdentityServiceTokenResult::ErrorWhileContactingService),
                           QStringLiteral("the connection to the identity service ended")}));
    QTRY_COMPARE(logLines(m_log).size(), 2);
    const QList<QByteArray> lines = logLines(m_log);
    QVERIFY2(lines.at(0).endsWith(" IdentityService 0 5 Logger Initialized!"), lines.at(0));
    QVERIFY2(lines.at(1).endsWith(" IdentityService 0 5 eventReceived - FD changed"), lines.at(1));
    QVERIFY(provider.isValid());

    // The service returns: the object works again.
    m_broker.reset();
    m_broker = std::make_unique<TestBroker>();
    m_server = startFakeIdentity();
    QVERIFY(m_server);
    answerWith(proto::msgListData(), {{"names", QVariantList{"back"}}});
    QSignalSpy listed(&provider, &IdentityServiceProvider::dataListRetrieved);
    QVERIFY(provider.listData(1, 0) != 0);
    QVERIFY(listed.wait());
    QCOMPARE(listed.at(0).at(1).toStringList(), QStringList{"back"});
}

void tst_IdentityServiceProvider::anObjectDestroyedWithPendingRequests()
{
    auto gone = std::make_unique<IdentityServiceProvider>(OmbrelId::providerName());
    IdentityServiceProvider kept(OmbrelId::providerName());
    QVERIFY(gone->challenge(0, 0) != 0);
    QTRY_COMPARE(receivedNamed(*m_server, proto::msgChallenge()).size(), 1);
    const Received pending = receivedNamed(*m_server, proto::msgChallenge()).at(0);
    gone.reset();

    // Its answer arrives on the descriptor the other object still watches.
    QVERIFY(m_server->reply(pending.clientId, idsAnswer(pending, {{"level", 1}})));
    answerWith(proto::msgListData(), {{"names", QVariantList()}});
    QSignalSpy listed(&kept, &IdentityServiceProvider::dataListRetrieved);
    QSignalSpy completed(&kept, &IdentityServiceProvider::challengeComplete);
    QVERIFY(kept.listData(1, 0) != 0);
    QVERIFY(listed.wait());
    QCOMPARE(completed.size(), 0);
}

QTEST_GUILESS_MAIN(tst_IdentityServiceProvider)
#include "tst_identityserviceprovider.moc"
