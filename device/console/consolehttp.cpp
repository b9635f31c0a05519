#include "console/consolehttp.h"

#include "console/livehub.h"

#include <httplib.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>

#include <thread>

namespace omdevice {

Q_DECLARE_LOGGING_CATEGORY(lcConsole)

namespace {

// A live page is sent a comment this often when nothing changes, so that
// a page that has gone is noticed (the write fails) and proxies keep the
// connection.
constexpr std::chrono::seconds KeepAlive(15);
// Actions are small JSON objects.
constexpr std::size_t MaxBodyBytes = 64 * 1024;
// HTTP threads beyond the live pages: for the page's files and actions.
constexpr int SpareThreads = 16;

QString header(const httplib::Request &request, const char *name)
{
    return QString::fromStdString(request.get_header_value(name));
}

void reply(httplib::Response &response, int status, const QByteArray &body,
           const char *type = "application/json")
{
    response.status = status;
    response.set_content(body.constData(), std::size_t(body.size()), type);
}

} // namespace

struct ConsoleHttp::Private
{
    LiveHub *hub;
    Act act;
    Files files;
    httplib::Server server;
    std::thread thread;
    std::unique_ptr<AccessPolicy> policy;
    QString token = AccessPolicy::newToken();
    int port = 0;

    void routes();
    void events(httplib::Response &response);
    void action(const httplib::Request &request, httplib::Response &response);
    void file(const httplib::Request &request, httplib::Response &response);
};

ConsoleHttp::ConsoleHttp(LiveHub *hub, const Act &act, const Files &files) : d(new Private)
{
    d->hub = hub;
    d->act = act;
    d->files = files;
}

ConsoleHttp::~ConsoleHttp()
{
    stop();
}

QByteArray ConsoleHttp::errorBody(const QString &text)
{
    return QJsonDocument(QJsonObject{{QStringLiteral("error"), text}})
        .toJson(QJsonDocument::Compact);
}

bool ConsoleHttp::start(const Options &options, QString *error)
{
    // Bound to the loopback address only: the console plays the device's
    // user and is no one else's business.
    const bool bound = options.port == 0
                           ? (d->port = d->server.bind_to_any_port("127.0.0.1")) > 0
                           : d->server.bind_to_port("127.0.0.1", options.port);
    if (!bound) {
        *error = QStringLiteral("cannot listen on 127.0.0.1:%1 (in use?)").arg(options.port);
        return false;
    }
    if (options.port != 0)
        d->port = options.port;
    d->policy = std::make_unique<AccessPolicy>(d->token, d->port);

    const int threads = options.maxPages + SpareThreads;
    d->server.new_task_queue = [threads]() { return new httplib::ThreadPool(threads); };
    d->server.set_payload_max_length(MaxBodyBytes);
    // Short, so that stopping the device waits little for idle connections.
    d->server.set_keep_alive_timeout(2);
    // A page that does not read what it is sent is dropped after this.
    d->server.set_write_timeout(5, 0);
    d->server.set_default_headers({
        {"Cache-Control", "no-store"},
        {"X-Content-Type-Options", "nosniff"},
        // The token is in the page's URL: never hand it on.
        {"Referrer-Policy", "no-referrer"},
        {"Content-Security-Policy",
         "default-src 'self'; img-src 'self' data:; frame-ancestors 'none'; form-action 'self'"},
    });
    d->routes();
    d->thread = std::thread([this]() { d->server.listen_after_bind(); });
    return true;
}

void ConsoleHttp::stop()
{
    if (!d->thread.joinable())
        return;
    d->hub->close();
    d->server.stop();
    d->thread.join();
}

int ConsoleHttp::port() const
{
    return d->port;
}

QString ConsoleHttp::token() const
{
    return d->token;
}

QString ConsoleHttp::url() const
{
    return QStringLiteral("http://127.0.0.1:%1/?token=%2").arg(d->port).arg(d->token);
}

void ConsoleHttp::Private::routes()
{
    server.set_pre_routing_handler([this](const httplib::Request &request,
                                          httplib::Response &response) {
        AccessPolicy::Request access;
        access.host = header(request, "Host");
        access.hasOrigin = request.has_header("Origin");
        access.origin = header(request, "Origin");
        access.queryToken = QString::fromStdString(request.get_param_value("token"));
        access.headerToken = header(request, "X-Om-Token");
        access.cookieHeader = header(request, "Cookie");
        const AccessPolicy::Verdict verdict = policy->check(access);
        if (verdict.allowed())
            return httplib::Server::HandlerResponse::Unhandled;
        qCDebug(lcConsole).noquote() << "refused" << QString::fromStdString(request.method)
                                     << QString::fromStdString(request.path) << verdict.status
                                     << verdict.reason;
        reply(response, verdict.status, errorBody(verdict.reason));
        return httplib::Server::HandlerResponse::Handled;
    });
    server.set_error_handler([](const httplib::Request &, httplib::Response &response) {
        if (!response.body.empty())
            return;
        QString text = QStringLiteral("HTTP status %1").arg(response.status);
        if (response.status == 404)
            text = QStringLiteral("no such page or action");
        else if (response.status == 413)
            text = QStringLiteral("the body is too large");
        reply(response, response.status, errorBody(text));
    });
    server.Get("/events", [this](const httplib::Request &, httplib::Response &response) {
        events(response);
    });
    server.Post(R"(/api/([a-z][a-z-]*)/([A-Za-z]+))",
                [this](const httplib::Request &request, httplib::Response &response) {
                    action(request, response);
                });
    server.Get(R"(/([A-Za-z0-9_.-]*))",
               [this](const httplib::Request &request, httplib::Response &response) {
                   file(request, response);
               });
}

void ConsoleHttp::Private::events(httplib::Response &response)
{
    std::shared_ptr<LiveHub::Page> page = hub->open();
    if (!page) {
        reply(response, 503, errorBody(QStringLiteral("too many live pages are open")));
        return;
    }
    LiveHub *liveHub = hub;
    response.set_header("X-Accel-Buffering", "no");
    response.set_chunked_content_provider(
        "text/event-stream",
        [page](std::size_t, httplib::DataSink &sink) {
            std::vector<LiveHub::Event> changed;
            if (!page->next(KeepAlive, &changed))
                return false; // the console stops
            if (changed.empty()) {
                static const char ping[] = ": ping\n\n";
                return sink.write(ping, sizeof ping - 1);
            }
            for (const LiveHub::Event &event : changed) {
                if (!sink.write(event->data(), event->size()))
                    return false; // the page went, or did not read in time
            }
            return true;
        },
        [liveHub, page](bool) { liveHub->release(page); });
}

void ConsoleHttp::Private::action(const httplib::Request &request, httplib::Response &response)
{
    // A JSON type: a form of another page cannot send one without asking
    // first, and the console never says yes.
    if (header(request, "Content-Type").section(QLatin1Char(';'), 0, 0).trimmed() !=
        QLatin1String("application/json")) {
        reply(response, 415, errorBody(QStringLiteral("the body must be application/json")));
        return;
    }
    QVariantMap dat;
    if (!request.body.empty()) {
        QJsonParseError parseError;
        const QJsonDocument document = QJsonDocument::fromJson(
            QByteArray::fromStdString(request.body), &parseError);
        if (parseError.error != QJsonParseError::NoError || !document.isObject()) {
            reply(response, 400, errorBody(QStringLiteral("the body is not a JSON object")));
            return;
        }
        dat = document.object().toVariantMap();
    }
    const Result result = act(QString::fromStdString(request.matches[1].str()),
                              QString::fromStdString(request.matches[2].str()), dat);
    reply(response, result.status, result.body);
}

void ConsoleHttp::Private::file(const httplib::Request &request, httplib::Response &response)
{
    QString name = QString::fromStdString(request.matches[1].str());
    if (name.isEmpty())
        name = QStringLiteral("index.html");
    QByteArray content;
    QByteArray type;
    if (!files(name, &content, &type)) {
        reply(response, 404, errorBody(QStringLiteral("no such file: %1").arg(name)));
        return;
    }
    // The page keeps its token in a cookie, so that its files and its
    // live channel carry it without the page writing it into every URL.
    if (name == QLatin1String("index.html"))
        response.set_header("Set-Cookie", policy->cookie().toStdString());
    reply(response, 200, content, type.constData());
}

} // namespace omdevice
