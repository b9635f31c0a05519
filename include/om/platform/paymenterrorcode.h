#ifndef OM_PLATFORM_PAYMENTERRORCODE_H
#define OM_PLATFORM_PAYMENTERRORCODE_H

#include <om/platform/omplatform_export.h>

#include <QObject>

namespace om {
namespace platform {

/** The payment service's error codes that have a name. Error codes travel
 *  as int and unchanged, so a code without a name (4 to 7, or any other)
 *  reaches the application as the service sent it. */
class OMPLATFORM_EXPORT PaymentErrorCode
{
    Q_GADGET
public:
    enum Type {
        None = 0,      ///< No error.
        Canceled = 1,  ///< The user declined.
        Busy = 2,      ///< The service is busy with another purchase.
        Failed = 3,    ///< The request failed, for instance for an unknown good.
        NoNetwork = 8, ///< The store cannot be reached.
    };
    Q_ENUM(Type)

private:
    PaymentErrorCode() = delete;
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::PaymentErrorCode::Type)

#endif
