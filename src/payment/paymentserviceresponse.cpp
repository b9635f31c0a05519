#include "payment/paymentserviceresponse_p.h"

namespace om {
namespace platform {

namespace {

template <typename Record>
Record &goodRecord(Record *record, const QString &digitalGoodId, const QString &digitalGoodSku)
{
    record->setDigitalGoodId(digitalGoodId);
    record->setDigitalGoodSku(digitalGoodSku);
    return *record;
}

template <typename Record>
Record &errorRecord(Record &record, int errorCode, const QString &errorText,
                    const QString &errorInfo)
{
    record.setError();
    record.setErrorCode(errorCode);
    record.setErrorText(errorText);
    record.setErrorInfo(errorInfo);
    return record;
}

} // namespace

PaymentServiceResponse::PaymentServiceResponse() : d(new PaymentServiceResponsePrivate) {}

PaymentServiceResponse::PaymentServiceResponse(int errorCode, const QString &errorText,
                                               const QString &errorInfo)
    : d(&errorRecord(*new PaymentServiceResponsePrivate, errorCode, errorText, errorInfo))
{
}

PaymentServiceResponse::PaymentServiceResponse(PaymentServiceResponsePrivate &dd) : d(&dd) {}

PaymentServiceResponse::PaymentServiceResponse(const PaymentServiceResponse &other) = default;

PaymentServiceResponse &PaymentServiceResponse::operator=(const PaymentServiceResponse &other)
{
    d = other.d;
    return *this;
}

PaymentServiceResponse::~PaymentServiceResponse() = default;

bool PaymentServiceResponse::error() const
{
    return d->error;
}

int PaymentServiceResponse::errorCode() const
{
    return d->errorCode;
}

QString PaymentServiceResponse::errorText() const
{
    return d->errorText;
}

QString PaymentServiceResponse::errorInfo() const
{
    return d->errorInfo;
}

DigitalGoodResponse::DigitalGoodResponse(DigitalGoodResponsePrivate &dd)
    : PaymentServiceResponse(dd)
{
}

DigitalGoodResponse::DigitalGoodResponse(const DigitalGoodResponse &other) = default;

DigitalGoodResponse &DigitalGoodResponse::operator=(const DigitalGoodResponse &other)
{
    PaymentServiceResponse::operator=(other);
    return *this;
}

DigitalGoodResponse::~DigitalGoodResponse() = default;

QString DigitalGoodResponse::digitalGoodId() const
{
    return d_func()->digitalGoodId;
}

QString DigitalGoodResponse::digitalGoodSku() const
{
    return d_func()->digitalGoodSku;
}

PurchaseResponseInfo::PurchaseResponseInfo() : DigitalGoodResponse(*new PurchaseResponseInfoPrivate)
{
}

PurchaseResponseInfo::PurchaseResponseInfo(const QString &digitalGoodId,
                                           const QString &digitalGoodSku)
    : DigitalGoodResponse(
          goodRecord(new PurchaseResponseInfoPrivate, digitalGoodId, digitalGoodSku))
{
}

PurchaseResponseInfo::PurchaseResponseInfo(const QString &digitalGoodId,
                                           const QString &digitalGoodSku, int errorCode,
                                           const QString &errorText, const QString &errorInfo)
    : DigitalGoodResponse(
          errorRecord(goodRecord(new PurchaseResponseInfoPrivate, digitalGoodId, digitalGoodSku),
                      errorCode, errorText, errorInfo))
{
}

PurchaseResponseInfo::PurchaseResponseInfo(const PurchaseResponseInfo &other) = default;

PurchaseResponseInfo &PurchaseResponseInfo::operator=(const PurchaseResponseInfo &other)
{
    PaymentServiceResponse::operator=(other);
    return *this;
}

PurchaseResponseInfo::~PurchaseResponseInfo() = default;

QSharedPointer<PurchaseReceipt> PurchaseResponseInfo::receipt() const
{
    return d_func()->receipt;
}

QString PurchaseResponseInfo::purchaseMetadata() const
{
    return d_func()->purchaseMetadata;
}

PriceResponseInfo::PriceResponseInfo() : DigitalGoodResponse(*new PriceResponseInfoPrivate) {}

PriceResponseInfo::PriceResponseInfo(const QString &digitalGoodId, const QString &digitalGoodSku)
    : DigitalGoodResponse(goodRecord(new PriceResponseInfoPrivate, digitalGoodId, digitalGoodSku))
{
}

PriceResponseInfo::PriceResponseInfo(const QString &digitalGoodId, const QString &digitalGoodSku,
                                     int errorCode, const QString &errorText,
                                     const QString &errorInfo)
    : DigitalGoodResponse(
          errorRecord(goodRecord(new PriceResponseInfoPrivate, digitalGoodId, digitalGoodSku),
                      errorCode, errorText, errorInfo))
{
}

PriceResponseInfo::PriceResponseInfo(PriceResponseInfoPrivate &dd) : DigitalGoodResponse(dd) {}

PriceResponseInfo::PriceResponseInfo(const PriceResponseInfo &other) = default;

PriceResponseInfo &PriceResponseInfo::operator=(const PriceResponseInfo &other)
{
    PaymentServiceResponse::operator=(other);
    return *this;
}

PriceResponseInfo::~PriceResponseInfo() = default;

QString PriceResponseInfo::price() const
{
    return d_func()->price;
}

SubscriptionTermsResponseInfo::SubscriptionTermsResponseInfo()
    : PriceResponseInfo(*new SubscriptionTermsResponseInfoPrivate)
{
}

SubscriptionTermsResponseInfo::SubscriptionTermsResponseInfo(const QString &digitalGoodId,
                                                             const QString &digitalGoodSku)
    : PriceResponseInfo(
          goodRecord(new SubscriptionTermsResponseInfoPrivate, digitalGoodId, digitalGoodSku))
{
}

SubscriptionTermsResponseInfo::SubscriptionTermsResponseInfo(const QString &digitalGoodId,
                                                             const QString &digitalGoodSku,
                                                             int errorCode,
                                                             const QString &errorText,
                                                             const QString &errorInfo)
    : PriceResponseInfo(errorRecord(
          goodRecord(new SubscriptionTermsResponseInfoPrivate, digitalGoodId, digitalGoodSku),
          errorCode, errorText, errorInfo))
{
}

SubscriptionTermsResponseInfo::SubscriptionTermsResponseInfo(
    const SubscriptionTermsResponseInfo &other) = default;

SubscriptionTermsResponseInfo &
SubscriptionTermsResponseInfo::operator=(const SubscriptionTermsResponseInfo &other)
{
    PaymentServiceResponse::operator=(other);
    return *this;
}

SubscriptionTermsResponseInfo::~SubscriptionTermsResponseInfo() = default;

QString SubscriptionTermsResponseInfo::initialPeriod() const
{
    return d_func()->initialPeriod;
}

QString SubscriptionTermsResponseInfo::renewalPrice() const
{
    return d_func()->renewalPrice;
}

QString SubscriptionTermsResponseInfo::renewalPeriod() const
{
    return d_func()->renewalPeriod;
}

CheckStatusResponseInfo::CheckStatusResponseInfo()
    : DigitalGoodResponse(*new CheckStatusResponseInfoPrivate)
{
}

CheckStatusResponseInfo::CheckStatusResponseInfo(const QString &digitalGoodId,
                                                 const QString &digitalGoodSku)
    : DigitalGoodResponse(
          goodRecord(new CheckStatusResponseInfoPrivate, digitalGoodId, digitalGoodSku))
{
}

CheckStatusResponseInfo::CheckStatusResponseInfo(const QString &digitalGoodId,
                                                 const QString &digitalGoodSku, int errorCode,
                                                 const QString &errorText, const QString &errorInfo)
    : DigitalGoodResponse(
          errorRecord(goodRecord(new CheckStatusResponseInfoPrivate, digitalGoodId, digitalGoodSku),
                      errorCode, errorText, errorInfo))
{
}

CheckStatusResponseInfo::CheckStatusResponseInfo(const CheckStatusResponseInfo &other) = default;

CheckStatusResponseInfo &CheckStatusResponseInfo::operator=(const CheckStatusResponseInfo &other)
{
    PaymentServiceResponse::operator=(other);
    return *this;
}

CheckStatusResponseInfo::~CheckStatusResponseInfo() = default;

bool CheckStatusResponseInfo::active() const
{
    return d_func()->active;
}

ExistingPurchasesResponseInfo::ExistingPurchasesResponseInfo()
    : PaymentServiceResponse(*new ExistingPurchasesResponseInfoPrivate)
{
}

ExistingPurchasesResponseInfo::ExistingPurchasesResponseInfo(int errorCode,
                                                             const QString &errorText,
                                                             const QString &errorInfo)
    : PaymentServiceResponse(
          errorRecord(*new ExistingPurchasesResponseInfoPrivate, errorCode, errorText, errorInfo))
{
}

ExistingPurchasesResponseInfo::ExistingPurchasesResponseInfo(
    const ExistingPurchasesResponseInfo &other) = default;

ExistingPurchasesResponseInfo &
ExistingPurchasesResponseInfo::operator=(const ExistingPurchasesResponseInfo &other)
{
    PaymentServiceResponse::operator=(other);
    return *this;
}

ExistingPurchasesResponseInfo::~ExistingPurchasesResponseInfo() = default;

QList<PurchaseReceipt> ExistingPurchasesResponseInfo::purchases() const
{
    return d_func()->purchases;
}

CancelSubscriptionResponseInfo::CancelSubscriptionResponseInfo()
    : PaymentServiceResponse(*new CancelSubscriptionResponseInfoPrivate)
{
}

CancelSubscriptionResponseInfo::CancelSubscriptionResponseInfo(int errorCode,
                                                               const QString &errorText,
                                                               const QString &errorInfo)
    : PaymentServiceResponse(
          errorRecord(*new CancelSubscriptionResponseInfoPrivate, errorCode, errorText, errorInfo))
{
}

CancelSubscriptionResponseInfo::CancelSubscriptionResponseInfo(
    const CancelSubscriptionResponseInfo &other) = default;

CancelSubscriptionResponseInfo &
CancelSubscriptionResponseInfo::operator=(const CancelSubscriptionResponseInfo &other)
{
    PaymentServiceResponse::operator=(other);
    return *this;
}

CancelSubscriptionResponseInfo::~CancelSubscriptionResponseInfo() = default;

bool CancelSubscriptionResponseInfo::canceled() const
{
    return d_func()->cancelled;
}

QString CancelSubscriptionResponseInfo::purchaseId() const
{
    return d_func()->purchaseId;
}

} // namespace platform
} // namespace om
