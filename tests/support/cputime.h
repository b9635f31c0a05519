#ifndef OMTEST_CPUTIME_H
#define OMTEST_CPUTIME_H

#include <QEventLoop>
#include <QTimer>

#include <ctime>

namespace omtest {

/** Runs the event loop for @p ms; the CPU time the process used meanwhile,
 *  in seconds. An application with nothing to do uses next to none. */
inline double cpuSecondsOver(int ms)
{
    const auto now = [] {
        timespec t = {};
        ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
        return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
    };
    const double before = now();
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
    return now() - before;
}

} // namespace omtest

#endif
