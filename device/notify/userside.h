#ifndef OMDEVICE_USERSIDE_H
#define OMDEVICE_USERSIDE_H

#include "common/watchers.h"
#include "notify/notifyservice.h"

#include <QSet>

namespace omdevice {

/**
 * The user's side of the notification service, for omctl, on its own
 * server object (mode 0600: only the device's owner plays the user).
 * Requests, each answered with "res", "id" and "dat", or "err":
 *   "inbox"   dat {"from"} or {"last"}: "items" from place "from" on (or
 *             the last "last" ones), as many as fit in one message, and
 *             "total";
 *   "dialogs" dat {"from"} or {"last"}: "dialogs" likewise, and "total";
 *   "choose"  dat {"dialog", "button"}: presses a button of a dialog;
 *   "open"    dat {"application", "itemId"}: opens an item: its effects
 *             are cleared and its invocation runs; answered with the
 *             target that took it ("invoked"), if it has one;
 *   "clearEffects", "remove" dat {"application", "itemId"?}: as the
 *             application's "cancel" and "delete";
 *   "watch":  the client is told of every change of the inbox and the
 *             dialogs;
 *   "follow"  from then on the client gets an "event" message, dat
 *             {"event", ...}, for every item posted, cleared or removed,
 *             every dialog shown or ended and every change of settings:
 *             the change itself, where "watch" only says what changed.
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
    void open(const Request &request);
    void clear(const Request &request, bool remove);
    /** Answers @p request with the page of @p entries that it asks for,
     *  under @p listKey, and their "total". */
    void list(const Request &request, const QList<QVariantMap> &entries, const QString &listKey);
    /** The service's part @p Part; null, after failing @p request, if
     *  the service runs without it. */
    template <class Part> Part *partFor(const Request &request, const char *what) const;

    RequestRouter *m_router;
    QSet<int> m_followers;
    Watchers m_watchers;
};

} // namespace omdevice

#endif
