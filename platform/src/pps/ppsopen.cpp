#include <sys/pps.h>

#include <om/ppsopenmode.h>

#include "buspolicy_p.h"
#include "busprotocol_p.h"
#include "bussocket_p.h"

#include <QByteArray>

#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

// How a descriptor without "wait" and without O_NONBLOCK behaves: reads
// block for at most this long (the kernel rounds it up to one tick) and
// then fail with EAGAIN, so that a reader woken twice for one message, as a
// socket notifier may wake it, is not stuck in the second read; writes
// block until the far side has room, so that nothing written is lost while
// a server is slow to read.
constexpr suseconds_t ReadTimeoutUs = 1;

} // namespace

extern "C" int pps_open(const char *path, int oflag)
{
    if (!path) {
        errno = EINVAL;
        return -1;
    }
    om::PpsOpenMode::Types mode;
    switch (oflag & O_ACCMODE) {
    case O_RDONLY:
        mode = om::PpsOpenMode::Subscribe;
        break;
    case O_WRONLY:
        mode = om::PpsOpenMode::Publish;
        break;
    case O_RDWR:
        mode = om::PpsOpenMode::PublishSubscribe;
        break;
    default:
        errno = EINVAL;
        return -1;
    }
    if (oflag & O_CREAT)
        mode |= om::PpsOpenMode::Create;

    QString objectPath;
    QString optionText;
    om::bus::splitPath(QString::fromUtf8(path), &objectPath, &optionText);
    const QByteArray object = om::bus::fileName(objectPath);
    QByteArray options = optionText.toUtf8();
    om::bus::OpenOptions parsed;
    // A descriptor serves no control object: a server takes connections,
    // which a plain read() cannot.
    if (!om::bus::validObjectPath(object) || !om::bus::parseOptions(options, &parsed) ||
        parsed.server) {
        errno = EINVAL;
        return -1;
    }

    int err = 0;
    bool notServed = false;
    int fd = om::bus::connectToServer(
        object, int(mode), om::bus::openRequest(object, int(mode), options), &err, &notServed);
    if (fd < 0 && !notServed) {
        errno = err;
        return -1;
    }
    if (fd < 0) {
        // The broker delivers a plain object's content as a datagram of its
        // own for descriptors, which have no place to keep it beside the answer.
        options += options.isEmpty() ? "separate" : ",separate";
        QByteArray content;
        if (!om::bus::request(om::bus::openRequest(object, int(mode), options), &content, &err, &fd,
                              true)) {
            errno = err;
            return -1;
        }
    }
    // A raw descriptor writes past any check of ours: its send buffer is
    // sized so that the kernel refuses more than one message can hold.
    const int sndbuf = om::bus::ClientSendBuffer;
    ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &sndbuf, sizeof sndbuf);
    if (oflag & O_NONBLOCK) {
        const int flags = ::fcntl(fd, F_GETFL);
        ::fcntl(fd, F_SETFL, flags | O_NONBLOCK);
    } else if (!parsed.wait) {
        const timeval timeout{0, ReadTimeoutUs};
        ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    }
    return fd;
}
