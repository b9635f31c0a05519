#include <om/system/invokemanager.h>

#include <om/packageinfo.h>
#include <om/system/invokerequest.h>
#include <om/system/invoketargetreply.h>

#include "invokereply_p.h"

#include <QtGlobal>

namespace om {
namespace system {

class InvokeManagerPrivate
{
public:
    int replyTimeout = InvokeManager::DefaultReplyTimeout;
};

InvokeManager::InvokeManager(QObject *parent)
    : QObject(parent), d_ptr(new InvokeManagerPrivate)
{
}

InvokeManager::~InvokeManager()
{
    delete d_ptr;
}

InvokeTargetReply *InvokeManager::invoke(const InvokeRequest &request)
{
    Q_D(InvokeManager);
    auto *reply = new InvokeTargetReply();
    reply->d_func()->start(request, PackageInfo().name(), d->replyTimeout);
    return reply;
}

int InvokeManager::replyTimeout() const
{
    return d_func()->replyTimeout;
}

void InvokeManager::setReplyTimeout(int msecs)
{
    d_func()->replyTimeout = qMax(1, msecs);
}

} // namespace system
} // namespace om
