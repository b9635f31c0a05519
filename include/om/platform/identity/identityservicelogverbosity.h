#ifndef OM_PLATFORM_IDENTITY_IDENTITYSERVICELOGVERBOSITY_H
#define OM_PLATFORM_IDENTITY_IDENTITYSERVICELOGVERBOSITY_H

#include <om/platform/omplatform_export.h>

#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {
namespace identity {

/** How much the identity client library logs: the argument of IdentityService::setLogVerbosity().
 */
class OMPLATFORM_EXPORT IdentityServiceLogVerbosity
{
    Q_GADGET
public:
    enum Type {
        None = 0,    ///< The client library logs nothing.
        Normal = 1,  ///< The usual amount.
        Verbose = 2, ///< Everything.
    };
    Q_ENUM(Type)

private:
    IdentityServiceLogVerbosity() = delete;
};

} // namespace identity
} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::identity::IdentityServiceLogVerbosity::Type)

#endif
