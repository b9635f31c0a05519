#ifndef OMDEVICE_INVOKESERVICE_H
#define OMDEVICE_INVOKESERVICE_H

#include "common/datastore.h"
#include "common/requestrouter.h"
#include "common/servicemodule.h"
#include "common/watchers.h"
#include "invoke/invocation.h"
#include "invoke/mapsapplication.h"
#include "invoke/targetregistry.h"

#include <QList>
#include <QLoggingCategory>

namespace omdevice {

Q_DECLARE_LOGGING_CATEGORY(lcInvoke)

/**
 * The invocation service. Applications write "invoke" requests to its
 * control object; each is routed to a target of the registry and answered
 * with the target's name, or refused with an error code. The recent
 * invocations are kept, also across restarts.
 *
 * The user's side (owner only) answers "invocations" (dat: "last", how
 * many), "clear", "targets" and "maps" (what the maps application shows).
 */
class InvokeService : public ServiceModule
{
    Q_OBJECT
public:
    static constexpr int DefaultHistory = 50;

    InvokeService(const DeviceContext &context, QObject *parent);
    ~InvokeService() override;

    bool start(QString *error) override;

    QList<Invocation> invocations() const { return m_invocations; }
    const MapsApplication &maps() const { return m_maps; }

    /** How the control object answers: "res", "id" and "dat"; a refusal
     *  has the failure's code in "err" and its text in "errstr". */
    static WireForm wireForm();

private:
    void invoke(const Request &request);
    void list(const Request &request);
    void clear(const Request &request);
    void listTargets(const Request &request);
    void load();
    /** Writes @p invocation to the history, with @p changes, in one record. */
    void record(const Invocation &invocation, DataStore::Changes *changes);
    /** Drops the oldest invocations beyond the history's length. */
    void trim(DataStore::Changes *changes);
    static QString numberKey(qint64 number);

    RequestRouter *m_control;
    RequestRouter *m_userSide;
    Watchers m_watchers;
    DataStore m_store;
    int m_history;
    QList<Invocation> m_invocations; // oldest first
    QList<qint64> m_numbers;         // theirs, in the store
    MapsApplication m_maps;
    TargetRegistry m_targets;
};

} // namespace omdevice

#endif
