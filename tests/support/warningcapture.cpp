#include "warningcapture.h"

#include <QMutex>
#include <QMutexLocker>

namespace omtest {

namespace {
QMutex captureMutex;
WarningCapture *current = nullptr;
QStringList capturedWarnings;
QStringList capturedMessages;
} // namespace

WarningCapture::WarningCapture()
{
    QMutexLocker lock(&captureMutex);
    current = this;
    capturedWarnings.clear();
    capturedMessages.clear();
    m_previous = qInstallMessageHandler(&WarningCapture::handler);
}

WarningCapture::~WarningCapture()
{
    QMutexLocker lock(&captureMutex);
    qInstallMessageHandler(m_previous);
    current = nullptr;
}

QStringList WarningCapture::warnings() const
{
    QMutexLocker lock(&captureMutex);
    return capturedWarnings;
}

QStringList WarningCapture::messages() const
{
    QMutexLocker lock(&captureMutex);
    return capturedMessages;
}

void WarningCapture::clear()
{
    QMutexLocker lock(&captureMutex);
    capturedWarnings.clear();
    capturedMessages.clear();
}

void WarningCapture::handler(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    QMutexLocker lock(&captureMutex);
    if (!current)
        return;
    capturedMessages.append(text);
    if (type == QtWarningMsg)
        capturedWarnings.append(text);
}

} // namespace omtest
