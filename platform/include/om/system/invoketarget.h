#ifndef OM_SYSTEM_INVOKETARGET_H
#define OM_SYSTEM_INVOKETARGET_H

#include <om/omsys_export.h>

#include <QFlags>
#include <QObject>

namespace om {
namespace system {

/** The kinds of target an invocation may go to; combined as flags. */
class OMSYS_EXPORT InvokeTarget
{
    Q_GADGET
public:
    enum Type {
        Unspecified = 0x00,
        Application = 0x01,
        Viewer = 0x02,
        Service = 0x04,
        Card = 0x08,
    };
    Q_ENUM(Type)
    Q_DECLARE_FLAGS(Types, Type)
    Q_FLAG(Types)

private:
    InvokeTarget() = delete;
};

} // namespace system
} // namespace om

Q_DECLARE_OPERATORS_FOR_FLAGS(om::system::InvokeTarget::Types)

#endif
