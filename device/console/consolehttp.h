#ifndef OMDEVICE_CONSOLEHTTP_H
#define OMDEVICE_CONSOLEHTTP_H

#include "console/accesspolicy.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <memory>

namespace omdevice {

class LiveHub;

/**
 * The console's HTTP side, on threads of its own (cpp-httplib's): the
 * page and its files, the live channel (server-sent events from a
 * LiveHub), and the actions, which it hands to the device through
 * act(). Every request passes the AccessPolicy first. Nothing here knows
 * what a notification or a lock state is.
 *
 *   GET  /, /<file>          the page (the first answer sets the cookie)
 *   GET  /events             the live channel: one "state" event per
 *                            topic, then one whenever the topic changes
 *   POST /api/<object>/<msg> an action; the body is a JSON object
 */
class ConsoleHttp
{
public:
    /** The outcome of an action: an HTTP status and a JSON body. */
    struct Result
    {
        int status = 200;
        QByteArray body;
    };
    /** Runs an action; called on an HTTP thread, may block (boundedly). */
    using Act = std::function<Result(const QString &object, const QString &msg,
                                     const QVariantMap &dat)>;
    /** A file of the page by its name, and its MIME type; false if there
     *  is none. Called on HTTP threads. */
    using Files = std::function<bool(const QString &name, QByteArray *content, QByteArray *type)>;

    struct Options
    {
        int port = 0;
        /** Open live pages at most; the HTTP threads are as many and a few. */
        int maxPages = 128;
    };

    ConsoleHttp(LiveHub *hub, const Act &act, const Files &files);
    ~ConsoleHttp();

    /** Binds 127.0.0.1:port (0: any free port) and starts serving. */
    bool start(const Options &options, QString *error);
    /** Ends the live pages and waits for the HTTP threads. */
    void stop();

    int port() const;
    QString token() const;
    /** The URL that opens the page, with the token. */
    QString url() const;

    /** A JSON body {"error": text}. */
    static QByteArray errorBody(const QString &text);

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace omdevice

#endif
