// The platform services library on a bus of its own, the navigator a fake server.

#include <oms/deviceinfo.h>
#include <oms/navigator.h>
#include <oms/oms.h>

#include "common/statepublisher.h"
#include "fakeserver.h"
#include "testbroker.h"

#include <om/packageinfo.h>

#include <QtTest/QTest>

#include <cerrno>
#include <cstring>
#include <memory>
#include <thread>
#include <unistd.h>

using omtest::Answer;
using omtest::FakeServer;
using omtest::Received;

namespace {

// One oms_initialize() for a scope.
struct Initialized
{
    ~Initialized() { result == 0 ? oms_shutdown() : void(); }
    int result = oms_initialize();
};

QVariantMap refusal(const Received &r, const QString &text, const QVariant &error = QVariant())
{
    QVariantMap a = FakeServer::okAnswer(r.attributes);
    a.insert("err", text);
    if (error.isValid())
        a.insert("errno", error);
    return a;
}

QList<oms_event_t *> released;

oms_event_t *makeEvent(int domain, int code, uintptr_t data = 0)
{
    oms_event_t *event = nullptr;
    const oms_event_payload_t payload = {data, 0, 0};
    oms_event_create(&event, unsigned(domain), unsigned(code), &payload, [](oms_event_t *e) {
        released << e;
        oms_event_destroy(e);
    });
    return event;
}

int activeChannel()
{
    int chid = -1;
    if (oms_channel_create(&chid, 0) != 0 || oms_channel_set_active(chid) != 0)
        return -1;
    return chid;
}

QString text(const char *s)
{
    return s ? QString::fromUtf8(s) : QString("<null>");
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
        m_navigator.reset(new FakeServer("/pps/services/navigator/control"));
        QVERIFY(m_navigator->start());
    }

    void requestEvents()
    {
        m_navigator->answerOk("requestEvents");
        QCOMPARE(navigator_request_events(0), 0);
        QCOMPARE(m_navigator->last().msg(), QString("requestEvents"));
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

    void initializeFails()
    {
        m_navigator.reset();
        QCOMPARE(oms_initialize(), -1);
        QCOMPARE(errno, ENOENT);
        m_broker->stop();
        QCOMPARE(oms_initialize(), -1);
        QCOMPARE(errno, ECONNREFUSED);
        // Nothing was set up: no channel, and a shutdown has nothing to end.
        QCOMPARE(oms_channel_get_active(), -1);
        oms_shutdown();
        QCOMPARE(navigator_request_events(0), -1);
        QCOMPARE(errno, EINVAL);
    }

    void initializeIsCounted()
    {
        m_navigator->answerOk("setBadge");
        QStringList handlers;
        QCOMPARE(oms_initialize(), 0);
        QCOMPARE(oms_initialize(), 0);
        QVERIFY(m_navigator->waitForClients(1));
        const auto noteA = [](void *d) { static_cast<QStringList *>(d)->append("a"); };
        const auto noteB = [](void *d) { static_cast<QStringList *>(d)->append("b"); };
        QCOMPARE(oms_register_shutdown_handler(noteA, &handlers), 0);
        QCOMPARE(oms_register_shutdown_handler(noteB, &handlers), 0);

        oms_shutdown();
        std::thread([]() { oms_shutdown(); }).join(); // a thread that never initialised
        QCOMPARE(handlers, QStringList());
        QCOMPARE(navigator_set_badge(NAVIGATOR_BADGE_SPLAT), 0);
        QCOMPARE(m_navigator->openedCount(), 1);
        QCOMPARE(m_navigator->last().clientId, m_navigator->clients().value(0));

        oms_shutdown();
        QCOMPARE(handlers, QStringList({"b", "a"}));
        QVERIFY(m_navigator->waitForClosed(1));
        QCOMPARE(oms_channel_get_active(), -1);
        oms_shutdown(); // one too many does no harm
    }

    // Answers to others, without an id or undecodable are passed over; a refusal
    // without errno is EIO, one without text is told in the words of its errno.
    void requestAnswers()
    {
        m_navigator->respond([](const Received &r) {
            QVariantMap other = refusal(r, "not yours", EPERM);
            other.insert("id", "someone-else");
            QVariantMap noId = refusal(r, "no id", EPERM);
            noId.remove("id");
            const QVariantMap last =
                r.msg() == "setWallpaper" ? refusal(r, "no") : refusal(r, QString(), EACCES);
            return QList<Answer>{{other, {}, {}, 0},
                                 {noId, {}, {}, 0},
                                 {{}, QByteArray("broken:json:{\n"), {}, 0},
                                 {last, {}, {}, 0}};
        });
        Initialized oms;
        QCOMPARE(navigator_set_wallpaper("/home/user/sea.png"), -1);
        QCOMPARE(errno, EIO);

        char *err = nullptr;
        QCOMPARE(navigator_add_uri("/icons/shop.png", "Shop", "Any", "http://shop", &err), -1);
        QCOMPARE(errno, EACCES);
        QCOMPARE(text(err), QString::fromLocal8Bit(std::strerror(EACCES)));
        oms_free(err);
        QCOMPARE(m_navigator->received().size(), 2);
    }

    void requestTimesOut()
    {
        qputenv("OM_NAVIGATOR_TIMEOUT_MS", "200");
        Initialized oms;
        QCOMPARE(navigator_request_events(0), -1);
        QCOMPARE(errno, ETIMEDOUT);
        QCOMPARE(navigator_set_wallpaper("/a.png"), -1);
        QCOMPARE(errno, ETIMEDOUT);

        // The late answer does not pass for the answer to the next request.
        const Received first = m_navigator->last();
        QVERIFY(m_navigator->reply(first.clientId, FakeServer::okAnswer(first.attributes)));
        m_navigator->respond([](const Received &r) {
            return QList<Answer>{{refusal(r, "locked", EPERM), {}, {}, 0}};
        });
        QCOMPARE(navigator_set_wallpaper("/b.png"), -1);
        QCOMPARE(errno, EPERM);
    }

    // Requests fail while the device is away; back, it gets the events asked for again.
    void deviceRestarts()
    {
        Initialized oms;
        requestEvents();
        m_navigator.reset();
        m_broker.reset();
        QCOMPARE(navigator_set_wallpaper("/a.png"), -1);
        QCOMPARE(errno, ECONNREFUSED);
        m_broker.reset(new omtest::TestBroker);
        startNavigator();
        m_navigator->answerOk("setWallpaper");
        QCOMPARE(navigator_set_wallpaper("/a.png"), 0);
        QCOMPARE(m_navigator->received().size(), 2);
        QCOMPARE(m_navigator->received().at(0).msg(), QString("requestEvents"));
    }

    void badgeAndClosePrompt()
    {
        for (const char *msg : {"setBadge", "clearBadge", "setClosePrompt", "clearClosePrompt"})
            m_navigator->answerOk(msg);
        const QString app = om::PackageInfo().name();
        // Without oms_initialize() a badge goes on a connection of its own; a close prompt can't.
        QCOMPARE(navigator_set_close_prompt("Leave?", "Unsaved work"), -1);
        QCOMPARE(errno, ENOTCONN);
        QCOMPARE(navigator_set_badge(NAVIGATOR_BADGE_SPLAT), 0);
        QCOMPARE(m_navigator->last().dat(), QVariantMap({{"app", app}, {"badge", "splat"}}));
        QVERIFY(m_navigator->waitForClosed(1));
        QCOMPARE(navigator_clear_badge(), 0);
        QCOMPARE(m_navigator->last().dat(), QVariantMap({{"app", app}}));

        Initialized oms;
        QCOMPARE(navigator_set_close_prompt("Leave?", "Unsaved work"), 0);
        QCOMPARE(m_navigator->last().dat(),
                 QVariantMap({{"app", app}, {"title", "Leave?"}, {"message", "Unsaved work"}}));
        QCOMPARE(navigator_clear_close_prompt(), 0);
        QCOMPARE(m_navigator->last().msg(), QString("clearClosePrompt"));
    }

    // The rest fail with ENOTSUP, those with a place for one giving a text to free.
    void unsupported()
    {
        Initialized oms;
        char *err = nullptr;
        const auto refused = [&](int result, bool givesText) {
            const bool ok = result == -1 && errno == ENOTSUP &&
                            text(err) == (givesText ? "not supported on this device" : "<null>");
            oms_free(err);
            err = nullptr;
            return ok;
        };
        QVERIFY(refused(navigator_invoke("http://x", &err), true));
        QVERIFY(refused(navigator_open_file("/a.txt", &err), true));
        QVERIFY(refused(navigator_extend_timeout(100, &err), true));
        QVERIFY(refused(navigator_set_orientation(90, &err), false));
        QVERIFY(refused(navigator_request_swipe_start(), false));
        QVERIFY(refused(navigator_stop_swipe_start(), false));
        QVERIFY(refused(navigator_rotation_lock(true), false));
        QVERIFY(refused(navigator_set_window_angle(90), false));
        QVERIFY(refused(navigator_orientation_check_response(nullptr, true), false));
        QVERIFY(refused(navigator_orientation_check_response_id("1", false), false));
        QVERIFY(refused(navigator_done_orientation(nullptr), false));
        QVERIFY(refused(navigator_done_orientation_id("1"), false));
        QCOMPARE(m_navigator->received().size(), 0);
    }

    void navigatorEvents()
    {
        Initialized oms;
        requestEvents();
        const auto check = [&](const QVariantMap &message, int code, const QByteArray &data,
                               int windowState, int angle) {
            QVERIFY(m_navigator->reply(m_navigator->last().clientId, message));
            oms_event_t *event = nullptr;
            QCOMPARE(oms_get_event(&event, 10000), 0);
            QVERIFY(event);
            QCOMPARE(oms_event_get_domain(event), navigator_get_domain());
            QCOMPARE(oms_event_get_code(event), code);
            QCOMPARE(QByteArray(navigator_event_get_data(event)), data);
            QCOMPARE(navigator_event_get_window_state(event), windowState);
            QCOMPARE(navigator_event_get_orientation_angle(event), angle);
            QCOMPARE(text(navigator_event_get_id(event)), message.value("id", "<null>").toString());
            QCOMPARE(text(navigator_event_get_err(event)),
                     message.value("err", "<null>").toString());
            QCOMPARE(text(navigator_event_get_groupid(event)),
                     message.value("group", "<null>").toString());
            const QByteArray extended(navigator_event_get_extended_data(event));
            QCOMPARE(navigator_event_get_extended_data_length(event), extended.size());
            QVERIFY(extended.contains("msg::" + message.value("msg").toByteArray()));
            QCOMPARE(oms_get_event(&event, 0), 0);
            QVERIFY(!event);
        };
        check({{"msg", "windowState"},
               {"dat", "invisible"},
               {"id", "42"},
               {"err", "odd"},
               {"group", "g-1"}},
              NAVIGATOR_WINDOW_STATE, "invisible", NAVIGATOR_WINDOW_INVISIBLE, -1);
        check({{"msg", "orientation"}, {"dat", "270"}}, NAVIGATOR_ORIENTATION, "270", -1, 270);
        check({{"msg", "invokeResult"}, {"dat", QVariantMap({{"k", 1}})}}, NAVIGATOR_OTHER,
              "{\"k\":1}", -1, -1);
    }

    // Events that come before an answer wait for the application, the first 1024.
    void eventsBeforeAnAnswerAreKeptUpToACap()
    {
        m_navigator->respond([](const Received &r) {
            QList<Answer> answers;
            for (int i = 0; i < 1100 && r.msg() == "setBadge"; ++i)
                answers.append({{{"msg", "tick"}, {"dat", QString::number(i)}}, {}, {}, 0});
            if (r.msg() == "setBadge")
                answers.append({FakeServer::okAnswer(r.attributes), {}, {}, 0});
            return answers;
        });
        Initialized oms;
        requestEvents();
        QCOMPARE(navigator_set_badge(NAVIGATOR_BADGE_SPLAT), 0);
        int taken = 0;
        oms_event_t *event = nullptr;
        while (oms_get_event(&event, 0) == 0 && event)
            QCOMPARE(QByteArray(navigator_event_get_data(event)), QByteArray::number(taken++));
        QCOMPARE(taken, 1024);
    }

    void channelEvents()
    {
        const int other = activeChannel();
        const int chid = activeChannel();
        QCOMPARE(oms_channel_get_active(), chid);
        int domain = oms_register_domain();
        QVERIFY(domain > 0);
        int value = 0;
        void *old = &value;
        QCOMPARE(oms_set_domain_data(domain, &value, &old), 0);
        QVERIFY(!old);
        QCOMPARE(oms_get_domain_data(domain), static_cast<void *>(&value));
        QCOMPARE(oms_channel_set_active(other), 0);
        QVERIFY(!oms_get_domain_data(domain)); // data is the channel's
        QCOMPARE(oms_channel_set_active(chid), 0);

        oms_event_t *first = makeEvent(domain, 1, 11);
        QCOMPARE(oms_push_event(first), 0);
        oms_event_t *event = nullptr;
        QCOMPARE(oms_get_event(&event, -1), 0);
        QCOMPARE(event, first);
        QCOMPARE(oms_event_get_payload(event)->data1, uintptr_t(11));
        QVERIFY(!navigator_event_get_data(event)); // not the navigator's
        QCOMPARE(errno, EINVAL);
        QVERIFY(released.isEmpty()); // valid until the next get

        // A descriptor's handler runs within the wait, until it is removed.
        int fds[2];
        QCOMPARE(::pipe(fds), 0);
        const auto handler = [](int fd, int, void *d) {
            char byte = 0;
            return ::read(fd, &byte, 1) == 1
                       ? oms_push_event(makeEvent(*static_cast<int *>(d), byte))
                       : -1;
        };
        QCOMPARE(oms_add_fd(fds[0], OMS_IO_INPUT, handler, &domain), 0);
        QCOMPARE(::write(fds[1], "A", 1), ssize_t(1));
        QCOMPARE(oms_get_event(&event, 10000), 0);
        QCOMPARE(oms_event_get_code(event), int('A'));
        QCOMPARE(oms_remove_fd(fds[0]), 0);
        QCOMPARE(::write(fds[1], "B", 1), ssize_t(1));
        QCOMPARE(oms_get_event(&event, 0), 0);
        QVERIFY(!event);
        ::close(fds[0]);
        ::close(fds[1]);

        oms_event_t *second = makeEvent(domain, 2);
        oms_event_t *third = makeEvent(domain, 3);
        std::thread pusher([chid, second]() { oms_channel_push_event(chid, second); });
        QCOMPARE(oms_get_event(&event, -1), 0); // woken by the push of another thread
        pusher.join();
        QCOMPARE(event, second);
        QCOMPARE(oms_push_event(third), 0);

        // Destroying releases the taken and queued events, runs handlers last first.
        QStringList calls;
        const auto noteA = [](void *d) { static_cast<QStringList *>(d)->append("a"); };
        const auto noteB = [](void *d) { static_cast<QStringList *>(d)->append("b"); };
        QCOMPARE(oms_register_channel_destroy_handler(noteA, &calls), 0);
        QCOMPARE(oms_register_channel_destroy_handler(noteB, &calls), 0);
        QCOMPARE(oms_channel_destroy(chid), 0);
        QCOMPARE(calls, QStringList({"b", "a"}));
        QCOMPARE(released.size(), 4);
        QCOMPARE(released.first(), first);
        QCOMPARE(released.mid(2), QList<oms_event_t *>({second, third}));
        QCOMPARE(oms_channel_get_active(), -1);
        QCOMPARE(oms_channel_destroy(chid), -1);
        QCOMPARE(errno, EINVAL);
        QCOMPARE(oms_channel_destroy(other), 0);
    }

    void deviceDetails()
    {
        deviceinfo_details_t *details = reinterpret_cast<deviceinfo_details_t *>(&released);
        QCOMPARE(deviceinfo_get_details(&details), -1);
        QCOMPARE(errno, ENOENT);
        QVERIFY(!details);
        omdevice::StatePublisher properties("/pps/services/deviceproperties");
        QString why;
        QVERIFY2(properties.open(&why), qPrintable(why));
        QCOMPARE(deviceinfo_get_details(&details), -1);
        QCOMPARE(errno, ENODATA);

        QVERIFY(properties.publish(
            {{"osVersion", "10.3.2.2639"}, {"deviceName", "Desk phone"}, {"modelNumber", "X-1"}}));
        QCOMPARE(deviceinfo_get_details(&details), 0);
        QCOMPARE(QByteArray(deviceinfo_details_get_device_os_version(details)),
                 QByteArray("10.3.2.2639"));
        QCOMPARE(QByteArray(deviceinfo_details_get_device_name(details)), QByteArray("Desk phone"));
        QCOMPARE(QByteArray(deviceinfo_details_get_model_number(details)), QByteArray("X-1"));
        QCOMPARE(QByteArray(deviceinfo_details_get_serial_number(details)), QByteArray(""));
        deviceinfo_free_details(&details);
        QVERIFY(!details);
        deviceinfo_free_details(&details);

        m_broker->stop();
        QCOMPARE(deviceinfo_get_details(&details), -1);
        QCOMPARE(errno, ECONNREFUSED);
    }
};

QTEST_GUILESS_MAIN(tst_Oms)

#include "tst_oms.moc"
