#ifndef OM_SYSTEM_FILETRANSFERMODE_H
#define OM_SYSTEM_FILETRANSFERMODE_H

#include <om/omsys_export.h>

#include <QObject>

namespace om {
namespace system {

/** How a file named by an invocation's URI reaches the target. */
class OMSYS_EXPORT FileTransferMode
{
    Q_GADGET
public:
    enum Type {
        Unspecified = 0,   ///< Left to the invocation framework.
        Preserve = 1,      ///< The target reads the file where it is.
        CopyReadOnly = 2,  ///< The target gets a read-only copy.
        CopyReadWrite = 3, ///< The target gets a copy it may change.
        Link = 4,          ///< The target gets a link to the file.
    };
    Q_ENUM(Type)

private:
    FileTransferMode() = delete;
};

} // namespace system
} // namespace om

#endif
