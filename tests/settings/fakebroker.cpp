#include "fakebroker.h"

#include <QFile>
#include <QVector>

#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace settingstest {

FakeBroker::FakeBroker(Behaviour behaviour)
    : m_behaviour(behaviour), m_root(QStringLiteral("/tmp/omfake-XXXXXX")),
      m_previousRoot(qgetenv("OM_PPS_ROOT")), m_hadRoot(qEnvironmentVariableIsSet("OM_PPS_ROOT"))
{
    ::chmod(QFile::encodeName(m_root.path()).constData(), 0755);
    qputenv("OM_PPS_ROOT", QFile::encodeName(m_root.path()));
    const QByteArray path = QFile::encodeName(m_root.path() + QLatin1String("/.bus"));
    sockaddr_un addr;
    std::memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    std::memcpy(addr.sun_path, path.constData(), size_t(path.size()));
    m_listenFd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (::bind(m_listenFd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) < 0 ||
        ::listen(m_listenFd, 16) < 0 || ::pipe2(m_stopPipe, O_CLOEXEC) < 0) {
        ::close(m_listenFd);
        m_listenFd = -1;
        return;
    }
    m_thread = std::thread([this]() { run(); });
}

FakeBroker::~FakeBroker()
{
    if (m_thread.joinable()) {
        const char c = 1;
        (void)!::write(m_stopPipe[1], &c, 1);
        m_thread.join();
    }
    for (int fd : {m_listenFd, m_stopPipe[0], m_stopPipe[1]}) {
        if (fd >= 0)
            ::close(fd);
    }
    if (m_hadRoot)
        qputenv("OM_PPS_ROOT", m_previousRoot);
    else
        qunsetenv("OM_PPS_ROOT");
}

bool FakeBroker::waitReadable(int fd) const
{
    pollfd fds[2] = {{fd, POLLIN, 0}, {m_stopPipe[0], POLLIN, 0}};
    while (::poll(fds, 2, -1) < 0) {
    }
    return !(fds[1].revents & POLLIN);
}

void FakeBroker::run()
{
    QVector<int> kept;
    while (waitReadable(m_listenFd)) {
        const int fd = ::accept4(m_listenFd, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0)
            continue;
        serve(fd);
        if (m_behaviour == RefuseWrites)
            kept.append(fd);
        else
            ::close(fd);
    }
    for (int fd : qAsConst(kept))
        ::close(fd);
}

void FakeBroker::serve(int fd)
{
    char buf[70 * 1024];
    if (!waitReadable(fd) || ::recv(fd, buf, sizeof buf, 0) <= 0) // the open request
        return;
    // Once this end reads no more, every write of the client fails with
    // EPIPE, while the open's answer still reaches it.
    if (m_behaviour == RefuseWrites)
        ::shutdown(fd, SHUT_RD);
    (void)!::send(fd, "0\n", 2, MSG_NOSIGNAL);
    if (m_behaviour == HangUpAfterMessage && waitReadable(fd))
        (void)!::recv(fd, buf, sizeof buf, 0);
}

} // namespace settingstest
