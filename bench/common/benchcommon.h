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
 * A request and answer in raw system calls, @p requestBytes out and
 * @p answerBytes back, against servers in child processes.
 */
class RawExchange
{
public:
    RawExchange(int requestBytes, int answerBytes);
    virtual ~RawExchange();
    /** One round trip, with a new connection. */
    virtual void roundTrip() = 0;

protected:
    std::vector<char> m_out;
    std::vector<char> m_in;
    QByteArray m_path;
    std::vector<int> m_children;
};

/**
 * The floor under any request and answer between two processes: a raw
 * SOCK_SEQPACKET ping-pong with a new connection per round trip, the server
 * in a child process.
 */
class SocketFloor : public RawExchange
{
public:
    SocketFloor(int requestBytes, int answerBytes);
    void roundTrip() override;
};

/**
 * The same request and answer in the shape of an exchange on the bus: the
 * client connects to a broker process, names the object and waits for the
 * broker's answer; the broker hands the connection to a server process
 * (SCM_RIGHTS) and keeps a copy; the client sends the request, reads the
 * answer and closes, and the server closes its end. No codec and no event
 * loop: the least an exchange of this shape costs on the machine.
 */
class BrokeredFloor : public RawExchange
{
public:
    BrokeredFloor(int requestBytes, int answerBytes);
    void roundTrip() override;
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
