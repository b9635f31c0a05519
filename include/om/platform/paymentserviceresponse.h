#ifndef OM_PLATFORM_PAYMENTSERVICERESPONSE_H
#define OM_PLATFORM_PAYMENTSERVICERESPONSE_H

#include <om/platform/omplatform_export.h>

#include <QMetaType>
#include <QSharedDataPointer>
#include <QString>

/**
 * Q_DECLARE_PRIVATE_D for the response values, whose record is held by a
 * QSharedDataPointer. Qt 6 wants a d pointer whose get() cannot throw, which
 * a pointer that detaches is not; the accessors are the same as Qt 5's.
 * @internal
 */
#define OM_DECLARE_SHARED_PRIVATE(Class)                                                           \
    inline Class##Private *d_func() { return reinterpret_cast<Class##Private *>(d.data()); }       \
    inline const Class##Private *d_func() const                                                    \
    {                                                                                              \
        return reinterpret_cast<const Class##Private *>(d.constData());                            \
    }                                                                                              \
    friend class Class##Private;

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
    OM_DECLARE_SHARED_PRIVATE(PaymentServiceResponse)
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::PaymentServiceResponse)

#endif
