#ifndef OMTEST_CHILDPROCESS_H
#define OMTEST_CHILDPROCESS_H

#include <functional>

namespace omtest {

/** The user a test drops to in order to meet refused permissions. */
constexpr unsigned NobodyId = 65534;

/**
 * Runs @p body in a forked child and returns its result (the child's exit
 * status, 0 to 255), or -1 if the child did not end normally. With
 * @p asNobody, a child started as root first drops to uid and gid 65534, so
 * that it meets object permissions as an ordinary user would. Keep the body
 * small: it runs in a copy of a process that has other threads.
 */
int runInChild(const std::function<int()> &body, bool asNobody = false);

/** Whether this process can drop to another user (it runs as root). */
bool canDropPrivileges();

} // namespace omtest

#endif
