#ifndef OM_PLATFORM_PAYMENTCONNECTIONMODE_H
#define OM_PLATFORM_PAYMENTCONNECTIONMODE_H

#include <om/platform/omplatform_export.h>

#include <QObject>

namespace om {
namespace platform {

/** Which store the payment service uses. Set for the whole process with
 *  PaymentManager::setConnectionMode(). */
class OMPLATFORM_EXPORT PaymentConnectionMode
{
    Q_GADGET
public:
    enum Type {
        Test = 0,       ///< The test store, kept apart from production.
        Production = 1, ///< The real store; the default.
    };
    Q_ENUM(Type)

private:
    PaymentConnectionMode() = delete;
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::PaymentConnectionMode::Type)

#endif
