#include "payments/storetarget.h"

#include "payments/paymentsprotocol_p.h"

#include <QMutexLocker>

namespace omdevice {

namespace protocol = om::paymentsprotocol;

StoreTarget &StoreTarget::instance()
{
    static StoreTarget target;
    return target;
}

namespace {
const TargetRegistry::OfferedTarget offered(&StoreTarget::instance());
}

QString StoreTarget::name() const
{
    return protocol::storeTargetName();
}

QStringList StoreTarget::actions() const
{
    return {protocol::storeAction()};
}

QStringList StoreTarget::mimeTypes() const
{
    return {protocol::storeMimeType()};
}

void StoreTarget::take(const Invocation &invocation)
{
    QMutexLocker lock(&m_mutex);
    m_invocations.append(invocation);
    while (m_invocations.size() > Kept)
        m_invocations.removeFirst();
}

QList<Invocation> StoreTarget::invocations() const
{
    QMutexLocker lock(&m_mutex);
    return m_invocations;
}

} // namespace omdevice
