// HomeScreen on a bus of its own, the navigator's state played by the test, fake platform.

#include <om/platform/homescreen.h>

#include "childprocess.h"
#include "common/statepublisher.h"
#include "fakeoms.h"
#include "testbroker.h"
#include "warningcapture.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest/QTest>

#include <cerrno>
#include <cstring>
#include <memory>
#include <sys/stat.h>

using om::platform::DeviceLockState;
using om::platform::HomeScreen;
using om::platform::WallpaperLockState;
using om::platform::WallpaperResult;

namespace {

const QString L = "isDeviceLocked", B = "bedsideMode", W = "isWallpaperLocked";
const QString readWarning = "HomeScreen - failed to read state PPS data:  \"%1\"";

QString strerr(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

void writeFile(const QString &path)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("not an image") > 0);
}

const auto lockSignal = QOverload<DeviceLockState::Type>::of(&HomeScreen::lockStateChanged);
const auto lockIntSignal = QOverload<int>::of(&HomeScreen::lockStateChanged);
const auto wallpaperLockSignal =
    QOverload<WallpaperLockState::Type>::of(&HomeScreen::wallpaperLockStateChanged);
const auto wallpaperLockIntSignal = QOverload<int>::of(&HomeScreen::wallpaperLockStateChanged);
const auto finishedSignal =
    QOverload<const QUrl &, WallpaperResult::Type>::of(&HomeScreen::wallpaperFinished);
const auto finishedIntSignal = QOverload<const QUrl &, int>::of(&HomeScreen::wallpaperFinished);

} // namespace

class tst_HomeScreen : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeOms> m_oms;
    std::unique_ptr<omdevice::StatePublisher> m_state;
    std::unique_ptr<QTemporaryDir> m_files;

    // Publishes on the state object, made at first use; an invalid value removes.
    void publish(const QVariantMap &attributes)
    {
        if (!m_state) {
            m_state.reset(new omdevice::StatePublisher("/pps/services/navigator/state"));
            QString error;
            QVERIFY2(m_state->open(&error), qPrintable(error));
        }
        QVariantMap set = attributes;
        QStringList removed;
        for (auto it = attributes.begin(); it != attributes.end(); ++it)
            if (!it->isValid())
                removed << it.key();
        for (const QString &name : removed)
            set.remove(name);
        if (!attributes.isEmpty())
            QVERIFY(m_state->publish(set, removed));
    }

    QString file(const QString &name) const { return m_files->path() + '/' + name; }

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

    void constructionTakesStateWithoutSignals()
    {
        publish({{L, "passwordLocked"}, {B, true}, {W, true}});
        omtest::WarningCapture capture;
        std::unique_ptr<HomeScreen> home(new HomeScreen);
        QCOMPARE(m_oms->calls.join(' '), QString("initialize request_events(0)"));
        QSignalSpy lock(home.get(), lockSignal);
        QCOMPARE(home->lockState(), DeviceLockState::PasswordLocked);
        QCOMPARE(home->isBedsideModeActive(), true);
        QCOMPARE(home->wallpaperLockState(), WallpaperLockState::Locked);
        QCOMPARE(lock.count(), 0);
        QCOMPARE(capture.warnings(), QStringList());
        home.reset();
        QCOMPARE(m_oms->calls.join(' '), QString("initialize request_events(0) shutdown"));
    }

    void openFailureLeavesStateUnknownForGood()
    {
        omtest::WarningCapture capture;
        HomeScreen home;
        const QString failed = "HomeScreen - Failed to open state PPS object:  \"%1\"";
        QCOMPARE(capture.warnings(), QStringList(failed.arg(strerr(ENOENT))));
        QSignalSpy lock(&home, lockSignal);

        // The object appears later: a HomeScreen made now hears of it, the first never does.
        publish({{L, "notLocked"}, {B, true}});
        HomeScreen later;
        QSignalSpy laterLock(&later, lockSignal);
        publish({{L, "screenLocked"}});
        QVERIFY(laterLock.wait());
        QCOMPARE(lock.count(), 0);
        QCOMPARE(home.lockState(), DeviceLockState::Unknown);
        QCOMPARE(home.isBedsideModeActive(), false);
        QCOMPARE(home.wallpaperLockState(), WallpaperLockState::Unknown);
        QCOMPARE(capture.warnings().size(), 1);
    }

    void stateUpdates_data()
    {
        QTest::addColumn<QVariantMap>("before"); // empty: an empty object
        QTest::addColumn<QVariantMap>("after");  // an invalid value: removed
        QTest::addColumn<DeviceLockState::Type>("lock");
        QTest::addColumn<bool>("bedside");
        QTest::addColumn<WallpaperLockState::Type>("wallpaper");
        using D = DeviceLockState;
        using WL = WallpaperLockState;
        const auto row = [](const char *name, const QVariantMap &before, const QVariantMap &after,
                            D::Type lock, WL::Type wallpaper = WL::Unknown, bool bedside = false) {
            QTest::newRow(name) << before << after << lock << bedside << wallpaper;
        };
        const QVariantMap unlocked = {{L, "notLocked"}};
        row("notLocked", {{L, "pinBlocked"}}, unlocked, D::Unlocked);
        row("other case", unlocked, {{L, "NotLocked"}}, D::Unknown);
        row("trailing blank", unlocked, {{L, "screenLocked "}}, D::Unknown);
        row("unknown lock text", unlocked, {{L, "locked"}}, D::Unknown);
        row("empty lock text", unlocked, {{L, QString()}}, D::Unknown);
        row("lock state a number", unlocked, {{L, 2}}, D::Unknown);
        row("no lock state", unlocked, {{L, QVariant()}}, D::Unknown);
        row("empty object, then a lock state", {}, {{L, "screenLocked"}}, D::ScreenLocked);
        row("never a lock state", {{B, true}}, {{W, true}}, D::Unknown, WL::Locked, true);
        row("all fields at once", {{L, "notLocked"}, {B, false}, {W, false}},
            {{L, "pinBlocked"}, {B, true}, {W, true}}, D::PinBlocked, WL::Locked, true);
        row("wallpaper lock comes", unlocked, {{W, true}}, D::Unlocked, WL::Locked);
        row("wallpaper unlocked", {{L, "notLocked"}, {W, true}}, {{W, false}}, D::Unlocked,
            WL::Unlocked);
        row("no wallpaper lock after true", {{L, "notLocked"}, {W, true}}, {{W, QVariant()}},
            D::Unlocked);
        row("no wallpaper lock after false", {{L, "notLocked"}, {W, false}}, {{W, QVariant()}},
            D::Unlocked);
        row("no bedside mode after on", {{L, "notLocked"}, {B, true}}, {{B, QVariant()}},
            D::Unlocked);
    }

    // Changed fields signal in both forms, lock first, once all are new; a
    // getter with no new data warns only while the lock state is not known.
    void stateUpdates()
    {
        QFETCH(QVariantMap, before);
        QFETCH(QVariantMap, after);
        QFETCH(DeviceLockState::Type, lock);
        QFETCH(bool, bedside);
        QFETCH(WallpaperLockState::Type, wallpaper);
        publish(before);
        omtest::WarningCapture capture;
        HomeScreen home;
        QCOMPARE(capture.warnings(),
                 before.isEmpty() ? QStringList(readWarning.arg(strerr(EAGAIN))) : QStringList());
        HomeScreen other; // with a subscription of its own
        QSignalSpy otherLock(&other, lockSignal);
        const bool lockChanges = home.lockState() != lock;
        const bool bedsideChanges = home.isBedsideModeActive() != bedside;
        const bool wallpaperChanges = home.wallpaperLockState() != wallpaper;
        QStringList seen;
        connect(&home, lockSignal, this, [&](DeviceLockState::Type state) {
            seen << QString("lock %1 (%2 %3 %4)")
                        .arg(int(state))
                        .arg(int(home.lockState()))
                        .arg(home.isBedsideModeActive())
                        .arg(int(home.wallpaperLockState()));
        });
        connect(&home, lockIntSignal, this,
                [&](int state) { seen << QString("lock int %1").arg(state); });
        connect(&home, &HomeScreen::bedsideModeActiveChanged, this,
                [&](bool on) { seen << QString("bedside %1").arg(on); });
        connect(&home, wallpaperLockSignal, this, [&](WallpaperLockState::Type state) {
            seen << QString("wallpaper %1").arg(int(state));
        });
        connect(&home, wallpaperLockIntSignal, this,
                [&](int state) { seen << QString("wallpaper int %1").arg(state); });

        publish(after);
        QStringList expected;
        if (lockChanges)
            expected
                << QString("lock %1 (%1 %2 %3)").arg(int(lock)).arg(bedside).arg(int(wallpaper))
                << QString("lock int %1").arg(int(lock));
        if (bedsideChanges)
            expected << QString("bedside %1").arg(bedside);
        if (wallpaperChanges)
            expected << QString("wallpaper %1").arg(int(wallpaper))
                     << QString("wallpaper int %1").arg(int(wallpaper));
        QTRY_COMPARE(seen, expected);
        QTRY_COMPARE(otherLock.count(), int(lockChanges));

        capture.clear();
        QCOMPARE(home.lockState(), lock);
        QCOMPARE(capture.warnings(), lock == DeviceLockState::Unknown
                                         ? QStringList(readWarning.arg(strerr(EAGAIN)))
                                         : QStringList());
        QCOMPARE(home.isBedsideModeActive(), bedside);
        QCOMPARE(home.wallpaperLockState(), wallpaper);
        QCOMPARE(seen, expected);
    }

    void getterEmitsWhileDataWaits()
    {
        publish({{L, "notLocked"}});
        HomeScreen home;
        bool insideGetter = false;
        QList<bool> emittedInside;
        connect(&home, lockSignal, this, [&]() { emittedInside << insideGetter; });

        publish({{L, "screenLocked"}});
        // No event loop runs: only the getter can take the new state in.
        QDeadlineTimer deadline(10000);
        DeviceLockState::Type state = DeviceLockState::Unlocked;
        while (state != DeviceLockState::ScreenLocked && !deadline.hasExpired()) {
            QThread::yieldCurrentThread();
            insideGetter = true;
            state = home.lockState();
            insideGetter = false;
        }
        QCOMPARE(state, DeviceLockState::ScreenLocked);
        QCOMPARE(emittedInside, QList<bool>({true}));
    }

    void undecodableDataKeepsOldValues()
    {
        publish({{L, "passwordLocked"}, {B, true}});
        HomeScreen home;
        QSignalSpy lock(&home, lockSignal);
        omtest::WarningCapture capture;
        QVERIFY(m_state->publishRaw("broken:json:{\"a\":\n"));
        QTRY_COMPARE(capture.warnings(),
                     QStringList(QString("HomeScreen - failed to decode state PPS data")));
        QCOMPARE(home.lockState(), DeviceLockState::PasswordLocked);
        QCOMPARE(home.isBedsideModeActive(), true);
        QCOMPARE(lock.count(), 0);
    }

    void setWallpaper_data()
    {
        QTest::addColumn<QString>("url");     // "%1": the directory of the files
        QTest::addColumn<QString>("warning"); // "%1": the same; empty: none
        QTest::addColumn<QString>("sent");    // the file the navigator is given; empty: none
        QTest::addColumn<int>("error");       // the navigator's; 0: it takes the wallpaper

        const QString notImage = "HomeScreen - File \"%1/%2\" is not a recognized image file.";
        const QString missing = "HomeScreen - Path \"%1/%2\" does not exist.";
        const QString directory = "HomeScreen - Path \"%1/%2\" is a directory, not a file.";
        const auto row = [](const char *name, const QString &url, const QString &warning,
                            const QString &sent, int error = 0) {
            const QString file = url.section('/', -1);
            QTest::newRow(name) << url << QString(warning).replace("%2", file) << sent << error;
        };
        const auto failed = [](int error) {
            return QString("HomeScreen::setWallpaper() - Failed to set wallpaper, errno =  %1")
                .arg(strerr(error));
        };
        row("png", "file://%1/a.png", "", "a.png");
        row("upper-case suffix", "file://%1/B.JPG", "", "B.JPG");
        row("text with an image suffix", "file://%1/notes.jpe", "", "notes.jpe");
        row("symbolic link", "file://%1/link.png", "", "target.png");
        row("relative path", "a.png", "", "a.png");
        row("no suffix", "file://%1/picture", notImage, "");
        row("other image suffix", "file://%1/anim.gif", notImage, "");
        row("missing", "file://%1/missing.png", missing, "");
        row("dangling link", "file://%1/dangling.png", missing, "");
        row("directory", "file://%1/folder.png", directory, "");
        row("fifo", "file://%1/pipe.png", directory, "");
        row("empty URL", "", "", "");
        row("remote URL", "http://example.com/a.png", "", "");
        row("file URL of another host", "file://elsewhere/a.png", "", "");
        row("locked", "file://%1/a.png", failed(EPERM), "a.png", EPERM);
        row("no answer", "file://%1/a.png", failed(ETIMEDOUT), "a.png", ETIMEDOUT);
        row("device away", "file://%1/a.png", failed(ECONNREFUSED), "a.png", ECONNREFUSED);
    }

    void setWallpaper()
    {
        QFETCH(QString, url);
        QFETCH(QString, warning);
        QFETCH(QString, sent);
        QFETCH(int, error);
        for (const char *name :
             {"a.png", "B.JPG", "notes.jpe", "picture", "anim.gif", "target.png"})
            writeFile(file(name));
        QVERIFY(QFile::link(file("target.png"), file("link.png")));
        QVERIFY(QFile::link(file("gone.png"), file("dangling.png")));
        QVERIFY(QDir(m_files->path()).mkdir("folder.png"));
        QCOMPARE(::mkfifo(QFile::encodeName(file("pipe.png")).constData(), 0644), 0);
        publish({{L, "notLocked"}});
        HomeScreen home;
        m_oms->calls.clear();
        m_oms->navigator->result = error ? -1 : 0;
        m_oms->navigator->error = error;
        QStringList finished;
        connect(&home, finishedSignal, this, [&](const QUrl &u, WallpaperResult::Type result) {
            finished << QString("%1 %2").arg(u.toString()).arg(int(result));
        });
        connect(&home, finishedIntSignal, this, [&](const QUrl &u, int result) {
            finished << QString("int %1 %2").arg(u.toString()).arg(result);
        });
        omtest::WarningCapture capture;

        const QUrl given(url.replace("%1", m_files->path()));
        const QString previous = QDir::currentPath();
        QDir::setCurrent(m_files->path());
        const bool accepted = home.setWallpaper(given);
        QDir::setCurrent(previous);
        QCOMPARE(accepted, !sent.isEmpty() && !error);
        QCOMPARE(capture.warnings(), warning.isEmpty()
                                         ? QStringList()
                                         : QStringList(warning.replace("%1", m_files->path())));
        if (sent.isEmpty()) {
            QCOMPARE(m_oms->calls, QStringList());
            QCOMPARE(finished, QStringList());
            return;
        }
        const QString path = QFileInfo(file(sent)).canonicalFilePath();
        QCOMPARE(m_oms->calls, QStringList(QString("set_wallpaper(%1)").arg(path)));
        // Both forms, with the URL as the caller gave it.
        const int result = error ? WallpaperResult::Locked : WallpaperResult::Changed;
        QCOMPARE(finished, QStringList({QString("%1 %2").arg(given.toString()).arg(result),
                                        QString("int %1 %2").arg(given.toString()).arg(result)}));
    }

    void unreadableWallpaperIsRefused()
    {
        // As root, the child meets the file as another user, who must reach
        // its directory: only the file's own mode may refuse it.
        omtest::SharedTemporaryDir files;
        const QString path = files.filePath("secret.png");
        writeFile(path);
        QVERIFY(QFile::setPermissions(path, QFileDevice::Permissions()));
        publish({{L, "notLocked"}});
        HomeScreen home;
        m_oms->calls.clear();
        const QStringList expected(QString("HomeScreen - File \"%1\" cannot be read.").arg(path));
        const int outcome = omtest::runInChild(
            [&]() {
                omtest::WarningCapture capture;
                if (home.setWallpaper(QUrl::fromLocalFile(path)))
                    return 1;
                return capture.warnings() != expected ? 2 : m_oms->calls.isEmpty() ? 0 : 3;
            },
            true);
        QCOMPARE(outcome, 0);
    }

    void addShortcut_data()
    {
        QTest::addColumn<QString>("label");
        QTest::addColumn<QUrl>("url");
        QTest::addColumn<QString>("icon");         // in the directory; empty: an empty URL
        QTest::addColumn<QString>("warning");      // "%1": the icon's path
        QTest::addColumn<QString>("sent");         // the label sent; empty: navigator not called
        QTest::addColumn<int>("error");            // the navigator's; 0: it adds the shortcut
        QTest::addColumn<QByteArray>("errorText"); // the navigator's; null: none

        const auto row = [](const char *name, const QString &label, const QUrl &url,
                            const QString &icon, const QString &warning, const QString &sent,
                            int error = 0, const QByteArray &errorText = QByteArray()) {
            QTest::newRow(name) << label << url << icon << warning << sent << error << errorText;
        };
        const auto failed = [](int error, const char *text) {
            return QString("HomeScreen::addShortcut() - Failed to add shortcut, errno =  %1 ,  %2")
                .arg(strerr(error), text);
        };
        const QUrl url("http://example.com/app?x=1");
        const QString noLabel = "HomeScreen - Shortcut label cannot be empty.";
        row("blanks simplified", "  My \t  App \n", url, "icon.png", "", "My App");
        row("blank label", "   \t", url, "icon.png", noLabel, "");
        row("label checked before URL", " ", QUrl(), "icon.png", noLabel, "");
        row("empty URL", "A", QUrl(), "icon.png", "HomeScreen - Shortcut URL cannot be empty.", "");
        row("empty icon URL", "A", url, "", "", "");
        row("missing icon", "A", url, "none.png", "HomeScreen - Path \"%1\" does not exist.", "");
        row("icon not an image", "A", url, "icon.txt",
            "HomeScreen - File \"%1\" is not a recognized image file.", "");
        // Whatever the result, a text handed back is released.
        row("added, with a text to free", "A", url, "icon.png", "", "A", 0, "fine");
        const char *duplicate = "a shortcut for http://example.com is already on the home screen";
        row("duplicate URL", "A", url, "icon.png", failed(EEXIST, duplicate), "A", EEXIST,
            duplicate);
        row("refused without text", "A", url, "icon.png", failed(ETIMEDOUT, ""), "A", ETIMEDOUT);
        row("refused with empty text", "A", url, "icon.png", failed(EIO, ""), "A", EIO, "");
    }

    void addShortcut()
    {
        QFETCH(QString, label);
        QFETCH(QUrl, url);
        QFETCH(QString, icon);
        QFETCH(QString, warning);
        QFETCH(QString, sent);
        QFETCH(int, error);
        QFETCH(QByteArray, errorText);
        for (const char *name : {"icon.png", "icon.txt"})
            writeFile(file(name));
        publish({{L, "notLocked"}});
        HomeScreen home;
        m_oms->calls.clear();
        m_oms->navigator->result = error ? -1 : 0;
        m_oms->navigator->error = error;
        m_oms->navigator->errorText = errorText;
        omtest::WarningCapture capture;

        const QUrl iconUrl = icon.isEmpty() ? QUrl() : QUrl::fromLocalFile(file(icon));
        QCOMPARE(home.addShortcut(iconUrl, label, url), !sent.isEmpty() && !error);
        QCOMPARE(capture.warnings(), warning.isEmpty()
                                         ? QStringList()
                                         : QStringList(warning.replace("%1", file(icon))));
        QStringList calls;
        if (!sent.isEmpty())
            calls << QString("add_uri(%1|%2|Any|%3|err null)")
                         .arg(QFileInfo(file(icon)).canonicalFilePath(), sent, url.toString());
        if (!errorText.isNull())
            calls << QString("free(%1)").arg(QString::fromUtf8(errorText));
        QCOMPARE(m_oms->calls, calls);
    }
};

QTEST_GUILESS_MAIN(tst_HomeScreen)

#include "tst_homescreen.moc"
