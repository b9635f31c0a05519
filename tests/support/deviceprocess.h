#ifndef OMTEST_DEVICEPROCESS_H
#define OMTEST_DEVICEPROCESS_H

#include <QByteArray>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

namespace omtest {

/**
 * A real omdeviced process on a temporary PPS root and data directory; this
 * process's OM_PPS_ROOT points at that root while the object lives, so the
 * library under test talks to the device. The data directory outlives
 * restarts of the device.
 */
class DeviceProcess
{
public:
    DeviceProcess();
    ~DeviceProcess();

    /** Starts omdeviced with @p arguments and waits until it is ready. */
    bool start(const QStringList &arguments = QStringList(), int timeoutMs = 15000);
    /** SIGTERM, then waits; true if it ended cleanly with status 0. */
    bool stop(int timeoutMs = 15000);
    bool isRunning() const;

    QString root() const { return m_root.path(); }
    QString dataDirectory() const { return m_data.path(); }
    /** Everything the device printed so far. */
    QByteArray output();

    struct Result
    {
        int exitCode = -1;
        QByteArray out;
        QByteArray err;
    };
    /** Runs omctl with @p arguments against this process's bus. */
    static Result omctl(const QStringList &arguments, int timeoutMs = 15000);
    static QString omdevicedPath();
    static QString omctlPath();

private:
    QTemporaryDir m_root;
    QTemporaryDir m_data;
    QByteArray m_previousRoot;
    bool m_hadRoot;
    QProcess m_process;
    QByteArray m_output;
};

} // namespace omtest

#endif
