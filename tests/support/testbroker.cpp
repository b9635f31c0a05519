#include "testbroker.h"

#include "broker/broker.h"

#include <QFile>
#include <QtGlobal>

#include <sys/stat.h>

namespace omtest {

TestBroker::TestBroker()
    : m_dir(QStringLiteral("/tmp/omtest-XXXXXX")), m_previousRoot(qgetenv("OM_PPS_ROOT")),
      m_hadRoot(qEnvironmentVariableIsSet("OM_PPS_ROOT"))
{
    // Readable for all, so that a test can reach the bus from a process
    // that runs under another user.
    ::chmod(QFile::encodeName(m_dir.path()).constData(), 0755);
    qputenv("OM_PPS_ROOT", QFile::encodeName(m_dir.path()));
    m_broker.reset(new omdevice::Broker(m_dir.path()));
    QString error;
    m_running = m_broker->start(&error);
    if (!m_running)
        qWarning("TestBroker: %s", qPrintable(error));
}

TestBroker::~TestBroker()
{
    m_broker.reset();
    if (m_hadRoot)
        qputenv("OM_PPS_ROOT", m_previousRoot);
    else
        qunsetenv("OM_PPS_ROOT");
}

bool TestBroker::isRunning() const
{
    return m_running;
}

QString TestBroker::root() const
{
    return m_dir.path();
}

void TestBroker::stop()
{
    if (m_broker)
        m_broker->shutdown();
    m_running = false;
}

} // namespace omtest
