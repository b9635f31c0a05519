#ifndef OMDEVICE_PAYMENTS_STORETARGET_H
#define OMDEVICE_PAYMENTS_STORETARGET_H

#include "invoke/targetregistry.h"

#include <QList>
#include <QMutex>

namespace omdevice {

/**
 * The store's own screen as a target of invocations: the payment service
 * may ask an application to invoke it before it answers a purchase. It
 * keeps what it was asked, the most recent last, for the user side to show.
 * One lives for the whole program, offered to the invocation service.
 */
class StoreTarget : public InvokeTarget
{
public:
    static constexpr int Kept = 50;

    static StoreTarget &instance();

    QString name() const override;
    QStringList actions() const override;
    QStringList mimeTypes() const override;
    void take(const Invocation &invocation) override;

    QList<Invocation> invocations() const;

private:
    StoreTarget() = default;

    mutable QMutex m_mutex;
    QList<Invocation> m_invocations;
};

} // namespace omdevice

#endif
