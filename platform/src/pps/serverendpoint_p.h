#ifndef OM_SERVERENDPOINT_P_H
#define OM_SERVERENDPOINT_P_H

#include <QByteArray>

#include <deque>
#include <map>

namespace om {
namespace bus {

/**
 * The server's side of a control object. The broker hands every client's
 * connection to the server, headed by the notice "+@name.<id>"; from then on
 * client and server talk directly, and this class presents their traffic as
 * one stream of messages: "@name.<id>" and the client's text for what a
 * client writes, "+@name.<id>" and "-@name.<id>" when a client comes and
 * goes. A message headed "@<anything>.<id>" goes to that client, which reads
 * it headed "@<anything>"; anything else goes to every client.
 */
class ServerEndpoint
{
public:
    /** @p brokerFd stays the caller's; the client connections are ours. */
    ServerEndpoint(int brokerFd, const QByteArray &objectName);
    ~ServerEndpoint();

    ServerEndpoint(const ServerEndpoint &) = delete;
    ServerEndpoint &operator=(const ServerEndpoint &) = delete;

    /** Readable when there is something to read or to send. */
    int descriptor() const { return m_poll; }

    /** Sends what waits for room; returns whether messages wait to be read. */
    bool service();

    /** One message; false with *error EAGAIN when there is none (without
     *  @p blocking), or ENOTCONN once when the broker went away. */
    bool read(bool blocking, QByteArray *data, int *error);

    bool write(const QByteArray &data, int *error);

    /** Closes every client connection (the broker takes them back). */
    void dropClients();

private:
    struct Client
    {
        int fd = -1;
        std::deque<QByteArray> out;
        size_t outBytes = 0;
        bool watchingOut = false;
    };

    enum Outcome { Message, Nothing, Failed };
    bool poll(int timeoutMs);
    Outcome readBroker(QByteArray *data, int *error);
    Outcome readClient(quint64 id, QByteArray *data);
    void addClient(quint64 id, int fd);
    void dropClient(quint64 id);
    void sendTo(quint64 id, Client &client, const QByteArray &text);
    void flush(quint64 id, Client &client);
    void watch(quint64 id, Client &client, bool out);

    int m_poll = -1;
    int m_broker;
    QByteArray m_name;
    std::map<quint64, Client> m_clients;
    // Connections the last poll found readable, not read yet.
    std::deque<quint64> m_ready;
};

} // namespace bus
} // namespace om

#endif
