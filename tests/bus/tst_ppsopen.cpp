// pps_open()'s descriptor as a reader behind a socket notifier uses it:
// plain read() and write(), whose results it may not even look at.

#include "fakeserver.h"
#include "testbroker.h"

#include <sys/pps.h>

#include <QSemaphore>
#include <QtTest>

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {
const QString Control = QStringLiteral("/pps/services/test/control");

int openControl(const char *options = "", int flags = O_RDWR)
{
    return pps_open((Control.toUtf8() + options).constData(), flags);
}

// read() on @p fd in a thread of its own: the result, or -2 if it is still
// waiting after a generous while (the descriptor is then shut down to let
// it go).
ssize_t guardedRead(int fd, int *error)
{
    std::atomic<bool> done{false};
    ssize_t result = -2;
    std::thread reader([&]() {
        char buffer[256];
        result = ::read(fd, buffer, sizeof buffer);
        *error = errno;
        done = true;
    });
    if (!QTest::qWaitFor([&]() { return done.load(); }, 5000))
        ::shutdown(fd, SHUT_RDWR);
    reader.join();
    return done ? result : -2;
}
} // namespace

class tst_PpsOpen : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void readWithNothingWaitingReturns_data();
    void readWithNothingWaitingReturns();
    void waitBlocksUntilTheAnswer();
    void writesWaitForRoom();
    void endOfFileAtTheServersEnd();
    void refused_data();
    void refused();

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_server;
};

void tst_PpsOpen::init()
{
    m_broker.reset(new omtest::TestBroker);
    QVERIFY(m_broker->isRunning());
    m_server.reset(new omtest::FakeServer(Control));
    QVERIFY(m_server->start());
}

void tst_PpsOpen::cleanup()
{
    m_server.reset();
    m_broker.reset();
}

void tst_PpsOpen::readWithNothingWaitingReturns_data()
{
    QTest::addColumn<int>("flags");
    QTest::newRow("blocking descriptor") << O_RDWR;
    QTest::newRow("O_NONBLOCK") << (O_RDWR | O_NONBLOCK);
}

void tst_PpsOpen::readWithNothingWaitingReturns()
{
    // A notifier may fire twice for one message; the second read finds
    // nothing and must not stop the application.
    QFETCH(int, flags);
    const int fd = openControl("", flags);
    QVERIFY(fd >= 0);
    QVERIFY(m_server->waitForClients(1));
    QVERIFY(m_server->reply(m_server->clients().value(0),
                            {{QStringLiteral("res"), QStringLiteral("one")}}));
    int error = 0;
    QVERIFY(guardedRead(fd, &error) > 0);
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(guardedRead(fd, &error), ssize_t(-1));
        QCOMPARE(error, EAGAIN);
    }
    ::close(fd);
}

void tst_PpsOpen::waitBlocksUntilTheAnswer()
{
    m_server->answerOk(QStringLiteral("slow"), QVariant(), 200);
    const int fd = openControl("?wait");
    QVERIFY(fd >= 0);
    const QByteArray request = "msg::slow\nid::w\n";
    QCOMPARE(::write(fd, request.constData(), size_t(request.size())), ssize_t(request.size()));
    char buffer[256];
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    QCOMPARE(QByteArray(buffer, int(n)), QByteArray("@control\nid::w\nres::slow\n"));
    ::close(fd);
}

void tst_PpsOpen::writesWaitForRoom()
{
    // The server stops reading for a while; the writer writes far more than
    // the connection holds and ignores what write() says, as a reader
    // behind a notifier may. Nothing may be lost.
    QSemaphore release;
    std::atomic<bool> held{false};
    m_server->respond([&](const omtest::Received &r) {
        if (r.id() == QLatin1String("0")) {
            held = true;
            release.acquire();
        }
        return QList<omtest::Answer>();
    });
    const int fd = openControl();
    QVERIFY(fd >= 0);
    constexpr int Count = 200;
    std::atomic<int> written{0};
    std::thread writer([&]() {
        const QByteArray fill(8000, 'f');
        for (int i = 0; i < Count; ++i) {
            const QByteArray message =
                "msg::fill\nid::" + QByteArray::number(i) + "\nfill::" + fill + '\n';
            (void)!::write(fd, message.constData(), size_t(message.size()));
            written = i + 1;
        }
    });
    QTRY_VERIFY(held.load());
    // The writer is held up by the server, not done.
    QTRY_VERIFY(written.load() > 1);
    QVERIFY(written.load() < Count);
    release.release();
    writer.join();
    QVERIFY(m_server->waitForReceived(Count));
    QStringList ids;
    for (const omtest::Received &r : m_server->received())
        ids.append(r.id());
    QStringList expected;
    for (int i = 0; i < Count; ++i)
        expected.append(QString::number(i));
    QCOMPARE(ids, expected);
    ::close(fd);
}

void tst_PpsOpen::endOfFileAtTheServersEnd()
{
    const int fd = openControl();
    QVERIFY(fd >= 0);
    QVERIFY(m_server->waitForClients(1));
    QVERIFY(m_server->reply(m_server->clients().value(0),
                            {{QStringLiteral("res"), QStringLiteral("last")}}));
    m_server.reset();
    // What came before the end is still read, then the end, every time.
    char buffer[256];
    ssize_t n = ::read(fd, buffer, sizeof buffer);
    QCOMPARE(QByteArray(buffer, int(n)), QByteArray("@control\nres::last\n"));
    QCOMPARE(::read(fd, buffer, sizeof buffer), ssize_t(0));
    QCOMPARE(::read(fd, buffer, sizeof buffer), ssize_t(0));
    ::close(fd);
}

void tst_PpsOpen::refused_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<int>("flags");
    QTest::addColumn<int>("error");

    QTest::newRow("serving") << Control.toUtf8() + "?server" << O_RDWR << EINVAL;
    QTest::newRow("unknown option") << Control.toUtf8() + "?fast" << O_RDWR << EINVAL;
    QTest::newRow("outside /pps") << QByteArray("/tmp/x") << O_RDWR << EINVAL;
    QTest::newRow("escaping the root") << QByteArray("/pps/../../etc/passwd") << O_RDONLY << EINVAL;
    QTest::newRow("no such object") << QByteArray("/pps/services/none") << O_RDWR << ENOENT;
    QTest::newRow("no access mode") << Control.toUtf8() << (O_ACCMODE) << EINVAL;
}

void tst_PpsOpen::refused()
{
    QFETCH(QByteArray, path);
    QFETCH(int, flags);
    QFETCH(int, error);
    errno = 0;
    QCOMPARE(pps_open(path.constData(), flags), -1);
    QCOMPARE(errno, error);
    QCOMPARE(m_server->openedCount(), 0);
}

QTEST_GUILESS_MAIN(tst_PpsOpen)
#include "tst_ppsopen.moc"
