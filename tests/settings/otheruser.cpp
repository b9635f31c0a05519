#include "otheruser.h"

#include <QVector>

#include <cerrno>
#include <fcntl.h>
#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

namespace settingstest {

namespace {

ClientResult run(const QStringList &arguments, bool otherUser)
{
    ClientResult result;
    QVector<QByteArray> args;
    args.append(QByteArrayLiteral(SETTINGS_CLIENT_PATH));
    for (const QString &a : arguments)
        args.append(a.toLocal8Bit());
    QVector<char *> argv;
    for (QByteArray &a : args)
        argv.append(a.data());
    argv.append(nullptr);

    int pipeFds[2];
    if (::pipe2(pipeFds, O_CLOEXEC) < 0)
        return result;
    const pid_t pid = ::fork();
    if (pid < 0) {
        ::close(pipeFds[0]);
        ::close(pipeFds[1]);
        return result;
    }
    if (pid == 0) {
        // Only async-signal-safe calls between fork and exec: the test
        // process has other threads.
        ::dup2(pipeFds[1], STDOUT_FILENO);
        if (otherUser &&
            (::setgroups(0, nullptr) < 0 || ::setgid(OtherUid) < 0 || ::setuid(OtherUid) < 0))
            ::_exit(126);
        ::execv(argv.at(0), argv.data());
        ::_exit(127);
    }
    ::close(pipeFds[1]);
    char buf[4096];
    for (;;) {
        const ssize_t n = ::read(pipeFds[0], buf, sizeof buf);
        if (n > 0)
            result.out.append(buf, int(n));
        else if (n == 0 || errno != EINTR)
            break;
    }
    ::close(pipeFds[0]);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

} // namespace

bool canSwitchUser()
{
    return ::geteuid() == 0;
}

ClientResult runClientAsOtherUser(const QStringList &arguments)
{
    return run(arguments, true);
}

ClientResult runClient(const QStringList &arguments)
{
    return run(arguments, false);
}

} // namespace settingstest
