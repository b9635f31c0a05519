// The bus root: which directories a broker accepts as its root, that it
// never reaches outside the root while it clears and fills it, and that a
// client does not trust a root that nobody named and anybody could make.

#include "broker/broker.h"
#include "childprocess.h"
#include "fakeserver.h"
#include "pps/bussocket_p.h"

#include <om/ppsobject.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using om::PpsObject;
using om::PpsOpenMode;

namespace {

mode_t modeOf(const QString &path)
{
    struct stat st;
    return ::lstat(QFile::encodeName(path).constData(), &st) == 0 ? st.st_mode & 07777 : 0;
}

bool writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

// Everything below @p directory, as sorted relative names.
QStringList treeOf(const QString &directory)
{
    QStringList names;
    QDirIterator it(directory, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        names.append(QDir(directory).relativeFilePath(it.next()));
    names.sort();
    return names;
}

} // namespace

class tst_BusRoot : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_dir.reset(new QTemporaryDir(QStringLiteral("/tmp/omtest-root-XXXXXX")));
        m_outside.reset(new QTemporaryDir(QStringLiteral("/tmp/omtest-outside-XXXXXX")));
        QVERIFY(writeFile(m_outside->filePath(QStringLiteral("precious")), "keep me"));
        QVERIFY(QDir().mkpath(m_outside->filePath(QStringLiteral("services/test"))));
        QVERIFY(writeFile(m_outside->filePath(QStringLiteral("services/test/control")), "mine"));
    }

    void cleanup()
    {
        // What the broker was led towards is as it was.
        QCOMPARE(treeOf(m_outside->path()),
                 QStringList({"precious", "services", "services/test", "services/test/control"}));
        QCOMPARE(readFile(m_outside->filePath(QStringLiteral("precious"))), QByteArray("keep me"));
        QCOMPARE(readFile(m_outside->filePath(QStringLiteral("services/test/control"))),
                 QByteArray("mine"));
        m_dir.reset();
        m_outside.reset();
    }

    void refused_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("problem"); // ROOT: the root's path, WAY: the link on the way
        QTest::newRow("a symbolic link") << "link" << "ROOT is a symbolic link";
        QTest::newRow("a link on the way") << "link on the way" << "WAY is a symbolic link";
        QTest::newRow("writable by others")
            << "mode 0777" << "ROOT may be written by others (mode 0777)";
        QTest::newRow("writable by the group")
            << "mode 0770" << "ROOT may be written by others (mode 0770)";
        QTest::newRow("a file") << "file" << "ROOT is not a directory";
        QTest::newRow("another user's") << "owner" << "ROOT belongs to uid 65534, not to uid 0";
    }

    void refused()
    {
        QFETCH(QString, kind);
        QFETCH(QString, problem);
        const QString way = m_dir->filePath(QStringLiteral("way"));
        QString root = m_dir->filePath(QStringLiteral("root"));
        if (kind == QLatin1String("link")) {
            QVERIFY(QFile::link(m_outside->path(), root));
        } else if (kind == QLatin1String("link on the way")) {
            QVERIFY(QFile::link(m_outside->path(), way));
            root = way + QStringLiteral("/services");
        } else if (kind == QLatin1String("file")) {
            QVERIFY(writeFile(root, "x"));
        } else {
            QVERIFY(QDir().mkdir(root));
            if (kind == QLatin1String("owner")) {
                if (::geteuid() != 0)
                    QSKIP("needs root to give the root to another user");
                QCOMPARE(::chown(QFile::encodeName(root).constData(), omtest::NobodyId,
                                 omtest::NobodyId),
                         0);
            } else {
                const mode_t mode = kind.mid(5).toUInt(nullptr, 8);
                QCOMPARE(::chmod(QFile::encodeName(root).constData(), mode), 0);
            }
        }
        problem.replace(QLatin1String("ROOT"), root).replace(QLatin1String("WAY"), way);

        omdevice::Broker broker(root);
        QString error;
        QVERIFY(!broker.listen(&error));
        QCOMPARE(error, QStringLiteral("refusing the bus root: ") + problem);
        // It made nothing, wherever the root led.
        QVERIFY(!QFile::exists(root + QStringLiteral("/.bus")));
        QVERIFY(!QFile::exists(root + QStringLiteral("/.lock")));
    }

    void madePrivate()
    {
        const QString root = m_dir->filePath(QStringLiteral("a/b/root"));
        omdevice::Broker broker(root);
        QString error;
        QVERIFY2(broker.start(&error), qPrintable(error));
        for (const QString &made : {m_dir->filePath(QStringLiteral("a")), root})
            QCOMPARE(modeOf(made), mode_t(0700));
        QCOMPARE(modeOf(root + QStringLiteral("/.bus")) & 0777, mode_t(0666));
        QCOMPARE(modeOf(root + QStringLiteral("/.lock")), mode_t(0600));
    }

    void clearsWithoutFollowingLinks()
    {
        // Left in the root by whoever: links to what lies outside, at the
        // top and below, where objects would go and where they would not.
        const QString root = m_dir->filePath(QStringLiteral("root"));
        QVERIFY(QDir().mkpath(root + QStringLiteral("/services/notify")));
        QVERIFY(QFile::link(m_outside->filePath(QStringLiteral("services")),
                            root + QStringLiteral("/services/test")));
        QVERIFY(QFile::link(m_outside->filePath(QStringLiteral("precious")),
                            root + QStringLiteral("/services/notify/control")));
        QVERIFY(QFile::link(m_outside->path(), root + QStringLiteral("/system")));
        QVERIFY(writeFile(root + QStringLiteral("/services/notify/.control.rw"), "stale"));

        omdevice::Broker broker(root);
        QString error;
        QVERIFY2(broker.start(&error), qPrintable(error));
        QCOMPARE(treeOf(root), QStringList({".bus", ".lock"}));
        broker.shutdown();
        QCOMPARE(treeOf(root), QStringList({".lock"}));
    }

    void objectsNeverLeaveTheRoot_data()
    {
        QTest::addColumn<bool>("server");
        QTest::newRow("a control object") << true;
        QTest::newRow("a plain object") << false;
    }

    void objectsNeverLeaveTheRoot()
    {
        // A link put in the tree while the broker runs, where an object's
        // directory would be made: the object is refused, nothing is made
        // at the far end.
        QFETCH(bool, server);
        const QString root = m_dir->filePath(QStringLiteral("root"));
        const QByteArray previous = qgetenv("OM_PPS_ROOT");
        qputenv("OM_PPS_ROOT", QFile::encodeName(root));
        omdevice::Broker broker(root);
        QString error;
        QVERIFY2(broker.start(&error), qPrintable(error));
        QVERIFY(QFile::link(m_outside->filePath(QStringLiteral("services")),
                            root + QStringLiteral("/services")));

        const QString path = QStringLiteral("/pps/services/test/control");
        if (server) {
            omtest::FakeServer fake(path);
            QVERIFY(!fake.start());
            QCOMPARE(fake.error(), EBUSY);
        } else {
            PpsObject pps(path + QStringLiteral("?create"));
            QVERIFY(!pps.open(PpsOpenMode::Publish));
            QCOMPARE(pps.error(), EBUSY);
        }
        // Once the link is gone, the object can be made.
        QVERIFY(QFile::remove(root + QStringLiteral("/services")));
        omtest::FakeServer fake(path);
        QVERIFY(fake.start());
        QVERIFY(QFileInfo::exists(root + QStringLiteral("/services/test/control")));
        fake.stop();
        broker.shutdown();
        qputenv("OM_PPS_ROOT", previous);
    }

    void fallbackRootIsChecked_data()
    {
        QTest::addColumn<uint>("owner");
        QTest::addColumn<int>("error");
        // The fake bus answers every open with ENOENT: a client that asks
        // it learns that, one that does not trust it gets no answer at all.
        QTest::newRow("made by another user") << 12345u << ECONNREFUSED;
        QTest::newRow("its own") << uint(omtest::NobodyId) << ENOENT;
        QTest::newRow("root's") << 0u << ENOENT;
    }

    void fallbackRootIsChecked()
    {
        QFETCH(uint, owner);
        QFETCH(int, error);
        if (!omtest::canDropPrivileges())
            QSKIP("needs root to be another user");
        // uid 65534's root when nobody names one.
        const QString root = QStringLiteral("/tmp/om-pps-%1").arg(omtest::NobodyId);
        if (QFileInfo::exists(root))
            QSKIP("/tmp/om-pps-65534 is in use");
        QVERIFY(QDir().mkdir(root));
        const QByteArray rootBytes = QFile::encodeName(root);
        const om::bus::SocketAddress address(rootBytes + "/.bus");
        const int listener = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        QCOMPARE(::bind(listener, address.address(), address.length()), 0);
        QCOMPARE(::listen(listener, 4), 0);
        QCOMPARE(::chmod((rootBytes + "/.bus").constData(), 0666), 0);
        QCOMPARE(::chown(rootBytes.constData(), owner, owner), 0);

        std::thread answering([listener]() {
            pollfd p{listener, POLLIN, 0};
            if (::poll(&p, 1, 5000) <= 0)
                return;
            const int fd = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            char request[256];
            (void)!::recv(fd, request, sizeof request, 0);
            (void)!::send(fd, "2\n", 2, MSG_NOSIGNAL);
            ::close(fd);
        });
        const int status = omtest::runInChild(
            [&]() {
                qunsetenv("OM_PPS_ROOT");
                qunsetenv("XDG_RUNTIME_DIR");
                PpsObject pps(QStringLiteral("/pps/some/object"));
                return pps.open(PpsOpenMode::Subscribe) ? 255 : pps.error();
            },
            true);
        // Unblock the fake bus if nobody came.
        if (error == ECONNREFUSED) {
            const int poke = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
            ::connect(poke, address.address(), address.length());
            ::close(poke);
        }
        answering.join();
        ::close(listener);
        QDir(root).removeRecursively();
        QCOMPARE(status, error);
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<QTemporaryDir> m_outside;
};

QTEST_GUILESS_MAIN(tst_BusRoot)
#include "tst_busroot.moc"
