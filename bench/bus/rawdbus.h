#ifndef OMBENCH_RAWDBUS_H
#define OMBENCH_RAWDBUS_H

// Just enough of the D-Bus wire protocol, in plain system calls, for the
// fan-out benchmark to meet dbus-daemon on equal terms with the broker:
// no library parses what it delivers, a reader only frames the messages.

#include <QByteArray>

#include <cstdint>

namespace ombench {
namespace dbus {

class Framer;

/** Connects to the bus at the unix socket @p path, authenticates and says
 *  Hello; with @p match, also asks for the signals it matches. Returns the
 *  descriptor (blocking), or -1. What came after the answers stays in
 *  @p framer. */
int connectToBus(const QByteArray &path, const char *match, Framer *framer);

/** A signal with one int32 argument, ready to be written. */
QByteArray signalMessage(const char *path, const char *interface, const char *member,
                         uint32_t serial, int32_t value);

/**
 * Frames the messages in a stream: feed() what a read gave; returns how
 * many whole messages of type @p type it completed.
 */
class Framer
{
public:
    int feed(const char *data, size_t size, int type);

private:
    QByteArray m_pending;
};

} // namespace dbus
} // namespace ombench

#endif
