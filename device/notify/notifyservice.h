#ifndef OMDEVICE_NOTIFYSERVICE_H
#define OMDEVICE_NOTIFYSERVICE_H

#include "common/controlserver.h"
#include "common/requestrouter.h"
#include "common/servicemodule.h"

#include <QList>
#include <QLoggingCategory>

namespace omdevice {

Q_DECLARE_LOGGING_CATEGORY(lcNotify)

class NotifyService;

/**
 * One part of the notification service (the inbox, the dialogs, the
 * settings, the user's side). A part adds the routes of the messages it
 * takes to the service's router, and may serve objects of its own.
 */
class NotifyPart : public QObject
{
    Q_OBJECT
public:
    explicit NotifyPart(NotifyService *service);

    /** Opens what the part serves beside the control object. */
    virtual bool start(QString *error)
    {
        Q_UNUSED(error)
        return true;
    }

protected:
    NotifyService *service() const { return m_service; }

private:
    NotifyService *m_service;
};

/** The module: the control object, its router, and the parts. */
class NotifyService : public ServiceModule
{
    Q_OBJECT
public:
    NotifyService(const DeviceContext &context, QObject *parent);
    bool start(QString *error) override;

    const DeviceContext &context() const { return m_context; }
    ControlServer *control() const { return m_router->server(); }
    RequestRouter *router() const { return m_router; }
    /** The part of type @p Part; null if the service has none. */
    template<class Part>
    Part *part() const
    {
        for (NotifyPart *p : m_parts) {
            if (auto *found = qobject_cast<Part *>(p))
                return found;
        }
        return nullptr;
    }

    /** How the service's objects answer: "res", "id" and "dat" or "err";
     *  a message that cannot be decoded gets "err" alone. */
    static WireForm wireForm();

    /** Whether anyone follows the service's events (omctl watch). */
    bool isFollowed() const { return m_followers > 0; }
    void setFollowers(int count) { m_followers = count; }
    /** Tells the followers that @p event happened, with @p details; nothing
     *  when nobody follows. */
    void publish(const QString &event, QVariantMap details);

Q_SIGNALS:
    /** An event for the followers: "event" and its details. */
    void published(const QVariantMap &event);

private:
    DeviceContext m_context;
    RequestRouter *m_router;
    QList<NotifyPart *> m_parts;
    int m_followers = 0;
};

} // namespace omdevice

#endif
