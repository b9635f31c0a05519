// The device's navigator in process: applications' requests on its control
// object, the user's side, the state object and what survives a restart.

#include "navigator/navigatorservice.h"

#include "controlclient.h"
#include "testbroker.h"

#include <om/ppsobject.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <memory>

using omdevice::NavigatorService;
using omtest::ControlClient;

namespace {

const QString ControlPath = QStringLiteral("/pps/services/navigator/control");
const QString UserSidePath = QStringLiteral("/pps/simulator/navigator");
const QString StatePath = QStringLiteral("/pps/services/navigator/state");

QVariantMap ask(ControlClient &client, const QString &msg, const QVariantMap &dat = QVariantMap())
{
    return client.ask(ControlClient::message(msg, QStringLiteral("r"), dat));
}

QVariantMap refusal(const QString &msg, int error, const QString &text)
{
    return {{"res", msg}, {"id", "r"}, {"err", text}, {"errno", error}};
}

QVariantMap done(const QString &msg)
{
    return {{"res", msg}, {"id", "r"}};
}

// The test's own application, as the device knows it.
QString package()
{
    return QFileInfo(QCoreApplication::applicationFilePath()).fileName();
}

/** The navigator's state object, as applications follow it. */
class State
{
public:
    State() : m_pps(StatePath) { m_pps.open(om::PpsOpenMode::Subscribe); }
    /** The whole object as it stands after the updates so far. */
    QVariantMap now()
    {
        bool ok = true;
        while (ok) {
            const QByteArray data = m_pps.read(&ok);
            if (ok)
                m_last = om::PpsObject::decode(data).value(QStringLiteral("@state")).toMap();
        }
        return m_last;
    }

private:
    om::PpsObject m_pps;
    QVariantMap m_last;
};

} // namespace

class tst_NavigatorService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void lockStateReachesStateAndEvents();
    void userSideRefusals_data();
    void userSideRefusals();
    void wallpaper_data();
    void wallpaper();
    void wallpaperIsCopiedAndReplaced();
    void shortcuts();
    void badgesAndClosePrompts();
    void controlObjectAnswers();
    void restartKeepsWhatIsSaved();

private:
    void startService();
    QString file(const QString &name, const QByteArray &content = "image");
    QVariantMap home();

    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<QTemporaryDir> m_data;
    std::unique_ptr<QTemporaryDir> m_files;
    std::unique_ptr<NavigatorService> m_service;
};

void tst_NavigatorService::init()
{
    m_broker.reset(new omtest::TestBroker);
    QVERIFY(m_broker->isRunning());
    m_data.reset(new QTemporaryDir);
    m_files.reset(new QTemporaryDir);
    startService();
}

void tst_NavigatorService::cleanup()
{
    m_service.reset();
    m_broker.reset();
    m_files.reset();
    m_data.reset();
}

void tst_NavigatorService::startService()
{
    m_service.reset();
    omdevice::DeviceContext context;
    context.dataDirectory = m_data->path();
    m_service.reset(new NavigatorService(context, nullptr));
    QString error;
    QVERIFY2(m_service->start(&error), qPrintable(error));
}

QString tst_NavigatorService::file(const QString &name, const QByteArray &content)
{
    const QString path = m_files->filePath(name);
    QFile f(path);
    if (f.open(QIODevice::WriteOnly))
        f.write(content);
    return path;
}

QVariantMap tst_NavigatorService::home()
{
    ControlClient user(UserSidePath);
    return ask(user, QStringLiteral("home")).value("dat").toMap();
}

void tst_NavigatorService::lockStateReachesStateAndEvents()
{
    State state;
    QCOMPARE(state.now(), (QVariantMap{{"isDeviceLocked", "notLocked"},
                                       {"bedsideMode", false},
                                       {"isWallpaperLocked", false}}));
    ControlClient listener(ControlPath), other(ControlPath), user(UserSidePath);
    QCOMPARE(ask(listener, "requestEvents"), done("requestEvents"));

    QCOMPARE(ask(user, "setLockState", {{"state", "passwordLocked"}}), done("setLockState"));
    QCOMPARE(listener.next(), (QVariantMap{{"msg", "deviceLockState"}, {"dat", "passwordLocked"}}));
    QCOMPARE(ask(user, "setBedsideMode", {{"on", true}}), done("setBedsideMode"));
    QCOMPARE(ask(user, "setWallpaperLock", {{"on", true}}), done("setWallpaperLock"));
    QTRY_COMPARE(state.now(), (QVariantMap{{"isDeviceLocked", "passwordLocked"},
                                           {"bedsideMode", true},
                                           {"isWallpaperLocked", true}}));
    // Only the client that asked hears the event: the next thing the other
    // gets is its own answer.
    QCOMPARE(ask(other, "clearBadge", {{"app", "a"}}), done("clearBadge"));
    // The same state again changes nothing and tells nobody.
    QCOMPARE(ask(user, "setLockState", {{"state", "passwordLocked"}}), done("setLockState"));
    QCOMPARE(ask(listener, "clearBadge", {{"app", "a"}}), done("clearBadge"));
}

void tst_NavigatorService::userSideRefusals_data()
{
    QTest::addColumn<QString>("msg");
    QTest::addColumn<QVariantMap>("dat");
    QTest::addColumn<QVariantMap>("answer");
    QTest::newRow("unknown lock state") << "setLockState" << QVariantMap{{"state", "open"}}
                                        << refusal("setLockState", EINVAL,
                                                   "unknown lock state \"open\"; one of notLocked, "
                                                   "screenLocked, passwordLocked, pinBlocked");
    QTest::newRow("switch without a boolean")
        << "setBedsideMode" << QVariantMap{{"on", "yes"}}
        << refusal("setBedsideMode", EINVAL, "\"on\" must be true or false");
    QTest::newRow("unknown") << "reboot" << QVariantMap()
                             << refusal("reboot", ENOTSUP, "unknown message: reboot");
}

void tst_NavigatorService::userSideRefusals()
{
    QFETCH(QString, msg);
    QFETCH(QVariantMap, dat);
    QFETCH(QVariantMap, answer);
    State state;
    const QVariantMap before = state.now();
    ControlClient user(UserSidePath);
    QCOMPARE(ask(user, msg, dat), answer);
    QCOMPARE(state.now(), before);
}

void tst_NavigatorService::wallpaper_data()
{
    QTest::addColumn<QString>("path"); // FILE: a file that exists, DIR: a directory
    QTest::addColumn<bool>("locked");
    QTest::addColumn<int>("error");
    QTest::addColumn<QString>("text");
    QTest::newRow("taken") << "FILE" << false << 0 << QString();
    QTest::newRow("no path") << "" << false << EINVAL << "no image file given";
    // Not there and not readable are one answer (more in tst_applicationaccess).
    QTest::newRow("no such file") << "/nonexistent/w.png" << false << EACCES
                                  << "cannot read /nonexistent/w.png";
    QTest::newRow("a directory") << "DIR" << false << EISDIR << "not a file: DIR";
    QTest::newRow("locked") << "FILE" << true << EPERM << "the wallpaper is locked";
}

void tst_NavigatorService::wallpaper()
{
    QFETCH(QString, path);
    QFETCH(bool, locked);
    QFETCH(int, error);
    QFETCH(QString, text);
    if (path == QLatin1String("FILE"))
        path = file("w.png");
    else if (path == QLatin1String("DIR"))
        path = m_files->path();
    text.replace(QLatin1String("DIR"), path);
    ControlClient app(ControlPath), user(UserSidePath);
    if (locked)
        QCOMPARE(ask(user, "setWallpaperLock", {{"on", true}}), done("setWallpaperLock"));

    const QVariantMap answer = ask(app, "setWallpaper", {{"path", path}});
    QCOMPARE(answer, error ? refusal("setWallpaper", error, text) : done("setWallpaper"));
    QCOMPARE(home().value("wallpaper").toString(), error ? QString() : path);
}

void tst_NavigatorService::wallpaperIsCopiedAndReplaced()
{
    ControlClient app(ControlPath);
    QCOMPARE(ask(app, "setWallpaper", {{"path", file("first.png", "one")}}), done("setWallpaper"));
    const QString first = home().value("wallpaperFile").toString();
    QVERIFY(first.startsWith(m_data->path()));
    QVERIFY(first.endsWith(".png"));
    QFile::remove(m_files->filePath("first.png"));
    QFile copy(first);
    QVERIFY(copy.open(QIODevice::ReadOnly));
    QCOMPARE(copy.readAll(), QByteArray("one")); // the device's own, after the application's went

    QCOMPARE(ask(app, "setWallpaper", {{"path", file("second.jpg", "two")}}), done("setWallpaper"));
    const QString second = home().value("wallpaperFile").toString();
    QVERIFY(second != first);
    QVERIFY(!QFile::exists(first));
    QVERIFY(QFile::exists(second));
}

void tst_NavigatorService::shortcuts()
{
    ControlClient app(ControlPath);
    const QVariantMap shortcut{
        {"icon", file("i.png")}, {"label", "Mail"}, {"category", "c"}, {"url", "mail:"}};
    QVariantMap unlabelled = shortcut;
    unlabelled.insert("label", "  ");
    QCOMPARE(ask(app, "addShortcut", unlabelled),
             refusal("addShortcut", EINVAL, "a shortcut needs an icon, a label and a URL"));
    QCOMPARE(ask(app, "addShortcut", shortcut), done("addShortcut"));
    QCOMPARE(ask(app, "addShortcut", shortcut),
             refusal("addShortcut", EEXIST, "a shortcut for mail: is already on the home screen"));
    const QVariantList listed = home().value("shortcuts").toList();
    QCOMPARE(listed.size(), 1);
    QVariantMap entry = listed.first().toMap();
    QVERIFY(QFile::exists(entry.take("storedIcon").toString()));
    QCOMPARE(entry.take("app").toString(), package());
    QCOMPARE(entry, shortcut);
}

void tst_NavigatorService::badgesAndClosePrompts()
{
    ControlClient app(ControlPath);
    QCOMPARE(ask(app, "setBadge", {{"badge", "splat"}}),
             refusal("setBadge", EINVAL, "a badge needs the application's name"));
    QCOMPARE(ask(app, "setBadge", {{"app", "mail"}, {"badge", "splat"}}), done("setBadge"));
    QCOMPARE(ask(app, "setBadge", {{"app", "news"}, {"badge", "splat"}}), done("setBadge"));
    QCOMPARE(ask(app, "clearBadge", {{"app", "news"}}), done("clearBadge"));
    QCOMPARE(home().value("badges").toMap(), (QVariantMap{{"mail", "splat"}}));

    QVariantMap prompt{{"app", "mail"}, {"title", "Leave?"}, {"message", "Unsent mail"}};
    {
        ControlClient closing(ControlPath);
        QCOMPARE(ask(closing, "setClosePrompt", prompt), done("setClosePrompt"));
        QCOMPARE(ask(app, "setClosePrompt", prompt), done("setClosePrompt"));
        QCOMPARE(ask(app, "clearClosePrompt"), done("clearClosePrompt"));
        // The prompt is the client's application's, whatever it says.
        prompt.insert("app", package());
        QCOMPARE(home().value("closePrompts").toList(), QVariantList{prompt});
    }
    // A prompt goes with the client that set it.
    QTRY_COMPARE(home().value("closePrompts").toList(), QVariantList());
}

void tst_NavigatorService::controlObjectAnswers()
{
    ControlClient app(ControlPath);
    // Unknown: refused when it has an id, let be when it has none.
    QCOMPARE(ask(app, "bogus"), refusal("bogus", ENOTSUP, "unknown message: bogus"));
    QVERIFY(app.send(ControlClient::message("bogus", QVariant())));
    // Known ones are answered with or without id.
    QVERIFY(app.send(ControlClient::message("requestEvents", QVariant())));
    QCOMPARE(app.next(), (QVariantMap{{"res", "requestEvents"}}));
    QVERIFY(app.sendRaw("msg::setBadge\ndat:json:{\n"));
    QCOMPARE(app.next(),
             (QVariantMap{{"res", ""}, {"err", "malformed message"}, {"errno", EBADMSG}}));
    // "dat" that is no map counts as empty.
    QCOMPARE(app.ask(ControlClient::message("setBadge", "r", "text")),
             refusal("setBadge", EINVAL, "a badge needs the application's name"));
}

void tst_NavigatorService::restartKeepsWhatIsSaved()
{
    {
        ControlClient app(ControlPath), user(UserSidePath);
        QCOMPARE(ask(user, "setLockState", {{"state", "pinBlocked"}}), done("setLockState"));
        QCOMPARE(ask(user, "setBedsideMode", {{"on", true}}), done("setBedsideMode"));
        QCOMPARE(ask(app, "setBadge", {{"app", "mail"}, {"badge", "splat"}}), done("setBadge"));
        QCOMPARE(ask(app, "setWallpaper", {{"path", file("w.png")}}), done("setWallpaper"));
        QCOMPARE(ask(app, "setClosePrompt", {{"app", "mail"}}), done("setClosePrompt"));
    }
    QVariantMap before = home();
    startService();
    State state;
    QCOMPARE(state.now().value("isDeviceLocked").toString(), QStringLiteral("pinBlocked"));
    QVariantMap after = home();
    // Close prompts belong to running clients, which a restart ends.
    before.remove("closePrompts");
    QCOMPARE(after.take("closePrompts").toList(), QVariantList());
    QCOMPARE(after, before);
    QCOMPARE(after.value("badges").toMap(), (QVariantMap{{"mail", "splat"}}));
    QVERIFY(QFile::exists(after.value("wallpaperFile").toString()));
}

QTEST_GUILESS_MAIN(tst_NavigatorService)
#include "tst_navigatorservice.moc"
