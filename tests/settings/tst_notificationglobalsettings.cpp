#include "settingstest.h"

#include <om/ppsobject.h>

#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>

using namespace om::platform;
using namespace settingstest;

namespace {

const QString SettingsControlPath = "/pps/services/notify/settings-control";
const QString Untouched = "sound=0 vibrate=0 led=0 preview=0 volume=-1 mode=0";
const QString Known = "sound=1 vibrate=2 led=1 preview=2 volume=40 mode=3";
const QString UnknownPolicy = "NotificationGlobalSettings::convertStringToNotificationPolicy(): "
                              "Unknown NotificationMode:  ";

QVariantMap answerTo(const QString &msg, const QVariantMap &dat)
{
    return {{"res", msg}, {"id", "_NotificationGlobalSettings"}, {"dat", dat}};
}

const QVariantMap KnownDat{{"sound", "on"},    {"vibrate", "off"}, {"led", "on"},
                           {"preview", "off"}, {"volume", 40},     {"mode", "normal"}};
const QVariantMap KnownAnswer = answerTo("query", KnownDat);

QString setterWarning(const QString &text)
{
    return "NotificationGlobalSettings::sendMessage(): " + text +
           " \"/pps/services/notify/settings-control?wait\"";
}

// A stand-in for the bus broker at @p root, for what a real one does only by
// accident: the next @p opens opens succeed, and every write on them fails.
void startBrokerRefusingWrites(const QString &root, int opens)
{
    const QByteArray path = QFile::encodeName(root + "/.bus");
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::memcpy(addr.sun_path, path.constData(), size_t(path.size()));
    const int listenFd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (::bind(listenFd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0 ||
        ::listen(listenFd, opens) != 0)
        qFatal("brokerRefusingWrites: %s", std::strerror(errno));
    std::thread([listenFd, opens]() {
        char request[4096];
        for (int i = 0; i < opens; ++i) {
            const int fd = ::accept4(listenFd, nullptr, nullptr, SOCK_CLOEXEC);
            (void)!::recv(fd, request, sizeof request, 0);
            ::shutdown(fd, SHUT_RD); // the answer still arrives, but no write
            (void)!::send(fd, "0\n", 2, MSG_NOSIGNAL);
            ::close(fd);
        }
        ::close(listenFd);
    }).detach();
}

} // namespace

class tst_NotificationGlobalSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void construction_data();
    void construction();
    void updates_data();
    void updates();
    void setterMessages_data();
    void setterMessages();
    void setterResults_data();
    void setterResults();

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_control;
    std::unique_ptr<omtest::FakeServer> m_settingsControl;
};

void tst_NotificationGlobalSettings::init()
{
    QVERIFY(startNotifyService(m_broker, m_control));
    m_settingsControl.reset(new omtest::FakeServer(SettingsControlPath, 0600));
    QVERIFY(m_settingsControl->start());
}

void tst_NotificationGlobalSettings::cleanup()
{
    m_settingsControl.reset();
    m_control.reset();
    m_broker.reset();
}

void tst_NotificationGlobalSettings::construction_data()
{
    QTest::addColumn<QVariantMap>("answer");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QStringList>("warnings");

    const auto row = [](const char *name, const QVariantMap &answer, const QString &expected,
                        const QStringList &warnings = {}) {
        QTest::newRow(name) << answer << expected << warnings;
    };
    const QString mode = "NotificationGlobalSettings::convertStringToNotificationMode(): "
                         "Unknown NotificationMode:  ";
    row("all known", KnownAnswer, Known);
    row("silent: blocks until the answer", KnownAnswer, Known);
    row("true, false, volume as text not clamped",
        answerTo("query", {{"sound", "true"}, {"led", "false"}, {"volume", "150"}}),
        "sound=1 vibrate=0 led=2 preview=0 volume=150 mode=0");
    row("unknown texts logged, stored as Unknown",
        answerTo("query", {{"sound", "loud"}, {"preview", ""}, {"mode", "party"}}), Untouched,
        {UnknownPolicy + "\"loud\"", UnknownPolicy + "\"\"", mode + "\"party\""});
}

void tst_NotificationGlobalSettings::construction()
{
    QFETCH(QVariantMap, answer);
    QFETCH(QString, expected);
    QFETCH(QStringList, warnings);

    const bool silent = QByteArray(QTest::currentDataTag()).startsWith("silent");
    m_control->answer("query", answer, silent ? 300 : 0);
    omtest::WarningCapture capture;
    NotificationGlobalSettings settings;
    QCOMPARE(describe(settings), expected);
    QCOMPARE(capture.warnings(), warnings);
}

void tst_NotificationGlobalSettings::updates_data()
{
    QTest::addColumn<QVariantMap>("message");
    QTest::addColumn<QStringList>("signalsSeen");
    QTest::addColumn<QStringList>("warnings");

    // The object starts from KnownAnswer: on, off, on, off, 40, normal.
    const auto row = [](const char *name, const QVariantMap &dat, const QStringList &signalsSeen,
                        const QStringList &warnings = {}) {
        QTest::newRow(name) << update(dat) << signalsSeen << warnings;
    };
    row("volume alone", {{"volume", 55}}, {"volume:55"});
    row("several, in the fixed order",
        {{"volume", 10}, {"mode", "silent"}, {"sound", "off"}, {"vibrate", "true"}},
        {"sound:Deny", "sound(int):2", "vibrate:Allow", "vibrate(int):1", "mode:Silent",
         "mode(int):1", "volume:10"});
    row("stored values repeated, true for on", {{"sound", "true"}, {"led", "on"}, {"volume", 40}},
        {});
    row("unknown text becomes Unknown", {{"preview", "loud"}},
        {"preview:Unknown", "preview(int):0"}, {UnknownPolicy + "\"loud\""});
    row("volume from the service not clamped", {{"volume", 150}}, {"volume:150"});
    row("object other than @control", {{"volume", 3}}, {});
    QTest::newRow("no dat") << QVariantMap{{"msg", "settingsChanged"}} << QStringList()
                            << QStringList();
    QTest::newRow("undecodable")
        << QVariantMap{{"raw", "dat:json:{\"sound\":\n"}} << QStringList()
        << QStringList{"NotificationGlobalSettings::onReadyReady(): Could not decode PPS response"};
}

void tst_NotificationGlobalSettings::updates()
{
    QFETCH(QVariantMap, message);
    QFETCH(QStringList, signalsSeen);
    QFETCH(QStringList, warnings);

    m_control->answer("query", KnownAnswer);
    NotificationGlobalSettings settings;
    omtest::SignalLog log(&settings);
    omtest::WarningCapture capture;
    const int client = monitorClient(*m_control);
    const QString objectName =
        QTest::currentDataTag() == QByteArray("object other than @control") ? "@control_x" : "";
    // A "raw" message is sent as it is, undecoded.
    QVERIFY(message.contains("raw") ? m_control->replyRaw(client, message["raw"].toByteArray())
                                    : m_control->replyAs(client, objectName, message));
    // A last update that everything before it has been handled by.
    QVERIFY(m_control->reply(client, update({{"volume", 77}})));
    QTRY_COMPARE(settings.volume(), 77);
    QStringList seen = signalsOf(settings, log);
    QCOMPARE(seen.takeLast(), QString("volume:77"));
    QCOMPARE(seen, signalsSeen);
    QCOMPARE(capture.warnings(), warnings);
}

void tst_NotificationGlobalSettings::setterMessages_data()
{
    QTest::addColumn<QByteArray>("setter");
    QTest::addColumn<int>("value");
    QTest::addColumn<QVariantMap>("dat");

    QTest::newRow("sound on") << QByteArray("setSound") << 1 << QVariantMap{{"sound", "on"}};
    QTest::newRow("led Unknown") << QByteArray("setLed") << 0 << QVariantMap{{"led", ""}};
    QTest::newRow("volume 150") << QByteArray("setVolume") << 150 << QVariantMap{{"volume", "100"}};
    QTest::newRow("volume -5") << QByteArray("setVolume") << -5 << QVariantMap{{"volume", "0"}};
    QTest::newRow("mode vibrate") << QByteArray("setMode") << 2
                                  << QVariantMap{{"key", "mode"}, {"value", "vibrate"}};
    QTest::newRow("mode 9") << QByteArray("setMode") << 9
                            << QVariantMap{{"key", "mode"}, {"value", ""}};
}

void tst_NotificationGlobalSettings::setterMessages()
{
    QFETCH(QByteArray, setter);
    QFETCH(int, value);
    QFETCH(QVariantMap, dat);

    const QString msg = setter == "setMode" ? "updateState" : "updateGlobalSettings";
    m_settingsControl->answerOk(msg, QVariantMap());
    m_control->answer("query", KnownAnswer);
    NotificationGlobalSettings settings;
    // Through the int overloads for scripts, which pass the number on.
    int result = -1;
    if (setter == "setVolume")
        result = settings.setVolume(value);
    else
        QVERIFY(QMetaObject::invokeMethod(&settings, setter, Q_RETURN_ARG(int, result),
                                          Q_ARG(int, value)));
    QCOMPARE(result, int(NotificationSettingsError::None));
    // The answer is no update: the properties wait for the service's.
    QCOMPARE(describe(settings), Known);
    QCOMPARE(m_settingsControl->last().attributes,
             (QVariantMap{{"msg", msg}, {"id", KnownAnswer["id"]}, {"dat", dat}}));
}

void tst_NotificationGlobalSettings::setterResults_data()
{
    QTest::addColumn<QVariantMap>("answer");
    QTest::addColumn<int>("result");
    QTest::addColumn<QStringList>("warnings");

    const QVariantMap ok = answerTo("updateGlobalSettings", QVariantMap{{"sound", "on"}});
    const QVariantMap noDat = with(ok, "dat", QVariant());
    const auto row = [&](const char *name, const QVariantMap &answer, int result,
                         const QString &warning) {
        QTest::newRow(name) << answer << result
                            << (warning.isEmpty() ? QStringList() : QStringList{warning});
    };
    // Rows whose name tells how things differ from the service answering "ok".
    const auto failure = [&](const char *name, int result, const QStringList &warnings) {
        QTest::newRow(name) << ok << result << warnings;
    };
    const int Unknown = NotificationSettingsError::Unknown;

    row("dat", ok, NotificationSettingsError::None, "");
    row("dat and err: dat wins", with(ok, "err", "x"), NotificationSettingsError::None, "");
    row("err", with(noDat, "err", "bad value"), NotificationSettingsError::Internal,
        setterWarning("The PPS interface may have changed. ERRNO:  \"bad value\"  PPS: "));
    row("neither dat nor err", noDat, Unknown, setterWarning("The PPS response was malformed: "));
    row("no id", with(ok, "id", QVariant()), Unknown, setterWarning("Incorrect response id: "));
    row("other res", with(ok, "res", "updateState"), Unknown,
        setterWarning("Some unknown error occurred: "));
    failure("any object name", NotificationSettingsError::None, {});
    failure("undecodable", Unknown, {});
    failure("service away", NotificationSettingsError::ServiceUnavailable,
            {setterWarning("PPS did not exist: ")});
    failure("no rights", NotificationSettingsError::InsufficientPermissions,
            {setterWarning("Application did not have permission to PPS: ")});
    // A broker that died leaves mirror files behind, readable and writable,
    // while nothing can be opened.
    failure("stale mirror", Unknown, {setterWarning("Could not open PPS: ")});
    failure("writes fail", Unknown,
            {"NotificationGlobalSettings::NotificationGlobalSettingsPrivate(): Could not write "
             "PPS response.",
             "NotificationGlobalSettings::readGlobalSettings(): Could not write to PPS.",
             setterWarning("Could not write to PPS: ")});
    // The subscription's read fails too, once the events run.
    failure("bus gone", Unknown,
            {setterWarning("Could not read from PPS: "),
             "NotificationGlobalSettings::onReadyReady(): Could not read PPS response"});
}

void tst_NotificationGlobalSettings::setterResults()
{
    const QByteArray failure = QTest::currentDataTag();
    QFETCH(QVariantMap, answer);
    QFETCH(int, result);
    QFETCH(QStringList, warnings);

    if (failure == "no rights" && !omtest::canDropPrivileges())
        QSKIP("running without the rights needs root to begin with");
    QTemporaryDir root;
    omtest::TestBroker *broker = m_broker.get();
    if (failure == "service away") {
        m_settingsControl.reset();
        m_control.reset();
    } else if (failure == "writes fail") {
        cleanup();
        qputenv("OM_PPS_ROOT", QFile::encodeName(root.path()));
        startBrokerRefusingWrites(root.path(), 3); // subscription, query, setter
    } else {
        m_settingsControl->respond([=](const omtest::Received &) {
            const QByteArray raw = failure == "undecodable" ? "dat:n:none\n" : "";
            const QString objectName = failure == "any object name" ? "@elsewhere" : "";
            if (failure != "bus gone")
                return QList<omtest::Answer>{{answer, raw, objectName, 0}};
            broker->stop();
            return QList<omtest::Answer>();
        });
        m_control->answer("query", KnownAnswer);
    }

    omtest::WarningCapture capture;
    NotificationGlobalSettings settings;
    QCOMPARE(describe(settings), m_control ? Known : Untouched);
    if (failure == "stale mirror") {
        broker->stop();
        const QString mirror = om::PpsObject::mirrorFilePath(SettingsControlPath);
        QVERIFY(QDir().mkpath(QFileInfo(mirror).absolutePath()));
        QFile file(mirror);
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    const auto set = [&]() { return settings.setSound(NotificationPolicy::Allow); };
    QCOMPARE(int(failure == "no rights" ? asNobody(set) : set()), result);
    QTRY_COMPARE(capture.warnings(), warnings);
}

QTEST_GUILESS_MAIN(tst_NotificationGlobalSettings)
#include "tst_notificationglobalsettings.moc"
