#ifndef OMDEVICE_USERSIDE_H
#define OMDEVICE_USERSIDE_H

#include "notify/notifyservice.h"

#include <QSet>

namespace omdevice {

/**
 * The user's side of the notification service, for omctl, on its own
 * server object (mode 0600: only the device's owner plays the user).
 * Requests, each answered with "res", "id" and "dat", or "err":
 *   "inbox"   dat {"from"}: "items" from place "from" on, as many as fit
 *             in one message, and "total";
 *   "dialogs" dat {"from"}: "dialogs" likewise, and "total";
 *   "choose"  dat {"dialog", "button"}: presses a button of a dialog;
 *   "follow"  from then on the client gets an "event" message, dat
 *             {"event", ...}, for every item posted, cleared or removed,
 *             every dialog shown or ended and every change of settings.
 */
class UserSide : public NotifyPart
{
    Q_OBJECT
public:
    explicit UserSide(NotifyService *service);

    bool start(QString *error) override;

private:
    void inbox(const Request &request);
    void dialogs(const Request &request);
    void choose(const Request &request);
    void follow(const Request &request);
    void publish(const QVariantMap &event);
    /** Answers @p request with the page of @p entries that it asks for,
     *  under @p listKey, and their "total". */
    void list(const Request &request, const QList<QVariantMap> &entries, const QString &listKey);
    /** The service's part @p Part; null, after failing @p request, if
     *  the service runs without it. */
    template <class Part> Part *partFor(const Request &request, const char *what) const;

    RequestRouter *m_router;
    QSet<int> m_followers;
};

} // namespace omdevice

#endif
