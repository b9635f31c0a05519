#include "broker/handshake.h"

#include "broker/connection.h"
#include "broker/policy.h"
#include "broker/registry.h"

#include "pps/buspolicy_p.h"
#include "pps/bussocket_p.h"

#include <cerrno>

namespace omdevice {
namespace broker {

Handshake::Handshake(Connections &connections, Registry &registry, const ClaimPolicy &policy)
    : m_connections(connections), m_registry(registry), m_policy(policy)
{
}

void Handshake::answer(Connection *c, int error, const QByteArray &body,
                       std::vector<int> descriptors)
{
    QByteArray text = QByteArray::number(error);
    text += '\n';
    text += body;
    m_connections.send(c, Outgoing{text, std::move(descriptors)});
    if (error != 0)
        m_connections.doom(c);
}

void Handshake::handle(Connection *c, const QByteArray &request)
{
    if (request.startsWith("LIST\n")) {
        const int end = request.indexOf('\n', 5);
        list(c, request.mid(5, end < 0 ? -1 : end - 5));
        return;
    }
    om::bus::OpenRequest open;
    if (!om::bus::parseOpenRequest(request, &open)) {
        answer(c, EPROTO);
        return;
    }
    om::bus::OpenOptions options;
    if (!om::bus::validObjectPath(open.path) || !om::bus::parseOptions(open.options, &options) ||
        (open.mode & 3) == 0) {
        answer(c, EINVAL);
        return;
    }
    if (options.server)
        serve(c, open, options);
    else
        this->open(c, open, options);
}

void Handshake::serve(Connection *c, const om::bus::OpenRequest &request,
                      const om::bus::OpenOptions &options)
{
    // A server reads what its clients write.
    if (!request.wantsRead()) {
        answer(c, EINVAL);
        return;
    }
    // Another user's server would read what the device's clients ask.
    if (!m_policy.allows(ClaimPolicy::Serve, request.path, c->uid, request.package)) {
        refuse(c, "serve", request);
        return;
    }
    const QString path = QString::fromUtf8(request.path);
    // One object, one owner: a plain object or a live server holds it.
    // The registration of a server that died ended with it.
    if (m_registry.find(path)) {
        answer(c, EBUSY);
        return;
    }
    int error = 0;
    std::vector<int> listeners;
    Object *o = m_registry.serve(path, c, c->uid, c->gid, options.hasMode ? options.mode : 0666,
                                 &listeners, &error);
    if (!o) {
        answer(c, error);
        return;
    }
    c->object = o;
    c->isServer = true;
    c->open = true;
    c->readable = true;
    c->writable = request.wantsWrite();
    qCDebug(om::bus::lcBus).nospace() << "serving " << path << " (pid " << c->pid << ")";
    // The answer carries the listening sockets; the broker keeps no copy.
    answer(c, 0, QByteArray(), std::move(listeners));
}

void Handshake::open(Connection *c, const om::bus::OpenRequest &request,
                     const om::bus::OpenOptions &options)
{
    const QString path = QString::fromUtf8(request.path);
    const bool create = options.create || (request.mode & 4);
    Object *o = m_registry.find(path);
    // A control object's clients reach its server directly; one that asks
    // here found no server listening, so for it the server is gone.
    if (o && o->isServer) {
        answer(c, ENOENT);
        return;
    }
    if (!o) {
        if (!create) {
            answer(c, ENOENT);
            return;
        }
        if (!m_policy.allows(ClaimPolicy::Create, request.path, c->uid, request.package) ||
            (options.persistent &&
             !m_policy.allows(ClaimPolicy::Persist, request.path, c->uid, request.package))) {
            refuse(c, options.persistent ? "create persistent" : "create", request);
            return;
        }
        int error = 0;
        o = m_registry.createPlain(path, c->uid, c->gid, options.hasMode ? options.mode : 0666,
                                   &error);
        if (!o) {
            answer(c, error);
            return;
        }
        o->persistent = options.persistent;
    } else if (!permitted(o->mode, o->uid, o->gid, c->uid, c->gid, request.wantsRead(),
                          request.wantsWrite())) {
        answer(c, EACCES);
        return;
    }
    c->object = o;
    c->open = true;
    c->readable = request.wantsRead();
    c->writable = request.wantsWrite();
    o->clients.insert(c);

    // A subscriber finds the content in the answer, so that a read right
    // after the open has it; a descriptor gets it as a message of its own.
    QByteArray content;
    if (c->readable && !o->attributes.empty())
        content = wholeObject(o->name, o->attributes);
    if (options.separate) {
        answer(c, 0);
        if (!content.isEmpty())
            m_connections.send(c, content);
    } else {
        answer(c, 0, content);
    }
}

void Handshake::refuse(Connection *c, const char *what, const om::bus::OpenRequest &request)
{
    qCInfo(om::bus::lcBus).nospace() << "refused to let uid " << c->uid << " (pid " << c->pid
                                     << ") " << what << " " << request.path.constData();
    answer(c, EACCES);
}

void Handshake::list(Connection *c, const QByteArray &directory)
{
    if (!om::bus::validDirectoryPath(directory)) {
        answer(c, EINVAL);
        return;
    }
    QByteArray names;
    const int error = listDirectory(m_registry.paths(), QString::fromUtf8(directory), &names);
    if (error != 0) {
        answer(c, error);
        return;
    }
    answer(c, 0, names);
    m_connections.doom(c);
}

} // namespace broker
} // namespace omdevice
