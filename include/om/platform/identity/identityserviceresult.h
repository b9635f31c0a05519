#ifndef OM_PLATFORM_IDENTITY_IDENTITYSERVICERESULT_H
#define OM_PLATFORM_IDENTITY_IDENTITYSERVICERESULT_H

#include <om/platform/omplatform_export.h>

#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {
namespace identity {

/**
 * Immediate results of the identity classes: of IdentityServiceProvider::setProvider(),
 * setNotification() and error(). The numbers are the system's error numbers.
 */
class OMPLATFORM_EXPORT IdentityServiceResult
{
    Q_GADGET
public:
    enum Type {
        Success = 0,                          ///< Done.
        MessageTooBig = 7,                    ///< The request does not fit in one message.
        InsufficientMemory = 12,              ///< No memory.
        InvalidParameter = 22,                ///< A bad argument, or no provider registered.
        UnableToCommunicateWithProvider = 70, ///< No identity service, or an unknown provider.
        InternalError = 49999,                ///< Nothing has failed yet: the initial value of
                                              ///< IdentityServiceProvider::error().
    };
    Q_ENUM(Type)

private:
    IdentityServiceResult() = delete;
};

} // namespace identity
} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::identity::IdentityServiceResult::Type)

#endif
