#ifndef OMDEVICE_INVOKESERVICE_H
#define OMDEVICE_INVOKESERVICE_H

#include "common/controlserver.h"
#include "common/datastore.h"
#include "common/servicemodule.h"
#include "invoke/invocation.h"
#include "invoke/mapsapplication.h"
#include "invoke/targetregistry.h"

#include <QList>

namespace omdevice {

/**
 * The invocation service. Applications write "invoke" requests to
 * "/pps/services/invoke/control"; each is routed to a target of the
 * registry and answered with the error code (0 when a target took it).
 * The recent invocations are kept, also across restarts.
 *
 * The user's side, "/pps/simulator/invoke" (owner only), answers
 * "invocations" (dat: "last", how many), "clear", "targets" and "maps"
 * (what the maps application shows).
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

private:
    void onRequest(int clientId, const QVariantMap &request);
    void onSimulatorRequest(int clientId, const QVariantMap &request);
    void record(const Invocation &invocation);
    void save();

    ControlServer *m_control;
    ControlServer *m_simulator;
    DataStore m_store;
    int m_history;
    QList<Invocation> m_invocations; // oldest first
    MapsApplication m_maps;
    TargetRegistry m_targets;
};

} // namespace omdevice

#endif
