#ifndef OMBENCH_BENCHCOMMON_H
#define OMBENCH_BENCHCOMMON_H

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <vector>

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
 * Several operations measured together: rounds of a few runs of each in
 * turn, so that every operation meets the same machine (a frequency change,
 * another process waking) and the ratios between them hold on a noisy
 * machine.
 */
class Interleaved
{
public:
    /** Adds an operation; returns its index for stats(). */
    int add(const std::function<void()> &operation);
    /** Runs @p iterations of every operation, @p block at a time. */
    void run(int iterations, int block = 50, int warmup = 50);
    Stats stats(int index) const;

private:
    std::vector<std::function<void()>> m_operations;
    std::vector<std::vector<double>> m_times;
};

/**
 * The floor under any request and answer between two processes: a raw
 * SOCK_SEQPACKET ping-pong with a new connection per round trip, the server
 * in a child process, @p requestBytes out and @p answerBytes back.
 */
class SocketFloor
{
public:
    SocketFloor(int requestBytes, int answerBytes);
    ~SocketFloor();
    /** One round trip. */
    void roundTrip();

private:
    std::vector<char> m_out;
    std::vector<char> m_in;
    QByteArray m_path;
    int m_child = -1;
};

/** The floor measured on its own. */
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
