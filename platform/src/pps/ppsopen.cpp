#include <sys/pps.h>

#include <om/ppsopenmode.h>

#include "busprotocol_p.h"

#include <QByteArray>

#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

extern "C" int pps_open(const char *path, int oflag)
{
    if (!path) {
        errno = EINVAL;
        return -1;
    }
    om::PpsOpenMode::Types mode;
    switch (oflag & O_ACCMODE) {
    case O_RDONLY: mode = om::PpsOpenMode::Subscribe; break;
    case O_WRONLY: mode = om::PpsOpenMode::Publish; break;
    case O_RDWR: mode = om::PpsOpenMode::PublishSubscribe; break;
    default: errno = EINVAL; return -1;
    }
    if (oflag & O_CREAT)
        mode |= om::PpsOpenMode::Create;

    QString object;
    QString options;
    om::bus::splitPath(QString::fromUtf8(path), &object, &options);
    // A descriptor serves no control object: the server's side takes its
    // clients' connections, which a plain read() cannot receive.
    const auto parts = QStringView(options).split(QLatin1Char(','), Qt::SkipEmptyParts);
    bool wait = false;
    for (QStringView part : parts) {
        if (part.trimmed() == QLatin1String("server")) {
            errno = EINVAL;
            return -1;
        }
        if (part.trimmed() == QLatin1String("wait"))
            wait = true;
    }
    // The broker delivers a plain object's content as a datagram of its own
    // for descriptors, which have no place to keep it beside the answer.
    options = options.isEmpty() ? QStringLiteral("separate") : options + QLatin1String(",separate");

    const QByteArray request = om::bus::openRequest(object, int(mode), options);

    QByteArray content;
    int fd = -1;
    int err = 0;
    if (!om::bus::request(request, &content, &err, &fd, true)) {
        errno = err;
        return -1;
    }
    // A raw descriptor writes past any check of ours: its send buffer is
    // sized so that the kernel refuses more than one message can hold.
    const int sndbuf = om::bus::ClientSendBuffer;
    ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &sndbuf, sizeof sndbuf);
    if (oflag & O_NONBLOCK) {
        const int flags = ::fcntl(fd, F_GETFL);
        ::fcntl(fd, F_SETFL, flags | O_NONBLOCK);
    } else if (!wait) {
        // Without "wait" a read with nothing waiting must not hold the
        // reader (a socket notifier may report the descriptor once more
        // before its queued read runs), yet a write that finds the send
        // buffer full must wait rather than be lost: the socket stays
        // blocking, with the shortest receive time-out, so such a read
        // fails with EAGAIN after at most a clock tick.
        const timeval shortest = {0, 1};
        ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &shortest, sizeof shortest);
    }
    return fd;
}
