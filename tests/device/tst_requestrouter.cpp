// The device's request layer: a RequestRouter on a real ControlServer, with
// clients on a broker inside the test process; and the wire forms of the
// services, which say what their answers look like.

#include "common/controlserver.h"
#include "common/requestrouter.h"
#include "invoke/invokeservice.h"
#include "navigator/navigatorservice.h"
#include "notify/notifyservice.h"
#include "perimeter/perimetermanager.h"

#include "controlclient.h"
#include "testbroker.h"

#include <om/ppsobject.h>
#include <om/system/invokereply.h>

#include <QtTest>

#include <cerrno>
#include <memory>

using omdevice::ControlServer;
using omdevice::Failure;
using omdevice::Request;
using omdevice::RequestRouter;
using omdevice::Shape;
using omdevice::WireForm;

namespace {

const QString Path = QStringLiteral("/pps/test/control");

/** A client of the test's control object. */
class Client : public omtest::ControlClient
{
public:
    Client() : ControlClient(Path) {}
};

QVariantMap message(const QString &msg, const QVariant &id, const QVariant &dat = QVariant())
{
    return omtest::ControlClient::message(msg, id, dat);
}

// The attributes of each kind of answer a form gives.
QVariantMap formAnswer(const WireForm &form, const QString &kind, const Request &request,
                       const QVariant &dat, const Failure &failure)
{
    if (kind == QLatin1String("answer"))
        return form.answer(request, dat);
    if (kind == QLatin1String("fail"))
        return form.failure(request, failure);
    if (kind == QLatin1String("malformed"))
        return form.failure(Request(request.clientId(), QVariantMap(), QVariantMap()),
                            form.malformed);
    if (kind == QLatin1String("unknown"))
        return form.failure(request, form.unknown(request));
    return form.failure(request, form.badShape(request, Shape::Map));
}

} // namespace

Q_DECLARE_METATYPE(Shape)

class tst_RequestRouter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void shapeIsCheckedFirst_data();
    void shapeIsCheckedFirst();
    void claimsComeBeforePlainRoutes();
    void unknownMessages_data();
    void unknownMessages();
    void undecodableMessage();
    void answerAfterTheClientHasGone();
    void everyHookOfTheForm();
    void serviceForms_data();
    void serviceForms();

private:
    void start(const WireForm &form = WireForm::standard());

    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<ControlServer> m_server;
    std::unique_ptr<RequestRouter> m_router;
};

void tst_RequestRouter::init()
{
    qputenv("OM_PACKAGE_NAME", "tst.router");
    m_broker.reset(new omtest::TestBroker);
    QVERIFY(m_broker->isRunning());
}

void tst_RequestRouter::cleanup()
{
    m_router.reset();
    m_server.reset();
    m_broker.reset();
}

void tst_RequestRouter::start(const WireForm &form)
{
    m_server.reset(new ControlServer(Path));
    QString error;
    QVERIFY2(m_server->open(&error), qPrintable(error));
    m_router.reset(new RequestRouter(m_server.get(), form));
}

void tst_RequestRouter::shapeIsCheckedFirst_data()
{
    QTest::addColumn<Shape>("shape");
    QTest::addColumn<QVariant>("dat");
    QTest::addColumn<QString>("refusal"); // empty: the handler runs

    const QVariant none;
    const QVariant map = QVariantMap{{"a", 1}};
    const QVariant list = QVariantList{1, 2};
    const QVariant text = QStringLiteral("text");
    QTest::newRow("any takes nothing") << Shape::Any << none << QString();
    QTest::newRow("any takes a list") << Shape::Any << list << QString();
    QTest::newRow("map") << Shape::Map << map << QString();
    QTest::newRow("map, none given") << Shape::Map << none << "m: \"dat\" must be an object";
    QTest::newRow("map, list given") << Shape::Map << list << "m: \"dat\" must be an object";
    QTest::newRow("optional map, none") << Shape::OptionalMap << none << QString();
    QTest::newRow("optional map, map") << Shape::OptionalMap << map << QString();
    QTest::newRow("optional map, text")
        << Shape::OptionalMap << text << "m: \"dat\" must be an object";
    QTest::newRow("list") << Shape::List << list << QString();
    QTest::newRow("list, map given") << Shape::List << map << "m: \"dat\" must be a list";
    QTest::newRow("string") << Shape::String << text << QString();
    QTest::newRow("string, number given")
        << Shape::String << QVariant(7) << "m: \"dat\" must be a string";
}

void tst_RequestRouter::shapeIsCheckedFirst()
{
    QFETCH(Shape, shape);
    QFETCH(QVariant, dat);
    QFETCH(QString, refusal);
    start();
    QList<Request> handled;
    m_router->add(QStringLiteral("m"), shape, [&](const Request &request) {
        handled.append(request);
        m_router->answer(request, QVariantMap{{"seen", request.dat()}});
    });
    Client client;
    QVERIFY(client.isOpen());
    const QVariantMap answer = client.ask(message(QStringLiteral("m"), QStringLiteral("r1"), dat));

    QCOMPARE(handled.size(), refusal.isEmpty() ? 1 : 0);
    QVariantMap expected{{"res", "m"}, {"id", "r1"}};
    if (refusal.isEmpty())
        expected.insert("dat", QVariantMap{{"seen", dat}});
    else
        expected.insert("err", refusal);
    QCOMPARE(answer, expected);
    if (!handled.isEmpty()) {
        QCOMPARE(handled.first().package(), QStringLiteral("tst.router"));
        QCOMPARE(handled.first().client().value("pid").toLongLong(),
                 qint64(QCoreApplication::applicationPid()));
    }
}

void tst_RequestRouter::claimsComeBeforePlainRoutes()
{
    start();
    QStringList taken;
    const auto record = [&](const QString &who) {
        return [&, who](const Request &request) {
            taken.append(who + QLatin1Char(' ') + request.map().value("n").toString());
            m_router->answer(request);
        };
    };
    // The plain route is there first; the claims still see the requests first,
    // in the order they were made.
    m_router->add(QStringLiteral("cancel"), Shape::Any, record("plain"));
    m_router->claim(
        QStringLiteral("cancel"), [](const Request &r) { return r.map().value("n").toInt() > 10; },
        Shape::Any, record("big"));
    m_router->claim(
        QStringLiteral("cancel"), [](const Request &r) { return r.map().value("n").toInt() > 0; },
        Shape::Map, record("positive"));
    Client client;
    for (const QVariant &n : {QVariant(20), QVariant(5), QVariant(-1)})
        QVERIFY(!client.ask(message("cancel", "c", QVariantMap{{"n", n}})).isEmpty());
    QCOMPARE(taken, (QStringList{"big 20", "positive 5", "plain -1"}));

    // A claim whose shape does not fit refuses what it accepted: it is not
    // passed on to the plain route.
    m_router->claim(
        QStringLiteral("cancel"), [](const Request &r) { return r.hasId() && !r.dat().isValid(); },
        Shape::Map, record("never"));
    QCOMPARE(client.ask(message("cancel", "d")).value("err").toString(),
             QStringLiteral("cancel: \"dat\" must be an object"));
    QCOMPARE(taken.size(), 3);
}

void tst_RequestRouter::unknownMessages_data()
{
    QTest::addColumn<bool>("answerWithoutId");
    QTest::addColumn<bool>("withId");
    QTest::addColumn<bool>("answered");
    QTest::newRow("with id") << true << true << true;
    QTest::newRow("without id") << true << false << true;
    QTest::newRow("with id, form answers only those") << false << true << true;
    QTest::newRow("without id, form lets it be") << false << false << false;
}

void tst_RequestRouter::unknownMessages()
{
    QFETCH(bool, answerWithoutId);
    QFETCH(bool, withId);
    QFETCH(bool, answered);
    WireForm form = WireForm::standard();
    form.answerUnknownWithoutId = answerWithoutId;
    start(form);
    m_router->add(QStringLiteral("known"), Shape::Any,
                  [this](const Request &request) { m_router->answer(request); });
    Client client;
    QVERIFY(client.send(message("bogus", withId ? QVariant("u1") : QVariant())));
    // What comes first is the answer to the unknown message, or, if that
    // goes unanswered, the answer to the next.
    QVERIFY(client.send(message("known", "k1")));
    QVariantMap unknown{{"res", "bogus"}, {"err", "unknown message: bogus"}};
    if (withId)
        unknown.insert("id", "u1");
    const QVariantMap known{{"res", "known"}, {"id", "k1"}, {"dat", QVariantMap()}};
    QCOMPARE(client.next(), answered ? unknown : known);
}

void tst_RequestRouter::undecodableMessage()
{
    start();
    int handled = 0;
    m_router->add(QStringLiteral("m"), Shape::Any, [&](const Request &) { ++handled; });
    Client client;
    QVERIFY(client.sendRaw("msg::m\nid::x\ndat:json:{not json\n"));
    QCOMPARE(client.next(), (QVariantMap{{"res", ""}, {"err", "malformed message"}}));
    QCOMPARE(handled, 0);
}

void tst_RequestRouter::answerAfterTheClientHasGone()
{
    start();
    QList<Request> pending;
    m_router->add(QStringLiteral("slow"), Shape::Any,
                  [&](const Request &request) { pending.append(request); });
    m_router->add(QStringLiteral("fast"), Shape::Any,
                  [this](const Request &request) { m_router->answer(request, request.dat()); });
    QSignalSpy closed(m_server.get(), &ControlServer::clientClosed);
    {
        Client gone;
        QVERIFY(gone.send(message("slow", "s1")));
        QTRY_COMPARE(pending.size(), 1);
    }
    QVERIFY(closed.wait());
    QVERIFY(m_server->clientInfo(pending.first().clientId()).isEmpty());
    // What the request knew of its client stays with it.
    QCOMPARE(pending.first().package(), QStringLiteral("tst.router"));
    m_router->answer(pending.first(), QVariantMap{{"late", true}});
    m_router->fail(pending.first(), 1, QStringLiteral("late"));

    // Nobody else gets the late answers.
    Client next;
    QCOMPARE(next.ask(message("fast", "f1", QVariantMap{{"n", 1}})),
             (QVariantMap{{"res", "fast"}, {"id", "f1"}, {"dat", QVariantMap{{"n", 1}}}}));
}

void tst_RequestRouter::everyHookOfTheForm()
{
    // A form that marks what each hook made.
    WireForm form;
    form.answer = [](const Request &request, const QVariant &dat) {
        return QVariantMap{{"ok", request.msg()}, {"payload", dat}};
    };
    form.failure = [](const Request &request, const Failure &failure) {
        return QVariantMap{{"no", request.msg()},
                           {"code", failure.code},
                           {"why", failure.text},
                           {"more", failure.extra}};
    };
    form.malformed = Failure(90, QStringLiteral("garbled"));
    form.unknown = [](const Request &request) {
        return Failure(91, QStringLiteral("who is ") + request.msg(), {{"hint", "ask again"}});
    };
    form.badShape = [](const Request &request, Shape wanted) {
        return Failure(92, request.msg() + (wanted == Shape::List ? " wants a list" : " wants ?"));
    };
    start(form);
    m_router->add({
        {QStringLiteral("list"), Shape::List,
         [this](const Request &r) { m_router->answer(r, r.list().size()); }},
        {QStringLiteral("refuse"), Shape::Any,
         [this](const Request &r) {
             m_router->fail(r, Failure(7, "no", {{"errno", 5}}));
         }},
    });
    QCOMPARE(m_router->form().malformed.code, 90);

    Client client;
    QCOMPARE(client.ask(message("list", "1", QVariantList{1, 2, 3})),
             (QVariantMap{{"ok", "list"}, {"payload", 3}}));
    QCOMPARE(
        client.ask(message("refuse", "2")),
        (QVariantMap{
            {"no", "refuse"}, {"code", 7}, {"why", "no"}, {"more", QVariantMap{{"errno", 5}}}}));
    QCOMPARE(
        client.ask(message("list", "3", "text")),
        (QVariantMap{
            {"no", "list"}, {"code", 92}, {"why", "list wants a list"}, {"more", QVariantMap()}}));
    QCOMPARE(client.ask(message("who", "4")),
             (QVariantMap{{"no", "who"},
                          {"code", 91},
                          {"why", "who is who"},
                          {"more", QVariantMap{{"hint", "ask again"}}}}));
    QVERIFY(client.sendRaw("dat:json:[1,\n"));
    QCOMPARE(client.next(),
             (QVariantMap{{"no", ""}, {"code", 90}, {"why", "garbled"}, {"more", QVariantMap()}}));
}

void tst_RequestRouter::serviceForms_data()
{
    QTest::addColumn<QString>("service");
    QTest::addColumn<QString>("kind"); // answer, fail, malformed, unknown, badShape
    QTest::addColumn<QVariantMap>("request");
    QTest::addColumn<QVariant>("dat");
    QTest::addColumn<QVariantMap>("expected");

    const QVariantMap withId = message("x", "7");
    const QVariantMap withoutId = message("x", QVariant());
    const QVariantMap empty;
    const QVariant full = QVariantMap{{"a", 1}};
    const int badRequest = om::system::InvokeReply::BadRequest;
    const auto row = [](const char *tag, const char *service, const char *kind,
                        const QVariantMap &request, const QVariant &dat,
                        const QVariantMap &expected) {
        QTest::newRow(tag) << service << kind << request << dat << expected;
    };

    // The standard form: "dat" always, "err" with the failure's extras.
    row("standard answer", "standard", "answer", withId, QVariantMap(),
        {{"res", "x"}, {"id", "7"}, {"dat", QVariantMap()}});
    row("standard failure", "standard", "fail", withoutId, {},
        {{"res", "x"}, {"err", "no"}, {"errno", 5}});

    // The notification service: "err" alone for what cannot be decoded.
    row("notify answer", "notify", "answer", withId, QVariantMap(),
        {{"res", "x"}, {"id", "7"}, {"dat", QVariantMap()}});
    row("notify malformed", "notify", "malformed", withId, {}, {{"err", "malformed message"}});
    row("notify unknown", "notify", "unknown", withoutId, {},
        {{"res", "x"}, {"err", "unknown message: x"}});
    row("notify ill-shaped", "notify", "badShape", withId, {},
        {{"res", "x"}, {"id", "7"}, {"err", "x without dat"}});

    // The navigator: no empty "dat", the errno value beside "err".
    row("navigator empty answer", "navigator", "answer", withId, QVariantMap(),
        {{"res", "x"}, {"id", "7"}});
    row("navigator answer", "navigator", "answer", withoutId, full, {{"res", "x"}, {"dat", full}});
    row("navigator failure", "navigator", "fail", withId, {},
        {{"res", "x"}, {"id", "7"}, {"err", "no"}, {"errno", 5}});
    row("navigator malformed", "navigator", "malformed", withId, {},
        {{"res", ""}, {"err", "malformed message"}, {"errno", EBADMSG}});
    row("navigator unknown", "navigator", "unknown", withId, {},
        {{"res", "x"}, {"id", "7"}, {"err", "unknown message: x"}, {"errno", ENOTSUP}});
    row("navigator request without msg", "navigator", "unknown", QVariantMap{{"id", "8"}}, {},
        {{"res", ""}, {"id", "8"}, {"err", "a request needs \"msg\""}, {"errno", ENOTSUP}});

    // The invocation service: the code in "err", the text in "errstr".
    row("invoke answer", "invoke", "answer", withId, full,
        {{"res", "x"}, {"id", "7"}, {"dat", full}});
    row("invoke failure", "invoke", "fail", withId, {},
        {{"res", "x"}, {"id", "7"}, {"err", 5}, {"errstr", "no"}});
    row("invoke malformed", "invoke", "malformed", empty, {},
        {{"res", "invoke"}, {"err", badRequest}, {"errstr", "the request cannot be decoded"}});
    row("invoke unknown", "invoke", "unknown", withId, {},
        {{"res", "x"}, {"id", "7"}, {"err", badRequest}, {"errstr", "unknown message \"x\""}});
    row("invoke ill-shaped", "invoke", "badShape", withId, {},
        {{"res", "x"},
         {"id", "7"},
         {"err", badRequest},
         {"errstr", "the request has no \"dat\" object"}});

    // The perimeter manager: no empty "dat", "err" alone for the undecodable.
    row("perimeter empty answer", "perimeter", "answer", withId, QVariantMap(),
        {{"res", "x"}, {"id", "7"}});
    row("perimeter malformed", "perimeter", "malformed", withId, {},
        {{"err", "malformed message"}});
    row("perimeter unknown", "perimeter", "unknown", withId, {},
        {{"res", "x"}, {"id", "7"}, {"err", "unknown request 'x'"}});
    row("perimeter ill-shaped", "perimeter", "badShape", withId, {},
        {{"res", "x"}, {"id", "7"}, {"err", "x needs dat with the perimeter's name"}});
}

void tst_RequestRouter::serviceForms()
{
    QFETCH(QString, service);
    QFETCH(QString, kind);
    QFETCH(QVariantMap, request);
    QFETCH(QVariant, dat);
    QFETCH(QVariantMap, expected);
    const QMap<QString, WireForm> forms{
        {"standard", WireForm::standard()},
        {"notify", omdevice::NotifyService::wireForm()},
        {"navigator", omdevice::NavigatorService::wireForm()},
        {"invoke", omdevice::InvokeService::wireForm()},
        {"perimeter", omdevice::PerimeterManager::wireForm()},
    };
    const Failure failure(5, QStringLiteral("no"), {{"errno", 5}});
    QCOMPARE(
        formAnswer(forms.value(service), kind, Request(1, request, QVariantMap()), dat, failure),
        expected);
}

QTEST_GUILESS_MAIN(tst_RequestRouter)
#include "tst_requestrouter.moc"
