#ifndef OMDEVICE_CONSOLEMODULE_H
#define OMDEVICE_CONSOLEMODULE_H

#include "common/servicemodule.h"
#include "console/consolehttp.h"
#include "console/livehub.h"

#include <QHash>
#include <QList>
#include <QLoggingCategory>
#include <QStringList>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <set>

namespace omdevice {

Q_DECLARE_LOGGING_CATEGORY(lcConsole)

class UserSideClient;

/**
 * The console: a web page that plays the device's user, live. It is a
 * client of the services' user-side objects, as omctl is, so every action
 * takes the same road through the device; it follows those objects and
 * sends each page the newest state of what changed.
 *
 * Off by default; --console or any console.* setting turns it on.
 */
class ConsoleModule : public ServiceModule
{
    Q_OBJECT
public:
    ConsoleModule(const DeviceContext &context, QObject *parent);
    ~ConsoleModule() override;

    bool start(QString *error) override;

    /** The URL of the page, with its token. */
    QString url() const;
    const LiveHub &hub() const { return m_hub; }

    /** A listing of one object that a topic shows. */
    struct Listing
    {
        QString msg;
        QVariantMap dat;
    };
    /** One part of the page's state, kept up to date. */
    struct Topic
    {
        QString name;
        /** The "what" of the object's "changed" that concerns it. */
        QString what;
        QList<Listing> listings;
    };
    /** One user-side object: what the page shows of it, and what it may
     *  ask of it. */
    struct Source
    {
        QString name;
        QString path;
        QList<Topic> topics;
        QStringList actions;
    };
    /** The objects the console uses, with their topics and actions. */
    static QList<Source> sources();

private:
    struct Call;
    struct Followed
    {
        Source source;
        UserSideClient *client = nullptr;
        // Per topic: a refresh under way, and another wanted after it.
        QHash<QString, bool> busy;
        QHash<QString, bool> again;
    };

    ConsoleHttp::Result act(const QString &object, const QString &msg, const QVariantMap &dat);
    void request(const std::shared_ptr<Call> &call, const QString &object, const QString &msg,
                 const QVariantMap &dat);
    void complete(const std::shared_ptr<Call> &call, const ConsoleHttp::Result &result);
    void refresh(Followed *followed, const Topic &topic);
    void publish(const Followed &followed, const Topic &topic, const QVariantMap &data,
                 const QString &error);
    bool file(const QString &name, QByteArray *content, QByteArray *type) const;

    DeviceContext m_context;
    LiveHub m_hub;
    ConsoleHttp m_http;
    QList<Followed *> m_followed;
    QString m_webDirectory;

    // Actions in flight from the HTTP threads, ended at once when the
    // console stops so that no thread waits for a device that has gone.
    std::mutex m_callsMutex;
    std::set<std::shared_ptr<Call>> m_calls;
    bool m_stopping = false;
};

} // namespace omdevice

#endif
