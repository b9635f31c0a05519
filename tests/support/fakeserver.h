#ifndef OMTEST_FAKESERVER_H
#define OMTEST_FAKESERVER_H

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QVariantMap>

#include <functional>

class QThread;

namespace omtest {

/** One message that a client wrote to the fake server's object. */
struct Received
{
    int clientId = 0;
    QVariantMap attributes; ///< Decoded; empty if decoding failed.
    QByteArray raw;         ///< As the server read it, after the client header.
    bool decoded = false;

    QString msg() const { return attributes.value(QStringLiteral("msg")).toString(); }
    QString id() const { return attributes.value(QStringLiteral("id")).toString(); }
    QVariantMap dat() const { return attributes.value(QStringLiteral("dat")).toMap(); }
};

/** What the fake server sends back for a message: to the client that wrote
 *  it, under an object name ("@control" by default), after a delay. */
struct Answer
{
    QVariantMap attributes;
    QByteArray raw;          ///< If set, sent as it is instead of attributes.
    QString objectName;      ///< Empty: the object's own name.
    int delayMs = 0;
};

class FakeServerWorker;

/**
 * A scriptable server for a control object, on a thread of its own, so that
 * it answers also while the test's thread blocks in a read. It records
 * every message it receives, decoded, and answers what the test says: by a
 * script set up beforehand (answer(), respond()), or by hand (reply()).
 */
class FakeServer : public QObject
{
    Q_OBJECT
public:
    /** @p path without options; @p mode the object's permissions. */
    explicit FakeServer(const QString &path, int mode = 0666);
    ~FakeServer() override;

    /** Registers the object on the bus. False with error() set on failure. */
    bool start();
    /** The server goes away, as a service that stops; its clients open
     *  the object again once a server is back. */
    void stop();
    int error() const;

    // --- Script. Rules are looked at in the order they were given; the first
    //     that matches a message answers it. Messages no rule matches stay
    //     unanswered.

    /** Answers every request whose "msg" is @p msg with @p attributes, as they are. */
    void answer(const QString &msg, const QVariantMap &attributes, int delayMs = 0);
    /** Answers "res" and "id" of the request, and "dat" if @p dat is not null. */
    void answerOk(const QString &msg, const QVariant &dat = QVariant(), int delayMs = 0);
    /** The general form: @p rule gives the answers for a message (none: no match). */
    void respond(const std::function<QList<Answer>(const Received &)> &rule);
    void clearScript();

    /** The usual answer to @p request: its "msg" as "res", its "id", and @p dat. */
    static QVariantMap okAnswer(const QVariantMap &request, const QVariant &dat = QVariant());

    // --- By hand, from the test's thread.

    bool reply(int clientId, const QVariantMap &attributes);
    bool replyAs(int clientId, const QString &objectName, const QVariantMap &attributes);
    bool replyRaw(int clientId, const QByteArray &text);
    bool broadcast(const QVariantMap &attributes);

    // --- What happened.

    QList<Received> received() const;
    Received last() const;
    /** Waits, running the caller's events, until @p count messages are in. */
    bool waitForReceived(int count, int timeoutMs = 5000) const;
    /** Clients connected now. */
    QList<int> clients() const;
    bool waitForClients(int count, int timeoutMs = 5000) const;
    /** What the server was told of a client when it opened: "pid", "uid",
     *  "gid" and "package"; kept after the client has gone. */
    QVariantMap clientInfo(int clientId) const;
    /** How many clients ever opened and closed the object. */
    int openedCount() const;
    int closedCount() const;
    bool waitForClosed(int count, int timeoutMs = 5000) const;
    /** How many answers the server has written, by script or by hand. */
    int sentCount() const;
    bool waitForSent(int count, int timeoutMs = 5000) const;

private:
    friend class FakeServerWorker;

    QList<Answer> answersFor(const Received &message) const;
    void record(const Received &message);
    void clientOpened(int clientId, const QVariantMap &info);
    void clientClosed(int clientId);
    void answerSent();

    QString m_path;
    int m_mode;
    int m_error = 0;
    QThread *m_thread;
    FakeServerWorker *m_worker = nullptr;

    mutable QMutex m_mutex;
    QList<std::function<QList<Answer>(const Received &)>> m_rules;
    QList<Received> m_received;
    QList<int> m_clients;
    QMap<int, QVariantMap> m_clientInfo;
    int m_opened = 0;
    int m_closed = 0;
    int m_sent = 0;
};

} // namespace omtest

#endif
