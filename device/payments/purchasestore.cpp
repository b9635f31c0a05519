#include "payments/purchasestore.h"

#include "payments/paymentsprotocol_p.h"

#include <QDateTime>
#include <QLoggingCategory>
#include <QRandomGenerator>

namespace omdevice {

Q_DECLARE_LOGGING_CATEGORY(lcPayments)

namespace protocol = om::paymentsprotocol;

namespace {
const QString KeyPurchases = QStringLiteral("purchases");
const QString KeyOffsetDays = QStringLiteral("clockOffsetDays");
const QString KeyNextNumber = QStringLiteral("nextPurchaseNumber");

QString digits(qint64 value)
{
    return QString::number(value);
}
} // namespace

bool Purchase::isActive(qint64 now) const
{
    if (!subscription)
        return !refunded;
    switch (state) {
    case NewSubscription:
    case SubscriptionRenewed:
    case SubscriptionCanceled:
        return now < endDate;
    default:
        return false;
    }
}

bool Purchase::advance(qint64 now)
{
    if (!subscription || (state != NewSubscription && state != SubscriptionRenewed) ||
        now < endDate || renewalPeriodDays <= 0)
        return false;
    while (endDate <= now) {
        startDate = endDate;
        endDate += renewalPeriodDays * PurchaseStore::Day;
    }
    state = SubscriptionRenewed;
    return true;
}

QVariantMap Purchase::receipt() const
{
    QVariantMap r{{protocol::keyItemState(), digits(state)}, {protocol::keyDate(), digits(date)},
                  {protocol::keyGoodId(), goodId},           {protocol::keyGoodSku(), sku},
                  {protocol::keyLicenseKey(), licenseKey},   {protocol::keyMetadata(), metadata},
                  {protocol::keyPurchaseId(), purchaseId}};
    if (!extras.isEmpty())
        r.insert(protocol::keyExtras(), extras);
    if (subscription) {
        r.insert(protocol::keyStartDate(), digits(startDate));
        r.insert(protocol::keyEndDate(), digits(endDate));
        r.insert(protocol::keyInitialPeriod(), digits(initialPeriodDays));
    }
    return r;
}

QVariantMap Purchase::toVariant() const
{
    return {{QStringLiteral("purchaseId"), purchaseId},
            {QStringLiteral("package"), package},
            {QStringLiteral("store"), test ? protocol::storeTest() : protocol::storeProduction()},
            {QStringLiteral("goodId"), goodId},
            {QStringLiteral("sku"), sku},
            {QStringLiteral("name"), name},
            {QStringLiteral("metadata"), metadata},
            {QStringLiteral("extras"), extras},
            {QStringLiteral("licenseKey"), licenseKey},
            {QStringLiteral("appName"), appName},
            {QStringLiteral("appIcon"), appIcon},
            {QStringLiteral("date"), date},
            {QStringLiteral("state"), state},
            {QStringLiteral("subscription"), subscription},
            {QStringLiteral("startDate"), startDate},
            {QStringLiteral("endDate"), endDate},
            {QStringLiteral("initialPeriodDays"), initialPeriodDays},
            {QStringLiteral("renewalPeriodDays"), renewalPeriodDays},
            {QStringLiteral("refunded"), refunded}};
}

Purchase Purchase::fromVariant(const QVariantMap &map)
{
    Purchase p;
    p.purchaseId = map.value(QStringLiteral("purchaseId")).toString();
    p.package = map.value(QStringLiteral("package")).toString();
    p.test = map.value(QStringLiteral("store")).toString() == protocol::storeTest();
    p.goodId = map.value(QStringLiteral("goodId")).toString();
    p.sku = map.value(QStringLiteral("sku")).toString();
    p.name = map.value(QStringLiteral("name")).toString();
    p.metadata = map.value(QStringLiteral("metadata")).toString();
    p.extras = map.value(QStringLiteral("extras")).toMap();
    p.licenseKey = map.value(QStringLiteral("licenseKey")).toString();
    p.appName = map.value(QStringLiteral("appName")).toString();
    p.appIcon = map.value(QStringLiteral("appIcon")).toString();
    p.date = map.value(QStringLiteral("date")).toLongLong();
    p.state = map.value(QStringLiteral("state")).toInt();
    p.subscription = map.value(QStringLiteral("subscription")).toBool();
    p.startDate = map.value(QStringLiteral("startDate")).toLongLong();
    p.endDate = map.value(QStringLiteral("endDate")).toLongLong();
    p.initialPeriodDays = map.value(QStringLiteral("initialPeriodDays")).toInt();
    p.renewalPeriodDays = map.value(QStringLiteral("renewalPeriodDays")).toInt();
    p.refunded = map.value(QStringLiteral("refunded")).toBool();
    return p;
}

PurchaseStore::PurchaseStore(const QString &dataDirectory)
    : m_store(dataDirectory, QStringLiteral("payments"))
{
    const QVariantMap stored = m_store.load();
    for (const QVariant &entry : stored.value(KeyPurchases).toList())
        m_purchases.append(Purchase::fromVariant(entry.toMap()));
    m_offsetDays = stored.value(KeyOffsetDays).toLongLong();
    m_nextNumber = qMax<qint64>(1, stored.value(KeyNextNumber).toLongLong());
}

qint64 PurchaseStore::now() const
{
    return QDateTime::currentMSecsSinceEpoch() + m_offsetDays * Day;
}

bool PurchaseStore::moveClock(qint64 days, QString *error)
{
    if (days < 0) {
        *error = QStringLiteral("the clock only moves ahead");
        return false;
    }
    m_offsetDays += days;
    advance();
    return save(error);
}

void PurchaseStore::advance()
{
    const qint64 at = now();
    bool changed = false;
    for (Purchase &p : m_purchases)
        changed = p.advance(at) || changed;
    // Renewals are a matter of time: kept in memory if the file cannot be
    // written, and made again at the next start.
    if (changed)
        m_store.save(snapshot(), lcPayments());
}

QList<Purchase> PurchaseStore::purchasesOf(const QString &package, bool test) const
{
    QList<Purchase> found;
    for (const Purchase &p : m_purchases) {
        if (p.package == package && p.test == test)
            found.append(p);
    }
    return found;
}

const Purchase *PurchaseStore::activeOf(const QString &package, bool test, const Good &good) const
{
    const qint64 at = now();
    for (const Purchase &p : m_purchases) {
        if (p.package == package && p.test == test && p.goodId == good.id && p.isActive(at))
            return &p;
    }
    return nullptr;
}

const Purchase *PurchaseStore::find(const QString &purchaseId) const
{
    for (const Purchase &p : m_purchases) {
        if (p.purchaseId == purchaseId)
            return &p;
    }
    return nullptr;
}

Purchase *PurchaseStore::findMutable(const QString &purchaseId)
{
    for (Purchase &p : m_purchases) {
        if (p.purchaseId == purchaseId)
            return &p;
    }
    return nullptr;
}

bool PurchaseStore::buy(Purchase purchase, const Good &good, Purchase *bought, QString *error)
{
    const qint64 at = now();
    purchase.purchaseId = QString::number(m_nextNumber);
    purchase.goodId = good.id;
    purchase.sku = good.sku;
    purchase.name = good.name;
    purchase.date = at;
    purchase.licenseKey = QString::number(QRandomGenerator::global()->generate64(), 16);
    purchase.subscription = good.isSubscription();
    purchase.state = purchase.subscription ? Purchase::NewSubscription : Purchase::Owned;
    if (purchase.subscription) {
        purchase.initialPeriodDays = good.initialPeriodDays;
        purchase.renewalPeriodDays = good.renewalPeriodDays;
        purchase.startDate = at;
        const int first =
            good.initialPeriodDays > 0 ? good.initialPeriodDays : good.renewalPeriodDays;
        purchase.endDate = at + first * Day;
    }
    m_purchases.append(purchase);
    ++m_nextNumber;
    if (!save(error)) {
        m_purchases.removeLast();
        --m_nextNumber;
        return false;
    }
    *bought = purchase;
    return true;
}

bool PurchaseStore::cancel(const QString &purchaseId, Purchase *cancelled, QString *error)
{
    Purchase *p = findMutable(purchaseId);
    if (!p) {
        *error = QStringLiteral("no purchase \"%1\"").arg(purchaseId);
        return false;
    }
    const Purchase before = *p;
    if (p->state == Purchase::NewSubscription || p->state == Purchase::SubscriptionRenewed)
        p->state = Purchase::SubscriptionCanceled;
    if (!save(error)) {
        *p = before;
        return false;
    }
    *cancelled = *p;
    return true;
}

bool PurchaseStore::refund(const QString &purchaseId, Purchase *refunded, QString *error)
{
    Purchase *p = findMutable(purchaseId);
    if (!p) {
        *error = QStringLiteral("no purchase \"%1\"").arg(purchaseId);
        return false;
    }
    const Purchase before = *p;
    if (p->subscription)
        p->state = Purchase::SubscriptionRefunded;
    else
        p->refunded = true;
    if (!save(error)) {
        *p = before;
        return false;
    }
    *refunded = *p;
    return true;
}

QVariantMap PurchaseStore::snapshot() const
{
    QVariantList purchases;
    for (const Purchase &p : m_purchases)
        purchases.append(p.toVariant());
    return {
        {KeyPurchases, purchases}, {KeyOffsetDays, m_offsetDays}, {KeyNextNumber, m_nextNumber}};
}

bool PurchaseStore::save(QString *error)
{
    return m_store.save(snapshot(), error);
}

} // namespace omdevice
