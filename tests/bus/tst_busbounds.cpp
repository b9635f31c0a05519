// The bus's limits as a client that does not go through the library meets
// them: a message over 64 KiB is refused whole wherever it arrives (never
// cut short and acted on), and a path too long to be opened is refused at
// once instead of leaving its opener waiting.

#include "pps/busprotocol_p.h"
#include "pps/bussocket_p.h"
#include "rawclient.h"
#include "testbroker.h"

#include <om/ppsobject.h>
#include <sys/pps.h>

#include <QtTest>

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace omtest::raw;
using om::PpsObject;
using om::PpsOpenMode;

namespace {
const QString Control = QStringLiteral("/pps/services/test/control");
const QString State = QStringLiteral("/pps/test/state");

enum Path { ToServer, ToBrokerAsPublisher, ToBrokerAsOpen };

// Sends @p size bytes in one datagram, making the send buffer big enough
// for it (beyond the system's cap only as root); false if it cannot.
bool sendHuge(int fd, const QByteArray &head, int size)
{
    QByteArray data = head;
    data += "pad::";
    data += QByteArray(size - data.size() - 1, 'x');
    data += '\n';
    const int buffer = size + 4096;
    if (::setsockopt(fd, SOL_SOCKET, SO_SNDBUFFORCE, &buffer, sizeof buffer) != 0)
        ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &buffer, sizeof buffer);
    return ::send(fd, data.constData(), size_t(data.size()), MSG_NOSIGNAL) == data.size();
}

// Waits (at most a generous while) until @p fd is readable, and tells
// whether what is there is the end of the connection.
bool endsWithoutAnswer(int fd)
{
    pollfd p{fd, POLLIN, 0};
    if (::poll(&p, 1, 5000) <= 0)
        return false; // still open, silent: the message is left in between
    char buffer[256];
    const ssize_t n = ::recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
    return n == 0 || (n < 0 && errno == ECONNRESET);
}
} // namespace

class tst_BusBounds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_broker.reset(new omtest::TestBroker); }
    void cleanup() { m_broker.reset(); }

    void oversizeIsRefusedWhole_data();
    void oversizeIsRefusedWhole();
    void tooLongPathFailsAtOnce_data();
    void tooLongPathFailsAtOnce();
    void brokerRefusesTooLongPath();

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
};

void tst_BusBounds::oversizeIsRefusedWhole_data()
{
    QTest::addColumn<int>("path");
    QTest::addColumn<int>("size");
    const int just = om::bus::MaxMessage + 1;
    // Past the room a receiver keeps for a message and its routing header.
    const int past = om::bus::MaxDatagram + 1;
    const int large = 4 * 1024 * 1024;
    QTest::newRow("server, just over") << int(ToServer) << just;
    QTest::newRow("server, past the receive buffer") << int(ToServer) << past;
    QTest::newRow("server, 4 MB") << int(ToServer) << large;
    QTest::newRow("publisher, just over") << int(ToBrokerAsPublisher) << just;
    QTest::newRow("publisher, past the receive buffer") << int(ToBrokerAsPublisher) << past;
    QTest::newRow("open request, just over") << int(ToBrokerAsOpen) << just;
    QTest::newRow("open request, 4 MB") << int(ToBrokerAsOpen) << large;
}

void tst_BusBounds::oversizeIsRefusedWhole()
{
    QFETCH(int, path);
    QFETCH(int, size);

    PpsObject server(Control + QStringLiteral("?server"));
    QVERIFY(server.open(PpsOpenMode::PublishSubscribe));
    PpsObject subscriber(State + QStringLiteral("?create"));
    QVERIFY(subscriber.open(PpsOpenMode::PublishSubscribe));
    QVERIFY(subscriber.write("before::1\n"));
    bool ok = false;
    // Its own write comes back to it, as to every subscriber.
    QByteArray echo;
    const auto echoed = [&]() {
        if (echo.isEmpty())
            echo = subscriber.read(&ok);
        return echo.contains("before::1");
    };
    QTRY_VERIFY(echoed());

    int fd = -1;
    const QByteArray message = "msg::notify\nid::big\n";
    if (path == ToServer) {
        fd = connectTo(serverSocket(Control));
        QVERIFY(fd >= 0);
        const QByteArray preface = openRequest(Control.toUtf8(), PpsOpenMode::PublishSubscribe);
        QVERIFY(::send(fd, preface.constData(), size_t(preface.size()), 0) == preface.size());
        if (!sendHuge(fd, message, size))
            QSKIP("this system's socket buffers do not take a datagram this large");
    } else {
        fd = connectTo(busSocket());
        QVERIFY(fd >= 0);
        if (path == ToBrokerAsPublisher) {
            const QByteArray request = openRequest(State.toUtf8(), PpsOpenMode::Publish);
            QVERIFY(::send(fd, request.constData(), size_t(request.size()), 0) == request.size());
            char answer[16];
            QCOMPARE(::recv(fd, answer, sizeof answer, 0), ssize_t(2));
            QCOMPARE(answer[0], '0');
            if (!sendHuge(fd, "after::1\n", size))
                QSKIP("this system's socket buffers do not take a datagram this large");
        } else {
            if (!sendHuge(fd, "OPEN\n/pps/test/state\n3\n\npackage", size))
                QSKIP("this system's socket buffers do not take a datagram this large");
        }
    }
    if (path == ToServer) {
        // The server hears the client come and go, and nothing in between.
        QList<QByteArray> heard;
        const auto drained = [&]() {
            for (bool more = true; more;) {
                const QByteArray data = server.read(&more);
                if (more)
                    heard.append(data);
            }
            return !heard.isEmpty() && heard.last().startsWith("-@control.");
        };
        QTRY_VERIFY(drained());
        QCOMPARE(heard.size(), 2);
        QVERIFY(heard.first().startsWith("+@control."));
    }
    // The sender is cut off rather than answered, or left waiting.
    QVERIFY(endsWithoutAnswer(fd));
    ::close(fd);
    if (path == ToBrokerAsPublisher) {
        // Nothing of it was merged: the object is as it was.
        const QByteArray data = subscriber.read(&ok);
        QVERIFY2(!ok, data.constData());
    }

    // Everyone else goes on: a client's message of the largest size that
    // is allowed reaches the server whole.
    PpsObject client(Control);
    QVERIFY(client.open(PpsOpenMode::PublishSubscribe));
    QByteArray largest = "msg::ping\npad::";
    largest += QByteArray(om::bus::MaxMessage - largest.size() - 1, 'y');
    largest += '\n';
    QVERIFY(client.write(largest));
    QByteArray got;
    const auto arrived = [&]() {
        bool more = false;
        const QByteArray data = server.read(&more);
        if (more && data.startsWith("@control."))
            got = data;
        return !got.isEmpty();
    };
    QTRY_VERIFY(arrived());
    QCOMPARE(got.mid(got.indexOf('\n') + 1), largest);
}

void tst_BusBounds::tooLongPathFailsAtOnce_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("expected");
    // Ten directories of 99 bytes: no file name on the way is too long.
    const QString directories = (QString(99, QLatin1Char('d')) + QLatin1Char('/')).repeated(10);
    QTest::newRow("object path of 1024 bytes")
        << QStringLiteral("/pps/") + directories + QString(19, QLatin1Char('n')) << 0;
    QTest::newRow("object path of 1025 bytes")
        << QStringLiteral("/pps/") + directories + QString(20, QLatin1Char('n')) << ENAMETOOLONG;
    QTest::newRow("object path over 64 KiB")
        << QStringLiteral("/pps/") + QString(70000, QLatin1Char('a')) << ENAMETOOLONG;
    QTest::newRow("options over 64 KiB")
        << State + QStringLiteral("?") + QStringLiteral("wait,").repeated(14000) +
               QStringLiteral("create")
        << ENAMETOOLONG;
    QTest::newRow("control object, options over 64 KiB")
        << Control + QStringLiteral("?") + QStringLiteral("wait,").repeated(14000) << ENAMETOOLONG;
}

void tst_BusBounds::tooLongPathFailsAtOnce()
{
    QFETCH(QString, path);
    QFETCH(int, expected);
    PpsObject server(Control + QStringLiteral("?server"));
    QVERIFY(server.open(PpsOpenMode::PublishSubscribe));

    PpsObject object(path);
    QCOMPARE(object.open(PpsOpenMode::PublishSubscribe | PpsOpenMode::Create), expected == 0);
    QCOMPARE(object.error(), expected);

    errno = 0;
    const int fd = pps_open(path.toUtf8().constData(), O_RDWR | O_CREAT);
    QCOMPARE(fd >= 0 ? 0 : errno, expected);
    if (fd >= 0)
        ::close(fd);
}

void tst_BusBounds::brokerRefusesTooLongPath()
{
    // A client that builds its own request gets the same answer from the
    // broker as from the library.
    const int fd = connectTo(busSocket());
    QVERIFY(fd >= 0);
    const QByteArray request = "OPEN\n/pps/" + QByteArray(2000, 'a') + "\n3\ncreate\npackage";
    QVERIFY(::send(fd, request.constData(), size_t(request.size()), 0) == request.size());
    char answer[32] = {};
    QVERIFY(::recv(fd, answer, sizeof answer - 1, 0) > 0);
    QCOMPARE(QByteArray(answer), QByteArray::number(ENAMETOOLONG) + '\n');
    ::close(fd);
}

QTEST_GUILESS_MAIN(tst_BusBounds)
#include "tst_busbounds.moc"
