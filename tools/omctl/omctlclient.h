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

/**
 * One request on a control object: writes "msg", "id" and "dat" and waits up
 * to @p timeoutMs for the answer, which it returns as the attributes of the
 * object's answer. On failure returns false with the reason in *error.
 */
bool request(const QString &path, const QString &msg, const QVariantMap &dat, QVariantMap *answer,
             QString *error, int timeoutMs = 5000);

} // namespace omctl

#endif
