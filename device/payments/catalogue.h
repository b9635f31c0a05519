#ifndef OMDEVICE_PAYMENTS_CATALOGUE_H
#define OMDEVICE_PAYMENTS_CATALOGUE_H

#include "common/datastore.h"

#include <QList>
#include <QString>
#include <QVariantMap>

namespace omdevice {

/** One digital good of the store. */
struct Good
{
    enum Kind { Owned, Consumable, Subscription };

    QString id;
    QString sku;
    QString name;
    /** The price as the store words it, such as "0.99"; for a subscription
     *  the price of its first period. */
    QString price;
    Kind kind = Owned;
    /** Days of a subscription's first period. */
    int initialPeriodDays = 0;
    QString renewalPrice;
    /** Days of each later period; 0: the subscription is not renewed. */
    int renewalPeriodDays = 0;

    bool isSubscription() const { return kind == Subscription; }
    QVariantMap toVariant() const;
    /** A good from its map; false with the reason if a field is wrong. */
    static bool fromVariant(const QVariantMap &map, Good *good, QString *error);
    static QString kindName(Kind kind);
};

/**
 * The goods of the store, kept as JSON in the device's data directory so
 * that a developer may also edit the file by hand. A fresh device starts
 * with sample goods of each kind.
 */
class Catalogue
{
public:
    explicit Catalogue(const QString &dataDirectory);

    QList<Good> goods() const { return m_goods; }
    /** The good with @p id, else the one with @p sku; null if none. */
    const Good *find(const QString &id, const QString &sku) const;

    bool add(const Good &good, QString *error);
    /** Changes the fields of @p changes (any of the good's map but "id"). */
    bool change(const QString &id, const QVariantMap &changes, Good *changed, QString *error);
    bool remove(const QString &id, Good *removed, QString *error);

    static QList<Good> samples();

private:
    bool check(const Good &good, int ignoring, QString *error) const;
    bool save(QString *error);

    DataStore m_store;
    QList<Good> m_goods;
    /** The file exists but cannot be read: it is left alone. */
};

} // namespace omdevice

#endif
