#ifndef OMMOCK_NOTIFICATIONPPSCHANNEL_H
#define OMMOCK_NOTIFICATIONPPSCHANNEL_H

#include <om/platform/notificationerror.h>
#include <om/platform/omplatform_export.h>

#include <QObject>
#include <QVariantMap>

namespace om {
class PpsObject;
}

namespace ommock {

/**
 * Carries messages to and from the notification service, on its control
 * object "/pps/services/notify/control": fire and forget (send), one request
 * and one answer (sendAndWait), or a long-lived connection (an instance).
 */
class OMPLATFORM_EXPORT NotificationPpsChannel : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(NotificationPpsChannel)

public:
    /** Opens the long-lived connection; isOpen() tells whether that worked. */
    explicit NotificationPpsChannel(QObject *parent = nullptr);
    ~NotificationPpsChannel() override;

    bool isOpen() const;

    /** Writes @p message on a connection of its own, which closes at once. */
    static om::platform::NotificationError::Type send(const QVariantMap &message);

    /**
     * Writes @p message and waits for the first data the service sends back,
     * running a nested event loop for at most @p timeoutMs milliseconds (no
     * bound if 0 or less). The decoded answer goes to @p response; the
     * answer is not examined. Other events of the application run meanwhile.
     * A thread without an event dispatcher (no QCoreApplication) cannot wait:
     * there only an answer that is there already counts.
     */
    static om::platform::NotificationError::Type sendAndWait(const QVariantMap &message,
                                                             QVariantMap &response, int timeoutMs);

public Q_SLOTS:
    void onSend(QVariantMap map);
    void onReadyRead();

Q_SIGNALS:
    /** Emitting it writes @p map on the long-lived connection. */
    void sendPassthrough(QVariantMap map);
    /** One decoded message from the service. */
    void receivePassthrough(QVariantMap map);

private:
    om::PpsObject *m_pps;
};

} // namespace ommock

#endif
