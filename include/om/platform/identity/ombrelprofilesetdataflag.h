#ifndef OM_PLATFORM_IDENTITY_OMBRELPROFILESETDATAFLAG_H
#define OM_PLATFORM_IDENTITY_OMBRELPROFILESETDATAFLAG_H

#include <om/platform/omplatform_export.h>

#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {
namespace identity {

/** The flags of IdentityServiceProvider::setData(). */
class OMPLATFORM_EXPORT OmbrelProfileSetDataFlag
{
    Q_GADGET
public:
    enum Type {
        Default = 0,   ///< No special handling.
        CacheData = 1, ///< Keep the entry cached on the device.
    };
    Q_ENUM(Type)
    Q_DECLARE_FLAGS(Types, Type)
    Q_FLAG(Types)

private:
    OmbrelProfileSetDataFlag() = delete;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(OmbrelProfileSetDataFlag::Types)

} // namespace identity
} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::identity::OmbrelProfileSetDataFlag::Type)
Q_DECLARE_METATYPE(om::platform::identity::OmbrelProfileSetDataFlag::Types)

#endif
