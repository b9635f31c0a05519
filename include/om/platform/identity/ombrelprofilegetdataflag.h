#ifndef OM_PLATFORM_IDENTITY_OMBRELPROFILEGETDATAFLAG_H
#define OM_PLATFORM_IDENTITY_OMBRELPROFILEGETDATAFLAG_H

#include <om/platform/omplatform_export.h>

#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {
namespace identity {

/** The flags of IdentityServiceProvider::requestData(). */
class OMPLATFORM_EXPORT OmbrelProfileGetDataFlag
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
    OmbrelProfileGetDataFlag() = delete;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(OmbrelProfileGetDataFlag::Types)

} // namespace identity
} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::identity::OmbrelProfileGetDataFlag::Type)
Q_DECLARE_METATYPE(om::platform::identity::OmbrelProfileGetDataFlag::Types)

#endif
