#include "deviceprocess.h"

#include <QElapsedTimer>
#include <QFile>
#include <QtTest/QTest>

namespace omtest {

DeviceProcess::DeviceProcess()
    : m_root(QStringLiteral("omdev")), m_previousRoot(qgetenv("OM_PPS_ROOT")),
      m_hadRoot(qEnvironmentVariableIsSet("OM_PPS_ROOT"))
{
    qputenv("OM_PPS_ROOT", QFile::encodeName(m_root.path()));
    m_process.setProcessChannelMode(QProcess::MergedChannels);
}

DeviceProcess::~DeviceProcess()
{
    stop();
    if (m_hadRoot)
        qputenv("OM_PPS_ROOT", m_previousRoot);
    else
        qunsetenv("OM_PPS_ROOT");
}

QString DeviceProcess::omdevicedPath()
{
    return QStringLiteral(OMDEVICED_PATH);
}

QString DeviceProcess::omctlPath()
{
    return QStringLiteral(OMCTL_PATH);
}

bool DeviceProcess::start(const QStringList &arguments, int timeoutMs)
{
    if (isRunning())
        return false;
    m_output.clear();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("OM_PPS_ROOT"), m_root.path());
    env.insert(QStringLiteral("OM_DEVICE_DATA"), m_data.path());
    m_process.setProcessEnvironment(env);
    m_process.start(omdevicedPath(), arguments);
    if (!m_process.waitForStarted(timeoutMs))
        return false;
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < timeoutMs) {
        if (m_output.contains("omdeviced: ready"))
            return true;
        if (m_process.state() == QProcess::NotRunning)
            return false;
        m_process.waitForReadyRead(50);
        m_output += m_process.readAll();
    }
    return false;
}

bool DeviceProcess::stop(int timeoutMs)
{
    if (m_process.state() == QProcess::NotRunning)
        return m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0;
    m_process.terminate();
    if (!m_process.waitForFinished(timeoutMs)) {
        m_process.kill();
        m_process.waitForFinished();
        return false;
    }
    m_output += m_process.readAll();
    return m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0;
}

void DeviceProcess::kill()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.kill();
    m_process.waitForFinished();
    m_output += m_process.readAll();
}

bool DeviceProcess::isRunning() const
{
    return m_process.state() != QProcess::NotRunning;
}

QByteArray DeviceProcess::output()
{
    m_output += m_process.readAll();
    return m_output;
}

DeviceProcess::Result DeviceProcess::omctl(const QStringList &arguments, int timeoutMs)
{
    QProcess process;
    process.start(omctlPath(), arguments);
    Result result;
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
        result.exitCode = -1;
    } else {
        result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

DeviceProcess::Result DeviceProcess::omctlAsNobody(const QStringList &arguments)
{
    static const ProgramCopy copy(omctlPath());
    return copy.run(arguments, true);
}

} // namespace omtest
