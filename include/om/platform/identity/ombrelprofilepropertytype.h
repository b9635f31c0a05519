#ifndef OM_PLATFORM_IDENTITY_OMBRELPROFILEPROPERTYTYPE_H
#define OM_PLATFORM_IDENTITY_OMBRELPROFILEPROPERTYTYPE_H

#include <om/platform/omplatform_export.h>

#include <QMetaType>
#include <QObject>

namespace om {
namespace platform {
namespace identity {

/** Whose data an operation of the OmbrelProfile provider works on: its type. */
class OMPLATFORM_EXPORT OmbrelProfilePropertyType
{
    Q_GADGET
public:
    enum Type {
        Application = 1, ///< Data of this application alone.
        Vendor = 2,      ///< Data shared by the applications of one vendor.
    };
    Q_ENUM(Type)

private:
    OmbrelProfilePropertyType() = delete;
};

} // namespace identity
} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::identity::OmbrelProfilePropertyType::Type)

#endif
