#ifndef OMCTL_OMCTLCLIENT_H
#define OMCTL_OMCTLCLIENT_H

#include <QByteArray>
#include <QString>
#include <QVariantMap>

namespace omctl {

/** Prints "omctl: <subject>: <reason>" on stderr and returns Failure. */
int fail(const QString &subject, const QString &reason);
/** Prints "omctl: <message>" and the hint to --help; returns Usage. */
int usage(const QString &message);

/** Why opening an object failed, in words, for an errno value. */
QString reason(int error);

/** Prints a line on stdout, unless omctl runs quietly (-q). */
void out(const QString &line);
/** Prints PPS text on stdout, ended by a newline, unless omctl runs quietly. */
void printText(const QByteArray &text);
/** Whether omctl runs quietly: what a command prints on success is left out. */
bool isQuiet();
void setQuiet(bool quiet);

} // namespace omctl

#endif
