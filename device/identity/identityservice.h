#ifndef OMDEVICE_IDENTITY_IDENTITYSERVICE_H
#define OMDEVICE_IDENTITY_IDENTITYSERVICE_H

#include "common/requestrouter.h"
#include "common/servicemodule.h"
#include "common/watchers.h"
#include "identity/identitystate.h"

#include <QHash>
#include <QList>
#include <QString>

#include <functional>

namespace omdevice {

class ControlServer;

/**
 * The identity service behind libids: the providers "ids:omb:omid" (one
 * signed-in account, its properties, tokens, challenges) and
 * "ids:omb:profile" (named data of applications and vendors, and
 * notifications of its changes), on "/pps/services/identity/control".
 * Each client connection registers one provider; an application is known
 * by its package as the broker tells it, never by what it writes.
 *
 * The user's side, "/pps/simulator/identity" (owner only), changes the
 * account, lists and changes data as any application, revokes tokens,
 * switches the device offline, makes the next request of a kind fail, and
 * answers pending challenges.
 */
class IdentityService : public ServiceModule
{
    Q_OBJECT
public:
    IdentityService(const DeviceContext &context, QObject *parent);
    ~IdentityService() override;

    bool start(QString *error) override;

    const IdentityState &state() const { return m_state; }

    /** How the identity service's answers go on the wire. */
    static WireForm wireForm();

private:
    struct Connection
    {
        QString provider;
    };
    struct Notifier
    {
        int clientId = 0;
        int watcher = 0;
        int type = 0;
        QString owner;
        QString name;
    };
    struct Options
    {
        bool guiAllowed = true;
        QString groupId;
        QString verbosity = QStringLiteral("Normal");
    };
    struct Challenge
    {
        int id = 0;
        Request request;
        int type = 0;
        qint64 since = 0;
    };
    struct ForcedFailure
    {
        QString msg;
        QString package;
        int code = 0;
        QString info;
    };

    /** What a token or data request carries, read from its "dat". */
    struct RequestArguments
    {
        QString package; ///< the application, as the bus knows it
        QString tokenType;
        QString appliesTo;
        int type = 0;
        int flags = 0;
        QString name;
        QByteArray value;
    };
    using Operation = std::function<IdentityResult(const RequestArguments &)>;
    enum DataFields { Named = 1, Valued = 2 };

    // The applications' side. Token and data requests differ only in the
    // operation of the state they end in.
    RequestRouter::Handler tokenRoute(const Operation &operation);
    RequestRouter::Handler dataRoute(int fieldsWanted, const Operation &operation);
    void onRegister(const Request &request);
    void onGetProperties(const Request &request);
    void onChallenge(const Request &request);
    void onRegisterNotifier(const Request &request);
    void onSetOption(const Request &request);
    void onClientClosed(int clientId);

    /** The provider of the request's connection, registered or named;
     *  empty for none. */
    QString providerOf(const Request &request);
    /** False, with the request answered, unless the request's connection
     *  registered @p provider and no failure was asked for. */
    bool admit(const Request &request, const QString &provider);
    /** Answers @p request with @p result, and tells the notifiers of what
     *  it changed. */
    void finish(const Request &request, const IdentityResult &result);
    void fail(const Request &request, int code, const QString &info);
    void notifyChanged(const QString &owner, const QStringList &names, int exceptClient);
    void sendNotification(const Notifier &notifier, int notification);
    void answerChallenge(const Challenge &challenge, bool approve, int level);
    Options options(const Request &request) const;
    void log(const Request &request, const QString &outcome, bool failed) const;

    // The user's side.
    void addUserRoutes();
    /** The entries of @p owner as the user's side lists them. */
    QVariantList entriesOf(const QString &owner) const;
    /** Tells the user's side's watchers that what it shows changed. */
    void changed() const;

    ControlServer *m_control;
    ControlServer *m_simulator;
    RequestRouter *m_router;
    RequestRouter *m_user;
    Watchers m_watchers;
    IdentityState m_state;
    QHash<int, Connection> m_connections;
    QList<Notifier> m_notifiers;
    QHash<qint64, Options> m_options;
    QList<Challenge> m_challenges;
    int m_lastChallenge = 0;
    QList<ForcedFailure> m_forced;
};

} // namespace omdevice

#endif
