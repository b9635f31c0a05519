#include "identity/identityservice.h"

#include "common/controlserver.h"
#include "ids/idsprotocol_p.h"

#include <ids/ids.h>

#include <QDateTime>
#include <QLoggingCategory>

#include <algorithm>

#include <cerrno>
#include <csignal>

namespace omdevice {

Q_LOGGING_CATEGORY(lcIdentity, "om.device.identity", QtInfoMsg)

namespace protocol = om::ids::protocol;

namespace {

// Token types and applies-to targets that a new device knows.
const QStringList DefaultTokenTypes = {QStringLiteral("bearer"), QStringLiteral("saml")};
const QStringList DefaultAppliesTo = {QStringLiteral("urn:omb:demo"),
                                      QStringLiteral("https://api.example.com")};

QStringList listSetting(const DeviceContext &context, const QString &key,
                        const QStringList &fallback)
{
    const QString value = context.setting(key);
    return value.isEmpty() ? fallback : value.split(QLatin1Char(','), Qt::SkipEmptyParts);
}

/** Reads the fields of a request's "dat", remembering the first that is
 *  missing or of the wrong kind. */
class Fields
{
public:
    explicit Fields(const Request &request) : m_dat(request.map()) {}

    bool text(const QString &key, QString *value)
    {
        return check(protocol::readText(m_dat, key, value), key);
    }
    bool number(const QString &key, int *value)
    {
        return check(protocol::readInt(m_dat, key, value), key);
    }
    bool bytes(const QString &key, QByteArray *value)
    {
        return check(protocol::readBytes(m_dat, key, value), key);
    }
    bool texts(const QString &key, QStringList *value)
    {
        return check(protocol::readTextList(m_dat, key, value), key);
    }
    bool flag(const QString &key, bool *value)
    {
        return !m_dat.contains(key) || check(protocol::readBool(m_dat, key, value), key);
    }
    QString problem() const { return QStringLiteral("missing or bad \"%1\"").arg(m_bad); }

private:
    bool check(bool ok, const QString &key)
    {
        if (!ok && m_bad.isEmpty())
            m_bad = key;
        return ok;
    }

    QVariantMap m_dat;
    QString m_bad;
};

bool isProviderRequest(const QString &msg)
{
    static const QStringList requests = {
        protocol::msgGetToken(),   protocol::msgClearToken(), protocol::msgGetProperties(),
        protocol::msgGetData(),    protocol::msgSetData(),    protocol::msgCreateData(),
        protocol::msgDeleteData(), protocol::msgListData(),   protocol::msgChallenge()};
    return requests.contains(msg);
}

qint64 pidOf(const Request &request)
{
    return request.client().value(QStringLiteral("pid")).toLongLong();
}

bool alive(qint64 pid)
{
    return pid > 0 && (::kill(pid_t(pid), 0) == 0 || errno != ESRCH);
}

} // namespace

WireForm IdentityService::wireForm()
{
    WireForm form;
    form.answer = [](const Request &request, const QVariant &dat) {
        QVariantMap reply{{protocol::keyRes(), request.msg()}, {protocol::keyDat(), dat}};
        if (request.hasId())
            reply.insert(protocol::keyId(), request.id());
        return reply;
    };
    form.failure = [](const Request &request, const Failure &failure) {
        QVariantMap reply{{protocol::keyRes(), request.msg()},
                          {protocol::keyErr(), failure.code},
                          {protocol::keyInfo(), failure.text}};
        if (request.hasId())
            reply.insert(protocol::keyId(), request.id());
        return reply;
    };
    form.malformed = {IDS_INVALID_REQUEST, QStringLiteral("the request cannot be decoded"), {}};
    form.unknown = [](const Request &request) {
        return Failure{
            IDS_INVALID_REQUEST, QStringLiteral("unknown request \"%1\"").arg(request.msg()), {}};
    };
    form.badShape = [](const Request &request, Shape) {
        return Failure{IDS_NULL_OR_UNKNOWN_PARAMETERS,
                       QStringLiteral("%1: \"dat\" must be an object").arg(request.msg()),
                       {}};
    };
    form.answerUnknownWithoutId = false;
    return form;
}

IdentityService::IdentityService(const DeviceContext &context, QObject *parent)
    : ServiceModule(parent), m_control(new ControlServer(protocol::controlPath(), 0666, this)),
      m_simulator(new ControlServer(protocol::simulatorPath(), 0600, this)),
      m_router(new RequestRouter(m_control, wireForm(), this)),
      m_user(new RequestRouter(m_simulator, WireForm::standard(), this)),
      m_watchers(m_user),
      m_state(context.dataDirectory,
              listSetting(context, QStringLiteral("identity.tokenTypes"), DefaultTokenTypes),
              listSetting(context, QStringLiteral("identity.appliesTo"), DefaultAppliesTo))
{
    auto route = [this](void (IdentityService::*handler)(const Request &)) {
        return [this, handler](const Request &request) { (this->*handler)(request); };
    };
    using Args = RequestArguments;
    m_router->add({
        {protocol::msgRegister(), Shape::Map, route(&IdentityService::onRegister)},
        {protocol::msgGetToken(), Shape::Map, tokenRoute([this](const Args &a) {
             return m_state.getToken(a.package, a.tokenType, a.appliesTo);
         })},
        {protocol::msgClearToken(), Shape::Map, tokenRoute([this](const Args &a) {
             return m_state.clearToken(a.package, a.tokenType, a.appliesTo);
         })},
        {protocol::msgGetProperties(), Shape::Map, route(&IdentityService::onGetProperties)},
        {protocol::msgGetData(), Shape::Map,
         dataRoute(Named,
                   [this](const Args &a) {
                       return m_state.getData(a.package, a.type, a.flags, a.name);
                   })},
        {protocol::msgSetData(), Shape::Map,
         dataRoute(Named | Valued,
                   [this](const Args &a) {
                       return m_state.setData(a.package, a.type, a.flags, a.name, a.value);
                   })},
        {protocol::msgCreateData(), Shape::Map,
         dataRoute(Named | Valued,
                   [this](const Args &a) {
                       return m_state.createData(a.package, a.type, a.flags, a.name, a.value);
                   })},
        {protocol::msgDeleteData(), Shape::Map,
         dataRoute(Named,
                   [this](const Args &a) {
                       return m_state.deleteData(a.package, a.type, a.flags, a.name);
                   })},
        {protocol::msgListData(), Shape::Map,
         dataRoute(0,
                   [this](const Args &a) { return m_state.listData(a.package, a.type, a.flags); })},
        {protocol::msgChallenge(), Shape::Map, route(&IdentityService::onChallenge)},
        {protocol::msgRegisterNotifier(), Shape::Map, route(&IdentityService::onRegisterNotifier)},
        {protocol::msgSetOption(), Shape::Map, route(&IdentityService::onSetOption)},
        {protocol::msgWake(), Shape::Any,
         [this](const Request &request) { m_router->answer(request); }},
    });
    connect(m_control, &ControlServer::clientClosed, this, &IdentityService::onClientClosed);
    addUserRoutes();
}

IdentityService::~IdentityService() = default;

bool IdentityService::start(QString *error)
{
    return m_control->open(error) && m_simulator->open(error);
}

// --- Answers.

void IdentityService::fail(const Request &request, int code, const QString &info)
{
    log(request, QStringLiteral("%1 %2").arg(code).arg(info), true);
    m_router->fail(request, code, info);
}

void IdentityService::finish(const Request &request, const IdentityResult &result)
{
    if (!result.ok()) {
        fail(request, result.code, result.info);
        return;
    }
    log(request, QStringLiteral("done"), false);
    m_router->answer(request, result.dat);
    if (!result.changed.isEmpty())
        notifyChanged(result.owner, result.changed, request.clientId());
    // Tokens come and go with requests that change no data.
    changed();
}

void IdentityService::changed() const
{
    m_watchers.changed(protocol::simState());
}

IdentityService::Options IdentityService::options(const Request &request) const
{
    return m_options.value(pidOf(request));
}

void IdentityService::log(const Request &request, const QString &outcome, bool failed) const
{
    const QString verbosity = options(request).verbosity;
    if (verbosity == QLatin1String("Silent") || (!failed && verbosity != QLatin1String("Verbose")))
        return;
    qCInfo(lcIdentity).noquote() << request.application() << request.msg() << outcome;
}

QString IdentityService::providerOf(const Request &request)
{
    const auto connection = m_connections.constFind(request.clientId());
    if (connection != m_connections.constEnd())
        return connection->provider;
    // A connection that registered with a service before this one: its
    // requests name their provider.
    const QString named = request.map().value(protocol::keyProvider()).toString();
    if (named != protocol::providerOmid() && named != protocol::providerProfile())
        return QString();
    m_connections.insert(request.clientId(), Connection{named});
    return named;
}

bool IdentityService::admit(const Request &request, const QString &provider)
{
    const QString registered = providerOf(request);
    if (registered.isEmpty()) {
        fail(request, IDS_INVALID_REQUEST, QStringLiteral("no provider registered"));
        return false;
    }
    if (registered != provider) {
        fail(request, IDS_INVALID_REQUEST,
             QStringLiteral("%1 does not serve \"%2\"").arg(registered, request.msg()));
        return false;
    }
    for (int i = 0; i < m_forced.size(); ++i) {
        const ForcedFailure forced = m_forced.at(i);
        if (forced.msg == request.msg() &&
            (forced.package.isEmpty() || forced.package == request.application())) {
            m_forced.removeAt(i);
            fail(request, forced.code, forced.info);
            return false;
        }
    }
    return true;
}

RequestRouter::Handler IdentityService::tokenRoute(const Operation &operation)
{
    return [this, operation](const Request &request) {
        if (!admit(request, protocol::providerOmid()))
            return;
        Fields fields(request);
        RequestArguments args;
        args.package = request.application();
        if (!fields.text(protocol::keyTokenType(), &args.tokenType) ||
            !fields.text(protocol::keyAppliesTo(), &args.appliesTo)) {
            fail(request, IDS_NULL_OR_UNKNOWN_PARAMETERS, fields.problem());
            return;
        }
        finish(request, operation(args));
    };
}

RequestRouter::Handler IdentityService::dataRoute(int fieldsWanted, const Operation &operation)
{
    return [this, fieldsWanted, operation](const Request &request) {
        if (!admit(request, protocol::providerProfile()))
            return;
        Fields fields(request);
        RequestArguments args;
        args.package = request.application();
        if (!fields.number(protocol::keyType(), &args.type) ||
            !fields.number(protocol::keyFlags(), &args.flags) ||
            ((fieldsWanted & Named) && !fields.text(protocol::keyName(), &args.name)) ||
            ((fieldsWanted & Valued) && !fields.bytes(protocol::keyValue(), &args.value))) {
            fail(request, IDS_NULL_OR_UNKNOWN_PARAMETERS, fields.problem());
            return;
        }
        finish(request, operation(args));
    };
}

// --- Registration, notifiers, options.

void IdentityService::onRegister(const Request &request)
{
    Fields fields(request);
    QString provider;
    if (!fields.text(protocol::keyProvider(), &provider)) {
        fail(request, EINVAL, fields.problem());
        return;
    }
    if (provider != protocol::providerOmid() && provider != protocol::providerProfile()) {
        fail(request, ECOMM, QStringLiteral("unknown provider \"%1\"").arg(provider));
        return;
    }
    const auto existing = m_connections.constFind(request.clientId());
    if (existing != m_connections.constEnd() && existing->provider != provider) {
        fail(request, EINVAL,
             QStringLiteral("this connection serves %1 already").arg(existing->provider));
        return;
    }
    m_connections.insert(request.clientId(), Connection{provider});
    m_router->answer(request);
}

void IdentityService::onRegisterNotifier(const Request &request)
{
    if (providerOf(request) != protocol::providerProfile()) {
        fail(request, EINVAL, QStringLiteral("notifiers are of ids:omb:profile"));
        return;
    }
    Fields fields(request);
    Notifier notifier;
    notifier.clientId = request.clientId();
    int flags = 0;
    bool resume = false;
    if (!fields.number(protocol::keyType(), &notifier.type) ||
        !fields.number(protocol::keyFlags(), &flags) ||
        !fields.text(protocol::keyName(), &notifier.name) ||
        !fields.number(protocol::keyWatcher(), &notifier.watcher) ||
        !fields.flag(protocol::keyResume(), &resume)) {
        fail(request, EINVAL, fields.problem());
        return;
    }
    notifier.owner = IdentityState::ownerOf(notifier.type, request.application());
    if (notifier.owner.isEmpty() ||
        (flags != protocol::NotifierStart && flags != protocol::NotifierStop) ||
        notifier.name.isEmpty() || notifier.name.toUtf8().size() > protocol::MaxDataNameBytes) {
        fail(request, EINVAL, QStringLiteral("a bad type, flags or name"));
        return;
    }
    auto same = [&notifier](const Notifier &n) {
        return n.clientId == notifier.clientId && n.watcher == notifier.watcher &&
               n.type == notifier.type && n.name == notifier.name;
    };
    m_notifiers.erase(std::remove_if(m_notifiers.begin(), m_notifiers.end(), same),
                      m_notifiers.end());
    if (flags == protocol::NotifierStart)
        m_notifiers.append(notifier);
    m_router->answer(request);
    if (!resume)
        sendNotification(notifier, flags == protocol::NotifierStart
                                       ? protocol::NotificationStarted
                                       : protocol::NotificationStopped);
}

void IdentityService::sendNotification(const Notifier &notifier, int notification)
{
    m_control->reply(
        notifier.clientId,
        {{protocol::keyMsg(), protocol::msgNotify()},
         {protocol::keyDat(), QVariantMap{{protocol::keyType(), notifier.type},
                                          {protocol::keyName(), notifier.name},
                                          {protocol::keyNotification(), notification},
                                          {protocol::keyWatcher(), notifier.watcher}}}});
}

void IdentityService::notifyChanged(const QString &owner, const QStringList &names,
                                    int exceptClient)
{
    for (const Notifier &notifier : qAsConst(m_notifiers)) {
        if (notifier.owner == owner && notifier.clientId != exceptClient &&
            names.contains(notifier.name))
            sendNotification(notifier, protocol::NotificationChanged);
    }
}

void IdentityService::onSetOption(const Request &request)
{
    Fields fields(request);
    int option = -1;
    QString value;
    if (!fields.number(protocol::keyOption(), &option) ||
        !fields.text(protocol::keyValue(), &value)) {
        fail(request, EINVAL, fields.problem());
        return;
    }
    const qint64 pid = pidOf(request);
    Options options = m_options.value(pid);
    switch (option) {
    case protocol::OptionGuiAllowed:
        if (value != QLatin1String("true") && value != QLatin1String("false")) {
            fail(request, EINVAL, QStringLiteral("\"true\" or \"false\""));
            return;
        }
        options.guiAllowed = value == QLatin1String("true");
        break;
    case protocol::OptionGroupId:
        options.groupId = value;
        break;
    case protocol::OptionVerbosity:
        if (value != QLatin1String("Silent") && value != QLatin1String("Normal") &&
            value != QLatin1String("Verbose")) {
            fail(request, EINVAL, QStringLiteral("unknown verbosity \"%1\"").arg(value));
            return;
        }
        options.verbosity = value;
        break;
    default:
        fail(request, EINVAL, QStringLiteral("unknown option %1").arg(option));
        return;
    }
    // Options are the process's: forget those of processes that ended.
    for (auto it = m_options.begin(); it != m_options.end();)
        it = alive(it.key()) ? std::next(it) : m_options.erase(it);
    m_options.insert(pid, options);
    m_router->answer(request);
}

void IdentityService::onClientClosed(int clientId)
{
    m_connections.remove(clientId);
    m_notifiers.erase(
        std::remove_if(m_notifiers.begin(), m_notifiers.end(),
                       [clientId](const Notifier &n) { return n.clientId == clientId; }),
        m_notifiers.end());
    const int pending = m_challenges.size();
    m_challenges.erase(
        std::remove_if(m_challenges.begin(), m_challenges.end(),
                       [clientId](const Challenge &c) { return c.request.clientId() == clientId; }),
        m_challenges.end());
    if (m_challenges.size() != pending)
        changed();
}

// --- "ids:omb:omid".

void IdentityService::onGetProperties(const Request &request)
{
    if (!admit(request, protocol::providerOmid()))
        return;
    Fields fields(request);
    int type = 0;
    QStringList names;
    if (!fields.number(protocol::keyType(), &type) || !fields.texts(protocol::keyNames(), &names)) {
        fail(request, IDS_NULL_OR_UNKNOWN_PARAMETERS, fields.problem());
        return;
    }
    finish(request, m_state.getProperties(type, names));
}

void IdentityService::onChallenge(const Request &request)
{
    if (!admit(request, protocol::providerOmid()))
        return;
    Fields fields(request);
    int type = 0;
    int flags = 0;
    if (!fields.number(protocol::keyType(), &type) ||
        !fields.number(protocol::keyFlags(), &flags)) {
        fail(request, IDS_NULL_OR_UNKNOWN_PARAMETERS, fields.problem());
        return;
    }
    if ((type != protocol::ChallengeAuthenticate && type != protocol::ChallengeEmailConfirmation) ||
        flags != 0) {
        fail(request, IDS_NULL_OR_UNKNOWN_PARAMETERS,
             QStringLiteral("unknown challenge type %1 or flags %2").arg(type).arg(flags));
        return;
    }
    Challenge challenge;
    challenge.id = ++m_lastChallenge;
    challenge.request = request;
    challenge.type = type;
    challenge.since = QDateTime::currentSecsSinceEpoch();
    const QString policy = m_state.challengePolicy();
    const int level =
        m_state.isOffline() ? protocol::AuthenticatedOffline : protocol::AuthenticatedOnline;
    if (policy == protocol::policyApprove()) {
        answerChallenge(challenge, true, level);
    } else if (policy == protocol::policyRefuse()) {
        answerChallenge(challenge, false, level);
    } else if (!options(request).guiAllowed) {
        fail(request, IDS_NOT_ALLOWED,
             QStringLiteral("the application does not let the user be asked"));
    } else {
        m_challenges.append(challenge);
        changed();
        log(request, QStringLiteral("waits for the user (challenge %1)").arg(challenge.id), false);
    }
}

void IdentityService::answerChallenge(const Challenge &challenge, bool approve, int level)
{
    if (approve) {
        IdentityResult result;
        result.dat.insert(protocol::keyLevel(), level);
        finish(challenge.request, result);
    } else {
        fail(challenge.request, IDS_USER_COULD_NOT_BE_AUTHENTICATED,
             QStringLiteral("the user refused"));
    }
}

// --- The user's side.

void IdentityService::addUserRoutes()
{
    auto reply = [this](const Request &request, const IdentityResult &result) {
        if (!result.ok()) {
            m_user->fail(request, result.code, result.info);
            return;
        }
        m_user->answer(request, result.dat);
        if (!result.changed.isEmpty())
            notifyChanged(result.owner, result.changed, -1);
        changed();
    };
    auto ownerOf = [](const QVariantMap &dat) {
        const QString package = dat.value(protocol::simKeyPackage()).toString();
        return IdentityState::ownerOf(dat.value(protocol::simKeyVendor()).toBool()
                                          ? protocol::DataVendor
                                          : protocol::DataApplication,
                                      package);
    };
    auto needPackage = [this](const Request &request) {
        if (!request.map().value(protocol::simKeyPackage()).toString().isEmpty())
            return true;
        m_user->fail(request, 0, QStringLiteral("no \"package\" given"));
        return false;
    };

    m_user->add({
        {protocol::simState(), Shape::OptionalMap,
         [this](const Request &request) {
             m_user->answer(request,
                            QVariantMap{{protocol::simKeyAccount(), m_state.account()},
                                        {protocol::simKeyOffline(), m_state.isOffline()},
                                        {protocol::simKeyPolicy(), m_state.challengePolicy()},
                                        {protocol::simKeyTokenTypes(), m_state.tokenTypes()},
                                        {protocol::keyAppliesTo(), m_state.appliesTo()},
                                        {protocol::simKeyPending(), m_challenges.size()},
                                        {protocol::simKeyTokens(), m_state.tokens().size()}});
         }},
        {protocol::simSetAccount(), Shape::Map,
         [this, reply](const Request &request) {
             reply(request,
                   m_state.setAccount(request.map().value(protocol::simKeyAccount()).toMap()));
         }},
        {protocol::simTokens(), Shape::OptionalMap,
         [this](const Request &request) {
             m_user->answer(request, QVariantMap{{protocol::simKeyTokens(), m_state.tokens()}});
         }},
        {protocol::simRevoke(), Shape::OptionalMap,
         [this, reply](const Request &request) {
             const QVariantMap dat = request.map();
             reply(request, m_state.revokeTokens(dat.value(protocol::simKeyPackage()).toString(),
                                                 dat.value(protocol::keyTokenType()).toString(),
                                                 dat.value(protocol::keyAppliesTo()).toString()));
         }},
        {protocol::simAppliesTo(), Shape::OptionalMap,
         [this, reply](const Request &request) {
             const QVariantMap dat = request.map();
             reply(request,
                   m_state.changeAppliesTo(dat.value(protocol::simKeyAdd()).toStringList(),
                                           dat.value(protocol::simKeyRemove()).toStringList()));
         }},
        {protocol::simListData(), Shape::Map,
         [this, ownerOf, needPackage](const Request &request) {
             if (!needPackage(request))
                 return;
             const QString owner = ownerOf(request.map());
             m_user->answer(request, QVariantMap{{protocol::simKeyOwner(), owner},
                                                 {protocol::simKeyEntries(), entriesOf(owner)}});
         }},
        {protocol::simAllData(), Shape::OptionalMap,
         [this](const Request &request) {
             QVariantList owners;
             for (const QString &owner : m_state.owners())
                 owners.append(QVariantMap{{protocol::simKeyOwner(), owner},
                                           {protocol::simKeyEntries(), entriesOf(owner)}});
             m_user->answer(request, QVariantMap{{protocol::simKeyOwners(), owners}});
         }},
        {protocol::simGetData(), Shape::Map,
         [this, ownerOf, needPackage](const Request &request) {
             if (!needPackage(request))
                 return;
             const QString name = request.map().value(protocol::keyName()).toString();
             const auto all = m_state.entries(ownerOf(request.map()));
             if (!all.contains(name)) {
                 m_user->fail(request, IDS_DOES_NOT_EXIST,
                              QStringLiteral("no entry \"%1\"").arg(name));
                 return;
             }
             const IdentityState::Entry entry = all.value(name);
             m_user->answer(request,
                            QVariantMap{{protocol::keyName(), name},
                                        {protocol::keyValue(), protocol::encodeBytes(entry.value)},
                                        {protocol::simKeyCached(), entry.cached},
                                        {protocol::simKeyEncrypted(), entry.encrypted}});
         }},
        {protocol::simSetData(), Shape::Map,
         [this, reply, ownerOf, needPackage](const Request &request) {
             if (!needPackage(request))
                 return;
             QByteArray value;
             if (!protocol::readBytes(request.map(), protocol::keyValue(), &value)) {
                 m_user->fail(request, 0, QStringLiteral("\"value\" is not base64"));
                 return;
             }
             reply(request,
                   m_state.putEntry(ownerOf(request.map()),
                                    request.map().value(protocol::keyName()).toString(), value));
         }},
        {protocol::simDeleteData(), Shape::Map,
         [this, reply, ownerOf, needPackage](const Request &request) {
             if (!needPackage(request))
                 return;
             reply(request,
                   m_state.removeEntry(ownerOf(request.map()),
                                       request.map().value(protocol::keyName()).toString()));
         }},
        {protocol::simSetOffline(), Shape::Map,
         [this, reply](const Request &request) {
             reply(request,
                   m_state.setOffline(request.map().value(protocol::simKeyOffline()).toBool()));
         }},
        {protocol::simSetPolicy(), Shape::Map,
         [this, reply](const Request &request) {
             reply(request, m_state.setChallengePolicy(
                                request.map().value(protocol::simKeyPolicy()).toString()));
         }},
        {protocol::simFailNext(), Shape::Map,
         [this](const Request &request) {
             const QVariantMap dat = request.map();
             ForcedFailure forced;
             forced.msg = dat.value(protocol::simKeyRequest()).toString();
             forced.package = dat.value(protocol::simKeyPackage()).toString();
             forced.info = dat.value(protocol::keyInfo()).toString();
             if (!isProviderRequest(forced.msg) ||
                 !protocol::readInt(dat, protocol::simKeyCode(), &forced.code) ||
                 forced.code == 0) {
                 m_user->fail(request, 0,
                              QStringLiteral("a request of a provider and a code other than 0"));
                 return;
             }
             m_forced.append(forced);
             m_user->answer(request, QVariantMap{{protocol::simKeyPending(), m_forced.size()}});
         }},
        {protocol::simChallenges(), Shape::OptionalMap,
         [this](const Request &request) {
             QVariantList list;
             for (const Challenge &c : qAsConst(m_challenges))
                 list.append(QVariantMap{{protocol::keyId(), c.id},
                                         {protocol::simKeyPackage(), c.request.application()},
                                         {protocol::keyType(), c.type},
                                         {protocol::simKeyGroupId(), options(c.request).groupId},
                                         {QStringLiteral("since"), c.since}});
             m_user->answer(request, QVariantMap{{protocol::simKeyChallenges(), list}});
         }},
        {protocol::simAnswerChallenge(), Shape::Map,
         [this](const Request &request) {
             const QVariantMap dat = request.map();
             const bool all = dat.value(protocol::simKeyAll()).toBool();
             int id = 0;
             if (!all && !protocol::readInt(dat, protocol::keyId(), &id)) {
                 m_user->fail(request, 0, QStringLiteral("an \"id\" or \"all\""));
                 return;
             }
             const bool approve = dat.value(protocol::simKeyApprove()).toBool();
             int level = m_state.isOffline() ? protocol::AuthenticatedOffline
                                             : protocol::AuthenticatedOnline;
             if (dat.contains(protocol::keyLevel()) &&
                 !protocol::readInt(dat, protocol::keyLevel(), &level)) {
                 m_user->fail(request, 0, QStringLiteral("\"level\" is not a number"));
                 return;
             }
             QList<Challenge> answering;
             for (int i = m_challenges.size() - 1; i >= 0; --i) {
                 if (all || m_challenges.at(i).id == id)
                     answering.prepend(m_challenges.takeAt(i));
             }
             if (answering.isEmpty()) {
                 m_user->fail(request, 0,
                              all ? QStringLiteral("no challenge is pending")
                                  : QStringLiteral("no pending challenge %1").arg(id));
                 return;
             }
             for (const Challenge &c : qAsConst(answering))
                 answerChallenge(c, approve, level);
             m_user->answer(request, QVariantMap{{protocol::simKeyAnswered(), answering.size()}});
             changed();
         }},
    });
}

QVariantList IdentityService::entriesOf(const QString &owner) const
{
    QVariantList entries;
    const auto all = m_state.entries(owner);
    for (auto it = all.cbegin(); it != all.cend(); ++it)
        entries.append(QVariantMap{{protocol::keyName(), it.key()},
                                   {protocol::simKeySize(), it.value().value.size()},
                                   {protocol::simKeyCached(), it.value().cached},
                                   {protocol::simKeyEncrypted(), it.value().encrypted}});
    return entries;
}

OM_DEVICE_MODULE(IdentityService, "identity",
                 "identity service: the account and its tokens, and data of applications",
                 {{QStringLiteral("identity.tokenTypes"), QStringLiteral("A,B"),
                   QStringLiteral("token types a new device knows (default bearer,saml)"),
                   Setting::nameList()},
                  {QStringLiteral("identity.appliesTo"), QStringLiteral("A,B"),
                   QStringLiteral("applies-to targets a new device knows\n"
                                  "(default urn:omb:demo,https://api.example.com)"),
                   Setting::nameList()}});

} // namespace omdevice
