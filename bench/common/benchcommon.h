#ifndef OMBENCH_BENCHCOMMON_H
#define OMBENCH_BENCHCOMMON_H

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
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
 * The same request and answer in the shape of a call on a control object:
 * the client connects to the server's socket and sends a preface (its open
 * request) and the request, reads the answer and closes; the server, in a
 * child process, takes connections through epoll, reads preface and
 * request, answers, and closes a connection at its end. No codec and no
 * event loop: the least a call of this shape costs on the machine.
 */
class DirectExchange : public RawExchange
{
public:
    DirectExchange(int requestBytes, int answerBytes);
    void roundTrip() override;
};

/** Prints one result line; with @p reference also the ratio to it. */
void report(const QString &name, const Stats &stats, const Stats *reference = nullptr,
            const QString &referenceName = QString());

/** Prints a target line "<what>: <ratio> (target <op> <limit>) met/MISSED";
 *  returns whether the target was met. */
bool target(const QString &what, double ratio, const QString &op, double limit);

/** What an operation's median must reach, as a ratio to its reference. */
struct Target
{
    enum Kind { None, AtMost, AtLeast };
    Kind kind = None;
    double limit = 0;

    static Target atMost(double limit) { return Target{AtMost, limit}; }
    static Target atLeast(double limit) { return Target{AtLeast, limit}; }
};

/**
 * One comparison: a floor and the operations measured against it, run in
 * turn (Interleaved) so that all meet the same machine. report() prints a
 * line for each with its ratio to the floor, and a target line, met or
 * MISSED, for each expectation.
 */
class Comparison
{
public:
    explicit Comparison(const QString &title = QString());

    /** The reference of every ratio that names no other. */
    int setFloor(const QString &label, const std::function<void()> &operation);
    /** Adds an operation; returns its index. Labels begin with a short tag,
     *  "(a) ...", by which target lines name them. */
    int add(const QString &label, const std::function<void()> &operation);
    /** The median of @p index, divided by that of @p reference (the floor
     *  if -1), must meet @p target. */
    void expect(int index, Target target, int reference = -1);

    void run(int iterations, int block = 50, int warmup = 50);
    /** Prints the results; returns whether every target was met. */
    bool report() const;
    Stats stats(int index) const { return m_runs.stats(index); }
    double ratio(int index, int reference = -1) const;

private:
    struct Expectation
    {
        int index;
        int reference;
        Target target;
    };
    QString tag(int index) const;

    QString m_title;
    int m_floor = -1;
    Interleaved m_runs;
    std::vector<QString> m_labels;
    std::vector<Expectation> m_expectations;
};

/**
 * An omdeviced process for one run, on a bus root and data directory of its
 * own; this process's OM_PPS_ROOT points at the root, so the library under
 * measure talks to it. Terminated when the object goes.
 */
class Device
{
public:
    /** @p name goes into the temporary directories' names. */
    explicit Device(const QString &name);
    ~Device();
    /** Starts @p program with @p arguments and waits until it is ready;
     *  false, with what it printed on stderr, if it is not. */
    bool start(const QString &program, const QStringList &arguments);
    /** SIGTERM, and waits for it to end; it can be started again, on the
     *  same root and data. */
    void stop();
    qint64 processId() const { return m_process.processId(); }

private:
    QString m_name;
    QTemporaryDir m_root;
    QTemporaryDir m_data;
    QProcess m_process;
};

/** A typical "notify" request: a dozen string attributes and a nested
 *  "dat" map of eight. */
QVariantMap typicalRequest();
/** The service's answer to it. */
QVariantMap typicalAnswer(const QVariantMap &request);

} // namespace ombench

#endif
