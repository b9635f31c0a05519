#ifndef OMBENCH_BENCHWAIT_H
#define OMBENCH_BENCHWAIT_H

#include <QEventLoop>
#include <QObject>
#include <QTimer>

namespace ombench {

/** Runs the event loop until @p signal of @p sender comes, at most 5 s;
 *  false if it did not come. For operations that end in a signal. */
template <typename Sender, typename Signal> bool waitFor(const Sender *sender, Signal signal)
{
    QEventLoop loop;
    QTimer guard;
    guard.setSingleShot(true);
    bool came = false;
    QObject::connect(sender, signal, &loop, [&]() {
        came = true;
        loop.quit();
    });
    QObject::connect(&guard, &QTimer::timeout, &loop, &QEventLoop::quit);
    guard.start(5000);
    loop.exec();
    return came;
}

} // namespace ombench

#endif
