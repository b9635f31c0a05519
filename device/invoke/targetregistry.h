#ifndef OMDEVICE_TARGETREGISTRY_H
#define OMDEVICE_TARGETREGISTRY_H

#include "invoke/invocation.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace omdevice {

/** Something on the device that invocations can go to. */
class InvokeTarget
{
public:
    virtual ~InvokeTarget() = default;

    /** Unique name by which a request can address the target. */
    virtual QString name() const = 0;
    /** The actions it handles, such as "om.action.OPEN". */
    virtual QStringList actions() const = 0;
    /** The MIME types it reads, lower case, without parameters. */
    virtual QStringList mimeTypes() const = 0;
    /** Takes an invocation that was routed to it. */
    virtual void take(const Invocation &invocation) = 0;
};

/**
 * The targets of the device, and the rule that picks one for a request:
 * a request that names a target goes to it; otherwise the first target, in
 * order of registration, that handles the action and the MIME type takes
 * it. MIME types compare without case and without parameters.
 */
class TargetRegistry
{
public:
    /** Does not take ownership. */
    void add(InvokeTarget *target);
    QList<InvokeTarget *> targets() const { return m_targets; }

    /**
     * The target for a request, or null with the invocation framework's
     * error code in *error and the reason in *errorText.
     */
    InvokeTarget *route(const Invocation &invocation, int *error, QString *errorText) const;

    /** The MIME type without parameters, in lower case. */
    static QString essence(const QString &mimeType);

    /** Targets that other modules of the device provide, offered while the
     *  program loads (see OfferedTarget); the invocation service adds them
     *  to its registry after its own. Not owned. */
    static void offer(InvokeTarget *target);
    static QList<InvokeTarget *> offered();

    /** Offers a target from a static object's constructor. */
    struct OfferedTarget
    {
        explicit OfferedTarget(InvokeTarget *target) { offer(target); }
    };

private:
    static bool handles(const InvokeTarget *target, const Invocation &invocation);

    QList<InvokeTarget *> m_targets;
};

} // namespace omdevice

#endif
