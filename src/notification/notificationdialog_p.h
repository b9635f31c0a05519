#ifndef OM_PLATFORM_NOTIFICATIONDIALOG_P_H
#define OM_PLATFORM_NOTIFICATIONDIALOG_P_H

#include <om/platform/notificationdialog.h>

#include <QList>
#include <QPointer>
#include <QRecursiveMutex>
#include <QVariantMap>

#include <utility>

class QEventLoop;

namespace ommock {
class NotificationPpsChannel;
}

namespace om {
namespace platform {

class NotificationDialogPrivate : public QObject
{
    Q_OBJECT
    Q_DECLARE_PUBLIC(NotificationDialog)

public:
    explicit NotificationDialogPrivate(NotificationDialog *owner);
    ~NotificationDialogPrivate() override;

    QString dialogId() const;
    void connectChannel();
    void disconnectChannel();
    void show();
    void cancel();
    void fail(NotificationError::Type reason);
    void finish();

    static void qmlAppend(QQmlListProperty<om::system::SystemUiButton> *list,
                          om::system::SystemUiButton *button);
    // The list's sizes and indexes: int in Qt 5, qsizetype in Qt 6.
    using QmlListSize = decltype(std::declval<QList<QObject *>>().size());
    static QmlListSize qmlCount(QQmlListProperty<om::system::SystemUiButton> *list);
    static om::system::SystemUiButton *qmlAt(QQmlListProperty<om::system::SystemUiButton> *list,
                                            QmlListSize index);
    static void qmlClear(QQmlListProperty<om::system::SystemUiButton> *list);

    NotificationDialog *const q_ptr;
    mutable QRecursiveMutex mutex;
    QEventLoop *eventLoop;
    ommock::NotificationPpsChannel *channel = nullptr;
    NotificationResult::Type result = NotificationResult::None;
    NotificationError::Type error = NotificationError::None;
    bool connected = false;
    QList<om::system::SystemUiButton *> buttons;
    QList<om::system::InvokeRequest> invokeRequests;
    QString category;
    QString title;
    QString body;
    bool repeat = false;
    QUrl soundUrl;
    QPointer<om::system::SystemUiButton> selectedButton;

Q_SIGNALS:
    void send(QVariantMap message);

public Q_SLOTS:
    void onReceive(QVariantMap response);
    void onDestroyed(QObject *object);

private:
    QMetaObject::Connection m_receiveConnection;
    QMetaObject::Connection m_sendConnection;
};

} // namespace platform
} // namespace om

#endif
