#ifndef OMDEVICE_PAYMENTS_PAYMENTSYSTEM_H
#define OMDEVICE_PAYMENTS_PAYMENTSYSTEM_H

#include "common/datastore.h"
#include "common/requestrouter.h"
#include "common/servicemodule.h"
#include "common/watchers.h"
#include "payments/catalogue.h"
#include "payments/purchasestore.h"

#include <QList>

namespace omdevice {

class ControlServer;

/**
 * The payment service: a store of digital goods that applications buy from
 * through "/pps/services/paymentsystem/control", and that the device's
 * owner plays the user of through "/pps/simulator/payments".
 *
 * Purchases are kept by the application that made them (the package the
 * broker names, never what a message says) and by store: requests with
 * "localMode" go to the test store, the others to production.
 *
 * The user side chooses what a purchase meets: approval at once, a wait
 * for the user (approve or decline later), a refusal, a failure, a busy
 * store; offline fails every request. Any request can be made to fail with
 * any code on demand, the store's clock moved ahead, a purchase refunded,
 * and the goods of the catalogue shown, added and changed.
 */
class PaymentSystem : public ServiceModule
{
    Q_OBJECT
public:
    PaymentSystem(const DeviceContext &context, QObject *parent);
    ~PaymentSystem() override;

    bool start(QString *error) override;

    /** The shape of the service's answers: "@control" with "msg" and "id"
     *  as asked, "res" the request's kind with Success or Failure, and
     *  always "dat". */
    static WireForm wireForm();

private:
    /** A purchase that waits for the user. */
    struct Pending
    {
        int number = 0;
        Request request;
        Purchase purchase;
        /** Kept from before the device restarted: its application's
         *  connection is gone, so nobody is answered. */
        bool restored = false;
    };
    /** A failure the user asked for, for the next request (of a kind). */
    struct Injected
    {
        Failure failure;
        QString msg; ///< Empty: any request.
    };

    void purchase(const Request &request);
    void existingPurchases(const Request &request);
    void price(const Request &request);
    void checkExisting(const Request &request);
    void cancelSubscription(const Request &request);

    /** Fails @p request if the user asked for it or the store is offline. */
    bool refuseFirst(const Request &request);
    bool fail(const Request &request, int code, const QString &text, const QString &subCode);
    const Good *goodOf(const Request &request);
    void sendInvocation(const Request &request, const Good &good);
    bool complete(const Pending &pending, Purchase *bought = nullptr);
    void clientClosed(int clientId);

    void addUserSideRoutes();
    bool saveSettings(QString *error);
    /** Takes in the purchases that waited for the user when the device
     *  stopped. */
    void loadPending(const QVariantMap &saved);
    bool keepPending(const Pending &pending, QString *error);
    bool forgetPending(const Pending &pending, QString *error);
    /** Tells the user side's watchers that the store's state changed. */
    void changed() const;

    ControlServer *m_controlServer;
    RequestRouter *m_control;
    ControlServer *m_userServer;
    RequestRouter *m_userSide;
    Watchers m_watchers;
    Catalogue m_catalogue;
    PurchaseStore m_store;
    DataStore m_settings;
    QString m_mode;
    bool m_invoke = false;
    QList<Pending> m_pending;
    int m_nextPending = 1;
    QList<Injected> m_injected;
};

} // namespace omdevice

#endif
