#ifndef OM_PLATFORM_NOTIFICATIONDIALOG_H
#define OM_PLATFORM_NOTIFICATIONDIALOG_H

#include <om/platform/notificationerror.h>
#include <om/platform/notificationresult.h>
#include <om/platform/omplatform_export.h>
#include <om/system/invokerequest.h>
#include <om/system/systemuibutton.h>

#include <QObject>
#include <QQmlListProperty>
#include <QString>
#include <QUrl>

namespace om {
namespace platform {

class NotificationDialogPrivate;

/**
 * A modal prompt with buttons that the notification service shows on the
 * application's behalf, and the button the user chose.
 *
 * Asynchronously: show(), then wait for finished(). Synchronously: exec(),
 * which runs a nested event loop, with no time-out, until the user chooses
 * or the exchange fails; the application's events are delivered meanwhile.
 * The dialog owns its buttons. Destroying a dialog that is on screen takes
 * it away, and emits nothing.
 */
class OMPLATFORM_EXPORT NotificationDialog : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("DefaultProperty", "buttons")
    Q_PROPERTY(QString category READ category WRITE setCategory RESET resetCategory NOTIFY categoryChanged FINAL)
    Q_PROPERTY(QString title READ title WRITE setTitle RESET resetTitle NOTIFY titleChanged FINAL)
    Q_PROPERTY(QString body READ body WRITE setBody RESET resetBody NOTIFY bodyChanged FINAL)
    Q_PROPERTY(bool repeat READ repeat WRITE setRepeat RESET resetRepeat NOTIFY repeatChanged FINAL)
    Q_PROPERTY(QUrl soundUrl READ soundUrl WRITE setSoundUrl RESET resetSoundUrl NOTIFY soundUrlChanged FINAL)
    Q_PROPERTY(QQmlListProperty<om::system::SystemUiButton> buttons READ qmlButtons FINAL)
    Q_PROPERTY(om::platform::NotificationResult::Type result READ result NOTIFY finished FINAL)
    Q_PROPERTY(om::platform::NotificationError::Type error READ error FINAL)

public:
    explicit NotificationDialog(QObject *parent = nullptr);
    ~NotificationDialog() override;

    QString category() const;
    void setCategory(const QString &category);
    void resetCategory();

    QString title() const;
    void setTitle(const QString &title);
    void resetTitle();

    QString body() const;
    void setBody(const QString &body);
    void resetBody();

    /** Whether the dialog's alert repeats until the user answers. */
    bool repeat() const;
    void setRepeat(bool repeat);
    void resetRepeat();

    /** The sound of the dialog: a file URL, a plain path or an "asset:///" URL. */
    QUrl soundUrl() const;
    void setSoundUrl(const QUrl &soundUrl);
    void resetSoundUrl();

    /** The outcome of the last exchange; None while one is under way. */
    NotificationResult::Type result() const;
    /** Why the last exchange failed, if it did. */
    NotificationError::Type error() const;

    /** The button the user chose, or null if none was chosen or it no longer lives. */
    Q_INVOKABLE om::system::SystemUiButton *buttonSelection() const;

    /** Adds @p button, which the dialog takes as its child. A button held already is left as it is. */
    void appendButton(om::system::SystemUiButton *button);
    /** Adds @p button with what runs when the user chooses it. */
    void appendButton(om::system::SystemUiButton *button, const om::system::InvokeRequest &request);
    int buttonCount() const;
    /** The button at @p index, or null if out of range. */
    om::system::SystemUiButton *buttonAt(int index) const;
    /** The invocation stored at @p index, or a default request if out of range. */
    om::system::InvokeRequest invokeRequestAt(int index) const;
    /** Replaces the invocation at @p index; false if out of range. */
    bool setInvokeRequestAt(int index, const om::system::InvokeRequest &request);
    /** Deletes every button (later, by deleteLater()) and empties the list. */
    void clearButtons();

    /** The buttons, for declarative code. */
    QQmlListProperty<om::system::SystemUiButton> qmlButtons();

public Q_SLOTS:
    /** Puts the dialog on screen, or updates it if it is up. Returns at once;
     *  a failure found at once is reported by finished() before it returns. */
    void show();
    /** show(), then waits for the outcome, which it returns. */
    om::platform::NotificationResult::Type exec();
    /** Takes the dialog off screen. Emits nothing, and does not end a running exec(). */
    void cancel();

Q_SIGNALS:
    void categoryChanged(QString value);
    void titleChanged(QString value);
    void bodyChanged(QString value);
    void repeatChanged(bool value);
    void soundUrlChanged(QUrl newSoundUrl);
    /** The exchange has ended with @p value. */
    void finished(om::platform::NotificationResult::Type value);
    /** The same as the form above, for script callers; emitted right after it. */
    void finished(int value);

private:
    Q_DISABLE_COPY(NotificationDialog)
    Q_DECLARE_PRIVATE(NotificationDialog)
    NotificationDialogPrivate *const d_ptr;
};

} // namespace platform
} // namespace om

#endif
