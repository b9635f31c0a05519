#include "payment/request_p.h"

#include <om/platform/paymentservice.h>

namespace om {
namespace platform {

Request::Request() = default;

Request::Request(QString digitalGoodId, QString digitalGoodSku)
    : digitalGoodId(digitalGoodId), digitalGoodSku(digitalGoodSku)
{
}

// ---------------------------------------------------------------- purchase

PurchaseRequest::PurchaseRequest(QString digitalGoodId, QString digitalGoodSku,
                                 QString digitalGoodName, QString purchaseMetadata,
                                 QMap<QString, QVariant> extraParameters)
    : Request(digitalGoodId, digitalGoodSku), digitalGoodName(digitalGoodName),
      purchaseMetadata(purchaseMetadata), extraParameters(extraParameters)
{
}

void PurchaseRequest::performRequestImpl(const ommock::PaymentServiceInterface &psInterface,
                                         QString windowGroupId)
{
    // The application's name and icon are the dispatcher's, pushed there by
    // the manager that started this request.
    const PaymentService *service = PaymentService::getInstance();
    psInterface.purchaseRequest(digitalGoodId, digitalGoodSku, digitalGoodName, purchaseMetadata,
                                extraParameters, service->applicationName(),
                                service->applicationIconUrl().toString(), windowGroupId, id);
}

void PurchaseRequest::successResponse(QSharedPointer<ommock::ResponseInfo> info)
{
    // A purchase without a usable receipt ends here, with no answer.
    if (!info->receipt)
        return;
    PurchaseResponseInfo value(digitalGoodId, digitalGoodSku);
    PurchaseResponseInfoPrivate *d = PurchaseResponseInfoPrivate::get(value);
    d->setPurchaseMetadata(purchaseMetadata);
    d->setReceipt(info->receipt);
    emit purchaseResponse(value);
}

void PurchaseRequest::errorResponse(int errorCode, QString errorText, QString errorInfo)
{
    PurchaseResponseInfo value(digitalGoodId, digitalGoodSku, errorCode, errorText, errorInfo);
    PurchaseResponseInfoPrivate::get(value)->setPurchaseMetadata(purchaseMetadata);
    emit purchaseResponse(value);
}

// ---------------------------------------------------------------- existing purchases

ExistingPurchasesRequest::ExistingPurchasesRequest(bool allowRefresh) : allowRefresh(allowRefresh)
{
}

void ExistingPurchasesRequest::performRequestImpl(
    const ommock::PaymentServiceInterface &psInterface, QString windowGroupId)
{
    psInterface.getExistingPurchasesRequest(allowRefresh, windowGroupId, id);
}

void ExistingPurchasesRequest::successResponse(QSharedPointer<ommock::ResponseInfo> info)
{
    ExistingPurchasesResponseInfo value;
    ExistingPurchasesResponseInfoPrivate::get(value)->setPurchases(info->purchases);
    emit existingPurchasesResponse(value);
}

void ExistingPurchasesRequest::errorResponse(int errorCode, QString errorText, QString errorInfo)
{
    emit existingPurchasesResponse(ExistingPurchasesResponseInfo(errorCode, errorText, errorInfo));
}

// ---------------------------------------------------------------- price

PriceRequest::PriceRequest(QString digitalGoodId, QString digitalGoodSku)
    : Request(digitalGoodId, digitalGoodSku)
{
}

void PriceRequest::performRequestImpl(const ommock::PaymentServiceInterface &psInterface,
                                      QString windowGroupId)
{
    psInterface.getPrice(digitalGoodId, digitalGoodSku, windowGroupId, id);
}

void PriceRequest::successResponse(QSharedPointer<ommock::ResponseInfo> info)
{
    PriceResponseInfo value(digitalGoodId, digitalGoodSku);
    PriceResponseInfoPrivate::get(value)->setPrice(info->price);
    emit priceResponse(value);
}

void PriceRequest::errorResponse(int errorCode, QString errorText, QString errorInfo)
{
    emit priceResponse(
        PriceResponseInfo(digitalGoodId, digitalGoodSku, errorCode, errorText, errorInfo));
}

// ---------------------------------------------------------------- subscription terms

SubscriptionTermsRequest::SubscriptionTermsRequest(QString digitalGoodId, QString digitalGoodSku)
    : Request(digitalGoodId, digitalGoodSku)
{
}

void SubscriptionTermsRequest::performRequestImpl(
    const ommock::PaymentServiceInterface &psInterface, QString windowGroupId)
{
    psInterface.getPrice(digitalGoodId, digitalGoodSku, windowGroupId, id);
}

void SubscriptionTermsRequest::successResponse(QSharedPointer<ommock::ResponseInfo> info)
{
    SubscriptionTermsResponseInfo value(digitalGoodId, digitalGoodSku);
    SubscriptionTermsResponseInfoPrivate *d = SubscriptionTermsResponseInfoPrivate::get(value);
    d->setPrice(info->price);
    d->setInitialPeriod(info->initialPeriod);
    d->setRenewalPrice(info->renewalPrice);
    d->setRenewalPeriod(info->renewalPeriod);
    emit subscriptionTermsResponse(value);
}

void SubscriptionTermsRequest::errorResponse(int errorCode, QString errorText, QString errorInfo)
{
    emit subscriptionTermsResponse(SubscriptionTermsResponseInfo(digitalGoodId, digitalGoodSku,
                                                                 errorCode, errorText, errorInfo));
}

// ---------------------------------------------------------------- subscription status

CheckStatusRequest::CheckStatusRequest(QString digitalGoodId, QString digitalGoodSku)
    : Request(digitalGoodId, digitalGoodSku)
{
}

void CheckStatusRequest::performRequestImpl(const ommock::PaymentServiceInterface &psInterface,
                                            QString windowGroupId)
{
    psInterface.checkExisting(digitalGoodId, digitalGoodSku, windowGroupId, id);
}

void CheckStatusRequest::successResponse(QSharedPointer<ommock::ResponseInfo> info)
{
    CheckStatusResponseInfo value(digitalGoodId, digitalGoodSku);
    CheckStatusResponseInfoPrivate::get(value)->setActive(info->subscriptionExists);
    emit checkStatusResponse(value);
}

void CheckStatusRequest::errorResponse(int errorCode, QString errorText, QString errorInfo)
{
    emit checkStatusResponse(
        CheckStatusResponseInfo(digitalGoodId, digitalGoodSku, errorCode, errorText, errorInfo));
}

// ---------------------------------------------------------------- cancellation

CancelSubscriptionRequest::CancelSubscriptionRequest(QString purchaseId) : purchaseId(purchaseId) {}

void CancelSubscriptionRequest::performRequestImpl(
    const ommock::PaymentServiceInterface &psInterface, QString windowGroupId)
{
    psInterface.cancelSubscription(purchaseId, windowGroupId, id);
}

void CancelSubscriptionRequest::successResponse(QSharedPointer<ommock::ResponseInfo> info)
{
    // The purchase is the one asked about, whatever the answer names.
    CancelSubscriptionResponseInfo value;
    CancelSubscriptionResponseInfoPrivate *d = CancelSubscriptionResponseInfoPrivate::get(value);
    d->setPurchaseId(purchaseId);
    d->setCancelled(info->cancelled);
    emit cancelSubscriptionResponse(value);
}

void CancelSubscriptionRequest::errorResponse(int errorCode, QString errorText, QString errorInfo)
{
    CancelSubscriptionResponseInfo value(errorCode, errorText, errorInfo);
    CancelSubscriptionResponseInfoPrivate::get(value)->setPurchaseId(purchaseId);
    emit cancelSubscriptionResponse(value);
}

} // namespace platform
} // namespace om
