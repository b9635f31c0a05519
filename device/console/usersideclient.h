#ifndef OMDEVICE_USERSIDECLIENT_H
#define OMDEVICE_USERSIDECLIENT_H

#include <QHash>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariantMap>

#include <functional>

namespace om {
class PpsObject;
}

namespace omdevice {

/**
 * A client of one service's user-side object (/pps/simulator/<module>), as
 * omctl is one, for the parts of the device that play the user for a
 * front end (the console, the desktop bridge). It follows the object: it
 * asks to "watch" it and reports every "changed" that the service pushes.
 * It never blocks: requests are answered through a callback from the event
 * loop. While the object does not exist (its service has not started, or
 * went away) it tries again, less often the longer it is missing.
 */
class UserSideClient : public QObject
{
    Q_OBJECT
public:
    /** What a request gave: the answer's "dat", or why there is none. */
    struct Answer
    {
        bool ok = false;
        QVariantMap dat;
        QString error;
        /** True when the service itself refused (its "err"); false when
         *  the object could not be reached or did not answer. */
        bool refused = false;
    };
    using Callback = std::function<void(const Answer &answer)>;

    static constexpr int RequestTimeoutMs = 5000;

    explicit UserSideClient(const QString &path, QObject *parent = nullptr);
    ~UserSideClient() override;

    QString path() const { return m_path; }
    bool isConnected() const { return m_pps != nullptr; }
    /** Why the object cannot be reached, while it cannot. */
    QString lastError() const { return m_lastError; }

    /** Opens the object now and then whenever it has gone. */
    void start();

    /** Sends "msg" @p msg with "dat" @p dat; @p callback gets the outcome,
     *  always, and never before this call returns. */
    void request(const QString &msg, const QVariantMap &dat, const Callback &callback);

Q_SIGNALS:
    /** The object was opened (again), or went away. */
    void connectedChanged(bool connected);
    /** The service says that @p what changed. */
    void changed(const QString &what);

private:
    struct Pending
    {
        Callback callback;
        qint64 deadline = 0;
    };

    void tryOpen();
    void onReadyRead();
    void lost(const QString &reason);
    void expire();
    void failLater(const Callback &callback, const QString &reason);

    QString m_path;
    om::PpsObject *m_pps = nullptr;
    QString m_lastError;
    QTimer m_retry;
    QTimer m_expiry;
    int m_retryMs = 0;
    quint64 m_nextId = 0;
    QHash<QString, Pending> m_pending;
};

} // namespace omdevice

#endif
