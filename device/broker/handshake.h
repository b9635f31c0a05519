#ifndef OMDEVICE_BROKER_HANDSHAKE_H
#define OMDEVICE_BROKER_HANDSHAKE_H

#include <QByteArray>

#include <vector>

namespace om {
namespace bus {
struct OpenOptions;
struct OpenRequest;
} // namespace bus
} // namespace om

namespace omdevice {
namespace broker {

class ClaimPolicy;
class Connections;
class Registry;
struct Connection;
struct Object;

/**
 * Answers the first datagram of a connection to the broker: an open
 * request (a plain object's publisher or subscriber, or the registration
 * of a control object's server) or a list request. A refused open, and a
 * list, end the connection once answered. Who may serve or create where
 * is the policy's to say.
 */
class Handshake
{
public:
    Handshake(Connections &connections, Registry &registry, const ClaimPolicy &policy);

    void handle(Connection *c, const QByteArray &request);

private:
    void answer(Connection *c, int error, const QByteArray &body = QByteArray(),
                std::vector<int> descriptors = std::vector<int>());
    void open(Connection *c, const om::bus::OpenRequest &request,
              const om::bus::OpenOptions &options);
    void serve(Connection *c, const om::bus::OpenRequest &request,
               const om::bus::OpenOptions &options);
    void list(Connection *c, const QByteArray &directory);
    void refuse(Connection *c, const char *what, const om::bus::OpenRequest &request);

    Connections &m_connections;
    Registry &m_registry;
    const ClaimPolicy &m_policy;
};

} // namespace broker
} // namespace omdevice

#endif
