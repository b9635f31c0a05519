#ifndef OM_PLATFORM_IDENTITY_OMBRELPROFILELISTDATAFLAG_H
#define OM_PLATFORM_IDENTITY_OMBRELPROFILELISTDATAFLAG_H

#include <om/platform/omplatform_export.h>

#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {
namespace identity {

/** The flags of IdentityServiceProvider::listData(). */
class OMPLATFORM_EXPORT OmbrelProfileListDataFlag
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
    OmbrelProfileListDataFlag() = delete;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(OmbrelProfileListDataFlag::Types)

} // namespace identity
} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::identity::OmbrelProfileListDataFlag::Type)
Q_DECLARE_METATYPE(om::platform::identity::OmbrelProfileListDataFlag::Types)

#endif
