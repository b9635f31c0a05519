#ifndef OMDEVICE_WATCHERS_H
#define OMDEVICE_WATCHERS_H

#include "common/controlserver.h"
#include "common/requestrouter.h"
#include "control/controlprotocol_p.h"

#include <QSet>
#include <QString>

#include <memory>

namespace omdevice {

/**
 * The clients of a user's-side object that follow it: a client sends
 * "watch" (answered at once) and from then on, until it closes, reads
 * "changed" with "what" (the listing that changed) after every change.
 * The message is a hint, not the state: it stays small whatever the
 * state's size, and a client that is busy asks once for the newest state
 * however many changes came meanwhile.
 */
class Watchers
{
public:
    /** Adds "watch" to the routes of @p router. */
    explicit Watchers(RequestRouter *router) : m_router(router)
    {
        // The set is shared with the handlers, so that they stay valid
        // whichever of this and the router goes first.
        std::shared_ptr<QSet<int>> clients = m_clients;
        router->add(om::controlprotocol::watchMessage(), Shape::Any,
                    [router, clients](const Request &request) {
                        clients->insert(request.clientId());
                        router->answer(request);
                    });
        QObject::connect(router->server(), &ControlServer::clientClosed, router,
                         [clients](int clientId) { clients->remove(clientId); });
    }

    /** Tells every watching client that @p what changed. */
    void changed(const QString &what) const
    {
        if (m_clients->isEmpty())
            return;
        const QVariantMap message{
            {om::controlprotocol::keyMsg(), om::controlprotocol::changedMessage()},
            {om::controlprotocol::keyDat(), QVariantMap{{om::controlprotocol::keyWhat(), what}}}};
        for (int clientId : qAsConst(*m_clients))
            m_router->server()->reply(clientId, message);
    }

private:
    RequestRouter *m_router;
    std::shared_ptr<QSet<int>> m_clients = std::make_shared<QSet<int>>();
};

} // namespace omdevice

#endif
