#include "childprocess.h"

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

namespace omtest {

int runInChild(const std::function<int()> &body, bool asNobody)
{
    const pid_t pid = ::fork();
    if (pid < 0)
        return -1;
    if (pid == 0) {
        if (asNobody && ::getuid() == 0) {
            if (::setgroups(0, nullptr) != 0 || ::setgid(NobodyId) != 0 || ::setuid(NobodyId) != 0)
                ::_exit(255);
        }
        ::_exit(body() & 0xff);
    }
    int status = 0;
    if (::waitpid(pid, &status, 0) != pid || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

bool canDropPrivileges()
{
    return ::getuid() == 0;
}

} // namespace omtest
