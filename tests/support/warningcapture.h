#ifndef OMTEST_WARNINGCAPTURE_H
#define OMTEST_WARNINGCAPTURE_H

#include <QStringList>
#include <QtGlobal>

namespace omtest {

/**
 * Captures what the code under test logs through Qt's message handler, for
 * comparison of whole lines. One capture at a time; it ends with the object.
 */
class WarningCapture
{
public:
    WarningCapture();
    ~WarningCapture();

    /** The warnings, one entry per message, in order. */
    QStringList warnings() const;
    /** Every message of any kind. */
    QStringList messages() const;
    void clear();

private:
    static void handler(QtMsgType type, const QMessageLogContext &context, const QString &text);
    QtMessageHandler m_previous;
};

} // namespace omtest

#endif
