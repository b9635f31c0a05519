#ifndef OM_PLATFORM_IDENTITY_IDENTITYSERVICEPROPERTYRESULT_H
#define OM_PLATFORM_IDENTITY_IDENTITYSERVICEPROPERTYRESULT_H

#include <om/platform/omplatform_export.h>

#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {
namespace identity {

/**
 * The result codes of the identity service in the failure signals of IdentityServiceProvider
 * other than the token ones. A code outside this list reaches the signals as it is.
 */
class OMPLATFORM_EXPORT IdentityServicePropertyResult
{
    Q_GADGET
public:
    enum Type {
        Success = 0,
        InternalError = 49999,
        NameTooLong = 50002,
        AccountLocallyLockedOut = 50003,
        UserCouldNotBeAuthenticated = 50004,
        TooManyNamesPassed = 50005,
        InvalidRequest = 50006,
        DoesNotExist = 50007,
        NotEnoughResources = 50010,
        NullOrUnknownParameters = 50015,
        NotAllowed = 50017,
        ValueTooLarge = 50107,
        AlreadyExists = 50159,
        NotReady = 50207,
    };
    Q_ENUM(Type)

private:
    IdentityServicePropertyResult() = delete;
};

} // namespace identity
} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::identity::IdentityServicePropertyResult::Type)

#endif
