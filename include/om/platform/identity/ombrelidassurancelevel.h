#ifndef OM_PLATFORM_IDENTITY_OMBRELIDASSURANCELEVEL_H
#define OM_PLATFORM_IDENTITY_OMBRELIDASSURANCELEVEL_H

#include <om/platform/omplatform_export.h>

#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {
namespace identity {

/** How sure a passed challenge is: the level of IdentityServiceProvider::challengeComplete(). */
class OMPLATFORM_EXPORT OmbrelIdAssuranceLevel
{
    Q_GADGET
public:
    enum Type {
        AuthenticatedOffline = 0, ///< Checked on the device alone.
        AuthenticatedOnline = 1,  ///< Checked with the account's servers.
    };
    Q_ENUM(Type)

private:
    OmbrelIdAssuranceLevel() = delete;
};

} // namespace identity
} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::identity::OmbrelIdAssuranceLevel::Type)

#endif
