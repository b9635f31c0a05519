#ifndef OM_PLATFORM_IDENTITY_OMBRELIDPROPERTYTYPE_H
#define OM_PLATFORM_IDENTITY_OMBRELIDPROPERTYTYPE_H

#include <om/platform/omplatform_export.h>

#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {
namespace identity {

/**
 * The kinds of user property of the OmbrelId provider, the type of
 * IdentityServiceProvider::requestProperties().
 */
class OMPLATFORM_EXPORT OmbrelIdPropertyType
{
    Q_GADGET
public:
    enum Type {
        Core = 0, ///< The account's core properties: the keys of OmbrelId.
    };
    Q_ENUM(Type)

private:
    OmbrelIdPropertyType() = delete;
};

} // namespace identity
} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::identity::OmbrelIdPropertyType::Type)

#endif
