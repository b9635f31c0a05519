#ifndef OMTEST_RAWSERVER_H
#define OMTEST_RAWSERVER_H

#include <om/ppsobject.h>

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QtTest/QTest>

namespace omtest {

/**
 * A control object's server on the test's own thread that keeps what
 * clients write byte for byte and answers with any bytes at all, for tests
 * of a wire format. FakeServer decodes what it receives; this one does not.
 */
class RawServer : public QObject
{
public:
    struct Message
    {
        int clientId = 0;
        QByteArray text;
    };

    explicit RawServer(const QString &path) : m_pps(path + QStringLiteral("?server"))
    {
        connect(&m_pps, &om::PpsObject::readyRead, this, [this]() {
            for (;;) {
                bool ok = false;
                const QByteArray data = m_pps.read(&ok);
                if (!ok)
                    return;
                // "@control.<id>" heads a client's message; "+@" and "-@" lines
                // tell of clients opening and closing.
                const int nl = data.indexOf('\n');
                const QByteArray header = data.left(nl);
                if (!header.startsWith('@'))
                    continue;
                const int id = header.mid(header.lastIndexOf('.') + 1).toInt();
                m_received.append({id, nl < 0 ? QByteArray() : data.mid(nl + 1)});
            }
        });
    }

    bool open() { return m_pps.open(om::PpsOpenMode::PublishSubscribe); }
    void close() { m_pps.close(); }

    QList<Message> received() const { return m_received; }
    bool waitForReceived(int count)
    {
        return QTest::qWaitFor([&]() { return m_received.size() >= count; }, 5000);
    }
    /** Sends @p text to a client, which reads it headed "@control". */
    bool answer(int clientId, const QByteArray &text)
    {
        return m_pps.write("@control." + QByteArray::number(clientId) + '\n' + text);
    }

private:
    om::PpsObject m_pps;
    QList<Message> m_received;
};

} // namespace omtest

#endif
