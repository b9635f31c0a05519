#include "chromium.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTimer>

namespace omtest {

namespace {
constexpr int StartMs = 30000;
constexpr int CallMs = 15000;
} // namespace

Chromium::Chromium()
{
    QObject::connect(&m_socket, &QWebSocket::textMessageReceived, [this](const QString &text) {
        const QJsonObject message = QJsonDocument::fromJson(text.toUtf8()).object();
        if (message.contains(QStringLiteral("id")))
            m_answers.insert(message.value(QStringLiteral("id")).toInt(), message);
        else if (message.value(QStringLiteral("method")).toString() ==
                 QLatin1String("Page.loadEventFired"))
            m_loaded = true;
    });
}

Chromium::~Chromium()
{
    m_socket.close();
    if (m_process.state() != QProcess::NotRunning) {
        m_process.terminate();
        if (!m_process.waitForFinished(5000))
            m_process.kill();
        m_process.waitForFinished(5000);
    }
}

QString Chromium::executable()
{
    const QString chosen = qEnvironmentVariable("OM_CHROMIUM");
    return chosen.isEmpty() ? QStringLiteral("/usr/bin/chromium") : chosen;
}

bool Chromium::start(QString *error)
{
    if (!QFileInfo(executable()).isExecutable()) {
        *error = QStringLiteral("%1 is not installed (Debian's chromium package)").arg(executable());
        return false;
    }
    // As root Chromium needs --no-sandbox; the rest keeps it from reaching
    // out to the network and from waiting on a GPU or a D-Bus.
    m_process.setProgram(executable());
    m_process.setArguments({QStringLiteral("--headless"), QStringLiteral("--no-sandbox"),
                            QStringLiteral("--disable-gpu"), QStringLiteral("--disable-quic"),
                            QStringLiteral("--no-first-run"),
                            QStringLiteral("--disable-background-networking"),
                            QStringLiteral("--disable-component-update"),
                            QStringLiteral("--disable-sync"), QStringLiteral("--disable-dev-shm-usage"),
                            QStringLiteral("--user-data-dir=") + m_profile.path(),
                            QStringLiteral("--window-size=1366,1000"),
                            QStringLiteral("--remote-debugging-address=127.0.0.1"),
                            QStringLiteral("--remote-debugging-port=0"),
                            QStringLiteral("about:blank")});
    m_process.setProcessChannelMode(QProcess::SeparateChannels);
    m_process.start();
    if (!m_process.waitForStarted(StartMs)) {
        *error = QStringLiteral("%1 did not start: %2").arg(executable(), m_process.errorString());
        return false;
    }
    // It tells where its DevTools listen on standard error.
    static const QRegularExpression listening(QStringLiteral("DevTools listening on (ws://\\S+)"));
    QByteArray said;
    QElapsedTimer clock;
    clock.start();
    QString url;
    while (url.isEmpty()) {
        if (clock.elapsed() > StartMs || m_process.state() == QProcess::NotRunning) {
            *error = QStringLiteral("%1 did not open its DevTools: %2")
                         .arg(executable(), QString::fromLocal8Bit(said.right(500)));
            return false;
        }
        m_process.waitForReadyRead(200);
        said += m_process.readAllStandardError();
        const QRegularExpressionMatch match = listening.match(QString::fromLocal8Bit(said));
        if (match.hasMatch())
            url = match.captured(1);
    }
    QSignalSpy connected(&m_socket, &QWebSocket::connected);
    m_socket.open(QUrl(url));
    if (!connected.wait(StartMs)) {
        *error = QStringLiteral("cannot reach Chromium's DevTools at %1").arg(url);
        return false;
    }
    return true;
}

bool Chromium::open(const QString &url, QString *error)
{
    const QJsonObject target =
        call(QStringLiteral("Target.createTarget"), {{QStringLiteral("url"), QStringLiteral("about:blank")}}, false);
    const QJsonObject attached = call(QStringLiteral("Target.attachToTarget"),
                                      {{QStringLiteral("targetId"), target.value(QStringLiteral("targetId"))},
                                       {QStringLiteral("flatten"), true}},
                                      false);
    m_session = attached.value(QStringLiteral("sessionId")).toString();
    if (m_session.isEmpty()) {
        *error = QStringLiteral("Chromium opened no page");
        return false;
    }
    call(QStringLiteral("Page.enable"));
    m_loaded = false;
    call(QStringLiteral("Page.navigate"), {{QStringLiteral("url"), url}});
    QElapsedTimer clock;
    clock.start();
    while (!m_loaded && clock.elapsed() < CallMs)
        QSignalSpy(&m_socket, &QWebSocket::textMessageReceived).wait(200);
    if (!m_loaded)
        *error = QStringLiteral("the page did not load: %1").arg(url);
    return m_loaded;
}

QJsonObject Chromium::call(const QString &method, const QJsonObject &params, bool inPage)
{
    const int id = ++m_nextId;
    QJsonObject message{{QStringLiteral("id"), id}, {QStringLiteral("method"), method},
                        {QStringLiteral("params"), params}};
    if (inPage)
        message.insert(QStringLiteral("sessionId"), m_session);
    m_socket.sendTextMessage(QString::fromUtf8(QJsonDocument(message).toJson(QJsonDocument::Compact)));
    QElapsedTimer clock;
    clock.start();
    while (!m_answers.contains(id) && clock.elapsed() < CallMs) {
        QSignalSpy received(&m_socket, &QWebSocket::textMessageReceived);
        received.wait(200);
    }
    const QJsonObject answer = m_answers.take(id);
    if (answer.contains(QStringLiteral("error")))
        qWarning("%s: %s", qPrintable(method),
                 QJsonDocument(answer.value(QStringLiteral("error")).toObject()).toJson().constData());
    return answer.value(QStringLiteral("result")).toObject();
}

QJsonValue Chromium::evaluate(const QString &expression)
{
    const QJsonObject result = call(QStringLiteral("Runtime.evaluate"),
                                    {{QStringLiteral("expression"), expression},
                                     {QStringLiteral("returnByValue"), true},
                                     {QStringLiteral("awaitPromise"), true}});
    return result.value(QStringLiteral("result")).toObject().value(QStringLiteral("value"));
}

bool Chromium::click(const QString &elementExpression)
{
    const QJsonObject box =
        evaluate(QStringLiteral("(() => { const e = %1; if (!e) return null;"
                                " e.scrollIntoView({block: 'center'});"
                                " const r = e.getBoundingClientRect();"
                                " return {x: r.x + r.width / 2, y: r.y + r.height / 2}; })()")
                     .arg(elementExpression))
            .toObject();
    if (box.isEmpty())
        return false;
    for (const char *type : {"mousePressed", "mouseReleased"}) {
        call(QStringLiteral("Input.dispatchMouseEvent"),
             {{QStringLiteral("type"), QLatin1String(type)},
              {QStringLiteral("x"), box.value(QStringLiteral("x"))},
              {QStringLiteral("y"), box.value(QStringLiteral("y"))},
              {QStringLiteral("button"), QStringLiteral("left")},
              {QStringLiteral("clickCount"), 1}});
    }
    return true;
}

QByteArray Chromium::screenshot()
{
    const QJsonObject shot = call(QStringLiteral("Page.captureScreenshot"),
                                  {{QStringLiteral("format"), QStringLiteral("png")},
                                   {QStringLiteral("captureBeyondViewport"), true}});
    return QByteArray::fromBase64(shot.value(QStringLiteral("data")).toString().toLatin1());
}

} // namespace omtest
