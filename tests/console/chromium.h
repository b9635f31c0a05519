#ifndef OMTEST_CHROMIUM_H
#define OMTEST_CHROMIUM_H

#include <QJsonObject>
#include <QJsonValue>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <QWebSocket>

namespace omtest {

/**
 * Headless Chromium, driven through its DevTools protocol over a
 * WebSocket: one page, JavaScript evaluated in it, real mouse clicks,
 * screenshots. Waiting runs the event loop.
 */
class Chromium
{
public:
    Chromium();
    ~Chromium();

    /** Starts the browser; false, with the reason, if it cannot start. */
    bool start(QString *error);
    /** Opens @p url in a new page and waits until it has loaded. */
    bool open(const QString &url, QString *error);

    /** Evaluates @p expression in the page (promises are awaited). */
    QJsonValue evaluate(const QString &expression);
    /** Clicks with the mouse in the middle of the element that
     *  @p elementExpression (JavaScript) gives. */
    bool click(const QString &elementExpression);
    /** A PNG of the whole page. */
    QByteArray screenshot();

    /** The browser's executable: OM_CHROMIUM, else /usr/bin/chromium. */
    static QString executable();

private:
    QJsonObject call(const QString &method, const QJsonObject &params = QJsonObject(),
                     bool inPage = true);

    QProcess m_process;
    QTemporaryDir m_profile;
    QWebSocket m_socket;
    QString m_session;
    int m_nextId = 0;
    QHash<int, QJsonObject> m_answers;
    bool m_loaded = false;
};

} // namespace omtest

#endif
