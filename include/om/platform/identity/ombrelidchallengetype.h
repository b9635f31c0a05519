#ifndef OM_PLATFORM_IDENTITY_OMBRELIDCHALLENGETYPE_H
#define OM_PLATFORM_IDENTITY_OMBRELIDCHALLENGETYPE_H

#include <om/platform/omplatform_export.h>

#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {
namespace identity {

/**
 * What a challenge of the OmbrelId provider asks of the user, the type of
 * IdentityServiceProvider::challenge().
 */
class OMPLATFORM_EXPORT OmbrelIdChallengeType
{
    Q_GADGET
public:
    enum Type {
        Authenticate = 0,      ///< The user confirms who they are.
        EmailConfirmation = 1, ///< The user confirms their e-mail address.
    };
    Q_ENUM(Type)

private:
    OmbrelIdChallengeType() = delete;
};

} // namespace identity
} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::identity::OmbrelIdChallengeType::Type)

#endif
