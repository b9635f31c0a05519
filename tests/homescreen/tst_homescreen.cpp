// HomeScreen on a bus of its own, with the navigator's state object played
// by the test and the platform layer replaced by fakes.

#include <om/platform/homescreen.h>

#include "fakeoms.h"
#include "statepublisher.h"
#include "testbroker.h"
#include "warningcapture.h"

#include <om/ppsobject.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest/QTest>

#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using om::platform::DeviceLockState;
using om::platform::HomeScreen;
using om::platform::WallpaperLockState;
using om::platform::WallpaperResult;

Q_DECLARE_METATYPE(std::function<void(QDir)>)

namespace {

const QString statePath = QStringLiteral("/pps/services/navigator/state");

QString readWarning(int error)
{
    return QStringLiteral("HomeScreen - failed to read state PPS data:  \"%1\"")
        .arg(QString::fromLocal8Bit(std::strerror(error)));
}

QString wallpaperWarning(int error)
{
    return QStringLiteral("HomeScreen::setWallpaper() - Failed to set wallpaper, errno =  %1")
        .arg(QString::fromLocal8Bit(std::strerror(error)));
}

QString shortcutWarning(int error, const QString &text)
{
    return QStringLiteral("HomeScreen::addShortcut() - Failed to add shortcut, errno =  %1 ,  %2")
        .arg(QString::fromLocal8Bit(std::strerror(error)), text);
}

void writeFile(const QString &path, const QByteArray &content = "not really an image")
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

// Calls @p getter without running the event loop until it gives @p expected
// (the state arrives from the broker's thread), and gives the last value.
template <typename Getter, typename Value> Value pollWithoutEvents(Getter getter, Value expected)
{
    QDeadlineTimer deadline(10000);
    Value value = getter();
    while (value != expected && !deadline.hasExpired()) {
        QThread::yieldCurrentThread();
        value = getter();
    }
    return value;
}

// Runs @p body in a child process under an unprivileged user (when running
// as root, who reads every file), and gives what the body returned.
QString runUnprivileged(const std::function<QString()> &body)
{
    if (::geteuid() != 0)
        return body();
    int fds[2];
    if (::pipe(fds) != 0)
        return QStringLiteral("pipe failed");
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::close(fds[0]);
        if (::setgid(65534) != 0 || ::setuid(65534) != 0)
            ::_exit(2);
        const QByteArray out = body().toUtf8();
        (void)!::write(fds[1], out.constData(), size_t(out.size()));
        ::_exit(0);
    }
    ::close(fds[1]);
    QByteArray out;
    char buffer[4096];
    ssize_t n;
    while ((n = ::read(fds[0], buffer, sizeof buffer)) > 0)
        out.append(buffer, int(n));
    ::close(fds[0]);
    int status = 0;
    ::waitpid(pid, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return QStringLiteral("child failed");
    return QString::fromUtf8(out);
}

} // namespace

class tst_HomeScreen : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeOms> m_oms;
    std::unique_ptr<omdevice::StatePublisher> m_state;
    std::unique_ptr<QTemporaryDir> m_files;

    // Publishes attributes on the state object, creating it at first use.
    void publish(const QVariantMap &attributes, const QStringList &removed = QStringList())
    {
        if (!m_state) {
            m_state.reset(new omdevice::StatePublisher(statePath));
            QString error;
            QVERIFY2(m_state->open(&error), qPrintable(error));
        }
        if (!attributes.isEmpty() || !removed.isEmpty())
            QVERIFY(m_state->publish(attributes, removed));
    }

    QString file(const QString &name) const { return m_files->path() + QLatin1Char('/') + name; }

private Q_SLOTS:
    void init()
    {
        m_broker.reset(new omtest::TestBroker);
        QVERIFY(m_broker->isRunning());
        m_oms.reset(new omtest::FakeOms);
        m_files.reset(new QTemporaryDir);
        QVERIFY(m_files->isValid());
    }

    void cleanup()
    {
        m_state.reset();
        m_oms.reset();
        m_broker.reset();
        m_files.reset();
    }

    // --- Life cycle

    void constructionAndDestructionUseTheFacade()
    {
        publish({{QStringLiteral("isDeviceLocked"), QStringLiteral("notLocked")}});
        auto *home = new HomeScreen;
        QCOMPARE(m_oms->calls,
                 QStringList({QStringLiteral("initialize"), QStringLiteral("request_events(0)")}));
        delete home;
        QCOMPARE(m_oms->calls.last(), QStringLiteral("shutdown"));
        QCOMPARE(m_oms->calls.size(), 3);
    }

    void initialStateIsTakenWithoutSignals()
    {
        publish({{QStringLiteral("isDeviceLocked"), QStringLiteral("passwordLocked")},
                 {QStringLiteral("bedsideMode"), true},
                 {QStringLiteral("isWallpaperLocked"), true}});
        omtest::WarningCapture capture;
        HomeScreen home;
        QSignalSpy lock(&home, QOverload<DeviceLockState::Type>::of(&HomeScreen::lockStateChanged));
        QSignalSpy bedside(&home, &HomeScreen::bedsideModeActiveChanged);
        QSignalSpy wallpaper(
            &home, QOverload<WallpaperLockState::Type>::of(&HomeScreen::wallpaperLockStateChanged));
        QCOMPARE(home.lockState(), DeviceLockState::PasswordLocked);
        QCOMPARE(home.isBedsideModeActive(), true);
        QCOMPARE(home.wallpaperLockState(), WallpaperLockState::Locked);
        QCOMPARE(home.property("lockState").value<DeviceLockState::Type>(),
                 DeviceLockState::PasswordLocked);
        QCOMPARE(lock.count(), 0);
        QCOMPARE(bedside.count(), 0);
        QCOMPARE(wallpaper.count(), 0);
        QCOMPARE(capture.warnings(), QStringList());
    }

    void openFailureLeavesStateUnknownForGood()
    {
        omtest::WarningCapture capture;
        HomeScreen home;
        QCOMPARE(
            capture.warnings(),
            QStringList({QStringLiteral("HomeScreen - Failed to open state PPS object:  \"%1\"")
                             .arg(QString::fromLocal8Bit(std::strerror(ENOENT)))}));
        QSignalSpy lock(&home, QOverload<DeviceLockState::Type>::of(&HomeScreen::lockStateChanged));

        // The object appears later; a HomeScreen made now hears of it, the
        // first one never does.
        publish({{QStringLiteral("isDeviceLocked"), QStringLiteral("notLocked")},
                 {QStringLiteral("bedsideMode"), true}});
        HomeScreen later;
        QSignalSpy laterLock(&later,
                             QOverload<DeviceLockState::Type>::of(&HomeScreen::lockStateChanged));
        publish({{QStringLiteral("isDeviceLocked"), QStringLiteral("screenLocked")}});
        QVERIFY(laterLock.wait());

        QCOMPARE(lock.count(), 0);
        QCOMPARE(home.lockState(), DeviceLockState::Unknown);
        QCOMPARE(home.isBedsideModeActive(), false);
        QCOMPARE(home.wallpaperLockState(), WallpaperLockState::Unknown);
        QCOMPARE(capture.warnings().size(), 1);
    }

    // --- State

    void lockStateTexts_data()
    {
        QTest::addColumn<QVariant>("text"); // invalid: the attribute is removed
        QTest::addColumn<DeviceLockState::Type>("expected");
        QTest::newRow("notLocked")
            << QVariant(QStringLiteral("notLocked")) << DeviceLockState::Unlocked;
        QTest::newRow("screenLocked")
            << QVariant(QStringLiteral("screenLocked")) << DeviceLockState::ScreenLocked;
        QTest::newRow("passwordLocked")
            << QVariant(QStringLiteral("passwordLocked")) << DeviceLockState::PasswordLocked;
        QTest::newRow("pinBlocked")
            << QVariant(QStringLiteral("pinBlocked")) << DeviceLockState::PinBlocked;
        QTest::newRow("other case")
            << QVariant(QStringLiteral("NotLocked")) << DeviceLockState::Unknown;
        QTest::newRow("trailing blank")
            << QVariant(QStringLiteral("screenLocked ")) << DeviceLockState::Unknown;
        QTest::newRow("unknown text")
            << QVariant(QStringLiteral("locked")) << DeviceLockState::Unknown;
        QTest::newRow("empty") << QVariant(QString()) << DeviceLockState::Unknown;
        QTest::newRow("a number") << QVariant(2) << DeviceLockState::Unknown;
        QTest::newRow("absent") << QVariant() << DeviceLockState::Unknown;
    }

    void lockStateTexts()
    {
        QFETCH(QVariant, text);
        QFETCH(DeviceLockState::Type, expected);
        const QString start = expected == DeviceLockState::Unlocked ? QStringLiteral("pinBlocked")
                                                                    : QStringLiteral("notLocked");
        publish({{QStringLiteral("isDeviceLocked"), start}});
        HomeScreen home;
        QSignalSpy enumSpy(&home,
                           QOverload<DeviceLockState::Type>::of(&HomeScreen::lockStateChanged));
        QSignalSpy intSpy(&home, QOverload<int>::of(&HomeScreen::lockStateChanged));

        if (text.isValid())
            publish({{QStringLiteral("isDeviceLocked"), text}});
        else
            publish(QVariantMap(), {QStringLiteral("isDeviceLocked")});
        QTRY_COMPARE(enumSpy.count(), 1);
        QCOMPARE(enumSpy.at(0).at(0).value<DeviceLockState::Type>(), expected);
        QCOMPARE(intSpy.count(), 1);
        QCOMPARE(intSpy.at(0).at(0).toInt(), int(expected));

        // With nothing new, a getter is silent only while the lock state is known.
        omtest::WarningCapture capture;
        QCOMPARE(home.lockState(), expected);
        QCOMPARE(capture.warnings(), expected == DeviceLockState::Unknown
                                         ? QStringList(readWarning(EAGAIN))
                                         : QStringList());
    }

    void wallpaperLockState_data()
    {
        QTest::addColumn<QVariant>("before"); // invalid: absent
        QTest::addColumn<QVariant>("after");
        QTest::addColumn<WallpaperLockState::Type>("expected");
        QTest::newRow("absent to true")
            << QVariant() << QVariant(true) << WallpaperLockState::Locked;
        QTest::newRow("absent to false")
            << QVariant() << QVariant(false) << WallpaperLockState::Unlocked;
        QTest::newRow("true to false")
            << QVariant(true) << QVariant(false) << WallpaperLockState::Unlocked;
        QTest::newRow("true to absent")
            << QVariant(true) << QVariant() << WallpaperLockState::Unknown;
        QTest::newRow("false to absent")
            << QVariant(false) << QVariant() << WallpaperLockState::Unknown;
    }

    void wallpaperLockState()
    {
        QFETCH(QVariant, before);
        QFETCH(QVariant, after);
        QFETCH(WallpaperLockState::Type, expected);
        QVariantMap initial = {{QStringLiteral("isDeviceLocked"), QStringLiteral("notLocked")}};
        if (before.isValid())
            initial.insert(QStringLiteral("isWallpaperLocked"), before);
        publish(initial);
        HomeScreen home;
        QSignalSpy enumSpy(
            &home, QOverload<WallpaperLockState::Type>::of(&HomeScreen::wallpaperLockStateChanged));
        QSignalSpy intSpy(&home, QOverload<int>::of(&HomeScreen::wallpaperLockStateChanged));

        if (after.isValid())
            publish({{QStringLiteral("isWallpaperLocked"), after}});
        else
            publish(QVariantMap(), {QStringLiteral("isWallpaperLocked")});
        QTRY_COMPARE(enumSpy.count(), 1);
        QCOMPARE(enumSpy.at(0).at(0).value<WallpaperLockState::Type>(), expected);
        QCOMPARE(intSpy.count(), 1);
        QCOMPARE(intSpy.at(0).at(0).toInt(), int(expected));
        QCOMPARE(home.wallpaperLockState(), expected);
    }

    void missingBedsideModeReadsFalse()
    {
        publish({{QStringLiteral("isDeviceLocked"), QStringLiteral("notLocked")},
                 {QStringLiteral("bedsideMode"), true}});
        HomeScreen home;
        QSignalSpy bedside(&home, &HomeScreen::bedsideModeActiveChanged);
        publish(QVariantMap(), {QStringLiteral("bedsideMode")});
        QVERIFY(bedside.wait());
        QCOMPARE(bedside.count(), 1);
        QCOMPARE(bedside.at(0).at(0).toBool(), false);
        QCOMPARE(home.isBedsideModeActive(), false);
    }

    void signalsComeInOrderWithAllFieldsNew()
    {
        publish({{QStringLiteral("isDeviceLocked"), QStringLiteral("notLocked")},
                 {QStringLiteral("bedsideMode"), false},
                 {QStringLiteral("isWallpaperLocked"), false}});
        HomeScreen home;
        QStringList seen;
        connect(&home, QOverload<DeviceLockState::Type>::of(&HomeScreen::lockStateChanged), this,
                [&](DeviceLockState::Type state) {
                    seen << QStringLiteral("lock %1").arg(int(state));
                    // Every field is new before the first signal goes out.
                    seen << QStringLiteral("fields %1 %2 %3")
                                .arg(int(home.lockState()))
                                .arg(home.isBedsideModeActive())
                                .arg(int(home.wallpaperLockState()));
                });
        connect(&home, QOverload<int>::of(&HomeScreen::lockStateChanged), this,
                [&](int state) { seen << QStringLiteral("lock int %1").arg(state); });
        connect(&home, &HomeScreen::bedsideModeActiveChanged, this,
                [&](bool on) { seen << QStringLiteral("bedside %1").arg(on); });
        connect(&home,
                QOverload<WallpaperLockState::Type>::of(&HomeScreen::wallpaperLockStateChanged),
                this, [&](WallpaperLockState::Type state) {
                    seen << QStringLiteral("wallpaper %1").arg(int(state));
                });
        connect(&home, QOverload<int>::of(&HomeScreen::wallpaperLockStateChanged), this,
                [&](int state) { seen << QStringLiteral("wallpaper int %1").arg(state); });

        publish({{QStringLiteral("isDeviceLocked"), QStringLiteral("pinBlocked")},
                 {QStringLiteral("bedsideMode"), true},
                 {QStringLiteral("isWallpaperLocked"), true}});
        QTRY_COMPARE(seen.size(), 6);
        QCOMPARE(seen,
                 QStringList({QStringLiteral("lock 4"), QStringLiteral("fields 4 1 1"),
                              QStringLiteral("lock int 4"), QStringLiteral("bedside 1"),
                              QStringLiteral("wallpaper 1"), QStringLiteral("wallpaper int 1")}));
    }

    void getterEmitsWhileDataWaits()
    {
        publish({{QStringLiteral("isDeviceLocked"), QStringLiteral("notLocked")}});
        HomeScreen home;
        bool insideGetter = false;
        QList<bool> emittedInside;
        connect(&home, QOverload<DeviceLockState::Type>::of(&HomeScreen::lockStateChanged), this,
                [&]() { emittedInside << insideGetter; });

        publish({{QStringLiteral("isDeviceLocked"), QStringLiteral("screenLocked")}});
        // No event loop runs: only the getter can take the new state in.
        const DeviceLockState::Type state = pollWithoutEvents(
            [&]() {
                insideGetter = true;
                const DeviceLockState::Type value = home.lockState();
                insideGetter = false;
                return value;
            },
            DeviceLockState::ScreenLocked);
        QCOMPARE(state, DeviceLockState::ScreenLocked);
        QCOMPARE(emittedInside, QList<bool>({true}));
    }

    void readWarnings_data()
    {
        QTest::addColumn<QVariantMap>("attributes");
        QTest::addColumn<int>("warningsAtConstruction");
        QTest::addColumn<bool>("getterWarns");
        QTest::newRow("empty object") << QVariantMap() << 1 << true;
        QTest::newRow("bedside mode only")
            << QVariantMap({{QStringLiteral("bedsideMode"), true}}) << 0 << true;
        QTest::newRow("unknown lock text")
            << QVariantMap({{QStringLiteral("isDeviceLocked"), QStringLiteral("asleep")}}) << 0
            << true;
        QTest::newRow("lock state known")
            << QVariantMap({{QStringLiteral("isDeviceLocked"), QStringLiteral("screenLocked")}})
            << 0 << false;
    }

    void readWarnings()
    {
        QFETCH(QVariantMap, attributes);
        QFETCH(int, warningsAtConstruction);
        QFETCH(bool, getterWarns);
        publish(attributes);
        omtest::WarningCapture capture;
        HomeScreen home;
        const QString warning = readWarning(EAGAIN);
        QCOMPARE(capture.warnings(),
                 QStringList(QVector<QString>(warningsAtConstruction, warning).toList()));
        capture.clear();

        QSignalSpy lock(&home, QOverload<DeviceLockState::Type>::of(&HomeScreen::lockStateChanged));
        const DeviceLockState::Type before = home.lockState();
        home.isBedsideModeActive();
        home.wallpaperLockState();
        QCOMPARE(home.lockState(), before);
        QCOMPARE(lock.count(), 0);
        QCOMPARE(capture.warnings(),
                 getterWarns ? QStringList(QVector<QString>(4, warning).toList()) : QStringList());
    }

    void undecodableDataKeepsOldValues()
    {
        publish({{QStringLiteral("isDeviceLocked"), QStringLiteral("passwordLocked")},
                 {QStringLiteral("bedsideMode"), true}});
        HomeScreen home;
        QSignalSpy lock(&home, QOverload<DeviceLockState::Type>::of(&HomeScreen::lockStateChanged));
        omtest::WarningCapture capture;
        QVERIFY(m_state->publishRaw("broken:json:{\"a\":\n"));
        QTRY_COMPARE(capture.warnings(),
                     QStringList(QStringLiteral("HomeScreen - failed to decode state PPS data")));
        QCOMPARE(home.lockState(), DeviceLockState::PasswordLocked);
        QCOMPARE(home.isBedsideModeActive(), true);
        QCOMPARE(lock.count(), 0);
    }

    void twoHomeScreensBothHear()
    {
        publish({{QStringLiteral("isDeviceLocked"), QStringLiteral("notLocked")}});
        HomeScreen first;
        HomeScreen second;
        QSignalSpy firstSpy(&first,
                            QOverload<DeviceLockState::Type>::of(&HomeScreen::lockStateChanged));
        QSignalSpy secondSpy(&second,
                             QOverload<DeviceLockState::Type>::of(&HomeScreen::lockStateChanged));
        publish({{QStringLiteral("isDeviceLocked"), QStringLiteral("screenLocked")}});
        publish({{QStringLiteral("isDeviceLocked"), QStringLiteral("pinBlocked")}});
        QTRY_COMPARE(firstSpy.count(), 2);
        QTRY_COMPARE(secondSpy.count(), 2);
        QCOMPARE(secondSpy.at(1).at(0).value<DeviceLockState::Type>(), DeviceLockState::PinBlocked);
        QCOMPARE(first.lockState(), DeviceLockState::PinBlocked);
    }

    // --- Wallpaper

    void wallpaperFileChecks_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<std::function<void(QDir)>>("prepare");
        QTest::addColumn<QString>("warning");       // %1: the absolute path; empty: none
        QTest::addColumn<QString>("navigatorPath"); // relative to the directory; empty: not called

        const auto plain = [](const QString &name) {
            return std::function<void(QDir)>([name](QDir dir) { writeFile(dir.filePath(name)); });
        };
        QTest::newRow("png") << "a.png" << plain("a.png") << ""
                             << "a.png";
        QTest::newRow("upper-case suffix") << "B.JPG" << plain("B.JPG") << ""
                                           << "B.JPG";
        QTest::newRow("mixed-case suffix") << "c.JfIf" << plain("c.JfIf") << ""
                                           << "c.JfIf";
        QTest::newRow("text with an image suffix") << "notes.jpe" << plain("notes.jpe") << ""
                                                   << "notes.jpe";
        QTest::newRow("symbolic link") << "link.png" << std::function<void(QDir)>([](QDir dir) {
            writeFile(dir.filePath("target.png"));
            QFile::link(dir.filePath("target.png"), dir.filePath("link.png"));
        }) << ""
                                       << "target.png";
        QTest::newRow("no suffix") << "picture" << plain("picture")
                                   << "HomeScreen - File \"%1\" is not a recognized image file."
                                   << "";
        QTest::newRow("other image suffix")
            << "anim.gif" << plain("anim.gif")
            << "HomeScreen - File \"%1\" is not a recognized image file."
            << "";
        QTest::newRow("missing") << "missing.png" << std::function<void(QDir)>([](QDir) {})
                                 << "HomeScreen - Path \"%1\" does not exist."
                                 << "";
        QTest::newRow("dangling link") << "dangling.png" << std::function<void(QDir)>([](QDir dir) {
            QFile::link(dir.filePath("gone.png"), dir.filePath("dangling.png"));
        }) << "HomeScreen - Path \"%1\" does not exist."
                                       << "";
        QTest::newRow("directory")
            << "folder.png" << std::function<void(QDir)>([](QDir dir) { dir.mkdir("folder.png"); })
            << "HomeScreen - Path \"%1\" is a directory, not a file."
            << "";
        QTest::newRow("fifo") << "pipe.png" << std::function<void(QDir)>([](QDir dir) {
            ::mkfifo(QFile::encodeName(dir.filePath("pipe.png")).constData(), 0644);
        }) << "HomeScreen - Path \"%1\" is a directory, not a file."
                              << "";
    }

    void wallpaperFileChecks()
    {
        QFETCH(QString, name);
        QFETCH(std::function<void(QDir)>, prepare);
        QFETCH(QString, warning);
        QFETCH(QString, navigatorPath);
        QDir dir(m_files->path());
        prepare(dir);
        publish({{QStringLiteral("isDeviceLocked"), QStringLiteral("notLocked")}});
        HomeScreen home;
        QSignalSpy finished(&home, QOverload<const QUrl &, WallpaperResult::Type>::of(
                                       &HomeScreen::wallpaperFinished));
        m_oms->calls.clear();
        omtest::WarningCapture capture;

        const bool accepted = home.setWallpaper(QUrl::fromLocalFile(dir.filePath(name)));
        QCOMPARE(accepted, warning.isEmpty());
        QCOMPARE(capture.warnings(),
                 warning.isEmpty() ? QStringList() : QStringList(warning.arg(dir.filePath(name))));
        if (navigatorPath.isEmpty()) {
            QCOMPARE(m_oms->calls, QStringList());
            QCOMPARE(finished.count(), 0);
        } else {
            const QString canonical = QFileInfo(dir.filePath(navigatorPath)).canonicalFilePath();
            QCOMPARE(m_oms->calls, QStringList(QStringLiteral("set_wallpaper(%1)").arg(canonical)));
            QCOMPARE(finished.count(), 1);
        }
    }

    void unreadableWallpaperIsRefused()
    {
        const QString path = file(QStringLiteral("secret.png"));
        writeFile(path);
        QVERIFY(QFile::setPermissions(path, QFileDevice::Permissions()));
        QVERIFY(QFile::setPermissions(m_files->path(), QFileDevice::Permissions(0x7755)));
        publish({{QStringLiteral("isDeviceLocked"), QStringLiteral("notLocked")}});
        HomeScreen home;
        m_oms->calls.clear();

        const QString outcome = runUnprivileged([&]() {
            omtest::WarningCapture capture;
            const bool accepted = home.setWallpaper(QUrl::fromLocalFile(path));
            return QStringList({accepted ? QStringLiteral("accepted") : QStringLiteral("refused"),
                                capture.warnings().join(QLatin1Char('|')),
                                m_oms->calls.join(QLatin1Char('|'))})
                .join(QLatin1Char('\n'));
        });
        QCOMPARE(outcome,
                 QStringLiteral("refused\nHomeScreen - File \"%1\" cannot be read.\n").arg(path));
    }

    void wallpaperUrls_data()
    {
        QTest::addColumn<QUrl>("url");
        QTest::addColumn<bool>("navigatorCalled");
        QTest::newRow("file URL") << QUrl(QStringLiteral("file:wall.png")) << true;
        QTest::newRow("relative path") << QUrl(QStringLiteral("wall.png")) << true;
        QTest::newRow("empty URL") << QUrl() << false;
        QTest::newRow("remote URL") << QUrl(QStringLiteral("http://example.com/wall.png")) << false;
        QTest::newRow("file URL of another host")
            << QUrl(QStringLiteral("file://elsewhere/wall.png")) << false;
    }

    void wallpaperUrls()
    {
        QFETCH(QUrl, url);
        QFETCH(bool, navigatorCalled);
        writeFile(file(QStringLiteral("wall.png")));
        const QString previous = QDir::currentPath();
        QDir::setCurrent(m_files->path());
        publish({{QStringLiteral("isDeviceLocked"), QStringLiteral("notLocked")}});
        HomeScreen home;
        QSignalSpy finished(&home, QOverload<const QUrl &, WallpaperResult::Type>::of(
                                       &HomeScreen::wallpaperFinished));
        m_oms->calls.clear();
        omtest::WarningCapture capture;
        const bool accepted = home.setWallpaper(url);
        QDir::setCurrent(previous);

        QCOMPARE(accepted, navigatorCalled);
        QCOMPARE(capture.warnings(), QStringList());
        if (navigatorCalled) {
            const QString canonical =
                QFileInfo(file(QStringLiteral("wall.png"))).canonicalFilePath();
            QCOMPARE(m_oms->calls, QStringList(QStringLiteral("set_wallpaper(%1)").arg(canonical)));
            QCOMPARE(finished.count(), 1);
            QCOMPARE(finished.at(0).at(0).toUrl(), url); // the URL as the caller gave it
        } else {
            QCOMPARE(m_oms->calls, QStringList());
            QCOMPARE(finished.count(), 0);
        }
    }

    void wallpaperOutcome_data()
    {
        QTest::addColumn<int>("result");
        QTest::addColumn<int>("error");
        QTest::addColumn<WallpaperResult::Type>("expected");
        QTest::newRow("changed") << 0 << 0 << WallpaperResult::Changed;
        QTest::newRow("locked") << -1 << EPERM << WallpaperResult::Locked;
        QTest::newRow("no answer") << -1 << ETIMEDOUT << WallpaperResult::Locked;
        QTest::newRow("device away") << -1 << ECONNREFUSED << WallpaperResult::Locked;
    }

    void wallpaperOutcome()
    {
        QFETCH(int, result);
        QFETCH(int, error);
        QFETCH(WallpaperResult::Type, expected);
        const QString path = file(QStringLiteral("w.png"));
        writeFile(path);
        publish({{QStringLiteral("isDeviceLocked"), QStringLiteral("notLocked")}});
        HomeScreen home;
        m_oms->navigator->result = result;
        m_oms->navigator->error = error;
        QSignalSpy enumSpy(&home, QOverload<const QUrl &, WallpaperResult::Type>::of(
                                      &HomeScreen::wallpaperFinished));
        QSignalSpy intSpy(&home, QOverload<const QUrl &, int>::of(&HomeScreen::wallpaperFinished));
        QStringList order;
        connect(&home,
                QOverload<const QUrl &, WallpaperResult::Type>::of(&HomeScreen::wallpaperFinished),
                this, [&]() { order << QStringLiteral("enum"); });
        connect(&home, QOverload<const QUrl &, int>::of(&HomeScreen::wallpaperFinished), this,
                [&]() { order << QStringLiteral("int"); });
        omtest::WarningCapture capture;

        const QUrl url = QUrl::fromLocalFile(path);
        QCOMPARE(home.setWallpaper(url), result == 0);
        QCOMPARE(capture.warnings(),
                 result == 0 ? QStringList() : QStringList(wallpaperWarning(error)));
        QCOMPARE(enumSpy.count(), 1);
        QCOMPARE(enumSpy.at(0).at(0).toUrl(), url);
        QCOMPARE(enumSpy.at(0).at(1).value<WallpaperResult::Type>(), expected);
        QCOMPARE(intSpy.count(), 1);
        QCOMPARE(intSpy.at(0).at(1).toInt(), int(expected));
        QCOMPARE(order, QStringList({QStringLiteral("enum"), QStringLiteral("int")}));
    }

    // --- Shortcuts

    void shortcutArguments_data()
    {
        QTest::addColumn<QString>("label");
        QTest::addColumn<QUrl>("url");
        QTest::addColumn<QString>("icon");      // name in the directory; empty: an empty URL
        QTest::addColumn<QString>("warning");   // %1: the icon's absolute path
        QTest::addColumn<QString>("sentLabel"); // empty: navigator not called

        const QUrl url(QStringLiteral("http://example.com/app?x=1"));
        QTest::newRow("plain") << "My App" << url << "icon.png"
                               << ""
                               << "My App";
        QTest::newRow("blanks simplified") << "  My \t  App \n"
                                           << url << "icon.png"
                                           << ""
                                           << "My App";
        QTest::newRow("upper-case icon suffix") << "A" << url << "ICON.PNG"
                                                << ""
                                                << "A";
        QTest::newRow("blank label") << "   \t" << url << "icon.png"
                                     << "HomeScreen - Shortcut label cannot be empty."
                                     << "";
        QTest::newRow("empty label") << "" << url << "icon.png"
                                     << "HomeScreen - Shortcut label cannot be empty."
                                     << "";
        QTest::newRow("label checked before URL") << " " << QUrl() << "icon.png"
                                                  << "HomeScreen - Shortcut label cannot be empty."
                                                  << "";
        QTest::newRow("empty URL") << "A" << QUrl() << "icon.png"
                                   << "HomeScreen - Shortcut URL cannot be empty."
                                   << "";
        QTest::newRow("empty icon URL") << "A" << url << ""
                                        << ""
                                        << "";
        QTest::newRow("missing icon") << "A" << url << "none.png"
                                      << "HomeScreen - Path \"%1\" does not exist."
                                      << "";
        QTest::newRow("icon not an image")
            << "A" << url << "icon.txt"
            << "HomeScreen - File \"%1\" is not a recognized image file."
            << "";
    }

    void shortcutArguments()
    {
        QFETCH(QString, label);
        QFETCH(QUrl, url);
        QFETCH(QString, icon);
        QFETCH(QString, warning);
        QFETCH(QString, sentLabel);
        for (const char *name : {"icon.png", "ICON.PNG", "icon.txt"})
            writeFile(file(QLatin1String(name)));
        publish({{QStringLiteral("isDeviceLocked"), QStringLiteral("notLocked")}});
        HomeScreen home;
        m_oms->calls.clear();
        omtest::WarningCapture capture;

        const QUrl iconUrl = icon.isEmpty() ? QUrl() : QUrl::fromLocalFile(file(icon));
        QCOMPARE(home.addShortcut(iconUrl, label, url), !sentLabel.isEmpty());
        if (warning.contains(QLatin1String("%1")))
            warning = warning.arg(file(icon));
        QCOMPARE(capture.warnings(), warning.isEmpty() ? QStringList() : QStringList(warning));
        if (sentLabel.isEmpty()) {
            QCOMPARE(m_oms->calls, QStringList());
        } else {
            QCOMPARE(m_oms->calls, QStringList(QStringLiteral("add_uri(%1|%2|Any|%3|err null)")
                                                   .arg(QFileInfo(file(icon)).canonicalFilePath(),
                                                        sentLabel, url.toString())));
        }
    }

    void shortcutOutcome_data()
    {
        QTest::addColumn<int>("result");
        QTest::addColumn<int>("error");
        QTest::addColumn<QByteArray>("errorText"); // null: none handed back
        QTest::newRow("added") << 0 << 0 << QByteArray();
        QTest::newRow("added, with a text to free") << 0 << 0 << QByteArray("fine");
        QTest::newRow("duplicate URL")
            << -1 << EEXIST
            << QByteArray("a shortcut for http://example.com is already on the home screen");
        QTest::newRow("refused without text") << -1 << ETIMEDOUT << QByteArray();
        QTest::newRow("refused with empty text") << -1 << EIO << QByteArray("");
    }

    void shortcutOutcome()
    {
        QFETCH(int, result);
        QFETCH(int, error);
        QFETCH(QByteArray, errorText);
        writeFile(file(QStringLiteral("icon.png")));
        publish({{QStringLiteral("isDeviceLocked"), QStringLiteral("notLocked")}});
        HomeScreen home;
        m_oms->navigator->result = result;
        m_oms->navigator->error = error;
        m_oms->navigator->errorText = errorText;
        m_oms->calls.clear();
        omtest::WarningCapture capture;

        QCOMPARE(home.addShortcut(QUrl::fromLocalFile(file(QStringLiteral("icon.png"))),
                                  QStringLiteral("Shop"),
                                  QUrl(QStringLiteral("http://example.com"))),
                 result == 0);
        QCOMPARE(capture.warnings(),
                 result == 0 ? QStringList()
                             : QStringList(shortcutWarning(error, QString::fromUtf8(errorText))));
        // Whatever the result, a text handed back is released, once.
        QCOMPARE(m_oms->core->freed.size(), errorText.isNull() ? 0 : 1);
        if (!errorText.isNull())
            QCOMPARE(m_oms->calls.last(),
                     QStringLiteral("free(%1)").arg(QString::fromUtf8(errorText)));
    }
};

QTEST_GUILESS_MAIN(tst_HomeScreen)

#include "tst_homescreen.moc"
