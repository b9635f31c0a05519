#ifndef OM_PLATFORM_IDENTITY_OMBRELPROFILECREATEDATAFLAG_H
#define OM_PLATFORM_IDENTITY_OMBRELPROFILECREATEDATAFLAG_H

#include <om/platform/omplatform_export.h>

#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {
namespace identity {

/** The flags of IdentityServiceProvider::createData(). */
class OMPLATFORM_EXPORT OmbrelProfileCreateDataFlag
{
    Q_GADGET
public:
    enum Type {
        Default = 0,               ///< No special handling.
        EncryptDeviceToDevice = 1, ///< Encrypt the entry from device to device.
        CacheData = 16,            ///< Keep the entry cached on the device.
    };
    Q_ENUM(Type)
    Q_DECLARE_FLAGS(Types, Type)
    Q_FLAG(Types)

private:
    OmbrelProfileCreateDataFlag() = delete;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(OmbrelProfileCreateDataFlag::Types)

} // namespace identity
} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::identity::OmbrelProfileCreateDataFlag::Type)
Q_DECLARE_METATYPE(om::platform::identity::OmbrelProfileCreateDataFlag::Types)

#endif
