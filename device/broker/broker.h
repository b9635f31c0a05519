#ifndef OMDEVICE_BROKER_H
#define OMDEVICE_BROKER_H

#include <QString>

#include <memory>

namespace omdevice {

/**
 * The device bus: keeps the PPS objects and routes messages between the
 * connections of their publishers, subscribers and servers.
 *
 * It owns a root directory (OM_PPS_ROOT): the socket that clients connect
 * to, a lock file that keeps a second broker out, and a mirror file for
 * every live object. The broker runs its own poll loop and no Qt event loop,
 * so it can run on any thread: run() until stop(), or start() for a thread
 * of its own.
 */
class Broker
{
public:
    explicit Broker(const QString &root);
    ~Broker();

    Broker(const Broker &) = delete;
    Broker &operator=(const Broker &) = delete;

    /** Creates the root if needed (mode 0700), takes the lock and binds
     *  the socket. Fails if another broker already serves the root, and
     *  refuses a root that is not a directory of this process's user, that
     *  others may write in, or that has a symbolic link on its path. */
    bool listen(QString *error);

    /** Serves until stop() is called. listen() must have succeeded. */
    void run();

    /** Ends run(). Safe from any thread and from a signal handler. */
    void stop();

    /** listen() and run() on a thread of its own. */
    bool start(QString *error);

    /** Stops the thread started by start() and waits for it. */
    void shutdown();

    QString root() const;

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};

} // namespace omdevice

#endif
