#include "invoke/targetregistry.h"

#include <om/system/invokereply.h>

namespace omdevice {

void TargetRegistry::add(InvokeTarget *target)
{
    m_targets.append(target);
}

namespace {
QList<InvokeTarget *> &offeredTargets()
{
    static QList<InvokeTarget *> targets;
    return targets;
}
} // namespace

void TargetRegistry::offer(InvokeTarget *target)
{
    offeredTargets().append(target);
}

QList<InvokeTarget *> TargetRegistry::offered()
{
    return offeredTargets();
}

QString TargetRegistry::essence(const QString &mimeType)
{
    return mimeType.section(QLatin1Char(';'), 0, 0).trimmed().toLower();
}

bool TargetRegistry::handles(const InvokeTarget *target, const Invocation &invocation)
{
    return (invocation.action.isEmpty() || target->actions().contains(invocation.action))
           && target->mimeTypes().contains(essence(invocation.mimeType));
}

InvokeTarget *TargetRegistry::route(const Invocation &invocation, int *error,
                                    QString *errorText) const
{
    using om::system::InvokeReply;
    if (!invocation.requestedTarget.isEmpty()) {
        for (InvokeTarget *target : m_targets) {
            if (target->name() != invocation.requestedTarget)
                continue;
            if (handles(target, invocation))
                return target;
            *error = InvokeReply::TargetFailed;
            *errorText = QStringLiteral("target \"%1\" does not handle action \"%2\" with type \"%3\"")
                             .arg(target->name(), invocation.action, invocation.mimeType);
            return nullptr;
        }
        *error = InvokeReply::NoTarget;
        *errorText = QStringLiteral("no target is named \"%1\"").arg(invocation.requestedTarget);
        return nullptr;
    }
    if (invocation.action.isEmpty()) {
        *error = InvokeReply::BadRequest;
        *errorText = QStringLiteral("the request names neither a target nor an action");
        return nullptr;
    }
    for (InvokeTarget *target : m_targets) {
        if (handles(target, invocation))
            return target;
    }
    *error = InvokeReply::NoTarget;
    *errorText = QStringLiteral("no target handles action \"%1\" with type \"%2\"")
                     .arg(invocation.action, invocation.mimeType);
    return nullptr;
}

} // namespace omdevice
