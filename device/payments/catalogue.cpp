#include "payments/catalogue.h"

#include "payments/paymentsprotocol_p.h"

#include <QFile>
#include <QLoggingCategory>

namespace omdevice {

Q_DECLARE_LOGGING_CATEGORY(lcPayments)

namespace protocol = om::paymentsprotocol;

QString Good::kindName(Kind kind)
{
    switch (kind) {
    case Owned:
        return protocol::kindOwned();
    case Consumable:
        return protocol::kindConsumable();
    case Subscription:
        return protocol::kindSubscription();
    }
    return QString();
}

QVariantMap Good::toVariant() const
{
    QVariantMap map{{protocol::keyId(), id},
                    {protocol::keySku(), sku},
                    {protocol::keyName(), name},
                    {protocol::keyPrice(), price},
                    {protocol::keyKind(), kindName(kind)}};
    if (kind == Subscription) {
        map.insert(protocol::keyInitialPeriodDays(), initialPeriodDays);
        map.insert(protocol::keyRenewalPrice(), renewalPrice);
        map.insert(protocol::keyRenewalPeriodDays(), renewalPeriodDays);
    }
    return map;
}

bool Good::fromVariant(const QVariantMap &map, Good *good, QString *error)
{
    Good g;
    for (const QString &key :
         {protocol::keyId(), protocol::keySku(), protocol::keyName(), protocol::keyPrice(),
          protocol::keyKind(), protocol::keyRenewalPrice()}) {
        if (map.contains(key) && map.value(key).userType() != QMetaType::QString) {
            *error = QStringLiteral("\"%1\" must be text").arg(key);
            return false;
        }
    }
    g.id = map.value(protocol::keyId()).toString().trimmed();
    g.sku = map.value(protocol::keySku()).toString().trimmed();
    g.name = map.value(protocol::keyName()).toString();
    g.price = map.value(protocol::keyPrice()).toString();
    const QString kind = map.value(protocol::keyKind(), protocol::kindOwned()).toString();
    if (kind == protocol::kindOwned()) {
        g.kind = Owned;
    } else if (kind == protocol::kindConsumable()) {
        g.kind = Consumable;
    } else if (kind == protocol::kindSubscription()) {
        g.kind = Subscription;
    } else {
        *error =
            QStringLiteral("unknown kind \"%1\" (owned, consumable or subscription)").arg(kind);
        return false;
    }
    auto days = [&](const QString &key, int *value) {
        if (!map.contains(key))
            return true;
        bool ok = false;
        *value = map.value(key).toInt(&ok);
        if (!ok || *value < 0) {
            *error = QStringLiteral("\"%1\" must be a number of days").arg(key);
            return false;
        }
        return true;
    };
    if (!days(protocol::keyInitialPeriodDays(), &g.initialPeriodDays) ||
        !days(protocol::keyRenewalPeriodDays(), &g.renewalPeriodDays))
        return false;
    g.renewalPrice = map.value(protocol::keyRenewalPrice()).toString();
    if (g.kind == Subscription && g.initialPeriodDays == 0 && g.renewalPeriodDays == 0) {
        *error = QStringLiteral("a subscription needs an initial or a renewal period");
        return false;
    }
    *good = g;
    return true;
}

Catalogue::Catalogue(const QString &dataDirectory)
    : m_store(dataDirectory, QStringLiteral("payments-catalogue"))
{
    const QVariantMap saved = m_store.load();
    const QVariant stored = saved.value(protocol::keyGoods());
    if (m_store.origin() == DataStore::Origin::Loaded && stored.isValid() &&
        stored.userType() != QMetaType::QVariantList)
        m_store.setAside(QStringLiteral("the goods are not a list"));
    if (m_store.origin() != DataStore::Origin::Loaded) {
        // A new device, or one whose catalogue was set aside: the samples.
        m_goods = samples();
        QVariantList goods;
        for (const Good &good : qAsConst(m_goods))
            goods.append(good.toVariant());
        m_store.save({{protocol::keyGoods(), goods}}, lcPayments());
        return;
    }
    for (const QVariant &entry : stored.toList()) {
        Good good;
        QString error;
        if (Good::fromVariant(entry.toMap(), &good, &error) && check(good, -1, &error))
            m_goods.append(good);
        else
            qCWarning(lcPayments, "a good of the catalogue is left out: %s", qPrintable(error));
    }
}

QList<Good> Catalogue::samples()
{
    Good sword{QStringLiteral("sword"),
               QStringLiteral("SWORD-1"),
               QStringLiteral("Sword of Testing"),
               QStringLiteral("0.99"),
               Good::Owned,
               0,
               QString(),
               0};
    Good gems{QStringLiteral("gems-100"),
              QStringLiteral("GEMS-100"),
              QStringLiteral("100 gems"),
              QStringLiteral("1.99"),
              Good::Consumable,
              0,
              QString(),
              0};
    Good premium{QStringLiteral("premium"),
                 QStringLiteral("PREMIUM-MONTH"),
                 QStringLiteral("Premium, monthly"),
                 QStringLiteral("0.00"),
                 Good::Subscription,
                 7,
                 QStringLiteral("4.99"),
                 30};
    Good weekly{QStringLiteral("magazine"),
                QStringLiteral("MAG-WEEK"),
                QStringLiteral("Weekly magazine"),
                QStringLiteral("1.49"),
                Good::Subscription,
                7,
                QStringLiteral("1.49"),
                7};
    return {sword, gems, premium, weekly};
}

const Good *Catalogue::find(const QString &id, const QString &sku) const
{
    if (!id.isEmpty()) {
        for (const Good &good : m_goods) {
            if (good.id == id)
                return &good;
        }
    }
    if (!sku.isEmpty()) {
        for (const Good &good : m_goods) {
            if (good.sku == sku)
                return &good;
        }
    }
    return nullptr;
}

bool Catalogue::check(const Good &good, int ignoring, QString *error) const
{
    if (good.id.isEmpty()) {
        *error = QStringLiteral("a good needs an id");
        return false;
    }
    for (int i = 0; i < m_goods.size(); ++i) {
        if (i == ignoring)
            continue;
        if (m_goods.at(i).id == good.id) {
            *error = QStringLiteral("a good with the id \"%1\" exists").arg(good.id);
            return false;
        }
        if (!good.sku.isEmpty() && m_goods.at(i).sku == good.sku) {
            *error = QStringLiteral("the good \"%1\" has the SKU \"%2\"")
                         .arg(m_goods.at(i).id, good.sku);
            return false;
        }
    }
    return true;
}

bool Catalogue::save(QString *error)
{
    QVariantList goods;
    for (const Good &good : qAsConst(m_goods))
        goods.append(good.toVariant());
    return m_store.save({{protocol::keyGoods(), goods}}, error);
}

bool Catalogue::add(const Good &good, QString *error)
{
    if (!check(good, -1, error))
        return false;
    m_goods.append(good);
    if (!save(error)) {
        m_goods.removeLast();
        return false;
    }
    return true;
}

bool Catalogue::change(const QString &id, const QVariantMap &changes, Good *changed, QString *error)
{
    int index = -1;
    for (int i = 0; i < m_goods.size() && index < 0; ++i) {
        if (m_goods.at(i).id == id)
            index = i;
    }
    if (index < 0) {
        *error = QStringLiteral("no good with the id \"%1\"").arg(id);
        return false;
    }
    QVariantMap fields = m_goods.at(index).toVariant();
    for (auto it = changes.cbegin(); it != changes.cend(); ++it) {
        if (it.key() != protocol::keyId())
            fields.insert(it.key(), it.value());
    }
    Good good;
    if (!Good::fromVariant(fields, &good, error) || !check(good, index, error))
        return false;
    const Good before = m_goods.at(index);
    m_goods[index] = good;
    if (!save(error)) {
        m_goods[index] = before;
        return false;
    }
    *changed = good;
    return true;
}

bool Catalogue::remove(const QString &id, Good *removed, QString *error)
{
    for (int i = 0; i < m_goods.size(); ++i) {
        if (m_goods.at(i).id != id)
            continue;
        const Good good = m_goods.takeAt(i);
        if (!save(error)) {
            m_goods.insert(i, good);
            return false;
        }
        *removed = good;
        return true;
    }
    *error = QStringLiteral("no good with the id \"%1\"").arg(id);
    return false;
}

} // namespace omdevice
