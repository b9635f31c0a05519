#ifndef OM_PLATFORM_PAYMENTSERVICERESPONSE_H
#define OM_PLATFORM_PAYMENTSERVICERESPONSE_H

#include <om/platform/omplatform_export.h>

#include <QMetaType>
#include <QSharedDataPointer>
#include <QString>

namespace om {
namespace platform {

class PaymentServiceResponsePrivate;

/**
 * What the payment service answered to one request: success, or an error
 * with the service's code and texts. Response values are implicitly
 * shared: copies share one record, which is never changed once a value has
 * been handed out.
 */
class OMPLATFORM_EXPORT PaymentServiceResponse
{
public:
    PaymentServiceResponse();
    /** An error; error() is true whatever the code. */
    PaymentServiceResponse(int errorCode, const QString &errorText, const QString &errorInfo);
    PaymentServiceResponse(const PaymentServiceResponse &other);
    PaymentServiceResponse &operator=(const PaymentServiceResponse &other);
    virtual ~PaymentServiceResponse();

    bool error() const;
    /** The service's code, unchanged; see PaymentErrorCode. */
    int errorCode() const;
    QString errorText() const;
    QString errorInfo() const;

protected:
    /** Takes the record, which is of the most derived class. */
    explicit PaymentServiceResponse(PaymentServiceResponsePrivate &dd);
    QSharedDataPointer<PaymentServiceResponsePrivate> d;

private:
    Q_DECLARE_PRIVATE_D(d, PaymentServiceResponse)
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::PaymentServiceResponse)

#endif
