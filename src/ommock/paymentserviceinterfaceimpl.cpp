#include "ommock/paymentserviceinterfaceimpl_p.h"

#include "payment/purchasereceipt_p.h"

#include <om/system/invokemanager.h>
#include <om/system/invokerequest.h>
#include <om/system/invoketargetreply.h>

#include <QCoreApplication>
#include <QMetaEnum>
#include <QSocketNotifier>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <unistd.h>

using om::platform::DigitalGoodState;
using om::platform::PaymentConnectionMode;
using om::platform::PurchaseReceipt;
using om::platform::PurchaseReceiptPrivate;

namespace ommock {

namespace {

// Text goes out as Latin-1; a character beyond it becomes '?'.
std::string out(const QString &text)
{
    return text.toLatin1().toStdString();
}

QString in(const char *text)
{
    return QString::fromUtf8(text);
}

void require(pps_encoder_error_t result, const char *failure)
{
    if (result != PPS_ENCODER_OK)
        throw std::runtime_error(failure);
}

bool addString(pps_encoder_t *encoder, const char *name, const QString &value)
{
    return pps_encoder_add_string(encoder, name, out(value).c_str()) == PPS_ENCODER_OK;
}

// Reads the string attributes of the named object into a map. An element of
// another type is not stepped over, so the walk ends there.
bool readStringMap(pps_decoder_t *decoder, const char *name, QMap<QString, QVariant> *map)
{
    if (pps_decoder_push(decoder, name) != PPS_DECODER_OK)
        return false;
    const int count = pps_decoder_length(decoder);
    for (int i = 0; i < count; ++i) {
        if (pps_decoder_type(decoder, nullptr) != PPS_TYPE_STRING)
            continue;
        const char *key = pps_decoder_name(decoder);
        const char *value = nullptr;
        pps_decoder_get_string(decoder, nullptr, &value);
        if (key && value)
            map->insert(in(key), QVariant(in(value)));
    }
    pps_decoder_pop(decoder);
    return true;
}

const char *optionalString(pps_decoder_t *decoder, const char *name)
{
    const char *value = nullptr;
    if (pps_decoder_get_string(decoder, name, &value) != PPS_DECODER_OK)
        return nullptr;
    return value;
}

bool isFailure(const char *res)
{
    static const char *const failures[] = {"paymentSystemFailure", "getExistingPurchasesFailure",
                                           "getPriceFailure", "checkExistingFailure",
                                           "cancelSubscriptionFailure"};
    for (const char *failure : failures) {
        if (std::strcmp(res, failure) == 0)
            return true;
    }
    return false;
}

} // namespace

PaymentServiceInterfaceImpl::PaymentServiceInterfaceImpl(PaymentConnectionMode::Type mode)
    : notifier(nullptr), fd(-1), connectionMode(mode)
{
    errno = 0;
    fd = pps_open(ControlPath, O_RDWR);
    if (fd < 0)
        throw std::runtime_error("Failed to open pps, error " + std::to_string(errno));
    notifier = new QSocketNotifier(fd, QSocketNotifier::Read);
    connect(notifier, &QSocketNotifier::activated, this, &PaymentServiceInterface::dataReady);
}

PaymentServiceInterfaceImpl::~PaymentServiceInterfaceImpl()
{
    ::close(fd);
    delete notifier;
}

void PaymentServiceInterfaceImpl::encodeRequestId(pps_encoder_t *encoder,
                                                  unsigned int requestId) const
{
    char id[12];
    std::snprintf(id, sizeof id, "%d", int(requestId));
    require(pps_encoder_add_string(encoder, "id", id), "Failed to encode message id.");
}

void PaymentServiceInterfaceImpl::encodeCommonParams(pps_encoder_t *encoder,
                                                     QString windowGroupId) const
{
    if (!addString(encoder, "uiGroupID", windowGroupId))
        throw std::runtime_error("Failed to encode window group id.");
    pps_encoder_add_bool(encoder, "canHandleInvocation", true);
    if (connectionMode == PaymentConnectionMode::Test)
        pps_encoder_add_bool(encoder, "localMode", true);
}

void PaymentServiceInterfaceImpl::encodeDigitalGood(pps_encoder_t *encoder, QString digitalGoodId,
                                                    QString digitalGoodSku, QString digitalGoodName,
                                                    QString purchaseMetadata,
                                                    QMap<QString, QVariant> extraParameters) const
{
    const char *const failure = "Failed to pps encode request.";
    if (!addString(encoder, "digitalGoodID", digitalGoodId) ||
        !addString(encoder, "digitalGoodSKU", digitalGoodSku) ||
        !addString(encoder, "digitalGoodName", digitalGoodName) ||
        !addString(encoder, "metaData", purchaseMetadata))
        throw std::runtime_error(failure);
    if (extraParameters.isEmpty())
        return;
    pps_encoder_start_object(encoder, "extras");
    for (auto it = extraParameters.cbegin(); it != extraParameters.cend(); ++it) {
        if (pps_encoder_add_string(encoder, out(it.key()).c_str(),
                                   out(it.value().toString()).c_str()) != PPS_ENCODER_OK)
            throw std::runtime_error(failure);
    }
    pps_encoder_end_object(encoder);
}

void PaymentServiceInterfaceImpl::beginRequest(pps_encoder_t *encoder, unsigned int requestId,
                                               const char *msg) const
{
    pps_encoder_initialize(encoder, false);
    encodeRequestId(encoder, requestId);
    require(pps_encoder_add_string(encoder, "msg", msg), "Failed to encode message type.");
    require(pps_encoder_start_object(encoder, "dat"), "Failed to start encoding data.");
}

void PaymentServiceInterfaceImpl::endRequest(pps_encoder_t *encoder) const
{
    require(pps_encoder_end_object(encoder), "Failed to finish encoding data.");
    // One write of the whole message; what becomes of it is not looked at.
    // send() rather than write(): a service that went away must not end the
    // application with SIGPIPE.
    ::send(fd, pps_encoder_buffer(encoder), size_t(pps_encoder_length(encoder)), MSG_NOSIGNAL);
}

void PaymentServiceInterfaceImpl::purchaseRequest(QString digitalGoodId, QString digitalGoodSku,
                                                  QString digitalGoodName, QString purchaseMetadata,
                                                  QMap<QString, QVariant> extraParameters,
                                                  QString applicationName,
                                                  QString applicationIconUrl, QString windowGroupId,
                                                  unsigned int requestId) const
{
    pps_encoder_t encoder;
    beginRequest(&encoder, requestId, "paymentSystemType");
    encodeCommonParams(&encoder, windowGroupId);
    encodeDigitalGood(&encoder, digitalGoodId, digitalGoodSku, digitalGoodName, purchaseMetadata,
                      extraParameters);
    if (!addString(&encoder, "purchaseAppName", applicationName))
        throw std::runtime_error("Failed to encode app name.");
    if (!addString(&encoder, "purchaseAppIcon", applicationIconUrl))
        throw std::runtime_error("Failed to encode app icon.");
    endRequest(&encoder);
}

void PaymentServiceInterfaceImpl::getExistingPurchasesRequest(bool allowRefresh,
                                                              QString windowGroupId,
                                                              unsigned int requestId) const
{
    pps_encoder_t encoder;
    beginRequest(&encoder, requestId, "getExistingPurchasesType");
    encodeCommonParams(&encoder, windowGroupId);
    require(pps_encoder_add_bool(&encoder, "allowRefresh", allowRefresh),
            "Failed to encode forceRefresh.");
    endRequest(&encoder);
}

void PaymentServiceInterfaceImpl::getPrice(QString digitalGoodId, QString digitalGoodSku,
                                           QString windowGroupId, unsigned int requestId) const
{
    pps_encoder_t encoder;
    beginRequest(&encoder, requestId, "getPriceType");
    encodeCommonParams(&encoder, windowGroupId);
    if (!addString(&encoder, "digitalGoodID", digitalGoodId))
        throw std::runtime_error("Failed to start encoding good id.");
    if (!addString(&encoder, "digitalGoodSKU", digitalGoodSku))
        throw std::runtime_error("Failed to start encoding good sku.");
    endRequest(&encoder);
}

void PaymentServiceInterfaceImpl::checkExisting(QString digitalGoodId, QString digitalGoodSku,
                                                QString windowGroupId, unsigned int requestId) const
{
    pps_encoder_t encoder;
    beginRequest(&encoder, requestId, "checkExistingType");
    // The good first and the common fields last, unlike the other requests.
    if (!addString(&encoder, "digitalGoodID", digitalGoodId))
        throw std::runtime_error("Failed to start encoding good id.");
    if (!addString(&encoder, "digitalGoodSKU", digitalGoodSku))
        throw std::runtime_error("Failed to start encoding good sku.");
    encodeCommonParams(&encoder, windowGroupId);
    endRequest(&encoder);
}

void PaymentServiceInterfaceImpl::cancelSubscription(QString purchaseId, QString windowGroupId,
                                                     unsigned int requestId) const
{
    pps_encoder_t encoder;
    beginRequest(&encoder, requestId, "cancelSubscriptionType");
    encodeCommonParams(&encoder, windowGroupId);
    if (!addString(&encoder, "purchaseID", purchaseId))
        throw std::runtime_error("Failed to start encoding purchase id.");
    endRequest(&encoder);
}

void PaymentServiceInterfaceImpl::retireDescriptor()
{
    // The service has gone and the descriptor reads end-of-file, which the
    // armed notifier would report on every turn of the event loop. A
    // descriptor that never becomes readable takes its place: the notifier
    // stays quiet, later writes fail unseen, and the number stays ours.
    const int quiet = ::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    if (quiet < 0)
        return;
    if (::dup3(quiet, fd, O_CLOEXEC) < 0)
        notifier->setEnabled(false);
    ::close(quiet);
}

QSharedPointer<ResponseInfo> PaymentServiceInterfaceImpl::readResponse()
{
    pps_decoder_t decoder;
    pps_decoder_initialize(&decoder, nullptr);
    const std::unique_ptr<char[]> buffer(new char[MaxAnswerSize + 1]);

    // The notifier may report the descriptor once more before a queued read
    // runs; then there is nothing to read, and the read is not even tried.
    pollfd ready = {fd, POLLIN, 0};
    if (::poll(&ready, 1, 0) <= 0)
        return QSharedPointer<ResponseInfo>();
    const ssize_t length = ::read(fd, buffer.get(), MaxAnswerSize);
    if (length <= 0) {
        if (length == 0 || errno == ECONNRESET || errno == ENOTCONN || errno == EPIPE)
            retireDescriptor();
        return QSharedPointer<ResponseInfo>();
    }
    buffer[length] = '\0';

    const char *msg = nullptr;
    const char *id = nullptr;
    const char *res = nullptr;
    if (pps_decoder_parse_pps_str(&decoder, buffer.get()) != PPS_DECODER_OK ||
        pps_decoder_push(&decoder, "@control") != PPS_DECODER_OK ||
        pps_decoder_get_string(&decoder, "msg", &msg) != PPS_DECODER_OK ||
        pps_decoder_get_string(&decoder, "id", &id) != PPS_DECODER_OK ||
        pps_decoder_get_string(&decoder, "res", &res) != PPS_DECODER_OK ||
        pps_decoder_push(&decoder, "dat") != PPS_DECODER_OK)
        return QSharedPointer<ResponseInfo>();

    auto info = QSharedPointer<ResponseInfo>::create();
    info->requestId = static_cast<unsigned int>(std::atoi(id));

    if (std::strcmp(res, "invokeTargetType") == 0) {
        info->invokeTarget = true;
        readInvocation(&decoder);
    } else if (isFailure(res)) {
        int errorId = 0;
        const char *errorText = nullptr;
        if (pps_decoder_get_int(&decoder, "errorID", &errorId) != PPS_DECODER_OK ||
            pps_decoder_get_string(&decoder, "errorText", &errorText) != PPS_DECODER_OK)
            return QSharedPointer<ResponseInfo>();
        info->error = true;
        info->errorCode = errorId;
        info->errorText = in(errorText);
        const char *subCode = optionalString(&decoder, "errorSubCode");
        info->errorInfo = subCode ? in(subCode) : QString();
    } else if (std::strcmp(res, "paymentSystemSuccess") == 0) {
        info->receipt = readPurchaseReceipt(&decoder);
    } else if (std::strcmp(res, "getExistingPurchasesSuccess") == 0) {
        const int count = pps_decoder_length(&decoder);
        for (int i = 0; i < count; ++i) {
            if (pps_decoder_push(&decoder, nullptr) != PPS_DECODER_OK)
                return QSharedPointer<ResponseInfo>();
            const QSharedPointer<PurchaseReceipt> receipt = readPurchaseReceipt(&decoder);
            if (pps_decoder_pop(&decoder) != PPS_DECODER_OK)
                return QSharedPointer<ResponseInfo>();
            if (receipt)
                info->purchases.append(*receipt);
        }
    } else if (std::strcmp(res, "getPriceSuccess") == 0) {
        if (const char *price = optionalString(&decoder, "price"))
            info->price = in(price);
        if (const char *initialPeriod = optionalString(&decoder, "initialPeriod"))
            info->initialPeriod = in(initialPeriod);
        if (const char *renewalPrice = optionalString(&decoder, "renewalPrice"))
            info->renewalPrice = in(renewalPrice);
        if (const char *renewalPeriod = optionalString(&decoder, "renewalPeriod"))
            info->renewalPeriod = in(renewalPeriod);
    } else if (std::strcmp(res, "checkExistingSuccess") == 0) {
        bool exists = false;
        if (pps_decoder_get_bool(&decoder, "subscriptionExists", &exists) == PPS_DECODER_OK)
            info->subscriptionExists = exists;
    } else if (std::strcmp(res, "cancelSubscriptionSuccess") == 0) {
        if (const char *purchaseId = optionalString(&decoder, "purchaseID"))
            info->purchaseId = in(purchaseId);
        // A word, not a boolean attribute: exactly "true" counts.
        if (const char *cancelled = optionalString(&decoder, "cancelled"))
            info->cancelled = std::strcmp(cancelled, "true") == 0;
    }
    pps_decoder_pop(&decoder);
    return info;
}

void PaymentServiceInterfaceImpl::readInvocation(pps_decoder_t *decoder) const
{
    om::system::InvokeManager manager;
    om::system::InvokeRequest request;
    if (const char *target = optionalString(decoder, "target"))
        request.setTarget(in(target));
    if (const char *action = optionalString(decoder, "action"))
        request.setAction(in(action));
    if (const char *mimeType = optionalString(decoder, "mimeType"))
        request.setMimeType(in(mimeType));
    if (const char *uri = optionalString(decoder, "uri"))
        request.setUri(in(uri));
    int number = 0;
    // A number that names no value of its enumeration is left out: cast to
    // it, it would be undefined.
    if (pps_decoder_get_int(decoder, "fileTransferMode", &number) == PPS_DECODER_OK &&
        QMetaEnum::fromType<om::system::FileTransferMode::Type>().valueToKey(number))
        request.setFileTransferMode(om::system::FileTransferMode::Type(number));
    if (pps_decoder_get_int(decoder, "perimeter", &number) == PPS_DECODER_OK &&
        QMetaEnum::fromType<om::system::SecurityPerimeter::Type>().valueToKey(number))
        request.setPerimeter(om::system::SecurityPerimeter::Type(number));
    if (pps_decoder_get_int(decoder, "targetTypes", &number) == PPS_DECODER_OK)
        request.setTargetTypes(om::system::InvokeTarget::Types(number));
    QMap<QString, QVariant> metadata;
    if (readStringMap(decoder, "metadata", &metadata))
        request.setMetadata(metadata);
    // Neither kept nor waited for: the reply deletes itself when it is done,
    // or goes with the application if that ends first.
    om::system::InvokeTargetReply *reply = manager.invoke(request);
    QObject::connect(reply, &om::system::InvokeReply::finished, reply, &QObject::deleteLater);
    QCoreApplication *application = QCoreApplication::instance();
    if (application && application->thread() == reply->thread())
        reply->setParent(application);
}

QSharedPointer<PurchaseReceipt>
PaymentServiceInterfaceImpl::readPurchaseReceipt(pps_decoder_t *decoder) const
{
    QSharedPointer<PurchaseReceipt> receipt = PurchaseReceiptPrivate::newValidPurchaseReceipt();
    PurchaseReceiptPrivate *d =
        PurchaseReceiptPrivate::purchaseReceiptPrivateFromPurchaseReceipt(*receipt);

    const char *itemState = optionalString(decoder, "itemState");
    const int state = itemState ? std::atoi(itemState) : int(DigitalGoodState::Unknown);
    if (state != DigitalGoodState::Owned && state != DigitalGoodState::Unknown) {
        const char *startDate = optionalString(decoder, "startDate");
        const char *endDate = optionalString(decoder, "endDate");
        if (!startDate || !endDate)
            return QSharedPointer<PurchaseReceipt>();
        d->setStartDate(convertToDateTime(startDate));
        d->setEndDate(convertToDateTime(endDate));
        if (const char *initialPeriod = optionalString(decoder, "initialPeriod"))
            d->setInitialPeriod(std::atoi(initialPeriod));
    }
    d->setState(DigitalGoodState::Type(state));

    const char *date = optionalString(decoder, "date");
    if (!date)
        return QSharedPointer<PurchaseReceipt>();
    d->setDate(convertToDateTime(date));

    if (const char *value = optionalString(decoder, "digitalGoodID"))
        d->setDigitalGoodId(in(value));
    if (const char *value = optionalString(decoder, "digitalGoodSKU"))
        d->setDigitalGoodSku(in(value));
    if (const char *value = optionalString(decoder, "licenseKey"))
        d->setLicenseKey(in(value));
    if (const char *value = optionalString(decoder, "metaData"))
        d->setMetadata(in(value));
    if (const char *value = optionalString(decoder, "purchaseID"))
        d->setPurchaseId(in(value));
    QMap<QString, QVariant> extras;
    if (readStringMap(decoder, "extras", &extras))
        d->setExtraParams(extras);
    return receipt;
}

} // namespace ommock
