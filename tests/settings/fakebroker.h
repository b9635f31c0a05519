#ifndef SETTINGSTEST_FAKEBROKER_H
#define SETTINGSTEST_FAKEBROKER_H

#include <QByteArray>
#include <QTemporaryDir>

#include <thread>

namespace settingstest {

/**
 * A stand-in for the bus broker, on a root of its own that OM_PPS_ROOT
 * points at while it lives. It lets every open succeed and then fails the
 * connection in one way, to reach what a real broker only does by accident:
 * RefuseWrites makes every write fail; HangUpAfterMessage takes the first
 * message and then closes the connection, so that a read fails.
 */
class FakeBroker
{
public:
    enum Behaviour { RefuseWrites, HangUpAfterMessage };

    explicit FakeBroker(Behaviour behaviour);
    ~FakeBroker();

    bool isRunning() const { return m_listenFd >= 0; }

private:
    void run();
    bool waitReadable(int fd) const;
    void serve(int fd);

    Behaviour m_behaviour;
    QTemporaryDir m_root;
    QByteArray m_previousRoot;
    bool m_hadRoot;
    int m_listenFd = -1;
    int m_stopPipe[2] = {-1, -1};
    std::thread m_thread;
};

} // namespace settingstest

#endif
