#ifndef OMMOCK_PAYMENTSERVICEINTERFACEIMPL_P_H
#define OMMOCK_PAYMENTSERVICEINTERFACEIMPL_P_H

#include <om/platform/ommock/paymentserviceinterface.h>
#include <sys/pps.h>

class QSocketNotifier;

namespace ommock {

/**
 * The wire layer on the device: one descriptor of the payment service's
 * control object, written with the PPS encoder and read with the decoder.
 */
class PaymentServiceInterfaceImpl : public PaymentServiceInterface
{
    Q_OBJECT

public:
    /** The control object's path; both connection modes use it. */
    static constexpr const char *ControlPath = "/pps/services/paymentsystem/control";
    /** The longest answer; a longer one arrives cut off. */
    static constexpr int MaxAnswerSize = 65536;

    /** Opens the control object; throws std::runtime_error if it cannot. */
    explicit PaymentServiceInterfaceImpl(om::platform::PaymentConnectionMode::Type mode);
    ~PaymentServiceInterfaceImpl() override;

    void purchaseRequest(QString digitalGoodId, QString digitalGoodSku, QString digitalGoodName,
                         QString purchaseMetadata, QMap<QString, QVariant> extraParameters,
                         QString applicationName, QString applicationIconUrl, QString windowGroupId,
                         unsigned int requestId) const override;
    void getExistingPurchasesRequest(bool allowRefresh, QString windowGroupId,
                                     unsigned int requestId) const override;
    void getPrice(QString digitalGoodId, QString digitalGoodSku, QString windowGroupId,
                  unsigned int requestId) const override;
    void checkExisting(QString digitalGoodId, QString digitalGoodSku, QString windowGroupId,
                       unsigned int requestId) const override;
    void cancelSubscription(QString purchaseId, QString windowGroupId,
                            unsigned int requestId) const override;
    QSharedPointer<ResponseInfo> readResponse() override;

private:
    void encodeRequestId(pps_encoder_t *encoder, unsigned int requestId) const;
    void encodeCommonParams(pps_encoder_t *encoder, QString windowGroupId) const;
    void encodeDigitalGood(pps_encoder_t *encoder, QString digitalGoodId, QString digitalGoodSku,
                           QString digitalGoodName, QString purchaseMetadata,
                           QMap<QString, QVariant> extraParameters) const;
    QSharedPointer<om::platform::PurchaseReceipt> readPurchaseReceipt(pps_decoder_t *decoder) const;

    // The envelope around the fields of a request.
    void beginRequest(pps_encoder_t *encoder, unsigned int requestId, const char *msg) const;
    void endRequest(pps_encoder_t *encoder) const;
    void readInvocation(pps_decoder_t *decoder) const;
    void retireDescriptor();

    QSocketNotifier *notifier;
    int fd;
    om::platform::PaymentConnectionMode::Type connectionMode;
};

} // namespace ommock

#endif
