#ifndef OMCTL_OMCTLCLIENT_H
#define OMCTL_OMCTLCLIENT_H

#include <QString>
#include <QVariantMap>

namespace omctl {

/** Prints "omctl: <subject>: <reason>" on stderr and returns Failure. */
int fail(const QString &subject, const QString &reason);
/** Prints "omctl: <message>" and the hint to --help; returns Usage. */
int usage(const QString &message);

/** Why opening an object failed, in words, for an errno value. */
QString reason(int error);

/** Prints a line on stdout. */
void out(const QString &line);

} // namespace omctl

#endif
