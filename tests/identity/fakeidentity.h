#ifndef OMTEST_FAKEIDENTITY_H
#define OMTEST_FAKEIDENTITY_H

// A fake identity service for tests of the client side: a FakeServer on the
// identity control object that registers the two known providers, takes
// notifiers and options, and answers the rest as each test says.

#include "fakeserver.h"

#include "ids/idsprotocol_p.h"

#include <QVariantMap>

#include <cerrno>
#include <functional>
#include <memory>

namespace omtest {

namespace idsproto = om::ids::protocol;

/** The answer to @p request that carries @p dat. */
inline QVariantMap idsAnswer(const Received &request, const QVariantMap &dat = QVariantMap())
{
    QVariantMap a{{QStringLiteral("res"), request.msg()}, {QStringLiteral("id"), request.id()}};
    if (!dat.isEmpty())
        a.insert(QStringLiteral("dat"), dat);
    return a;
}

/** The failure of @p request with @p code, and @p info unless it is null. */
inline QVariantMap idsFailure(const Received &request, int code, const QString &info = QString())
{
    QVariantMap a{{QStringLiteral("res"), request.msg()},
                  {QStringLiteral("id"), request.id()},
                  {QStringLiteral("err"), code}};
    if (!info.isNull())
        a.insert(QStringLiteral("info"), info);
    return a;
}

/** A notification of a notifier. */
inline QVariantMap idsNotification(int type, const QString &name, int notification, int watcher)
{
    return {{QStringLiteral("msg"), idsproto::msgNotify()},
            {QStringLiteral("dat"), QVariantMap{{idsproto::keyType(), type},
                                                {idsproto::keyName(), name},
                                                {idsproto::keyNotification(), notification},
                                                {idsproto::keyWatcher(), watcher}}}};
}

using Maps = QList<QVariantMap>;

/** Answers each message with what @p answers gives for it, at once; nothing
 *  for an empty list. */
inline void respondWith(FakeServer *server, const std::function<Maps(const Received &)> &answers)
{
    server->respond([answers](const Received &r) {
        QList<Answer> out;
        for (const QVariantMap &a : answers(r))
            out.append({a, {}, {}, 0});
        return out;
    });
}

/** Registration of the known providers, wake-ups, notifiers and options
 *  answered as the real service would in the simple case. */
inline void scriptIdentityBasics(FakeServer *server)
{
    respondWith(server, [](const Received &r) {
        if (r.msg() == idsproto::msgRegister()) {
            const QString provider = r.dat().value(idsproto::keyProvider()).toString();
            if (provider == idsproto::providerOmid() || provider == idsproto::providerProfile())
                return Maps{idsAnswer(r)};
            return Maps{idsFailure(r, ECOMM, QStringLiteral("unknown provider"))};
        }
        if (r.msg() == idsproto::msgWake() || r.msg() == idsproto::msgSetOption())
            return Maps{idsAnswer(r)};
        return Maps();
    });
}

/** The identity control object's fake server, started and scripted. */
inline std::unique_ptr<FakeServer> startFakeIdentity()
{
    auto server = std::make_unique<FakeServer>(idsproto::controlPath());
    scriptIdentityBasics(server.get());
    if (!server->start())
        return nullptr;
    return server;
}

/** The messages named @p msg that @p server received. */
inline QList<Received> receivedNamed(const FakeServer &server, const QString &msg)
{
    QList<Received> found;
    for (const Received &r : server.received()) {
        if (r.msg() == msg)
            found.append(r);
    }
    return found;
}

} // namespace omtest

#endif
