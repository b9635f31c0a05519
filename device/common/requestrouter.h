#ifndef OMDEVICE_REQUESTROUTER_H
#define OMDEVICE_REQUESTROUTER_H

#include <QList>
#include <QObject>
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <functional>

namespace omdevice {

class ControlServer;

/** What a request's "dat" must hold before its handler runs. */
enum class Shape {
    Any,         ///< anything, also nothing
    Map,         ///< a map (a PPS object or json map)
    OptionalMap, ///< a map, or no "dat" at all
    List,        ///< a list
    String,      ///< a string
};

/** One request of a client of a control object, as a handler sees it. */
class Request
{
public:
    Request() = default;
    Request(int clientId, const QVariantMap &message, const QVariantMap &client);

    int clientId() const { return m_clientId; }
    /** The whole decoded message: "msg", "id", "dat" and whatever else. */
    const QVariantMap &message() const { return m_message; }
    QString msg() const;
    bool hasId() const;
    QVariant id() const;
    QVariant dat() const;
    /** "dat" as a map; empty if it is none. */
    QVariantMap map() const;
    QVariantList list() const;
    QString string() const;
    /** Who sent it, as the broker told the server when the client opened:
     *  "pid", "uid", "gid", "package". Kept with the request, so it is
     *  still there when the answer goes out after the client has gone. */
    const QVariantMap &client() const { return m_client; }
    /** The package the client named when it opened: its own word. */
    QString package() const;

    /** The client's user, as the kernel vouched for it. */
    uint uid() const;
    /** Whether the client is the device's owner (the user the device runs
     *  as) or root: it plays the user, and may act on every application. */
    bool isPrivileged() const;
    /**
     * The application that sent the request, as the device knows it: the
     * client's user and its package together. The device owner's and
     * root's applications are the device's own and go by their package
     * alone; another user's is "<uid>/<package>", so that it never meets
     * the device's application of the same package, nor a third user's.
     * A '/' in a package becomes '?'. Everything a service keeps for an
     * application is kept under this name.
     */
    QString application() const;
    /** The application @p package of the client's user, for a request that
     *  names one. The device's owner and root name any application, also
     *  another user's by its whole name ("<uid>/<package>"). */
    QString application(const QString &package) const;
    /** Whether the client may act on @p application (a name as
     *  application() makes it): one of its own user's, or any application
     *  for the device's owner and root. */
    bool mayActOn(const QString &application) const;

private:
    int m_clientId = 0;
    QVariantMap m_message;
    QVariantMap m_client;
};

/** Why a request failed: a code and a text, and attributes some services
 *  add (a sub-code, the errno value). How they go on the wire is the
 *  service's WireForm. */
struct Failure
{
    Failure() = default;
    Failure(int code, const QString &text, const QVariantMap &extra = QVariantMap())
        : code(code), text(text), extra(extra)
    {
    }

    int code = 0;
    QString text;
    QVariantMap extra;
};

/**
 * How a service shapes its answers on the wire. Services differ here
 * (where the error goes, whether an empty "dat" is sent, what "res" holds);
 * the rest of the request layer is the same for all.
 */
struct WireForm
{
    using AnswerFunction = std::function<QVariantMap(const Request &request, const QVariant &dat)>;
    using FailureFunction =
        std::function<QVariantMap(const Request &request, const Failure &failure)>;

    /** The attributes of the answer to @p request that carries @p dat. */
    AnswerFunction answer;
    /** The attributes of the answer to @p request that fails. */
    FailureFunction failure;
    /** The failure for a message that cannot be decoded. It is answered
     *  through failure() with an empty request. */
    Failure malformed;
    /** The failure for a message whose "msg" no handler takes. */
    std::function<Failure(const Request &request)> unknown;
    /** The failure for a request whose "dat" has the wrong shape. */
    std::function<Failure(const Request &request, Shape wanted)> badShape;
    /** The failure for a request on an application that its client may
     *  not act on, or on a file that the client may not read: by default
     *  EACCES, "<msg>: permission denied: <what>". */
    std::function<Failure(const Request &request, const QString &what)> forbidden =
        &WireForm::permissionDenied;
    /** Whether an unknown message that has no "id" is answered at all. */
    bool answerUnknownWithoutId = true;

    /** "res" (the request's "msg", empty if it has none) and "id" when the
     *  request had one: the head of an answer, for forms to build on. */
    static QVariantMap envelope(const Request &request);
    /** An answer: the envelope, and "dat" only when it holds something
     *  (for services whose answers leave an empty "dat" out). */
    static QVariantMap answerWithoutEmptyDat(const Request &request, const QVariant &dat);
    /** @p failure, except that a message that could not be decoded, of
     *  which nothing is known to answer with, gets "err" alone. */
    static FailureFunction bareWhenUndecodable(const FailureFunction &failure);

    /** "res" (the request's "msg"), "id" when the request had one, and
     *  "dat" (always) or "err" with the failure's text. */
    static WireForm standard();
    static Failure permissionDenied(const Request &request, const QString &what);
};

/**
 * The request layer of one control object: a table of "msg" name to
 * handler. It checks the shape of "dat" before a handler runs, answers
 * undecodable, unknown and ill-shaped messages itself, and is the one
 * place where answers are put together.
 *
 * Several parts of a service may share one router; a part that takes only
 * some requests of a name claims them with a predicate, and claims are
 * tried before plain routes of the same name.
 */
class RequestRouter : public QObject
{
    Q_OBJECT
public:
    using Handler = std::function<void(const Request &request)>;
    using Predicate = std::function<bool(const Request &request)>;

    struct Route
    {
        QString msg;
        Shape shape = Shape::Any;
        Handler handler;
    };

    /** Routes the messages of @p server, which it does not own. */
    RequestRouter(ControlServer *server, const WireForm &form = WireForm::standard(),
                  QObject *parent = nullptr);
    /** Serves the control object at @p path with permissions @p mode: the
     *  router makes its ControlServer and owns it. Open it with open(). */
    RequestRouter(const QString &path, int mode, const WireForm &form = WireForm::standard(),
                  QObject *parent = nullptr);

    /** Opens the server's object; on failure says why in *error. */
    bool open(QString *error);

    ControlServer *server() const { return m_server; }
    const WireForm &form() const { return m_form; }

    /** Adds the routes of a table. A name given twice is a programming
     *  error. */
    void add(const QList<Route> &table);
    void add(const QString &msg, Shape shape, const Handler &handler);
    /** Takes the requests named @p msg for which @p accepts holds. */
    void claim(const QString &msg, const Predicate &accepts, Shape shape, const Handler &handler);

    /** Answers @p request with @p dat. */
    bool answer(const Request &request, const QVariant &dat = QVariantMap()) const;
    /** Answers @p request with a failure. */
    bool fail(const Request &request, const Failure &failure) const;
    bool fail(const Request &request, int code, const QString &text) const;
    /** Whether @p request may act on @p application (Request::mayActOn());
     *  if not, answers it with the form's refusal and returns false. */
    bool permits(const Request &request, const QString &application) const;

    /** Routes one decoded message; for servers that are not wired to a
     *  ControlServer's signals and for tests. */
    void dispatch(int clientId, const QVariantMap &message);
    void dispatchUndecodable(int clientId);

private:
    struct Entry
    {
        QString msg;
        Predicate accepts;
        Shape shape;
        Handler handler;
    };

    static bool fits(const QVariant &dat, Shape shape);
    void follow();

    ControlServer *m_server;
    WireForm m_form;
    QList<Entry> m_entries;
};

} // namespace omdevice

#endif
