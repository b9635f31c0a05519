#ifndef OMDEVICE_PAYMENTS_PURCHASESTORE_H
#define OMDEVICE_PAYMENTS_PURCHASESTORE_H

#include "common/datastore.h"
#include "payments/catalogue.h"

#include <QList>
#include <QString>
#include <QVariantMap>

namespace omdevice {

/** One purchase of one application in one store. */
struct Purchase
{
    /** The numbers of the library's DigitalGoodState. */
    enum State {
        Owned = 0,
        NewSubscription = 1,
        SubscriptionRefunded = 2,
        SubscriptionCanceled = 3,
        SubscriptionRenewed = 4,
    };

    QString purchaseId;
    QString package;   ///< The application, as the broker named it.
    bool test = false; ///< Bought in the test store.
    QString goodId;
    QString sku;
    QString name;
    QString metadata;
    QVariantMap extras;
    QString licenseKey;
    QString appName;
    QString appIcon;
    qint64 date = 0; ///< When it was bought, ms since the epoch on the store's clock.
    int state = Owned;
    bool subscription = false;
    qint64 startDate = 0; ///< The current period of a subscription.
    qint64 endDate = 0;
    int initialPeriodDays = 0;
    int renewalPeriodDays = 0;
    /** An owned or consumable good that was refunded; it is no longer owned. */
    bool refunded = false;

    /** Whether the purchase holds at @p now: an owned good not refunded, or
     *  a subscription whose period runs (also a cancelled one, to its end). */
    bool isActive(qint64 now) const;
    /** Renews a subscription for as many periods as @p now has reached.
     *  Returns whether anything changed. */
    bool advance(qint64 now);
    /** The receipt on the wire: text of digits for the state and dates. */
    QVariantMap receipt() const;
    QVariantMap toVariant() const;
    static Purchase fromVariant(const QVariantMap &map);
};

/**
 * Every purchase of the device, by application and store, with the store's
 * clock, which the user side may move ahead. Each change is written to the
 * data directory at once and atomically, so a restart loses nothing.
 */
class PurchaseStore
{
public:
    static constexpr qint64 Day = 24 * 60 * 60 * 1000LL;

    explicit PurchaseStore(const QString &dataDirectory);

    /** The store's clock: the real time moved by the user's offset. */
    qint64 now() const;
    qint64 offsetDays() const { return m_offsetDays; }
    bool moveClock(qint64 days, QString *error);

    /** Brings every subscription to the store's clock. */
    void advance();

    QList<Purchase> purchases() const { return m_purchases; }
    /** Purchases of one application in one store, oldest first. */
    QList<Purchase> purchasesOf(const QString &package, bool test) const;
    /** The purchase of that application and store holding @p good now. */
    const Purchase *activeOf(const QString &package, bool test, const Good &good) const;
    const Purchase *find(const QString &purchaseId) const;

    /** Records a purchase of @p good bought now; fills its id, dates, key. */
    bool buy(Purchase purchase, const Good &good, Purchase *bought, QString *error);
    bool cancel(const QString &purchaseId, Purchase *cancelled, QString *error);
    bool refund(const QString &purchaseId, Purchase *refunded, QString *error);

private:
    QVariantMap snapshot() const;
    bool save(QString *error);
    Purchase *findMutable(const QString &purchaseId);

    DataStore m_store;
    QList<Purchase> m_purchases;
    qint64 m_offsetDays = 0;
    qint64 m_nextNumber = 1;
};

} // namespace omdevice

#endif
