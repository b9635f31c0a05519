#ifndef OMDEVICE_USERSIDE_H
#define OMDEVICE_USERSIDE_H

#include "notify/notifyservice.h"

namespace omdevice {

/**
 * The user's side of the notification service, for omctl, on the server
 * object "/pps/simulator/notifications" (mode 0600: only the device's
 * owner plays the user). Requests, each answered with "res", "id" and
 * "dat", or "err":
 *   "inbox"   dat {"from"}: "items" from place "from" on, as many as fit
 *             in one message, and "total";
 *   "dialogs" dat {"from"}: "dialogs" likewise, and "total";
 *   "choose"  dat {"dialog", "button"}: presses a button of a dialog.
 */
class UserSide : public NotifyPart
{
    Q_OBJECT
public:
    static constexpr const char *Path = "/pps/simulator/notifications";

    explicit UserSide(NotifyService *service);

    QStringList messages() const override { return QStringList(); }
    void handle(int clientId, const QVariantMap &request) override;
    bool start(QString *error) override;

private:
    void onMessage(int clientId, const QVariantMap &request);
    void answer(int clientId, const QVariantMap &request, const QVariantMap &dat);
    void fail(int clientId, const QVariantMap &request, const QString &error);

    ControlServer *m_server;
};

} // namespace omdevice

#endif
