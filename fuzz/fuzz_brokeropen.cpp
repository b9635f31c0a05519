// Any bytes as the first datagram of a connection to a real broker running
// in this process: the open handshake (and LIST) as a client that does not
// go through the library sends it. The broker answers, or ends the
// connection; it never leaves the client waiting, and never crashes.
// Descriptors it passes (a server's listening sockets) are closed again,
// which ends the registration.

#include "broker/broker.h"
#include "pps/busprotocol_p.h"
#include "pps/bussocket_p.h"

#include <QFile>
#include <QTemporaryDir>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

struct Bus
{
    QTemporaryDir root;
    omdevice::Broker broker{root.path()};
    QByteArray socket = QFile::encodeName(root.path()) + "/.bus";

    Bus()
    {
        QString error;
        if (!broker.start(&error)) {
            std::fprintf(stderr, "fuzz_brokeropen: %s\n", qPrintable(error));
            std::abort();
        }
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static Bus *bus = [] {
        Bus *made = new Bus;
        // The broker's thread is joined and the root removed at the end.
        std::atexit([] { delete bus; });
        return made;
    }();
    if (size > size_t(om::bus::MaxDatagram) + 1)
        return 0;
    const om::bus::SocketAddress address(bus->socket);
    const int fd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (fd < 0 || ::connect(fd, address.address(), address.length()) != 0)
        std::abort();
    // Room for a datagram just over the limit, which the broker refuses.
    const int buffer = int(size) + 4096;
    ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &buffer, sizeof buffer);
    if (::send(fd, data, size, MSG_NOSIGNAL) != ssize_t(size))
        std::abort();
    pollfd p{fd, POLLIN, 0};
    // libFuzzer's alarm for slow inputs interrupts the wait now and then.
    int ready;
    do
        ready = ::poll(&p, 1, 20000);
    while (ready < 0 && errno == EINTR);
    if (ready != 1) {
        std::fprintf(stderr, "fuzz_brokeropen: the broker left a client waiting\n");
        std::abort();
    }
    static char answer[om::bus::MaxDatagram];
    int passed[om::bus::MaxPassedDescriptors];
    int count = 0;
    const ssize_t n =
        om::bus::receiveWithDescriptors(fd, answer, sizeof answer, passed, &count, MSG_DONTWAIT);
    for (int k = 0; k < count; ++k)
        ::close(passed[k]);
    // An answer begins with an errno value and a newline.
    if (n > 0) {
        const QByteArray text(answer, int(n));
        bool number = false;
        text.left(text.indexOf('\n')).toInt(&number);
        if (text.indexOf('\n') < 0 || !number)
            std::abort();
    }
    ::close(fd);
    return 0;
}
