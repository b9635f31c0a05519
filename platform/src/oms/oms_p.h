#ifndef OMS_OMS_P_H
#define OMS_OMS_P_H

// Inside the platform services library: the event record, the process's
// connection to the platform services, and what the pieces tell each other.

#include <oms/oms.h>

#include <QByteArray>
#include <QString>
#include <QVariantMap>

struct oms_event_t
{
    unsigned int domain = 0;
    unsigned int code = 0;
    oms_event_payload_t payload = {0, 0, 0};
    void (*completion)(oms_event_t *) = nullptr;
};

namespace om {
namespace oms {

/** Writes one line to standard error if the verbosity is at least @p level. */
void log(unsigned int level, const char *format, ...) __attribute__((format(printf, 2, 3)));

/** Puts an event of the library into channel @p chid unless that channel
 *  already holds @p limit events; false if it was not taken. */
bool pushLimited(int chid, oms_event_t *event, size_t limit);

/** A navigator event made of one message of the navigator. */
oms_event_t *createNavigatorEvent(const QVariantMap &attributes, const QByteArray &text);

/** The reason texts of the library, copied for the caller to oms_free(). */
char *copyText(const QString &text);

// The process's connection to the platform services: the navigator's
// control object, opened by the first oms_initialize() and closed by the
// last oms_shutdown().
namespace services {

constexpr int DefaultTimeoutMs = 5000;

int acquire();
void release();

/** Whether the process holds the connection (oms_initialize() in effect). */
bool isConnected();

/**
 * One request and its answer. The answer's attributes go to @p answer. A
 * refusal by the navigator ("err" in the answer) gives -1 with errno from
 * its "errno" attribute and the text of "err" in @p errorText.
 */
int request(const QString &msg, const QVariantMap &dat, QVariantMap *answer = nullptr,
            QString *errorText = nullptr, bool needsConnection = false);

/** Delivers the navigator's events to channel @p chid from now on. */
int requestEvents(int chid);
void channelDestroyed(int chid);
/** The descriptor that channel @p chid watches for events, or -1. */
int watchedDescriptor(int chid);
/** Reads what has arrived on the connection and hands it out. */
void pump();
int rawWrite(const char *data, unsigned int length);

} // namespace services

} // namespace oms
} // namespace om

#endif
