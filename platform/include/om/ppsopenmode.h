#ifndef OM_PPSOPENMODE_H
#define OM_PPSOPENMODE_H

#include <om/omsys_export.h>

#include <QFlags>
#include <QObject>

namespace om {

/**
 * Ways of opening a PPS object. Publish writes, Subscribe reads; Create lets
 * a publisher make a plain object that does not exist yet (the same as the
 * path option "create").
 */
class OMSYS_EXPORT PpsOpenMode
{
    Q_GADGET
public:
    enum Type {
        Publish = 0x1,
        Subscribe = 0x2,
        PublishSubscribe = Publish | Subscribe,
        Create = 0x4,
    };
    Q_ENUM(Type)
    Q_DECLARE_FLAGS(Types, Type)
    Q_FLAG(Types)
};

} // namespace om

Q_DECLARE_OPERATORS_FOR_FLAGS(om::PpsOpenMode::Types)

#endif
