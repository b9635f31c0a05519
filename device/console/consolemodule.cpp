#include "console/consolemodule.h"

#include "console/usersideclient.h"

#include "ids/idsprotocol_p.h"
#include "invoke/invokeprotocol_p.h"
#include "notify/notifyprotocol_p.h"
#include "oms/navigatorprotocol_p.h"
#include "payments/paymentsprotocol_p.h"
#include "perimeter/perimeterprotocol_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <algorithm>
#include <cstdio>

namespace omdevice {

OM_DEVICE_LOGGING_CATEGORY(lcConsole, "console");

namespace {

// How long an HTTP thread waits for the device to carry out an action:
// longer than a request to a service may take.
constexpr std::chrono::milliseconds ActionWait(UserSideClient::RequestTimeoutMs + 1000);
// A page shows this many of the newest items of the inbox and invocations.
constexpr int ShownItems = 200;
constexpr int ShownInvocations = 50;
// Texts longer than this are cut in what the pages are sent: the state of
// a topic stays small, however large what the applications sent.
constexpr int LongestText = 2000;

QVariant trimmed(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::QString: {
        const QString text = value.toString();
        return text.size() > LongestText ? QVariant(text.left(LongestText) + QChar(0x2026))
                                         : value;
    }
    case QMetaType::QVariantMap: {
        QVariantMap map = value.toMap();
        for (auto it = map.begin(); it != map.end(); ++it)
            it.value() = trimmed(it.value());
        return map;
    }
    case QMetaType::QVariantList: {
        QVariantList list = value.toList();
        for (QVariant &entry : list)
            entry = trimmed(entry);
        return list;
    }
    default:
        return value;
    }
}

QByteArray json(const QVariantMap &map)
{
    return QJsonDocument(QJsonObject::fromVariantMap(map)).toJson(QJsonDocument::Compact);
}

ConsoleHttp::Result errorResult(int status, const QString &text)
{
    return {status, ConsoleHttp::errorBody(text)};
}

} // namespace

/** One action of an HTTP thread, carried out on the device's thread. */
struct ConsoleModule::Call
{
    std::mutex mutex;
    std::condition_variable done;
    bool finished = false;
    ConsoleHttp::Result result;
};

QList<ConsoleModule::Source> ConsoleModule::sources()
{
    namespace notify = om::notifyprotocol;
    namespace navigator = om::navigatorprotocol;
    namespace invoke = om::system::invokeprotocol;
    namespace perimeter = om::perimeterprotocol;
    namespace ids = om::ids::protocol;
    namespace payments = om::paymentsprotocol;
    return {
        {QStringLiteral("notifications"),
         notify::userSidePath(),
         {{QStringLiteral("inbox"),
           notify::keyItems(),
           {{notify::inboxMessage(), {{notify::keyLast(), ShownItems}}}}},
          {QStringLiteral("dialogs"), notify::keyDialogs(), {{notify::dialogsMessage(), {}}}}},
         {notify::chooseMessage(), notify::openMessage(), notify::clearEffectsMessage(),
          notify::removeMessage()}},
        {QStringLiteral("settings"),
         notify::settingsUserSidePath(),
         {{QStringLiteral("settings"), notify::keySettings(), {{notify::listMessage(), {}}}}},
         {notify::setGlobalMessage(), notify::setApplicationMessage()}},
        {QStringLiteral("navigator"),
         navigator::userSidePath(),
         {{QStringLiteral("home"), navigator::homeMessage(), {{navigator::homeMessage(), {}}}}},
         {navigator::setLockStateMessage(), navigator::setBedsideModeMessage(),
          navigator::setWallpaperLockMessage()}},
        {QStringLiteral("invoke"),
         invoke::userSidePath(),
         {{QStringLiteral("invocations"),
           invoke::invocationsMessage(),
           {{invoke::invocationsMessage(), {{invoke::keyLast(), ShownInvocations}}},
            {invoke::mapsMessage(), {}}}}},
         {invoke::clearMessage()}},
        {QStringLiteral("perimeter"),
         perimeter::userSidePath(),
         {{QStringLiteral("datalock"), perimeter::statusMessage(), {{perimeter::statusMessage(), {}}}}},
         {perimeter::lockMessage(), perimeter::unlockMessage(), perimeter::pendingMessage(),
          perimeter::extendMessage()}},
        {QStringLiteral("payments"),
         payments::userSidePath(),
         {{QStringLiteral("payments"),
           payments::storeChanged(),
           {{payments::pendingMessage(), {}},
            {payments::purchasesMessage(), {}},
            {payments::modeMessage(), {}},
            {payments::clockMessage(), {}},
            {payments::goodsMessage(), {}}}}},
         {payments::approveMessage(), payments::declineMessage(), payments::modeMessage(),
          payments::clockMessage(), payments::refundMessage(), payments::failNextMessage()}},
        {QStringLiteral("identity"),
         ids::simulatorPath(),
         {{QStringLiteral("identity"),
           ids::simState(),
           {{ids::simState(), {}},
            {ids::simChallenges(), {}},
            {ids::simTokens(), {}},
            {ids::simAllData(), {}}}}},
         {ids::simSetAccount(), ids::simRevoke(), ids::simSetOffline(), ids::simSetPolicy(),
          ids::simAnswerChallenge(), ids::simGetData(), ids::simSetData(),
          ids::simDeleteData()}},
    };
}

ConsoleModule::ConsoleModule(const DeviceContext &context, QObject *parent)
    : ServiceModule(parent), m_context(context),
      m_hub(qMax(1, context.setting(QStringLiteral("console.pages"), QStringLiteral("128")).toInt())),
      m_http(
          &m_hub,
          [this](const QString &object, const QString &msg, const QVariantMap &dat) {
              return act(object, msg, dat);
          },
          [this](const QString &name, QByteArray *content, QByteArray *type) {
              return file(name, content, type);
          }),
      m_webDirectory(context.setting(QStringLiteral("console.web")))
{
}

ConsoleModule::~ConsoleModule()
{
    std::set<std::shared_ptr<Call>> waiting;
    {
        std::lock_guard<std::mutex> lock(m_callsMutex);
        m_stopping = true;
        waiting = m_calls;
    }
    for (const std::shared_ptr<Call> &call : waiting)
        complete(call, errorResult(503, QStringLiteral("the device is stopping")));
    m_http.stop();
    qDeleteAll(m_followed);
}

bool ConsoleModule::start(QString *error)
{
    bool ok = false;
    const int port = m_context.setting(QStringLiteral("console.port"), QStringLiteral("0")).toInt(&ok);
    if (!ok || port < 0 || port > 65535) {
        *error = QStringLiteral("console.port must be a port number (0: any free port)");
        return false;
    }
    ConsoleHttp::Options options;
    options.port = port;
    options.maxPages = qMax(1, m_context.setting(QStringLiteral("console.pages"),
                                                 QStringLiteral("128"))
                                   .toInt());
    if (!m_webDirectory.isEmpty() && !QFileInfo(m_webDirectory).isDir()) {
        *error = QStringLiteral("console.web: no such directory: %1").arg(m_webDirectory);
        return false;
    }
    if (!m_http.start(options, error))
        return false;
    // On standard output, as the ready line: the one place the token is told.
    std::printf("omdeviced: console on %s\n", qPrintable(url()));
    std::fflush(stdout);

    for (const Source &source : sources()) {
        auto *followed = new Followed{source, new UserSideClient(source.path, this), {}, {}};
        m_followed.append(followed);
        connect(followed->client, &UserSideClient::connectedChanged, this,
                [this, followed](bool connected) {
                    for (const Topic &topic : followed->source.topics) {
                        if (connected)
                            refresh(followed, topic);
                        else
                            publish(*followed, topic, QVariantMap(), followed->client->lastError());
                    }
                });
        connect(followed->client, &UserSideClient::changed, this,
                [this, followed](const QString &what) {
                    for (const Topic &topic : followed->source.topics) {
                        if (topic.what == what || what.isEmpty())
                            refresh(followed, topic);
                    }
                });
        // Until the object is there, the pages say why it is not.
        for (const Topic &topic : source.topics)
            publish(*followed, topic, QVariantMap(), QStringLiteral("connecting"));
    }
    // The modules that start after this one have opened their objects by
    // the time the event loop runs.
    QTimer::singleShot(0, this, [this]() {
        for (Followed *followed : qAsConst(m_followed))
            followed->client->start();
    });
    return true;
}

QString ConsoleModule::url() const
{
    return m_http.url();
}

ConsoleHttp::Result ConsoleModule::act(const QString &object, const QString &msg,
                                       const QVariantMap &dat)
{
    // On an HTTP thread: only the table, which never changes, is read here.
    static const QList<Source> table = sources();
    const auto source = std::find_if(table.cbegin(), table.cend(),
                                     [&object](const Source &s) { return s.name == object; });
    if (source == table.cend())
        return errorResult(404, QStringLiteral("no such object: %1").arg(object));
    if (!source->actions.contains(msg))
        return errorResult(404, QStringLiteral("no action %1 on %2").arg(msg, object));

    auto call = std::make_shared<Call>();
    {
        std::lock_guard<std::mutex> lock(m_callsMutex);
        if (m_stopping)
            return errorResult(503, QStringLiteral("the device is stopping"));
        m_calls.insert(call);
    }
    QMetaObject::invokeMethod(
        this, [this, call, object, msg, dat]() { request(call, object, msg, dat); },
        Qt::QueuedConnection);
    ConsoleHttp::Result result;
    {
        std::unique_lock<std::mutex> lock(call->mutex);
        if (call->done.wait_for(lock, ActionWait, [&call]() { return call->finished; }))
            result = call->result;
        else
            result = errorResult(504, QStringLiteral("the device did not carry it out in time"));
    }
    std::lock_guard<std::mutex> lock(m_callsMutex);
    m_calls.erase(call);
    return result;
}

void ConsoleModule::request(const std::shared_ptr<Call> &call, const QString &object,
                            const QString &msg, const QVariantMap &dat)
{
    for (Followed *followed : qAsConst(m_followed)) {
        if (followed->source.name != object)
            continue;
        followed->client->request(msg, dat, [this, call](const UserSideClient::Answer &answer) {
            if (answer.ok)
                complete(call, {200, json({{QStringLiteral("dat"), answer.dat}})});
            else if (answer.refused)
                // The service refused: the request was wrong (an unknown
                // item, a bad value), and nothing changed.
                complete(call, errorResult(422, answer.error));
            else
                complete(call, errorResult(503, answer.error));
        });
        return;
    }
    complete(call, errorResult(404, QStringLiteral("no such object: %1").arg(object)));
}

void ConsoleModule::complete(const std::shared_ptr<Call> &call, const ConsoleHttp::Result &result)
{
    {
        std::lock_guard<std::mutex> lock(call->mutex);
        if (call->finished)
            return;
        call->finished = true;
        call->result = result;
    }
    call->done.notify_all();
}

void ConsoleModule::refresh(Followed *followed, const Topic &topic)
{
    if (followed->busy.value(topic.name)) {
        followed->again.insert(topic.name, true);
        return;
    }
    followed->busy.insert(topic.name, true);
    // Every listing of the topic at once; the state goes out when all are in.
    struct Gathering
    {
        int left = 0;
        QVariantMap data;
        QString error;
    };
    auto gathering = std::make_shared<Gathering>();
    gathering->left = topic.listings.size();
    for (const Listing &listing : topic.listings) {
        followed->client->request(
            listing.msg, listing.dat,
            [this, followed, topic, listing, gathering](const UserSideClient::Answer &answer) {
                if (answer.ok)
                    gathering->data.insert(listing.msg, answer.dat);
                else if (gathering->error.isEmpty())
                    gathering->error = answer.error;
                if (--gathering->left > 0)
                    return;
                publish(*followed, topic, gathering->data, gathering->error);
                followed->busy.insert(topic.name, false);
                if (followed->again.take(topic.name))
                    refresh(followed, topic);
            });
    }
}

void ConsoleModule::publish(const Followed &followed, const Topic &topic, const QVariantMap &data,
                            const QString &error)
{
    QVariantMap state{{QStringLiteral("topic"), topic.name},
                      {QStringLiteral("source"), followed.source.name},
                      {QStringLiteral("available"), error.isEmpty()}};
    if (error.isEmpty())
        state.insert(QStringLiteral("data"), trimmed(data));
    else
        state.insert(QStringLiteral("error"), error);
    std::string event = "event: state\ndata: ";
    event += json(state).toStdString();
    event += "\n\n";
    m_hub.publish(topic.name.toStdString(), std::move(event));
}

bool ConsoleModule::file(const QString &name, QByteArray *content, QByteArray *type) const
{
    if (name.startsWith(QLatin1Char('.')))
        return false;
    QFile file(m_webDirectory.isEmpty() ? QStringLiteral(":/console/web/") + name
                                        : QDir(m_webDirectory).filePath(name));
    if (!QFileInfo(file.fileName()).isFile() || !file.open(QIODevice::ReadOnly))
        return false;
    *content = file.readAll();
    const QString suffix = QFileInfo(name).suffix();
    if (suffix == QLatin1String("html"))
        *type = "text/html; charset=utf-8";
    else if (suffix == QLatin1String("js"))
        *type = "text/javascript; charset=utf-8";
    else if (suffix == QLatin1String("css"))
        *type = "text/css; charset=utf-8";
    else if (suffix == QLatin1String("png"))
        *type = "image/png";
    else if (suffix == QLatin1String("svg"))
        *type = "image/svg+xml";
    else
        *type = "application/octet-stream";
    return true;
}

OM_DEVICE_OPTIONAL_MODULE(
    ConsoleModule, "console", "a web page that plays the device's user, live (127.0.0.1 only)",
    {{QStringLiteral("console.port"), QStringLiteral("N"),
      QStringLiteral("port on 127.0.0.1 (default 0: any free port)"),
      Setting::wholeNumber(0, 65535)},
     {QStringLiteral("console.pages"), QStringLiteral("N"),
      QStringLiteral("live pages open at once at most (default 128)"),
      Setting::wholeNumber(1, 100000)},
     {QStringLiteral("console.web"), QStringLiteral("DIR"),
      QStringLiteral("serve the page's files from DIR instead of the built-in ones"),
      Setting::text()}});

} // namespace omdevice
