#ifndef SETTINGSTEST_OTHERUSER_H
#define SETTINGSTEST_OTHERUSER_H

#include <QByteArray>
#include <QStringList>

namespace settingstest {

/** The user that a refused client runs as: nobody. */
constexpr int OtherUid = 65534;

/** Whether this process may start processes under another user. */
bool canSwitchUser();

struct ClientResult
{
    int exitCode = -1;
    QByteArray out;
};

/**
 * Runs the settings client (a small application of the library) with
 * @p arguments under the user OtherUid, with this process's environment,
 * and returns its exit code and what it printed.
 */
ClientResult runClientAsOtherUser(const QStringList &arguments);

/** The same under this process's own user. */
ClientResult runClient(const QStringList &arguments);

} // namespace settingstest

#endif
