#include "common/requestrouter.h"

#include "common/controlserver.h"
#include "common/servicemodule.h"
#include "control/controlprotocol_p.h"

#include <QDebug>

#include <cerrno>
#include <unistd.h>

namespace omdevice {

OM_DEVICE_LOGGING_CATEGORY(lcRequests, "requests");

namespace {
using namespace om::controlprotocol;

const char *shapeName(Shape shape)
{
    switch (shape) {
    case Shape::Map:
    case Shape::OptionalMap:
        return "an object";
    case Shape::List:
        return "a list";
    case Shape::String:
        return "a string";
    case Shape::Any:
        break;
    }
    return "anything";
}

} // namespace

Request::Request(int clientId, const QVariantMap &message, const QVariantMap &client)
    : m_clientId(clientId), m_message(message), m_client(client)
{
}

QString Request::msg() const
{
    return m_message.value(keyMsg()).toString();
}

bool Request::hasId() const
{
    return m_message.contains(keyId());
}

QVariant Request::id() const
{
    return m_message.value(keyId());
}

QVariant Request::dat() const
{
    return m_message.value(keyDat());
}

QVariantMap Request::map() const
{
    return dat().toMap();
}

QVariantList Request::list() const
{
    return dat().toList();
}

QString Request::string() const
{
    const QVariant value = dat();
    return value.userType() == QMetaType::QString ? value.toString() : QString();
}

QString Request::package() const
{
    return m_client.value(QStringLiteral("package")).toString();
}

uint Request::uid() const
{
    return m_client.value(QStringLiteral("uid")).toUInt();
}

bool Request::isPrivileged() const
{
    // A request that came with no client (a test's, or one for a client
    // that is gone) has none of its rights.
    if (!m_client.contains(QStringLiteral("uid")))
        return false;
    const uint user = uid();
    return user == 0 || user == uint(::geteuid());
}

QString Request::application() const
{
    QString package = this->package();
    package.replace(QLatin1Char('/'), QLatin1Char('?'));
    if (isPrivileged())
        return package;
    return QString::number(uid()) + QLatin1Char('/') + package;
}

QString Request::application(const QString &package) const
{
    if (isPrivileged())
        return package;
    QString named = package;
    named.replace(QLatin1Char('/'), QLatin1Char('?'));
    return QString::number(uid()) + QLatin1Char('/') + named;
}

bool Request::mayActOn(const QString &application) const
{
    if (isPrivileged())
        return true;
    return application.startsWith(QString::number(uid()) + QLatin1Char('/'));
}

QVariantMap WireForm::envelope(const Request &request)
{
    QVariantMap reply;
    reply.insert(keyRes(), request.msg());
    if (request.hasId())
        reply.insert(keyId(), request.id());
    return reply;
}

QVariantMap WireForm::answerWithoutEmptyDat(const Request &request, const QVariant &dat)
{
    QVariantMap reply = envelope(request);
    const bool empty =
        !dat.isValid() || (dat.userType() == QMetaType::QVariantMap && dat.toMap().isEmpty());
    if (!empty)
        reply.insert(keyDat(), dat);
    return reply;
}

WireForm::FailureFunction WireForm::bareWhenUndecodable(const FailureFunction &failure)
{
    return [failure](const Request &request, const Failure &why) {
        // The router answers an undecodable message with an empty one.
        if (request.message().isEmpty())
            return QVariantMap{{keyErr(), why.text}};
        return failure(request, why);
    };
}

Failure WireForm::permissionDenied(const Request &request, const QString &what)
{
    return Failure{EACCES, QStringLiteral("%1: permission denied: %2").arg(request.msg(), what), {}};
}

WireForm WireForm::standard()
{
    WireForm form;
    form.answer = [](const Request &request, const QVariant &dat) {
        QVariantMap reply = envelope(request);
        reply.insert(keyDat(), dat);
        return reply;
    };
    form.failure = [](const Request &request, const Failure &failure) {
        QVariantMap reply = envelope(request);
        reply.insert(keyErr(), failure.text);
        for (auto it = failure.extra.cbegin(); it != failure.extra.cend(); ++it)
            reply.insert(it.key(), it.value());
        return reply;
    };
    form.malformed = {0, QStringLiteral("malformed message"), {}};
    form.unknown = [](const Request &request) {
        return Failure{0, QStringLiteral("unknown message: %1").arg(request.msg()), {}};
    };
    form.badShape = [](const Request &request, Shape wanted) {
        return Failure{0,
                       QStringLiteral("%1: \"dat\" must be %2")
                           .arg(request.msg(), QLatin1String(shapeName(wanted))),
                       {}};
    };
    return form;
}

RequestRouter::RequestRouter(ControlServer *server, const WireForm &form, QObject *parent)
    : QObject(parent), m_server(server), m_form(form)
{
    follow();
}

RequestRouter::RequestRouter(const QString &path, int mode, const WireForm &form, QObject *parent)
    : QObject(parent), m_server(new ControlServer(path, mode, this)), m_form(form)
{
    follow();
}

void RequestRouter::follow()
{
    connect(m_server, &ControlServer::message, this, &RequestRouter::dispatch);
    connect(m_server, &ControlServer::undecodable, this,
            [this](int clientId) { dispatchUndecodable(clientId); });
}

bool RequestRouter::open(QString *error)
{
    return m_server->open(error);
}

void RequestRouter::add(const QList<Route> &table)
{
    for (const Route &route : table)
        add(route.msg, route.shape, route.handler);
}

void RequestRouter::add(const QString &msg, Shape shape, const Handler &handler)
{
    for (const Entry &entry : qAsConst(m_entries))
        Q_ASSERT_X(entry.msg != msg || entry.accepts, "RequestRouter::add", "a name given twice");
    m_entries.append({msg, Predicate(), shape, handler});
}

void RequestRouter::claim(const QString &msg, const Predicate &accepts, Shape shape,
                          const Handler &handler)
{
    // Claims go before the plain routes, so that the general handler of a
    // name sees only what no claim took.
    int at = 0;
    while (at < m_entries.size() && m_entries.at(at).accepts)
        ++at;
    m_entries.insert(at, {msg, accepts, shape, handler});
}

bool RequestRouter::fits(const QVariant &dat, Shape shape)
{
    switch (shape) {
    case Shape::Any:
        return true;
    case Shape::Map:
        return dat.userType() == QMetaType::QVariantMap;
    case Shape::OptionalMap:
        return !dat.isValid() || dat.userType() == QMetaType::QVariantMap;
    case Shape::List:
        return dat.userType() == QMetaType::QVariantList;
    case Shape::String:
        return dat.userType() == QMetaType::QString;
    }
    return false;
}

void RequestRouter::dispatch(int clientId, const QVariantMap &message)
{
    const Request request(clientId, message, m_server->clientInfo(clientId));
    const QString msg = request.msg();
    qCDebug(lcRequests).noquote() << m_server->path() << "client" << clientId << "asks" << msg;
    for (const Entry &entry : qAsConst(m_entries)) {
        if (entry.msg != msg || (entry.accepts && !entry.accepts(request)))
            continue;
        if (!fits(request.dat(), entry.shape)) {
            fail(request, m_form.badShape(request, entry.shape));
            return;
        }
        entry.handler(request);
        return;
    }
    qCDebug(lcRequests).noquote() << m_server->path() << "has no handler for" << msg;
    if (request.hasId() || m_form.answerUnknownWithoutId)
        fail(request, m_form.unknown(request));
}

void RequestRouter::dispatchUndecodable(int clientId)
{
    qCDebug(lcRequests).noquote() << m_server->path() << "client" << clientId
                                  << "sent a message that cannot be decoded";
    fail(Request(clientId, QVariantMap(), m_server->clientInfo(clientId)), m_form.malformed);
}

bool RequestRouter::answer(const Request &request, const QVariant &dat) const
{
    return m_server->reply(request.clientId(), m_form.answer(request, dat));
}

bool RequestRouter::fail(const Request &request, const Failure &failure) const
{
    return m_server->reply(request.clientId(), m_form.failure(request, failure));
}

bool RequestRouter::fail(const Request &request, int code, const QString &text) const
{
    return fail(request, Failure{code, text, {}});
}

bool RequestRouter::permits(const Request &request, const QString &application) const
{
    if (request.mayActOn(application))
        return true;
    qCInfo(lcRequests).noquote() << m_server->path() << "refused" << request.msg() << "of uid"
                                 << request.uid() << "on" << application;
    fail(request, m_form.forbidden(request, application));
    return false;
}

} // namespace omdevice
