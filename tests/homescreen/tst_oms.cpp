// The platform services library against a bus of its own, with the
// navigator played by a fake server and the device properties by a
// publisher of the test.

#include <oms/deviceinfo.h>
#include <oms/navigator.h>
#include <oms/oms.h>

#include "fakeserver.h"
#include "statepublisher.h"
#include "testbroker.h"

#include <om/packageinfo.h>

#include <QtTest/QTest>

#include <cerrno>
#include <climits>
#include <functional>
#include <memory>
#include <thread>
#include <unistd.h>

using omtest::Answer;
using omtest::FakeServer;
using omtest::Received;

using Rule = std::function<QList<Answer>(const Received &)>;
Q_DECLARE_METATYPE(std::function<int(char **)>)
Q_DECLARE_METATYPE(Rule)

namespace {

const QString navigatorPath = QStringLiteral("/pps/services/navigator/control");

// One oms_initialize() for a scope.
struct Initialized
{
    Initialized() : result(oms_initialize()), error(errno) {}
    ~Initialized()
    {
        if (result == 0)
            oms_shutdown();
    }
    int result;
    int error;
};

// The navigator's refusal of a request.
QVariantMap refusal(const Received &r, const QString &text, const QVariant &error = QVariant())
{
    QVariantMap a = FakeServer::okAnswer(r.attributes);
    a.insert(QStringLiteral("err"), text);
    if (error.isValid())
        a.insert(QStringLiteral("errno"), error);
    return a;
}

QList<oms_event_t *> released;

void noteRelease(oms_event_t *event)
{
    released << event;
    oms_event_destroy(event);
}

oms_event_t *makeEvent(int domain, int code, uintptr_t data = 0)
{
    oms_event_t *event = nullptr;
    const oms_event_payload_t payload = {data, 0, 0};
    if (oms_event_create(&event, unsigned(domain), unsigned(code), &payload, noteRelease) != 0)
        return nullptr;
    return event;
}

} // namespace

class tst_Oms : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<FakeServer> m_navigator;

    void startNavigator()
    {
        m_navigator.reset(new FakeServer(navigatorPath));
        QVERIFY(m_navigator->start());
    }

private Q_SLOTS:
    void init()
    {
        m_broker.reset(new omtest::TestBroker);
        QVERIFY(m_broker->isRunning());
        startNavigator();
        released.clear();
    }

    void cleanup()
    {
        qunsetenv("OM_NAVIGATOR_TIMEOUT_MS");
        m_navigator.reset();
        m_broker.reset();
    }

    // --- Initialisation

    void initializeFails_data()
    {
        QTest::addColumn<bool>("brokerRuns");
        QTest::addColumn<int>("error");
        QTest::newRow("no bus") << false << int(ECONNREFUSED);
        QTest::newRow("no navigator") << true << int(ENOENT);
    }

    void initializeFails()
    {
        QFETCH(bool, brokerRuns);
        QFETCH(int, error);
        m_navigator.reset();
        if (!brokerRuns)
            m_broker->stop();
        errno = 0;
        QCOMPARE(oms_initialize(), -1);
        QCOMPARE(errno, error);
        // Nothing was set up: no channel, and a shutdown has nothing to end.
        QCOMPARE(oms_channel_get_active(), -1);
        oms_shutdown();
        QCOMPARE(navigator_request_events(0), -1);
        QCOMPARE(errno, EINVAL);
    }

    void initializeIsCounted()
    {
        m_navigator->answerOk(QStringLiteral("setBadge"));
        QCOMPARE(oms_initialize(), 0);
        QCOMPARE(oms_initialize(), 0);
        QVERIFY(m_navigator->waitForClients(1));
        QVERIFY(oms_channel_get_active() > 0);

        oms_shutdown();
        // A shutdown from a thread that never initialised ends nothing.
        std::thread([]() { oms_shutdown(); }).join();
        QCOMPARE(navigator_set_badge(NAVIGATOR_BADGE_SPLAT), 0);
        QCOMPARE(m_navigator->openedCount(), 1);
        QCOMPARE(m_navigator->last().clientId, m_navigator->clients().value(0));

        oms_shutdown();
        QVERIFY(m_navigator->waitForClosed(1));
        QCOMPARE(oms_channel_get_active(), -1);
        oms_shutdown(); // one too many does no harm
    }

    void shutdownHandlersRunAtTheLastShutdown()
    {
        QStringList calls;
        const auto note = [](void *data) {
            static_cast<QStringList *>(data)->append(QStringLiteral("a"));
        };
        const auto noteB = [](void *data) {
            static_cast<QStringList *>(data)->append(QStringLiteral("b"));
        };
        QCOMPARE(oms_initialize(), 0);
        QCOMPARE(oms_initialize(), 0);
        QCOMPARE(oms_register_shutdown_handler(note, &calls), 0);
        QCOMPARE(oms_register_shutdown_handler(noteB, &calls), 0);
        oms_shutdown();
        QCOMPARE(calls, QStringList());
        oms_shutdown();
        QCOMPARE(calls, QStringList({QStringLiteral("b"), QStringLiteral("a")}));
        QCOMPARE(oms_register_shutdown_handler(note, &calls), -1);
        QCOMPARE(errno, ENOTCONN);
    }

    // --- Requests

    void wallpaperRequest_data()
    {
        QTest::addColumn<Rule>("rule");
        QTest::addColumn<int>("result");
        QTest::addColumn<int>("error");

        QTest::newRow("taken") << Rule([](const Received &r) {
            return QList<Answer>{{FakeServer::okAnswer(r.attributes), {}, {}, 0}};
        }) << 0 << 0;
        QTest::newRow("locked") << Rule([](const Received &r) {
            return QList<Answer>{
                {refusal(r, QStringLiteral("the wallpaper is locked"), EPERM), {}, {}, 0}};
        }) << -1 << int(EPERM);
        QTest::newRow("refused without errno") << Rule([](const Received &r) {
            return QList<Answer>{{refusal(r, QStringLiteral("no")), {}, {}, 0}};
        }) << -1 << int(EIO);
        QTest::newRow("answers to others first") << Rule([](const Received &r) {
            QVariantMap other = refusal(r, QStringLiteral("not yours"), EPERM);
            other.insert(QStringLiteral("id"), QStringLiteral("someone-else"));
            QVariantMap noId = refusal(r, QStringLiteral("no id"), EPERM);
            noId.remove(QStringLiteral("id"));
            return QList<Answer>{{other, {}, {}, 0},
                                 {noId, {}, {}, 0},
                                 {{}, QByteArray("broken:json:{\n"), {}, 0},
                                 {FakeServer::okAnswer(r.attributes), {}, {}, 0}};
        }) << 0 << 0;
    }

    void wallpaperRequest()
    {
        QFETCH(Rule, rule);
        QFETCH(int, result);
        QFETCH(int, error);
        m_navigator->respond(rule);
        Initialized oms;
        QCOMPARE(oms.result, 0);
        errno = 0;
        QCOMPARE(navigator_set_wallpaper("/home/user/sea.png"), result);
        if (result != 0)
            QCOMPARE(errno, error);
        QCOMPARE(m_navigator->received().size(), 1);
        QCOMPARE(m_navigator->last().msg(), QStringLiteral("setWallpaper"));
        QCOMPARE(m_navigator->last().dat(),
                 QVariantMap({{QStringLiteral("path"), QStringLiteral("/home/user/sea.png")}}));
    }

    void wallpaperArgumentsChecked_data()
    {
        QTest::addColumn<QByteArray>("path"); // null: a null pointer
        QTest::newRow("null") << QByteArray();
        QTest::newRow("empty") << QByteArray("");
    }

    void wallpaperArgumentsChecked()
    {
        QFETCH(QByteArray, path);
        Initialized oms;
        QCOMPARE(navigator_set_wallpaper(path.isNull() ? nullptr : path.constData()), -1);
        QCOMPARE(errno, EINVAL);
        QCOMPARE(m_navigator->received().size(), 0);
    }

    void requestTimesOut()
    {
        qputenv("OM_NAVIGATOR_TIMEOUT_MS", "200");
        Initialized oms;
        QCOMPARE(navigator_set_wallpaper("/a.png"), -1);
        QCOMPARE(errno, ETIMEDOUT);

        // The late answer does not pass for the answer to the next request.
        const Received first = m_navigator->last();
        QVERIFY(m_navigator->reply(first.clientId, FakeServer::okAnswer(first.attributes)));
        m_navigator->respond([](const Received &r) {
            return QList<Answer>{{refusal(r, QStringLiteral("locked"), EPERM), {}, {}, 0}};
        });
        QCOMPARE(navigator_set_wallpaper("/b.png"), -1);
        QCOMPARE(errno, EPERM);
    }

    void requestWithoutInitializeUsesItsOwnConnection()
    {
        m_navigator->answerOk(QStringLiteral("setWallpaper"));
        QCOMPARE(navigator_set_wallpaper("/a.png"), 0);
        QCOMPARE(m_navigator->openedCount(), 1);
        QVERIFY(m_navigator->waitForClosed(1));

        m_navigator.reset();
        QCOMPARE(navigator_set_wallpaper("/a.png"), -1);
        QCOMPARE(errno, ENOENT);
    }

    void closePromptNeedsTheConnection()
    {
        m_navigator->answerOk(QStringLiteral("setBadge"));
        QCOMPARE(navigator_set_close_prompt("Leave?", "Unsaved work"), -1);
        QCOMPARE(errno, ENOTCONN);
        QCOMPARE(navigator_clear_close_prompt(), -1);
        QCOMPARE(errno, ENOTCONN);
        QCOMPARE(navigator_set_badge(NAVIGATOR_BADGE_SPLAT), 0);
        QCOMPARE(m_navigator->received().size(), 1); // only the badge went out

        m_navigator->answerOk(QStringLiteral("setClosePrompt"));
        m_navigator->answerOk(QStringLiteral("clearClosePrompt"));
        Initialized oms;
        QCOMPARE(navigator_set_close_prompt("Leave?", "Unsaved work"), 0);
        QCOMPARE(m_navigator->last().dat(),
                 QVariantMap({{QStringLiteral("app"), om::PackageInfo().name()},
                              {QStringLiteral("title"), QStringLiteral("Leave?")},
                              {QStringLiteral("message"), QStringLiteral("Unsaved work")}}));
        QCOMPARE(navigator_clear_close_prompt(), 0);
        QCOMPARE(m_navigator->last().msg(), QStringLiteral("clearClosePrompt"));
        QCOMPARE(navigator_set_close_prompt(nullptr, "x"), -1);
        QCOMPARE(errno, EINVAL);
    }

    void shortcut_data()
    {
        QTest::addColumn<QVariant>("errno_"); // invalid: taken
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("result");
        QTest::addColumn<int>("error");
        QTest::addColumn<QByteArray>("errText"); // null: *err left alone
        QTest::newRow("added") << QVariant() << QString() << 0 << 0 << QByteArray();
        QTest::newRow("duplicate") << QVariant(EEXIST) << QStringLiteral("already there") << -1
                                   << int(EEXIST) << QByteArray("already there");
        QTest::newRow("refused without text")
            << QVariant(EACCES) << QString() << -1 << int(EACCES) << QByteArray("");
    }

    void shortcut()
    {
        QFETCH(QVariant, errno_);
        QFETCH(QString, text);
        QFETCH(int, result);
        QFETCH(int, error);
        QFETCH(QByteArray, errText);
        m_navigator->respond([&](const Received &r) {
            QVariantMap a = FakeServer::okAnswer(r.attributes);
            if (errno_.isValid()) {
                a.insert(QStringLiteral("err"), text);
                a.insert(QStringLiteral("errno"), errno_);
            }
            return QList<Answer>{{a, {}, {}, 0}};
        });
        Initialized oms;
        char *err = nullptr;
        errno = 0;
        QCOMPARE(
            navigator_add_uri("/icons/shop.png", "Shop", "Any", "http://shop.example.com", &err),
            result);
        if (result != 0)
            QCOMPARE(errno, error);
        if (errText.isNull()) {
            QVERIFY(!err);
        } else {
            QVERIFY(err);
            // An empty refusal is told in the words of its errno.
            QCOMPARE(QByteArray(err), errText.isEmpty() ? QByteArray(strerror(error)) : errText);
            oms_free(err);
        }
        QCOMPARE(m_navigator->last().msg(), QStringLiteral("addShortcut"));
        QCOMPARE(m_navigator->last().dat(),
                 QVariantMap({{QStringLiteral("icon"), QStringLiteral("/icons/shop.png")},
                              {QStringLiteral("label"), QStringLiteral("Shop")},
                              {QStringLiteral("category"), QStringLiteral("Any")},
                              {QStringLiteral("url"), QStringLiteral("http://shop.example.com")}}));
    }

    void shortcutArgumentsChecked()
    {
        Initialized oms;
        char *err = nullptr;
        QCOMPARE(navigator_add_uri("/i.png", nullptr, "Any", "http://x", &err), -1);
        QCOMPARE(errno, EINVAL);
        QVERIFY(err);
        oms_free(err);
        QCOMPARE(navigator_add_uri(nullptr, "L", "Any", "http://x", nullptr), -1);
        QCOMPARE(navigator_add_uri("/i.png", "L", "Any", nullptr, nullptr), -1);
        QCOMPARE(m_navigator->received().size(), 0);
    }

    void badge()
    {
        m_navigator->answerOk(QStringLiteral("setBadge"));
        m_navigator->answerOk(QStringLiteral("clearBadge"));
        const QString app = om::PackageInfo().name();
        QCOMPARE(navigator_set_badge(NAVIGATOR_BADGE_SPLAT), 0);
        QCOMPARE(m_navigator->last().dat(),
                 QVariantMap({{QStringLiteral("app"), app},
                              {QStringLiteral("badge"), QStringLiteral("splat")}}));
        QCOMPARE(navigator_clear_badge(), 0);
        QCOMPARE(m_navigator->last().msg(), QStringLiteral("clearBadge"));
        QCOMPARE(m_navigator->last().dat(), QVariantMap({{QStringLiteral("app"), app}}));
        QCOMPARE(navigator_set_badge(navigator_badge_t(7)), -1);
        QCOMPARE(errno, EINVAL);
        QCOMPARE(m_navigator->received().size(), 2);
    }

    void unsupported_data()
    {
        using Call = std::function<int(char **)>;
        QTest::addColumn<Call>("call");
        QTest::addColumn<bool>("givesText");
        QTest::newRow("invoke") << Call([](char **err) {
            return navigator_invoke("http://x", err);
        }) << true;
        QTest::newRow("open_file")
            << Call([](char **err) { return navigator_open_file("/a.txt", err); }) << true;
        QTest::newRow("extend_timeout")
            << Call([](char **err) { return navigator_extend_timeout(100, err); }) << true;
        QTest::newRow("request_swipe_start")
            << Call([](char **) { return navigator_request_swipe_start(); }) << false;
        QTest::newRow("stop_swipe_start")
            << Call([](char **) { return navigator_stop_swipe_start(); }) << false;
        QTest::newRow("rotation_lock")
            << Call([](char **) { return navigator_rotation_lock(true); }) << false;
        QTest::newRow("set_orientation")
            << Call([](char **id) { return navigator_set_orientation(90, id); }) << false;
        QTest::newRow("set_window_angle")
            << Call([](char **) { return navigator_set_window_angle(90); }) << false;
        QTest::newRow("orientation_check_response")
            << Call([](char **) { return navigator_orientation_check_response(nullptr, true); })
            << false;
        QTest::newRow("orientation_check_response_id")
            << Call([](char **) { return navigator_orientation_check_response_id("1", false); })
            << false;
        QTest::newRow("done_orientation")
            << Call([](char **) { return navigator_done_orientation(nullptr); }) << false;
        QTest::newRow("done_orientation_id")
            << Call([](char **) { return navigator_done_orientation_id("1"); }) << false;
    }

    void unsupported()
    {
        QFETCH(std::function<int(char **)>, call);
        QFETCH(bool, givesText);
        Initialized oms;
        char *text = nullptr;
        errno = 0;
        QCOMPARE(call(&text), -1);
        QCOMPARE(errno, ENOTSUP);
        if (givesText) {
            QCOMPARE(QByteArray(text), QByteArray("not supported on this device"));
            oms_free(text);
        } else {
            QVERIFY(!text);
        }
        QCOMPARE(m_navigator->received().size(), 0);
    }

    void rawWrite()
    {
        QCOMPARE(navigator_raw_write("msg::x\n", 7), -1);
        QCOMPARE(errno, ENOTCONN);
        Initialized oms;
        const QByteArray text = "msg::setBadge\nid::raw-1\ndat:json:{\"app\":\"raw\"}\n";
        QCOMPARE(navigator_raw_write(text.constData(), unsigned(text.size())), 0);
        QVERIFY(m_navigator->waitForReceived(1));
        QCOMPARE(m_navigator->last().id(), QStringLiteral("raw-1"));
        QCOMPARE(m_navigator->last().dat().value(QStringLiteral("app")).toString(),
                 QStringLiteral("raw"));
        const QByteArray huge(65 * 1024, 'x');
        QCOMPARE(navigator_raw_write(huge.constData(), unsigned(huge.size())), -1);
        QCOMPARE(errno, EMSGSIZE);
    }

    void navigatorRestarts()
    {
        m_navigator->answerOk(QStringLiteral("requestEvents"));
        Initialized oms;
        QCOMPARE(navigator_request_events(0), 0);

        // The navigator goes away and comes back: it adopts the connection.
        m_navigator.reset();
        startNavigator();
        m_navigator->answerOk(QStringLiteral("setWallpaper"));
        QCOMPARE(navigator_set_wallpaper("/a.png"), 0);

        // The whole device goes away: requests fail until it is back, then
        // the connection is made anew and the events asked for again.
        m_navigator.reset();
        m_broker.reset();
        QCOMPARE(navigator_set_wallpaper("/a.png"), -1);
        QCOMPARE(errno, ECONNREFUSED);
        m_broker.reset(new omtest::TestBroker);
        startNavigator();
        m_navigator->answerOk(QStringLiteral("setWallpaper"));
        QCOMPARE(navigator_set_wallpaper("/a.png"), 0);
        QCOMPARE(m_navigator->received().size(), 2);
        QCOMPARE(m_navigator->received().at(0).msg(), QStringLiteral("requestEvents"));
        QCOMPARE(m_navigator->received().at(1).msg(), QStringLiteral("setWallpaper"));
    }

    // --- Navigator events

    void navigatorEvents_data()
    {
        QTest::addColumn<QVariantMap>("message");
        QTest::addColumn<int>("code");
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<int>("windowState");
        QTest::addColumn<int>("angle");

        QTest::newRow("lock state")
            << QVariantMap({{QStringLiteral("msg"), QStringLiteral("deviceLockState")},
                            {QStringLiteral("dat"), QStringLiteral("screenLocked")}})
            << int(NAVIGATOR_DEVICE_LOCK_STATE) << QByteArray("screenLocked") << -1 << -1;
        QTest::newRow("window state")
            << QVariantMap({{QStringLiteral("msg"), QStringLiteral("windowState")},
                            {QStringLiteral("dat"), QStringLiteral("thumbnail")}})
            << int(NAVIGATOR_WINDOW_STATE) << QByteArray("thumbnail")
            << int(NAVIGATOR_WINDOW_THUMBNAIL) << -1;
        QTest::newRow("unknown window state")
            << QVariantMap({{QStringLiteral("msg"), QStringLiteral("windowState")},
                            {QStringLiteral("dat"), QStringLiteral("folded")}})
            << int(NAVIGATOR_WINDOW_STATE) << QByteArray("folded") << -1 << -1;
        QTest::newRow("orientation")
            << QVariantMap({{QStringLiteral("msg"), QStringLiteral("orientation")},
                            {QStringLiteral("dat"), QStringLiteral("270")}})
            << int(NAVIGATOR_ORIENTATION) << QByteArray("270") << -1 << 270;
        QTest::newRow("other") << QVariantMap(
                                      {{QStringLiteral("msg"), QStringLiteral("swipeDown")}})
                               << int(NAVIGATOR_OTHER) << QByteArray("") << -1 << -1;
        QTest::newRow("nested data")
            << QVariantMap({{QStringLiteral("msg"), QStringLiteral("invokeResult")},
                            {QStringLiteral("dat"), QVariantMap({{QStringLiteral("k"), 1}})}})
            << int(NAVIGATOR_OTHER) << QByteArray("{\"k\":1}") << -1 << -1;
    }

    void navigatorEvents()
    {
        QFETCH(QVariantMap, message);
        QFETCH(int, code);
        QFETCH(QByteArray, data);
        QFETCH(int, windowState);
        QFETCH(int, angle);
        m_navigator->answerOk(QStringLiteral("requestEvents"));
        Initialized oms;
        QCOMPARE(navigator_request_events(0), 0);
        QCOMPARE(m_navigator->last().msg(), QStringLiteral("requestEvents"));
        QVERIFY(m_navigator->reply(m_navigator->last().clientId, message));

        oms_event_t *event = nullptr;
        QCOMPARE(oms_get_event(&event, 10000), 0);
        QVERIFY(event);
        QCOMPARE(oms_event_get_domain(event), navigator_get_domain());
        QCOMPARE(oms_event_get_code(event), code);
        QCOMPARE(QByteArray(navigator_event_get_data(event)), data);
        QCOMPARE(navigator_event_get_window_state(event), windowState);
        QCOMPARE(navigator_event_get_orientation_angle(event), angle);
        QVERIFY(!navigator_event_get_id(event));
        QVERIFY(!navigator_event_get_err(event));
        QVERIFY(!navigator_event_get_groupid(event));
        const QByteArray text(navigator_event_get_extended_data(event));
        QCOMPARE(navigator_event_get_extended_data_length(event), text.size());
        QVERIFY(text.contains("msg::" + message.value(QStringLiteral("msg")).toByteArray()));

        QCOMPARE(oms_get_event(&event, 0), 0);
        QVERIFY(!event);
    }

    void navigatorEventTexts()
    {
        m_navigator->answerOk(QStringLiteral("requestEvents"));
        Initialized oms;
        QCOMPARE(navigator_request_events(0), 0);
        QVERIFY(m_navigator->reply(m_navigator->last().clientId,
                                   {{QStringLiteral("msg"), QStringLiteral("windowState")},
                                    {QStringLiteral("id"), QStringLiteral("42")},
                                    {QStringLiteral("err"), QStringLiteral("odd")},
                                    {QStringLiteral("group"), QStringLiteral("g-1")},
                                    {QStringLiteral("dat"), QStringLiteral("invisible")}}));
        oms_event_t *event = nullptr;
        QCOMPARE(oms_get_event(&event, 10000), 0);
        QVERIFY(event);
        QCOMPARE(QByteArray(navigator_event_get_id(event)), QByteArray("42"));
        QCOMPARE(QByteArray(navigator_event_get_err(event)), QByteArray("odd"));
        QCOMPARE(QByteArray(navigator_event_get_groupid(event)), QByteArray("g-1"));
        QCOMPARE(navigator_event_get_window_state(event), int(NAVIGATOR_WINDOW_INVISIBLE));
    }

    void accessorsRefuseOtherEvents()
    {
        const int domain = oms_register_domain();
        oms_event_t *event = makeEvent(domain, NAVIGATOR_WINDOW_STATE);
        QVERIFY(event);
        errno = 0;
        QVERIFY(!navigator_event_get_data(event));
        QCOMPARE(errno, EINVAL);
        QCOMPARE(navigator_event_get_window_state(event), -1);
        QCOMPARE(navigator_event_get_extended_data_length(event), -1);
        QVERIFY(!navigator_event_get_extended_data(nullptr));
        // Even in the navigator's domain, an event the navigator did not make.
        oms_event_t *forged = makeEvent(navigator_get_domain(), NAVIGATOR_WINDOW_STATE);
        QVERIFY(forged);
        QVERIFY(!navigator_event_get_data(forged));
        oms_event_destroy(event);
        oms_event_destroy(forged);
    }

    void eventsThatComeBeforeAnAnswerWait()
    {
        m_navigator->answerOk(QStringLiteral("requestEvents"));
        m_navigator->respond([](const Received &r) {
            QList<Answer> answers;
            if (r.msg() == QLatin1String("setBadge")) {
                answers.append({{{QStringLiteral("msg"), QStringLiteral("deviceLockState")},
                                 {QStringLiteral("dat"), QStringLiteral("pinBlocked")}},
                                {},
                                {},
                                0});
                answers.append({FakeServer::okAnswer(r.attributes), {}, {}, 0});
            }
            return answers;
        });
        Initialized oms;
        QCOMPARE(navigator_request_events(0), 0);
        QCOMPARE(navigator_set_badge(NAVIGATOR_BADGE_SPLAT), 0);
        oms_event_t *event = nullptr;
        QCOMPARE(oms_get_event(&event, 0), 0);
        QVERIFY(event);
        QCOMPARE(QByteArray(navigator_event_get_data(event)), QByteArray("pinBlocked"));
    }

    void eventsNobodyTakesAreCapped()
    {
        const int sent = 1100;
        m_navigator->answerOk(QStringLiteral("requestEvents"));
        m_navigator->respond([sent](const Received &r) {
            QList<Answer> answers;
            if (r.msg() == QLatin1String("setBadge")) {
                for (int i = 0; i < sent; ++i)
                    answers.append({{{QStringLiteral("msg"), QStringLiteral("tick")},
                                     {QStringLiteral("dat"), QString::number(i)}},
                                    {},
                                    {},
                                    0});
                answers.append({FakeServer::okAnswer(r.attributes), {}, {}, 0});
            }
            return answers;
        });
        Initialized oms;
        QCOMPARE(navigator_request_events(0), 0);
        QCOMPARE(navigator_set_badge(NAVIGATOR_BADGE_SPLAT), 0);
        int taken = 0;
        oms_event_t *event = nullptr;
        while (oms_get_event(&event, 0) == 0 && event) {
            QCOMPARE(QByteArray(navigator_event_get_data(event)), QByteArray::number(taken));
            ++taken;
        }
        QCOMPARE(taken, 1024);
    }

    void requestEventsChecks()
    {
        QCOMPARE(navigator_request_events(0), -1);
        QCOMPARE(errno, EINVAL); // no channel: nothing initialised
        int chid = -1;
        QCOMPARE(oms_channel_create(&chid, 0), 0);
        QCOMPARE(oms_channel_set_active(chid), 0);
        QCOMPARE(navigator_request_events(0), -1);
        QCOMPARE(errno, ENOTCONN);
        QCOMPARE(oms_channel_destroy(chid), 0);

        Initialized oms;
        QCOMPARE(navigator_request_events(1), -1);
        QCOMPARE(errno, EINVAL);
        qputenv("OM_NAVIGATOR_TIMEOUT_MS", "100");
        QCOMPARE(navigator_request_events(0), -1); // the fake does not answer
        QCOMPARE(errno, ETIMEDOUT);
    }

    // --- Channels and events of the application

    void eventsInOrder()
    {
        int chid = -1;
        QCOMPARE(oms_channel_create(&chid, 0), 0);
        QCOMPARE(oms_channel_set_active(chid), 0);
        QCOMPARE(oms_channel_get_active(), chid);
        const int domain = oms_register_domain();
        QVERIFY(domain > 0);
        QVERIFY(oms_register_domain() > domain);

        oms_event_t *first = makeEvent(domain, 1, 11);
        oms_event_t *second = makeEvent(domain, 2, 22);
        QCOMPARE(oms_push_event(first), 0);
        QCOMPARE(oms_channel_push_event(chid, second), 0);

        oms_event_t *event = nullptr;
        QCOMPARE(oms_get_event(&event, -1), 0);
        QCOMPARE(event, first);
        QCOMPARE(oms_event_get_payload(event)->data1, uintptr_t(11));
        QVERIFY(released.isEmpty()); // valid until the next get
        QCOMPARE(oms_get_event(&event, 0), 0);
        QCOMPARE(event, second);
        QCOMPARE(released, QList<oms_event_t *>({first}));
        QCOMPARE(oms_get_event(&event, 0), 0);
        QVERIFY(!event);
        QCOMPARE(released, QList<oms_event_t *>({first, second}));
        QCOMPARE(oms_channel_destroy(chid), 0);
        QCOMPARE(oms_channel_get_active(), -1);
    }

    void destroyReleasesAndRunsHandlers()
    {
        int chid = -1;
        QCOMPARE(oms_channel_create(&chid, 0), 0);
        QCOMPARE(oms_channel_set_active(chid), 0);
        const int domain = oms_register_domain();
        oms_event_t *taken = makeEvent(domain, 1);
        oms_event_t *queued = makeEvent(domain, 2);
        QCOMPARE(oms_push_event(taken), 0);
        QCOMPARE(oms_push_event(queued), 0);
        oms_event_t *event = nullptr;
        QCOMPARE(oms_get_event(&event, 0), 0);

        QStringList calls;
        QCOMPARE(
            oms_register_channel_destroy_handler(
                [](void *d) { static_cast<QStringList *>(d)->append(QStringLiteral("first")); },
                &calls),
            0);
        QCOMPARE(
            oms_register_channel_destroy_handler(
                [](void *d) { static_cast<QStringList *>(d)->append(QStringLiteral("second")); },
                &calls),
            0);
        QCOMPARE(oms_channel_destroy(chid), 0);
        QCOMPARE(calls, QStringList({QStringLiteral("second"), QStringLiteral("first")}));
        QCOMPARE(released, QList<oms_event_t *>({taken, queued}));
        QCOMPARE(oms_channel_destroy(chid), -1);
        QCOMPARE(errno, EINVAL);
    }

    void pushFromAnotherThreadWakesTheWait()
    {
        int chid = -1;
        QCOMPARE(oms_channel_create(&chid, 0), 0);
        QCOMPARE(oms_channel_set_active(chid), 0);
        const int domain = oms_register_domain();
        std::thread pusher(
            [chid, domain]() { oms_channel_push_event(chid, makeEvent(domain, 5)); });
        oms_event_t *event = nullptr;
        QCOMPARE(oms_get_event(&event, -1), 0);
        pusher.join();
        QVERIFY(event);
        QCOMPARE(oms_event_get_code(event), 5);
        QCOMPARE(oms_channel_destroy(chid), 0);
    }

    void descriptorHandlers()
    {
        int chid = -1;
        QCOMPARE(oms_channel_create(&chid, 0), 0);
        QCOMPARE(oms_channel_set_active(chid), 0);
        int fds[2];
        QCOMPARE(::pipe(fds), 0);
        struct Context
        {
            int domain;
            int reads = 0;
            bool fail = false;
        } context{oms_register_domain()};
        const auto handler = [](int fd, int ioEvents, void *data) {
            auto *c = static_cast<Context *>(data);
            char byte;
            if (!(ioEvents & OMS_IO_INPUT) || ::read(fd, &byte, 1) != 1)
                return -1;
            ++c->reads;
            if (c->fail) {
                errno = EPROTO;
                return -1;
            }
            return oms_push_event(makeEvent(c->domain, byte));
        };
        QCOMPARE(oms_add_fd(fds[0], OMS_IO_INPUT, handler, &context), 0);
        QCOMPARE(oms_add_fd(fds[0], OMS_IO_INPUT, handler, &context), -1);
        QCOMPARE(errno, EEXIST);

        QCOMPARE(::write(fds[1], "A", 1), ssize_t(1));
        oms_event_t *event = nullptr;
        QCOMPARE(oms_get_event(&event, 10000), 0);
        QVERIFY(event);
        QCOMPARE(oms_event_get_code(event), int('A'));

        context.fail = true;
        QCOMPARE(::write(fds[1], "B", 1), ssize_t(1));
        QCOMPARE(oms_get_event(&event, 10000), -1);
        QCOMPARE(errno, EPROTO);

        QCOMPARE(oms_remove_fd(fds[0]), 0);
        QCOMPARE(::write(fds[1], "C", 1), ssize_t(1));
        QCOMPARE(oms_get_event(&event, 0), 0);
        QVERIFY(!event);
        QCOMPARE(context.reads, 2);
        QCOMPARE(oms_remove_fd(fds[0]), -1);
        QCOMPARE(errno, EINVAL);
        ::close(fds[0]);
        ::close(fds[1]);
        QCOMPARE(oms_channel_destroy(chid), 0);
    }

    void domainDataPerChannel()
    {
        int a = -1;
        int b = -1;
        QCOMPARE(oms_channel_create(&a, 0), 0);
        QCOMPARE(oms_channel_create(&b, 0), 0);
        const int domain = oms_register_domain();
        int value = 0;
        int other = 0;
        QCOMPARE(oms_channel_set_active(a), 0);
        void *old = &other;
        QCOMPARE(oms_set_domain_data(domain, &value, &old), 0);
        QVERIFY(!old);
        QCOMPARE(oms_get_domain_data(domain), static_cast<void *>(&value));
        QCOMPARE(oms_set_domain_data(domain, &other, &old), 0);
        QCOMPARE(old, static_cast<void *>(&value));
        QCOMPARE(oms_channel_set_active(b), 0);
        QVERIFY(!oms_get_domain_data(domain));
        QCOMPARE(oms_set_domain_data(domain + 1000, &value, nullptr), -1);
        QCOMPARE(errno, EINVAL);
        QCOMPARE(oms_channel_destroy(a), 0);
        QCOMPARE(oms_channel_destroy(b), 0);
    }

    void badArguments_data()
    {
        using Call = std::function<int(char **)>;
        QTest::addColumn<Call>("call");
        QTest::newRow("get_event without a place")
            << Call([](char **) { return oms_get_event(nullptr, 0); });
        QTest::newRow("get_event without a channel") << Call([](char **) {
            oms_event_t *e;
            return oms_get_event(&e, 0);
        });
        QTest::newRow("get_event with a bad time-out") << Call([](char **) {
            oms_event_t *e;
            return oms_get_event(&e, -2);
        });
        QTest::newRow("channel_create with flags") << Call([](char **) {
            int c;
            return oms_channel_create(&c, 1);
        });
        QTest::newRow("channel_create without a place")
            << Call([](char **) { return oms_channel_create(nullptr, 0); });
        QTest::newRow("set_active of no channel")
            << Call([](char **) { return oms_channel_set_active(999999); });
        QTest::newRow("push of nothing")
            << Call([](char **) { return oms_channel_push_event(1, nullptr); });
        QTest::newRow("event of an unknown domain") << Call([](char **) {
            oms_event_t *e;
            return oms_event_create(&e, 999999, 1, nullptr, nullptr);
        });
        QTest::newRow("event code too large") << Call([](char **) {
            oms_event_t *e;
            return oms_event_create(&e, unsigned(oms_register_domain()), unsigned(INT_MAX) + 1,
                                    nullptr, nullptr);
        });
        QTest::newRow("domain of no event")
            << Call([](char **) { return oms_event_get_domain(nullptr); });
        QTest::newRow("fd handler missing")
            << Call([](char **) { return oms_add_fd(0, OMS_IO_INPUT, nullptr, nullptr); });
        QTest::newRow("destroy handler missing")
            << Call([](char **) { return oms_register_channel_destroy_handler(nullptr, nullptr); });
    }

    void badArguments()
    {
        QFETCH(std::function<int(char **)>, call);
        errno = 0;
        QCOMPARE(call(nullptr), -1);
        QCOMPARE(errno, EINVAL);
    }

    void versionAndVerbosity()
    {
        QCOMPARE(oms_get_version(), OMS_VERSION);
        QCOMPARE(oms_set_verbosity(OMS_VERBOSITY_INFO), 0);
        QCOMPARE(oms_set_verbosity(99), 0);
        QCOMPARE(oms_set_verbosity(OMS_VERBOSITY_SILENT), 0);
    }

    // --- Device information

    void deviceDetails_data()
    {
        QTest::addColumn<int>("setup"); // 0 no broker, 1 no object, 2 empty object, 3 details
        QTest::addColumn<int>("result");
        QTest::addColumn<int>("error");
        QTest::newRow("no bus") << 0 << -1 << int(ECONNREFUSED);
        QTest::newRow("no details") << 1 << -1 << int(ENOENT);
        QTest::newRow("empty details") << 2 << -1 << int(ENODATA);
        QTest::newRow("details") << 3 << 0 << 0;
    }

    void deviceDetails()
    {
        QFETCH(int, setup);
        QFETCH(int, result);
        QFETCH(int, error);
        omdevice::StatePublisher properties(QStringLiteral("/pps/services/deviceproperties"));
        if (setup == 0)
            m_broker->stop();
        if (setup >= 2) {
            QString why;
            QVERIFY2(properties.open(&why), qPrintable(why));
        }
        if (setup == 3)
            QVERIFY(
                properties.publish({{QStringLiteral("osVersion"), QStringLiteral("10.3.2.2639")},
                                    {QStringLiteral("deviceName"), QStringLiteral("Desk phone")},
                                    {QStringLiteral("modelNumber"), QStringLiteral("X-1")}}));

        deviceinfo_details_t *details = reinterpret_cast<deviceinfo_details_t *>(&setup);
        errno = 0;
        QCOMPARE(deviceinfo_get_details(&details), result);
        if (result != 0) {
            QCOMPARE(errno, error);
            QVERIFY(!details);
            return;
        }
        QVERIFY(details);
        QCOMPARE(QByteArray(deviceinfo_details_get_device_os_version(details)),
                 QByteArray("10.3.2.2639"));
        QCOMPARE(QByteArray(deviceinfo_details_get_device_name(details)), QByteArray("Desk phone"));
        QCOMPARE(QByteArray(deviceinfo_details_get_model_number(details)), QByteArray("X-1"));
        QCOMPARE(QByteArray(deviceinfo_details_get_serial_number(details)),
                 QByteArray("")); // not published
        deviceinfo_free_details(&details);
        QVERIFY(!details);
        deviceinfo_free_details(&details);
        deviceinfo_free_details(nullptr);
        QCOMPARE(deviceinfo_get_details(nullptr), -1);
        QCOMPARE(errno, EINVAL);
    }
};

QTEST_GUILESS_MAIN(tst_Oms)

#include "tst_oms.moc"
