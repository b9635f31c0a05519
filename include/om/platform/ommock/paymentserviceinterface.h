#ifndef OMMOCK_PAYMENTSERVICEINTERFACE_H
#define OMMOCK_PAYMENTSERVICEINTERFACE_H

#include <om/platform/ommock/responseinfo.h>
#include <om/platform/omplatform_export.h>
#include <om/platform/paymentconnectionmode.h>

#include <QDateTime>
#include <QMap>
#include <QMutex>
#include <QObject>
#include <QSharedPointer>
#include <QString>
#include <QVariant>

namespace ommock {

/**
 * The wire to the device's payment service: five requests written to its
 * control object "/pps/services/paymentsystem/control", and each answer the
 * service writes back read into a ResponseInfo. It knows nothing of
 * outstanding requests; it writes the id it is given and hands back the id
 * it read.
 *
 * A replaceable seam: create() gives the implementation that talks to the
 * device. A replacement derives from this class and emits dataReady()
 * whenever an answer can be read.
 */
class OMPLATFORM_EXPORT PaymentServiceInterface : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(PaymentServiceInterface)

public:
    /**
     * Opens the control object. The caller owns the result. Throws
     * std::runtime_error "Failed to open pps, error <errno>" if the service
     * cannot be reached.
     */
    static PaymentServiceInterface *create(om::platform::PaymentConnectionMode::Type mode);

    ~PaymentServiceInterface() override;

    /**
     * A date of the wire: a string of decimal digits, seconds since the
     * epoch if it has at most 10 characters, milliseconds otherwise. Null or
     * unreadable text gives an invalid date.
     */
    QDateTime convertToDateTime(const char *text) const;

    // Each request writes one message and throws std::runtime_error if it
    // cannot be encoded; then nothing is written. Text goes out as Latin-1.
    virtual void purchaseRequest(QString digitalGoodId, QString digitalGoodSku,
                                 QString digitalGoodName, QString purchaseMetadata,
                                 QMap<QString, QVariant> extraParameters, QString applicationName,
                                 QString applicationIconUrl, QString windowGroupId,
                                 unsigned int requestId) const = 0;
    virtual void getExistingPurchasesRequest(bool allowRefresh, QString windowGroupId,
                                             unsigned int requestId) const = 0;
    virtual void getPrice(QString digitalGoodId, QString digitalGoodSku, QString windowGroupId,
                          unsigned int requestId) const = 0;
    virtual void checkExisting(QString digitalGoodId, QString digitalGoodSku, QString windowGroupId,
                               unsigned int requestId) const = 0;
    virtual void cancelSubscription(QString purchaseId, QString windowGroupId,
                                    unsigned int requestId) const = 0;

    /**
     * Reads one answer. Null if nothing usable could be read: nothing
     * waiting, the service gone, or a message that is no answer. Never
     * throws and logs nothing.
     */
    virtual QSharedPointer<ResponseInfo> readResponse() = 0;

Q_SIGNALS:
    /** The service has written something that can be read now. */
    void dataReady();

protected:
    explicit PaymentServiceInterface(QObject *parent = nullptr);

    /** For a replacement's own use; no operation here takes it, callers
     *  are serialised by the request pipeline. */
    QMutex mutex;
};

} // namespace ommock

#endif
