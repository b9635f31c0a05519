#ifndef OMTEST_CONTROLCLIENT_H
#define OMTEST_CONTROLCLIENT_H

#include <om/ppsobject.h>

#include <QVariantMap>

namespace omtest {

/**
 * A client of a control object, as an application or omctl opens it, for
 * tests whose service runs on the test's own thread: waiting for an answer
 * runs the event loop, so the service gets its turn.
 */
class ControlClient
{
public:
    explicit ControlClient(const QString &path);

    bool isOpen() const { return m_open; }
    /** The errno value of a failed open. */
    int error() const { return m_pps.error(); }

    bool send(const QVariantMap &message);
    bool sendRaw(const QByteArray &text);
    /** The next message the server sends this client, the attributes under
     *  the object's name; empty if none comes within five seconds. */
    QVariantMap next();
    /** Sends @p message and gives the next message. */
    QVariantMap ask(const QVariantMap &message);

    /** A message of "msg" @p msg, "id" @p id and "dat" @p dat, leaving
     *  out what is null. */
    static QVariantMap message(const QString &msg, const QVariant &id,
                               const QVariant &dat = QVariant());

private:
    om::PpsObject m_pps;
    QString m_objectName;
    bool m_open = false;
};

} // namespace omtest

#endif
