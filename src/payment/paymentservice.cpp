#include "payment/paymentserviceimpl_p.h"

#include "payment/request_p.h"

#include <QDebug>
#include <QMutex>
#include <QMutexLocker>

#include <stdexcept>

namespace om {
namespace platform {

// The process-wide state of the dispatcher. Lock order: a manager's
// s_paymentServicesMutex, then requestMutex, then
// paymentServiceInstanceMutex. None is recursive.
namespace {
PaymentService *paymentServiceInstance = nullptr;
QMutex paymentServiceInstanceMutex;
QMutex requestMutex;
unsigned int idCounter = 0;
} // namespace

PaymentService::PaymentService(QObject *parent) : QObject(parent) {}

PaymentService *PaymentService::getInstance()
{
    QMutexLocker lock(&paymentServiceInstanceMutex);
    // A constructor that throws leaves the pointer null, and the next call
    // tries again.
    if (!paymentServiceInstance)
        paymentServiceInstance = new PaymentServiceImpl;
    return paymentServiceInstance;
}

PaymentServiceImpl::PaymentServiceImpl()
    : _psInterface(ommock::PaymentServiceInterface::create(PaymentConnectionMode::Production)),
      connectionMode(PaymentConnectionMode::Production)
{
    registerMetatypes();
    connectInterface();
}

PaymentServiceImpl::~PaymentServiceImpl()
{
    delete _psInterface;
}

void PaymentServiceImpl::registerMetatypes()
{
    qRegisterMetaType<QList<PurchaseReceipt>>("QList<om::platform::PurchaseReceipt>");
    qRegisterMetaType<PurchaseReceipt>("om::platform::PurchaseReceipt");
    qRegisterMetaType<PurchaseResponseInfo>("om::platform::PurchaseResponseInfo");
    qRegisterMetaType<ExistingPurchasesResponseInfo>("om::platform::ExistingPurchasesResponseInfo");
    qRegisterMetaType<PriceResponseInfo>("om::platform::PriceResponseInfo");
    qRegisterMetaType<SubscriptionTermsResponseInfo>("om::platform::SubscriptionTermsResponseInfo");
    qRegisterMetaType<CheckStatusResponseInfo>("om::platform::CheckStatusResponseInfo");
    qRegisterMetaType<CancelSubscriptionResponseInfo>(
        "om::platform::CancelSubscriptionResponseInfo");
}

void PaymentServiceImpl::connectInterface()
{
    // Queued: an answer is read in a later turn of the event loop, never
    // inside the notifier's call, and so never inside the call that sent
    // the request.
    connect(_psInterface, &ommock::PaymentServiceInterface::dataReady, this,
            &PaymentServiceImpl::onDataReady, Qt::QueuedConnection);
}

void PaymentServiceImpl::setWindowGroupId(QString value)
{
    windowGroupId = value;
}

void PaymentServiceImpl::setApplicationName(QString value)
{
    m_applicationName = value;
}

QString PaymentServiceImpl::applicationName() const
{
    return m_applicationName;
}

void PaymentServiceImpl::setApplicationIconUrl(QUrl value)
{
    m_applicationIconUrl = value;
}

QUrl PaymentServiceImpl::applicationIconUrl() const
{
    return m_applicationIconUrl;
}

void PaymentServiceImpl::requestPurchase(QString digitalGoodId, QObject *receiver, const char *slot)
{
    requestPurchase(digitalGoodId, QString(), QString(), QString(), QMap<QString, QVariant>(),
                    receiver, slot);
}

void PaymentServiceImpl::requestPurchase(QString digitalGoodId, QString digitalGoodSku,
                                         QObject *receiver, const char *slot)
{
    requestPurchase(digitalGoodId, digitalGoodSku, QString(), QString(), QMap<QString, QVariant>(),
                    receiver, slot);
}

void PaymentServiceImpl::requestPurchase(QString digitalGoodId, QString digitalGoodSku,
                                         QString digitalGoodName, QObject *receiver,
                                         const char *slot)
{
    requestPurchase(digitalGoodId, digitalGoodSku, digitalGoodName, QString(),
                    QMap<QString, QVariant>(), receiver, slot);
}

void PaymentServiceImpl::requestPurchase(QString digitalGoodId, QString digitalGoodSku,
                                         QString digitalGoodName, QString purchaseMetadata,
                                         QMap<QString, QVariant> extraParameters, QObject *receiver,
                                         const char *slot)
{
    send<PurchaseRequest>("2purchaseResponse(om::platform::PurchaseResponseInfo)", receiver, slot,
                          digitalGoodId, digitalGoodSku, digitalGoodName, purchaseMetadata,
                          extraParameters);
}

void PaymentServiceImpl::requestExistingPurchases(bool allowRefresh, QObject *receiver,
                                                  const char *slot)
{
    send<ExistingPurchasesRequest>(
        "2existingPurchasesResponse(om::platform::ExistingPurchasesResponseInfo)", receiver, slot,
        allowRefresh);
}

void PaymentServiceImpl::requestPrice(QString digitalGoodId, QObject *receiver, const char *slot)
{
    requestPrice(digitalGoodId, QString(), receiver, slot);
}

void PaymentServiceImpl::requestPrice(QString digitalGoodId, QString digitalGoodSku,
                                      QObject *receiver, const char *slot)
{
    send<PriceRequest>("2priceResponse(om::platform::PriceResponseInfo)", receiver, slot,
                       digitalGoodId, digitalGoodSku);
}

void PaymentServiceImpl::requestSubscriptionTerms(QString digitalGoodId, QObject *receiver,
                                                  const char *slot)
{
    requestSubscriptionTerms(digitalGoodId, QString(), receiver, slot);
}

void PaymentServiceImpl::requestSubscriptionTerms(QString digitalGoodId, QString digitalGoodSku,
                                                  QObject *receiver, const char *slot)
{
    send<SubscriptionTermsRequest>(
        "2subscriptionTermsResponse(om::platform::SubscriptionTermsResponseInfo)", receiver, slot,
        digitalGoodId, digitalGoodSku);
}

void PaymentServiceImpl::checkSubscriptionStatus(QString digitalGoodId, QObject *receiver,
                                                 const char *slot)
{
    checkSubscriptionStatus(digitalGoodId, QString(), receiver, slot);
}

void PaymentServiceImpl::checkSubscriptionStatus(QString digitalGoodId, QString digitalGoodSku,
                                                 QObject *receiver, const char *slot)
{
    send<CheckStatusRequest>("2checkStatusResponse(om::platform::CheckStatusResponseInfo)",
                             receiver, slot, digitalGoodId, digitalGoodSku);
}

void PaymentServiceImpl::cancelSubscription(QString purchaseId, QObject *receiver, const char *slot)
{
    send<CancelSubscriptionRequest>(
        "2cancelSubscriptionResponse(om::platform::CancelSubscriptionResponseInfo)", receiver, slot,
        purchaseId);
}

void PaymentServiceImpl::performRequest(QSharedPointer<Request> request)
{
    QMutexLocker lock(&requestMutex);
    if (!_psInterface)
        throw std::runtime_error("_psInterface is unavailable to perform a request.");
    request->id = idCounter++;
    request->performRequestImpl(*_psInterface, windowGroupId);
    // Stored after the write, under the same lock: an answer cannot be
    // looked up before its request is here. A request that failed to write
    // has spent its id and goes with the caller's pointer.
    requests.insert(request->id, request);
}

void PaymentServiceImpl::setConnectionMode(PaymentConnectionMode::Type mode)
{
    QMutexLocker lock(&requestMutex);
    if (mode == connectionMode)
        return;
    delete _psInterface;
    _psInterface = nullptr;
    _psInterface = ommock::PaymentServiceInterface::create(mode);
    if (!_psInterface)
        throw std::runtime_error("_psInterface is unavailable for the given connection mode.");
    connectionMode = mode;
    connectInterface();
}

void PaymentServiceImpl::onDataReady()
{
    QMutexLocker lock(&requestMutex);
    // After a failed change of mode there is no descriptor to read; a
    // notification queued before the change finds nothing, as one finds
    // nothing on a descriptor that has nothing waiting.
    const QSharedPointer<ommock::ResponseInfo> response =
        _psInterface ? _psInterface->readResponse() : QSharedPointer<ommock::ResponseInfo>();
    if (!response) {
        qWarning() << "PaymentServiceImpl::onDataReady() failed to read response";
        return;
    }
    // The wire layer has made the invocation; the request waits for its
    // real answer.
    if (response->invokeTarget)
        return;
    const QSharedPointer<Request> request = requests.take(response->requestId);
    if (!request) {
        qWarning() << "Unexpected requestId" << response->requestId
                   << "in PaymentServiceImpl::onDataReady()";
        return;
    }
    // Unlocked from here: the slots further down may start new requests.
    lock.unlock();
    if (!response->error)
        request->successResponse(response);
    else
        request->errorResponse(response->errorCode, response->errorText, response->errorInfo);
}

} // namespace platform
} // namespace om
