#ifndef OMBENCH_BENCHCOMMON_H
#define OMBENCH_BENCHCOMMON_H

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <functional>

namespace ombench {

/** Timings of one measured operation, in nanoseconds. */
struct Stats
{
    double median = 0;
    double p90 = 0;
    int iterations = 0;
};

/** Runs @p operation @p warmup times unmeasured, then @p iterations times,
 *  timing each run on its own. */
Stats measure(const std::function<void()> &operation, int iterations, int warmup = 50);

/**
 * The floor under any request and answer between two processes: a raw
 * SOCK_SEQPACKET ping-pong with a new connection per round trip, the server
 * in a child process, @p requestBytes out and @p answerBytes back.
 */
Stats rawSocketFloor(int requestBytes, int answerBytes, int iterations);

/** Prints one result line; with @p reference also the ratio to it. */
void report(const QString &name, const Stats &stats, const Stats *reference = nullptr,
            const QString &referenceName = QString());

/** Prints a target line "<what>: <ratio> (target <op> <limit>) met/MISSED";
 *  returns whether the target was met. */
bool target(const QString &what, double ratio, const QString &op, double limit);

/** A typical "notify" request: a dozen string attributes and a nested
 *  "dat" map of eight. */
QVariantMap typicalRequest();
/** The service's answer to it. */
QVariantMap typicalAnswer(const QVariantMap &request);

} // namespace ombench

#endif
