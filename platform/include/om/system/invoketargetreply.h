#ifndef OM_SYSTEM_INVOKETARGETREPLY_H
#define OM_SYSTEM_INVOKETARGETREPLY_H

#include <om/system/invokereply.h>

namespace om {
namespace system {

class InvokeTargetReplyPrivate;

/**
 * The reply of InvokeManager::invoke(): the request went to one target,
 * which target() names once the reply has finished without error.
 */
class OMSYS_EXPORT InvokeTargetReply : public InvokeReply
{
    Q_OBJECT
    Q_DISABLE_COPY(InvokeTargetReply)
    Q_DECLARE_PRIVATE(InvokeTargetReply)

public:
    explicit InvokeTargetReply(QObject *parent = nullptr);
    ~InvokeTargetReply() override;

    /** The name of the target that took the request; empty until then. */
    QString target() const;

private:
    friend class InvokeManager;
};

} // namespace system
} // namespace om

#endif
