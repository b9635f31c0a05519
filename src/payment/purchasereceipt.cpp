#include "payment/purchasereceipt_p.h"

namespace om {
namespace platform {

namespace {
bool isSubscriptionState(DigitalGoodState::Type state)
{
    return state != DigitalGoodState::Owned && state != DigitalGoodState::Unknown;
}
} // namespace

PurchaseReceiptPrivate::PurchaseReceiptPrivate(PurchaseReceipt *owner) : q_ptr(owner) {}

PurchaseReceiptPrivate::~PurchaseReceiptPrivate() = default;

PurchaseReceiptPrivate &PurchaseReceiptPrivate::operator=(const PurchaseReceiptPrivate &other)
{
    valid = other.valid;
    state = other.state;
    date = other.date;
    digitalGoodId = other.digitalGoodId;
    digitalGoodSku = other.digitalGoodSku;
    licenseKey = other.licenseKey;
    metadata = other.metadata;
    setExtraParams(other.extraParams);
    purchaseId = other.purchaseId;
    // A receipt of a good that is simply owned carries no period: the
    // target keeps its own.
    if (isSubscriptionState(other.state)) {
        startDate = other.startDate;
        endDate = other.endDate;
        initialPeriod = other.initialPeriod;
    }
    return *this;
}

QSharedPointer<PurchaseReceipt> PurchaseReceiptPrivate::newValidPurchaseReceipt()
{
    QSharedPointer<PurchaseReceipt> receipt(new PurchaseReceipt);
    receipt->d_func()->valid = true;
    return receipt;
}

PurchaseReceiptPrivate *
PurchaseReceiptPrivate::purchaseReceiptPrivateFromPurchaseReceipt(PurchaseReceipt &receipt)
{
    return receipt.d_func();
}

void PurchaseReceiptPrivate::setExtraParams(const QMap<QString, QVariant> &value)
{
    if (extraParams.isSharedWith(value))
        return;
    extraParams = value;
}

PurchaseReceipt::PurchaseReceipt() : d_ptr(new PurchaseReceiptPrivate(this)) {}

PurchaseReceipt::PurchaseReceipt(const PurchaseReceipt &other)
    : d_ptr(new PurchaseReceiptPrivate(this))
{
    // Every field, unlike the assignment.
    const PurchaseReceiptPrivate *o = other.d_ptr;
    d_ptr->state = o->state;
    d_ptr->date = o->date;
    d_ptr->digitalGoodId = o->digitalGoodId;
    d_ptr->digitalGoodSku = o->digitalGoodSku;
    d_ptr->licenseKey = o->licenseKey;
    d_ptr->metadata = o->metadata;
    d_ptr->extraParams = o->extraParams;
    d_ptr->purchaseId = o->purchaseId;
    d_ptr->startDate = o->startDate;
    d_ptr->endDate = o->endDate;
    d_ptr->initialPeriod = o->initialPeriod;
    d_ptr->valid = o->valid;
}

PurchaseReceipt &PurchaseReceipt::operator=(const PurchaseReceipt &other)
{
    if (this != &other)
        *d_ptr = *other.d_ptr;
    return *this;
}

PurchaseReceipt::~PurchaseReceipt()
{
    delete d_ptr;
}

bool PurchaseReceipt::isValid() const
{
    return d_ptr->valid;
}

bool PurchaseReceipt::isSubscription() const
{
    return d_ptr->state != DigitalGoodState::Owned;
}

QString PurchaseReceipt::digitalGoodId() const
{
    return d_ptr->digitalGoodId;
}

QString PurchaseReceipt::digitalGoodSku() const
{
    return d_ptr->digitalGoodSku;
}

QString PurchaseReceipt::licenseKey() const
{
    return d_ptr->licenseKey;
}

QString PurchaseReceipt::purchaseMetadata() const
{
    return d_ptr->metadata;
}

QString PurchaseReceipt::purchaseId() const
{
    return d_ptr->purchaseId;
}

DigitalGoodState::Type PurchaseReceipt::state() const
{
    return d_ptr->state;
}

int PurchaseReceipt::initialPeriod() const
{
    return d_ptr->initialPeriod;
}

QDateTime PurchaseReceipt::date() const
{
    return d_ptr->date;
}

QDateTime PurchaseReceipt::startDate() const
{
    return d_ptr->startDate;
}

QDateTime PurchaseReceipt::endDate() const
{
    return d_ptr->endDate;
}

QMap<QString, QVariant> PurchaseReceipt::extraParameters() const
{
    return d_ptr->extraParams;
}

} // namespace platform
} // namespace om
