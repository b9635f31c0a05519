#ifndef OMTEST_DEVICEPROCESS_H
#define OMTEST_DEVICEPROCESS_H

#include "childprocess.h"

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
    /** SIGKILL, as a crash would end it, and waits for it to go. */
    void kill();
    bool isRunning() const;

    QString root() const { return m_root.path(); }
    QString dataDirectory() const { return m_data.path(); }
    /** Everything the device printed so far. */
    QByteArray output();

    using Result = ProgramCopy::Result;
    /** Runs omctl with @p arguments against this process's bus. */
    static Result omctl(const QStringList &arguments, int timeoutMs = 15000);
    /**
     * Runs omctl as uid 65534 when this process runs as root (see
     * canDropPrivileges()), from a copy that user can reach wherever the
     * tree is checked out.
     */
    static Result omctlAsNobody(const QStringList &arguments);
    static QString omdevicedPath();
    static QString omctlPath();

private:
    SharedTemporaryDir m_root; // other users reach the bus too
    QTemporaryDir m_data;
    QByteArray m_previousRoot;
    bool m_hadRoot;
    QProcess m_process;
    QByteArray m_output;
};

} // namespace omtest

#endif
