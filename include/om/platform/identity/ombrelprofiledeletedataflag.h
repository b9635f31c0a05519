#ifndef OM_PLATFORM_IDENTITY_OMBRELPROFILEDELETEDATAFLAG_H
#define OM_PLATFORM_IDENTITY_OMBRELPROFILEDELETEDATAFLAG_H

#include <om/platform/omplatform_export.h>

#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {
namespace identity {

/** The flags of IdentityServiceProvider::deleteData(). */
class OMPLATFORM_EXPORT OmbrelProfileDeleteDataFlag
{
    Q_GADGET
public:
    enum Type {
        Default = 0,   ///< Delete the entry.
        CacheOnly = 1, ///< Delete only the copy cached on the device.
        DeleteAll = 2, ///< Delete every entry of the type.
    };
    Q_ENUM(Type)
    Q_DECLARE_FLAGS(Types, Type)
    Q_FLAG(Types)

private:
    OmbrelProfileDeleteDataFlag() = delete;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(OmbrelProfileDeleteDataFlag::Types)

} // namespace identity
} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::identity::OmbrelProfileDeleteDataFlag::Type)
Q_DECLARE_METATYPE(om::platform::identity::OmbrelProfileDeleteDataFlag::Types)

#endif
