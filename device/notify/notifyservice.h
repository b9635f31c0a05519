#ifndef OMDEVICE_NOTIFYSERVICE_H
#define OMDEVICE_NOTIFYSERVICE_H

#include "common/controlserver.h"
#include "common/servicemodule.h"

#include <QHash>
#include <QList>

#include <functional>

namespace omdevice {

class NotifyService;

/**
 * One part of the notification service: handles some of the messages of
 * "/pps/services/notify/control" and may serve objects of its own.
 */
class NotifyPart : public QObject
{
    Q_OBJECT
public:
    explicit NotifyPart(NotifyService *service);

    /** The "msg" values of the control object that this part handles. */
    virtual QStringList messages() const = 0;
    /** One request of a client of the control object. */
    virtual void handle(int clientId, const QVariantMap &request) = 0;
    virtual void clientClosed(int clientId) { Q_UNUSED(clientId) }
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

struct NotifyPartInfo
{
    QString name;
    std::function<NotifyPart *(NotifyService *)> create;
};

struct NotifyPartRegistrar
{
    explicit NotifyPartRegistrar(const NotifyPartInfo &info);
};

#define OM_NOTIFY_PART(Class, name)                                                        \
    static const omdevice::NotifyPartRegistrar Class##PartRegistrar(omdevice::NotifyPartInfo{ \
        QStringLiteral(name), [](omdevice::NotifyService *service) -> omdevice::NotifyPart * { \
            return new Class(service);                                                     \
        }})

/** The module: the control object, and the parts that answer on it. */
class NotifyService : public ServiceModule
{
    Q_OBJECT
public:
    static constexpr const char *ControlPath = "/pps/services/notify/control";

    NotifyService(const DeviceContext &context, QObject *parent);
    bool start(QString *error) override;

    const DeviceContext &context() const { return m_context; }
    ControlServer *control() const { return m_control; }
    template<class Part>
    Part *part() const
    {
        for (NotifyPart *p : m_parts) {
            if (auto *found = qobject_cast<Part *>(p))
                return found;
        }
        return nullptr;
    }

    /** Answers @p request: "res" and "id" of the request, and "dat". */
    void answer(int clientId, const QVariantMap &request, const QVariantMap &dat);
    /** Answers @p request with "err" @p error. */
    void fail(int clientId, const QVariantMap &request, const QString &error);

private:
    void onMessage(int clientId, const QVariantMap &attributes);

    DeviceContext m_context;
    ControlServer *m_control;
    QList<NotifyPart *> m_parts;
    QHash<QString, NotifyPart *> m_handlers;
};

} // namespace omdevice

#endif
