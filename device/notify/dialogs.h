#ifndef OMDEVICE_DIALOGS_H
#define OMDEVICE_DIALOGS_H

#include "notify/notifyservice.h"

#include <QList>
#include <QMap>

namespace omdevice {

/**
 * The dialogs on screen. "alert" puts one up (answered with "res" "alert"),
 * "update" replaces its content, "cancel" (with the dialog's id, which an
 * item's "cancel" never has) takes it away. When the user chooses a
 * button, the dialog's client gets "msg" "choice" with the dialog's id and
 * "dat" {"itemId", "context"}, and the dialog leaves the screen. A dialog
 * whose client goes away goes too.
 */
class Dialogs : public NotifyPart
{
    Q_OBJECT
public:
    explicit Dialogs(NotifyService *service);

    /** The dialogs on screen, oldest first: "itemId", "application",
     *  "shown" (ms since the epoch), "content" (the "dat" of the alert or
     *  of the last update). */
    QList<QVariantMap> dialogs() const;

    /**
     * The user presses a button. @p dialog is a dialog's id, or a prefix
     * that names one dialog only (its braces may be left out); @p button is
     * a button's context or its label. On success gives the dialog's id and
     * the button's context and label in *chosen; otherwise false with the
     * reason in *error.
     */
    bool choose(const QString &dialog, const QString &button, QVariantMap *chosen, QString *error);

Q_SIGNALS:
    /** A dialog came, changed or went. */
    void dialogsChanged();

private:
    struct Dialog
    {
        QString itemId;
        int clientId = 0;
        QString application;
        qint64 shown = 0;
        QVariantMap content;
    };

    void alert(const Request &request);
    void update(const Request &request);
    void cancel(const Request &request);
    void clientClosed(int clientId);
    /** Takes @p dialog off the screen and tells the followers, with the
     *  @p button chosen if the user chose one. */
    void ended(QMap<QString, Dialog>::iterator dialog, const QVariantMap &button = QVariantMap());
    static QString checkContent(const QVariantMap &content);

    QMap<QString, Dialog> m_dialogs;
};

} // namespace omdevice

#endif
