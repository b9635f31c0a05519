#include "common/clientfile.h"

#include "common/requestrouter.h"

#include <QByteArray>
#include <QFile>
#include <QList>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <deque>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace omdevice {

namespace {

// As many links as the kernel follows on one path.
constexpr int MaxLinks = 40;

bool granted(const struct stat &st, const FileCredentials &who, mode_t bits)
{
    if (who.uid == 0)
        return true;
    mode_t mode;
    if (st.st_uid == who.uid)
        mode = (st.st_mode >> 6) & 7;
    else if (st.st_gid == who.gid ||
             std::find(who.groups.begin(), who.groups.end(), st.st_gid) != who.groups.end())
        mode = (st.st_mode >> 3) & 7;
    else
        mode = st.st_mode & 7;
    return (mode & bits) == bits;
}

// Closes a descriptor when it goes out of scope, unless released.
struct Descriptor
{
    int fd = -1;
    explicit Descriptor(int fd) : fd(fd) {}
    ~Descriptor()
    {
        if (fd >= 0)
            ::close(fd);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    void reset(int other)
    {
        if (fd >= 0)
            ::close(fd);
        fd = other;
    }
    int release()
    {
        const int kept = fd;
        fd = -1;
        return kept;
    }
};

int failWith(int error)
{
    errno = error;
    return -1;
}

void prepend(std::deque<QByteArray> *parts, const QByteArray &path)
{
    const QList<QByteArray> split = path.split('/');
    for (auto it = split.crbegin(); it != split.crend(); ++it) {
        if (!it->isEmpty() && *it != ".")
            parts->push_front(*it);
    }
}

} // namespace

FileCredentials FileCredentials::of(const Request &request)
{
    FileCredentials who;
    const QVariantMap &client = request.client();
    // A request without a client has nobody's rights.
    who.uid = client.contains(QStringLiteral("uid"))
                  ? uid_t(client.value(QStringLiteral("uid")).toUInt())
                  : uid_t(-1);
    who.gid = client.contains(QStringLiteral("gid"))
                  ? gid_t(client.value(QStringLiteral("gid")).toUInt())
                  : gid_t(-1);
    const QVariantList groups = client.value(QStringLiteral("groups")).toList();
    for (const QVariant &group : groups)
        who.groups.push_back(gid_t(group.toUInt()));
    return who;
}

int openAsClient(const FileCredentials &who, const QString &path)
{
    const QByteArray bytes = QFile::encodeName(path);
    if (!bytes.startsWith('/'))
        return failWith(EINVAL);
    std::deque<QByteArray> parts;
    prepend(&parts, bytes);
    Descriptor at(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (at.fd < 0)
        return -1;
    int links = 0;
    struct stat st;
    while (!parts.empty()) {
        const QByteArray part = parts.front();
        parts.pop_front();
        // Looking anything up in a directory takes the right to search it.
        if (::fstat(at.fd, &st) < 0)
            return -1;
        if (!S_ISDIR(st.st_mode))
            return failWith(ENOTDIR);
        if (!granted(st, who, S_IXOTH))
            return failWith(EACCES);
        Descriptor next(::openat(at.fd, part.constData(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        if (next.fd < 0 || ::fstat(next.fd, &st) < 0)
            return -1;
        if (S_ISLNK(st.st_mode)) {
            if (++links > MaxLinks)
                return failWith(ELOOP);
            char target[PATH_MAX];
            const ssize_t n = ::readlinkat(next.fd, "", target, sizeof target);
            if (n < 0)
                return -1;
            const QByteArray text(target, int(n));
            prepend(&parts, text);
            if (text.startsWith('/'))
                at.reset(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
            continue;
        }
        at.reset(next.release());
    }
    if (::fstat(at.fd, &st) < 0)
        return -1;
    if (!granted(st, who, S_IROTH))
        return failWith(EACCES);
    // The very file found above, now opened to be read. Not blocking, so
    // that a FIFO named by the client cannot hold the service up.
    const QByteArray self = "/proc/self/fd/" + QByteArray::number(at.fd);
    return ::open(self.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

} // namespace omdevice
