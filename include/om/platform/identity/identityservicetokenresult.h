#ifndef OM_PLATFORM_IDENTITY_IDENTITYSERVICETOKENRESULT_H
#define OM_PLATFORM_IDENTITY_IDENTITYSERVICETOKENRESULT_H

#include <om/platform/omplatform_export.h>

#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {
namespace identity {

/**
 * The result codes of the identity service in the token failure signals of
 * IdentityServiceProvider. A code outside this list reaches the signals as it is.
 */
class OMPLATFORM_EXPORT IdentityServiceTokenResult
{
    Q_GADGET
public:
    enum Type {
        Success = 0,
        InternalError = 49999,
        AccountLocallyLockedOut = 50003,
        UserCouldNotBeAuthenticated = 50004,
        InvalidRequest = 50006,
        UnknownTokenType = 50008,
        UnknownAppliesTo = 50009,
        NotEnoughResources = 50010,
        CannotGetTokenWhileOffline = 50011,
        ErrorWhileContactingService = 50012,
        NullOrUnknownParameters = 50015,
    };
    Q_ENUM(Type)

private:
    IdentityServiceTokenResult() = delete;
};

} // namespace identity
} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::identity::IdentityServiceTokenResult::Type)

#endif
