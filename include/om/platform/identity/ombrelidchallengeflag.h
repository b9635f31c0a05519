#ifndef OM_PLATFORM_IDENTITY_OMBRELIDCHALLENGEFLAG_H
#define OM_PLATFORM_IDENTITY_OMBRELIDCHALLENGEFLAG_H

#include <om/platform/omplatform_export.h>

#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {
namespace identity {

/** The flags of IdentityServiceProvider::challenge() on the OmbrelId provider. */
class OMPLATFORM_EXPORT OmbrelIdChallengeFlag
{
    Q_GADGET
public:
    enum Type {
        Default = 0, ///< No special handling.
    };
    Q_ENUM(Type)
    Q_DECLARE_FLAGS(Types, Type)
    Q_FLAG(Types)

private:
    OmbrelIdChallengeFlag() = delete;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(OmbrelIdChallengeFlag::Types)

} // namespace identity
} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::identity::OmbrelIdChallengeFlag::Type)
Q_DECLARE_METATYPE(om::platform::identity::OmbrelIdChallengeFlag::Types)

#endif
