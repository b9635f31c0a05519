#ifndef OMTEST_HTTPPROBE_H
#define OMTEST_HTTPPROBE_H

#include <QByteArray>
#include <QElapsedTimer>
#include <QList>
#include <QPair>
#include <QSignalSpy>
#include <QTcpSocket>

namespace omtest {

/**
 * One HTTP connection to the console, written by hand so that a test
 * chooses every header (a foreign Host or Origin) and can stop reading,
 * as a slow browser does. Waiting runs the event loop, so the device in
 * the test process answers meanwhile.
 */
class HttpProbe
{
public:
    using Headers = QList<QPair<QByteArray, QByteArray>>;

    explicit HttpProbe(int port) : m_port(port) {}

    bool send(const QByteArray &method, const QByteArray &target, const Headers &headers,
              const QByteArray &body = QByteArray(), bool ownHost = true)
    {
        m_socket.connectToHost(QStringLiteral("127.0.0.1"), quint16(m_port));
        if (!m_socket.waitForConnected(5000))
            return false;
        QByteArray request = method + ' ' + target + " HTTP/1.1\r\n";
        if (ownHost)
            request += "Host: 127.0.0.1:" + QByteArray::number(m_port) + "\r\n";
        for (const auto &header : headers)
            request += header.first + ": " + header.second + "\r\n";
        if (!body.isNull())
            request += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
        request += "Connection: close\r\n\r\n" + body;
        m_socket.write(request);
        return m_socket.waitForBytesWritten(5000);
    }

    /** Reads until @p contains is in what came, or 5 s pass. */
    bool waitFor(const QByteArray &contains)
    {
        QElapsedTimer clock;
        clock.start();
        while (!received().contains(contains)) {
            if (clock.elapsed() > 5000)
                return false;
            if (m_socket.bytesAvailable() == 0) {
                QSignalSpy readable(&m_socket, &QTcpSocket::readyRead);
                if (m_socket.state() != QAbstractSocket::ConnectedState || !readable.wait(5000))
                    return received().contains(contains);
            }
        }
        return true;
    }

    /** The whole answer of a request that closes the connection. */
    QByteArray response()
    {
        while (m_socket.state() == QAbstractSocket::ConnectedState) {
            QSignalSpy closed(&m_socket, &QTcpSocket::disconnected);
            if (!closed.wait(5000))
                break;
        }
        return received();
    }

    int status()
    {
        const QByteArray text = response();
        return text.startsWith("HTTP/1.1 ") ? text.mid(9, 3).toInt() : 0;
    }

    QByteArray body()
    {
        const QByteArray text = response();
        const int end = text.indexOf("\r\n\r\n");
        return end < 0 ? QByteArray() : text.mid(end + 4);
    }

    QByteArray received()
    {
        m_received += m_socket.readAll();
        return m_received;
    }

    QTcpSocket &socket() { return m_socket; }

private:
    int m_port;
    QTcpSocket m_socket;
    QByteArray m_received;
};

} // namespace omtest

#endif
