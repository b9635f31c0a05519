#ifndef OM_PLATFORM_NOTIFICATION_P_H
#define OM_PLATFORM_NOTIFICATION_P_H

#include <om/platform/notification.h>

#include <QVariantMap>

namespace om {
namespace platform {

/** The wire form of a sound or icon URL, kept with the URL. */
class WireFile
{
public:
    void set(const QUrl &url);
    QString text(const QUrl &url) const;

private:
    QString m_text;
    bool m_fixed = true; // an empty URL has the empty wire form
};

class NotificationPrivate : public QObject
{
    Q_OBJECT
    Q_DECLARE_PUBLIC(Notification)

public:
    explicit NotificationPrivate(Notification *owner);

    /** The "notify" message for the current properties. */
    QVariantMap notifyMessage() const;
    /** True if the decoded answer of the service reports a failure. */
    static bool isError(const QVariantMap &response);
    /** "cancel" or "delete" of the item @p key, or of every item if it is empty. */
    static NotificationError::Type sendRemoval(const QString &msg, const QString &key);

    Notification *const q_ptr;
    NotificationError::Type error = NotificationError::None;
    QString category;
    QString title;
    QString body;
    QDateTime timestamp;
    // Its wire form, made when it is set: turning a local time into
    // milliseconds asks the C library for the time zone each time.
    QString timestampText;
    QUrl soundUrl;
    QUrl iconUrl;
    // The wire forms of the URLs, made when they are set unless they name a
    // path relative to the working directory, which may change until the
    // notification goes out.
    WireFile soundWire;
    WireFile iconWire;
    NotificationType::Type type = NotificationType::Default;
    om::system::InvokeRequest invokeRequest;
    // The invocation's URI and data as they go on the wire.
    QString invokeUriText;
    QString invokeDataText;

Q_SIGNALS:
    void send(QVariantMap message);
};

/** Stores @p value in @p field unless it holds it already; true if it
 *  changed. A null and an empty string differ here, as they do on the wire. */
inline bool assign(QString &field, const QString &value)
{
    if (value == field && value.isNull() == field.isNull())
        return false;
    field = value;
    return true;
}

template<class T>
inline bool assign(T &field, const T &value)
{
    if (value == field)
        return false;
    field = value;
    return true;
}

/** The form in which a file goes to the notification service: a
 *  percent-encoded file URL of its absolute path, or a null string if the
 *  URL names no path. */
QString wireFileUrl(const QUrl &url);

} // namespace platform
} // namespace om

#endif
