#ifndef SETTINGSTEST_OTHERUSER_H
#define SETTINGSTEST_OTHERUSER_H

#include "childprocess.h"

#include <QByteArray>
#include <QStringList>
#include <QVector>

#include <fcntl.h>
#include <unistd.h>

namespace settingstest {

struct ClientResult
{
    int exitCode = -1;
    QByteArray out;
};

/**
 * Runs the settings client (settingsclient.cpp, a small application of the
 * library) with @p arguments as uid 65534, with this process's environment;
 * gives its exit status and what it printed (a few lines at most).
 */
inline ClientResult runClientAsOtherUser(const QStringList &arguments)
{
    QVector<QByteArray> args{QByteArrayLiteral(SETTINGS_CLIENT_PATH)};
    for (const QString &a : arguments)
        args.append(a.toLocal8Bit());
    QVector<char *> argv;
    for (QByteArray &a : args)
        argv.append(a.data());
    argv.append(nullptr);

    ClientResult result;
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0)
        return result;
    result.exitCode = omtest::runInChild(
        [&]() {
            ::dup2(fds[1], STDOUT_FILENO);
            ::execv(argv.at(0), argv.data());
            return 127;
        },
        true);
    ::close(fds[1]);
    char buf[4096];
    ssize_t n;
    while ((n = ::read(fds[0], buf, sizeof buf)) > 0)
        result.out.append(buf, int(n));
    ::close(fds[0]);
    return result;
}

} // namespace settingstest

#endif
