#include "rawdbus.h"

#include <algorithm>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace ombench {
namespace dbus {

namespace {

enum Type { MethodCall = 1, MethodReturn = 2, Signal = 4 };
enum Field { Path = 1, Interface = 2, Member = 3, Destination = 6, Signature = 8 };

// Little-endian marshalling into one buffer, with D-Bus alignment.
class Writer
{
public:
    QByteArray data;

    void align(int n)
    {
        while (data.size() % n)
            data.append('\0');
    }
    void byte(char c) { data.append(c); }
    void u32(uint32_t v)
    {
        align(4);
        data.append(reinterpret_cast<const char *>(&v), 4);
    }
    void string(const char *s)
    {
        u32(uint32_t(std::strlen(s)));
        data.append(s);
        data.append('\0');
    }
    void signature(const char *s)
    {
        byte(char(std::strlen(s)));
        data.append(s);
        data.append('\0');
    }
    void field(Field code, const char *type, const char *value)
    {
        align(8);
        byte(char(code));
        signature(type);
        if (type[0] == 'g')
            signature(value);
        else
            string(value);
    }
};

QByteArray message(Type type, uint32_t serial, const char *path, const char *interface,
                   const char *member, const char *destination, const char *signature,
                   const QByteArray &body)
{
    Writer w;
    w.byte('l');
    w.byte(char(type));
    w.byte(0);
    w.byte(1);
    w.u32(uint32_t(body.size()));
    w.u32(serial);
    w.u32(0); // the length of the header fields, filled in below
    const int fieldsStart = w.data.size();
    w.field(Path, "o", path);
    if (interface)
        w.field(Interface, "s", interface);
    w.field(Member, "s", member);
    if (destination)
        w.field(Destination, "s", destination);
    if (signature)
        w.field(Signature, "g", signature);
    const uint32_t fieldsLength = uint32_t(w.data.size() - fieldsStart);
    std::memcpy(w.data.data() + 12, &fieldsLength, 4);
    w.align(8);
    w.data += body;
    return w.data;
}

QByteArray busCall(uint32_t serial, const char *member, const char *argument)
{
    Writer body;
    const char *signature = nullptr;
    if (argument) {
        body.string(argument);
        signature = "s";
    }
    return message(MethodCall, serial, "/org/freedesktop/DBus", "org.freedesktop.DBus", member,
                   "org.freedesktop.DBus", signature, body.data);
}

bool writeAll(int fd, const QByteArray &data)
{
    return ::send(fd, data.constData(), size_t(data.size()), MSG_NOSIGNAL) == data.size();
}

// Reads until @p count messages of @p type have come.
bool await(int fd, Framer &framer, int type, int count)
{
    char buffer[4096];
    while (count > 0) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n <= 0)
            return false;
        count -= framer.feed(buffer, size_t(n), type);
    }
    return true;
}

} // namespace

int connectToBus(const QByteArray &path, const char *match, Framer *framer)
{
    sockaddr_un addr;
    std::memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    std::memcpy(addr.sun_path, path.constData(),
                std::min(size_t(path.size()), sizeof addr.sun_path - 1));
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || ::connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) {
        ::close(fd);
        return -1;
    }
    const QByteArray uid = QByteArray::number(::getuid()).toHex();
    char line[256];
    if (!writeAll(fd, QByteArray(1, '\0') + "AUTH EXTERNAL " + uid + "\r\n") ||
        ::read(fd, line, sizeof line) <= 0 || std::strncmp(line, "OK ", 3) != 0 ||
        !writeAll(fd, "BEGIN\r\n")) {
        ::close(fd);
        return -1;
    }
    bool ok = writeAll(fd, busCall(1, "Hello", nullptr)) && await(fd, *framer, MethodReturn, 1);
    if (ok && match)
        ok = writeAll(fd, busCall(2, "AddMatch", match)) && await(fd, *framer, MethodReturn, 1);
    if (!ok) {
        ::close(fd);
        return -1;
    }
    return fd;
}

QByteArray signalMessage(const char *path, const char *interface, const char *member,
                         uint32_t serial, int32_t value)
{
    Writer body;
    body.u32(uint32_t(value));
    return message(Signal, serial, path, interface, member, nullptr, "i", body.data);
}

int Framer::feed(const char *data, size_t size, int type)
{
    m_pending.append(data, int(size));
    int complete = 0;
    for (;;) {
        if (m_pending.size() < 16)
            break;
        uint32_t bodyLength;
        uint32_t fieldsLength;
        std::memcpy(&bodyLength, m_pending.constData() + 4, 4);
        std::memcpy(&fieldsLength, m_pending.constData() + 12, 4);
        const int total = int(16 + ((fieldsLength + 7) & ~7u) + bodyLength);
        if (m_pending.size() < total)
            break;
        if (m_pending.at(1) == char(type))
            ++complete;
        m_pending.remove(0, total);
    }
    return complete;
}

} // namespace dbus
} // namespace ombench
