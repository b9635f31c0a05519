#ifndef OMTEST_TESTBROKER_H
#define OMTEST_TESTBROKER_H

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

#include <memory>

namespace omdevice {
class Broker;
}

namespace omtest {

/**
 * A bus broker inside the test process, on a fresh temporary root, which
 * this process's OM_PPS_ROOT points at for as long as the object lives.
 * Make one in init() and drop it in cleanup(): every test function gets a
 * bus of its own.
 */
class TestBroker
{
public:
    TestBroker();
    ~TestBroker();

    bool isRunning() const;
    QString root() const;
    /** Stops the broker (as if the device went away); the root stays. */
    void stop();

private:
    QTemporaryDir m_dir;
    QByteArray m_previousRoot;
    bool m_hadRoot;
    std::unique_ptr<omdevice::Broker> m_broker;
    bool m_running = false;
};

} // namespace omtest

#endif
