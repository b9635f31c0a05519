#ifndef OM_PLATFORM_NOTIFICATION_H
#define OM_PLATFORM_NOTIFICATION_H

#include <om/platform/notificationerror.h>
#include <om/platform/notificationtype.h>
#include <om/platform/omplatform_export.h>
#include <om/system/invokerequest.h>

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QUrl>

namespace om {
namespace platform {

class NotificationPrivate;

/**
 * One item that the application posts to the device's notification service:
 * an entry in the inbox with its alerts, and optionally an invocation that
 * runs when the user opens it.
 *
 * The object is a set of properties; nothing reaches the service until
 * notify() is called. The item is named by key(): calling notify() again, on
 * this object or on another one made with the same key (also in a later run
 * of the application), updates the same item. The object may be destroyed
 * as soon as notify() returns; the item stays with the service.
 *
 * Use the object from one thread only.
 */
class OMPLATFORM_EXPORT Notification : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString key READ key CONSTANT FINAL)
    Q_PROPERTY(QString category READ category WRITE setCategory RESET resetCategory NOTIFY categoryChanged FINAL)
    Q_PROPERTY(QString title READ title WRITE setTitle RESET resetTitle NOTIFY titleChanged FINAL)
    Q_PROPERTY(QString body READ body WRITE setBody RESET resetBody NOTIFY bodyChanged FINAL)
    Q_PROPERTY(QDateTime timestamp READ timestamp WRITE setTimestamp RESET resetTimestamp NOTIFY timestampChanged FINAL)
    Q_PROPERTY(QUrl soundUrl READ soundUrl WRITE setSoundUrl RESET resetSoundUrl NOTIFY soundUrlChanged FINAL)
    Q_PROPERTY(QUrl iconUrl READ iconUrl WRITE setIconUrl RESET resetIconUrl NOTIFY iconUrlChanged REVISION 1 FINAL)
    Q_PROPERTY(om::platform::NotificationType::Type type READ type WRITE setType RESET resetType NOTIFY typeChanged REVISION 1 FINAL)
    Q_PROPERTY(om::platform::NotificationError::Type error READ error FINAL)

public:
    /** A notification with a new, unique key. */
    explicit Notification(QObject *parent = nullptr);
    /** A notification for the item named @p key, which may have been posted
     *  before, also by an earlier run of the application. */
    explicit Notification(const QString &key, QObject *parent = nullptr);
    ~Notification() override;

    /** The name of the item at the service. */
    QString key() const;

    /** The category of the item; sent only while type() is Default. A null
     *  string is not sent; an empty one is. */
    QString category() const;
    void setCategory(const QString &category);
    void resetCategory();

    /** The title; a null string is not sent, an empty one is. */
    QString title() const;
    void setTitle(const QString &title);
    void resetTitle();

    /** The body text; a null string is not sent, an empty one is. */
    QString body() const;
    void setBody(const QString &body);
    void resetBody();

    /** The time the item stands for; not sent while invalid. */
    QDateTime timestamp() const;
    void setTimestamp(const QDateTime &timestamp);
    /** The same in milliseconds since the epoch (negative: before it). */
    Q_INVOKABLE void setTimestamp(qint64 millisecondsTimestamp);
    Q_INVOKABLE void resetTimestamp();

    /** The sound to play: a file URL, a plain path or an "asset:///" URL.
     *  One that names no file path is not sent. */
    QUrl soundUrl() const;
    void setSoundUrl(const QUrl &soundUrl);
    void resetSoundUrl();

    /** The icon of the item, given like soundUrl(). */
    QUrl iconUrl() const;
    void setIconUrl(const QUrl &iconUrl);
    void resetIconUrl();

    /** Which alerts the item gives. Anything but Default replaces the category. */
    NotificationType::Type type() const;
    void setType(NotificationType::Type type);
    void resetType();

    /** The outcome of the last notify(), clearEffects() or deleteFromInbox()
     *  of this object. The static operations leave it alone. */
    NotificationError::Type error() const;

    /** What runs when the user opens the item. */
    om::system::InvokeRequest invokeRequest() const;
    /** Sets the invocation; emits invokeRequestChanged() every time, also
     *  for the request already set. */
    void setInvokeRequest(const om::system::InvokeRequest &newInvokeRequest);
    void resetInvokeRequest();

public Q_SLOTS:
    /**
     * Posts the item, or updates it if it was posted before, and waits for
     * the service's answer for at most 250 milliseconds. The application's
     * events are delivered while it waits. Sets error() and returns it.
     */
    om::platform::NotificationError::Type notify();
    /** Silences this object's item (it stays in the inbox). Does not wait. */
    om::platform::NotificationError::Type clearEffects();
    /** Removes this object's item from the inbox. Does not wait. */
    om::platform::NotificationError::Type deleteFromInbox();

    /** Silences every item of the application. */
    static om::platform::NotificationError::Type clearEffectsForAll();
    /** Removes every item of the application from the inbox. */
    static om::platform::NotificationError::Type deleteAllFromInbox();
    /** Silences the item named @p key; an empty key means every item. */
    static om::platform::NotificationError::Type clearEffects(const QString &key);
    /** Removes the item named @p key; an empty key means every item. */
    static om::platform::NotificationError::Type deleteFromInbox(const QString &key);

Q_SIGNALS:
    void categoryChanged(QString value);
    void titleChanged(QString value);
    void bodyChanged(QString value);
    void timestampChanged(QDateTime newTimestamp);
    void soundUrlChanged(QUrl newSoundUrl);
    Q_REVISION(1) void iconUrlChanged(QUrl newIconUrl);
    Q_REVISION(1) void typeChanged(om::platform::NotificationType::Type &type);
    /** The same as the form above, for script callers; emitted right after it. */
    Q_REVISION(1) void typeChanged(int type);
    void invokeRequestChanged(om::system::InvokeRequest newInvokeRequest);

private:
    Q_DISABLE_COPY(Notification)
    Q_DECLARE_PRIVATE(Notification)
    NotificationPrivate *const d_ptr;
};

} // namespace platform
} // namespace om

#endif
