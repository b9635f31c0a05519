#include "benchcommon.h"

#include <QFile>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace ombench {

namespace {

Stats statsOf(std::vector<double> times)
{
    Stats stats;
    stats.iterations = int(times.size());
    if (times.empty())
        return stats;
    std::sort(times.begin(), times.end());
    stats.median = times[times.size() / 2];
    stats.p90 = times[std::min(times.size() - 1, times.size() * 9 / 10)];
    return stats;
}

double timeOnce(const std::function<void()> &operation)
{
    const auto start = std::chrono::steady_clock::now();
    operation();
    const auto end = std::chrono::steady_clock::now();
    return std::chrono::duration<double, std::nano>(end - start).count();
}

sockaddr_un addressOf(const QByteArray &path)
{
    sockaddr_un addr;
    std::memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    std::memcpy(addr.sun_path, path.constData(),
                std::min(size_t(path.size()), sizeof addr.sun_path - 1));
    return addr;
}

// The servers below run in forked children: only system calls, on buffers
// made before the fork.
void serveFloor(int listener, std::vector<char> &in, const std::vector<char> &out)
{
    for (;;) {
        const int fd = ::accept(listener, nullptr, nullptr);
        if (fd < 0)
            continue;
        if (::recv(fd, in.data(), in.size(), 0) > 0)
            ::send(fd, out.data(), out.size(), MSG_NOSIGNAL);
        ::close(fd);
    }
}

// The server of DirectExchange: one epoll set over the listening socket and
// the connections, as a control object's server has.
void serveDirect(int listener, std::vector<char> &in, const std::vector<char> &out)
{
    const int poll = ::epoll_create1(0);
    epoll_event ev;
    std::memset(&ev, 0, sizeof ev);
    ev.events = EPOLLIN;
    ev.data.fd = listener;
    ::epoll_ctl(poll, EPOLL_CTL_ADD, listener, &ev);
    std::vector<bool> prefaced(65536);
    for (;;) {
        epoll_event ready[16];
        const int n = ::epoll_wait(poll, ready, 16, -1);
        for (int i = 0; i < n; ++i) {
            const int fd = ready[i].data.fd;
            if (fd == listener) {
                const int client = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
                if (client < 0)
                    continue;
                ucred cred;
                socklen_t length = sizeof cred;
                ::getsockopt(client, SOL_SOCKET, SO_PEERCRED, &cred, &length);
                prefaced[size_t(client)] = false;
                ev.events = EPOLLIN | EPOLLRDHUP;
                ev.data.fd = client;
                ::epoll_ctl(poll, EPOLL_CTL_ADD, client, &ev);
                continue;
            }
            for (;;) {
                const ssize_t got = ::recv(fd, in.data(), in.size(), MSG_DONTWAIT);
                if (got > 0 && !prefaced[size_t(fd)]) {
                    prefaced[size_t(fd)] = true;
                } else if (got > 0) {
                    ::send(fd, out.data(), out.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
                } else {
                    if (got == 0 || errno != EAGAIN)
                        ::close(fd);
                    break;
                }
            }
        }
    }
}

// A listening socket in a new temporary directory; -1 on failure.
int listenInTemporaryDirectory(QByteArray *path)
{
    char dir[] = "/tmp/ombench-XXXXXX";
    if (!::mkdtemp(dir))
        return -1;
    *path = QByteArray(dir) + "/socket";
    const sockaddr_un addr = addressOf(*path);
    const int listener = ::socket(AF_UNIX, SOCK_SEQPACKET, 0);
    if (::bind(listener, reinterpret_cast<const sockaddr *>(&addr), sizeof addr) != 0 ||
        ::listen(listener, 64) != 0) {
        ::close(listener);
        return -1;
    }
    return listener;
}

int connectTo(const QByteArray &path)
{
    const sockaddr_un addr = addressOf(path);
    const int fd = ::socket(AF_UNIX, SOCK_SEQPACKET, 0);
    ::connect(fd, reinterpret_cast<const sockaddr *>(&addr), sizeof addr);
    return fd;
}

int forkChild(const std::function<void()> &body)
{
    const pid_t pid = ::fork();
    if (pid == 0) {
        body();
        ::_exit(0);
    }
    return int(pid);
}

} // namespace

Stats measure(const std::function<void()> &operation, int iterations, int warmup)
{
    for (int i = 0; i < warmup; ++i)
        operation();
    std::vector<double> times;
    times.reserve(size_t(iterations));
    for (int i = 0; i < iterations; ++i)
        times.push_back(timeOnce(operation));
    return statsOf(std::move(times));
}

int Interleaved::add(const std::function<void()> &operation)
{
    m_operations.push_back(operation);
    m_times.emplace_back();
    return int(m_operations.size()) - 1;
}

void Interleaved::run(int iterations, int block, int warmup)
{
    for (const auto &operation : m_operations) {
        for (int i = 0; i < warmup; ++i)
            operation();
    }
    for (int done = 0; done < iterations; done += block) {
        const int count = std::min(block, iterations - done);
        for (size_t k = 0; k < m_operations.size(); ++k) {
            for (int i = 0; i < count; ++i)
                m_times[k].push_back(timeOnce(m_operations[k]));
        }
    }
}

Stats Interleaved::stats(int index) const
{
    return statsOf(m_times.at(size_t(index)));
}

RawExchange::RawExchange(int requestBytes, int answerBytes)
    : m_out(size_t(requestBytes), 'r'), m_in(size_t(answerBytes) + 1024)
{
}

RawExchange::~RawExchange()
{
    for (const int child : m_children) {
        if (child > 0) {
            ::kill(child, SIGKILL);
            ::waitpid(child, nullptr, 0);
        }
    }
    if (!m_path.isEmpty()) {
        ::unlink(m_path.constData());
        ::rmdir(m_path.left(m_path.lastIndexOf('/')).constData());
    }
}

SocketFloor::SocketFloor(int requestBytes, int answerBytes) : RawExchange(requestBytes, answerBytes)
{
    const int listener = listenInTemporaryDirectory(&m_path);
    if (listener < 0)
        return;
    std::vector<char> serverIn(size_t(requestBytes) + 1024);
    const std::vector<char> serverOut(size_t(answerBytes), 'a');
    m_children.push_back(forkChild([&]() { serveFloor(listener, serverIn, serverOut); }));
    ::close(listener);
}

void SocketFloor::roundTrip()
{
    const int fd = connectTo(m_path);
    ::send(fd, m_out.data(), m_out.size(), MSG_NOSIGNAL);
    ::recv(fd, m_in.data(), m_in.size(), 0);
    ::close(fd);
}

DirectExchange::DirectExchange(int requestBytes, int answerBytes)
    : RawExchange(requestBytes, answerBytes)
{
    const int listener = listenInTemporaryDirectory(&m_path);
    if (listener < 0)
        return;
    std::vector<char> in(size_t(requestBytes) + 1024);
    const std::vector<char> out(size_t(answerBytes), 'a');
    m_children.push_back(forkChild([&]() { serveDirect(listener, in, out); }));
    ::close(listener);
}

void DirectExchange::roundTrip()
{
    static const char preface[] = "OPEN\n/pps/services/notify/control\n3\n\nbench";
    const int fd = connectTo(m_path);
    ::send(fd, preface, sizeof preface - 1, MSG_NOSIGNAL);
    ::send(fd, m_out.data(), m_out.size(), MSG_NOSIGNAL);
    ::recv(fd, m_in.data(), m_in.size(), 0);
    ::close(fd);
}

void report(const QString &name, const Stats &stats, const Stats *reference,
            const QString &referenceName)
{
    std::printf("%-46s median %9.2f us   p90 %9.2f us   (%d runs)", qPrintable(name),
                stats.median / 1000.0, stats.p90 / 1000.0, stats.iterations);
    if (reference && reference->median > 0)
        std::printf("   %.2fx %s", stats.median / reference->median, qPrintable(referenceName));
    std::printf("\n");
    std::fflush(stdout);
}

bool target(const QString &what, double ratio, const QString &op, double limit)
{
    const bool met = op == QLatin1String("<=") ? ratio <= limit : ratio >= limit;
    std::printf("  target: %-52s %.2f %s %.2f  %s\n", qPrintable(what), ratio, qPrintable(op),
                limit, met ? "met" : "MISSED");
    std::fflush(stdout);
    return met;
}

Comparison::Comparison(const QString &title) : m_title(title) {}

int Comparison::setFloor(const QString &label, const std::function<void()> &operation)
{
    m_floor = add(label, operation);
    return m_floor;
}

int Comparison::add(const QString &label, const std::function<void()> &operation)
{
    m_labels.push_back(label);
    return m_runs.add(operation);
}

void Comparison::expect(int index, Target target, int reference)
{
    m_expectations.push_back(Expectation{index, reference, target});
}

void Comparison::run(int iterations, int block, int warmup)
{
    m_runs.run(iterations, block, warmup);
}

QString Comparison::tag(int index) const
{
    return m_labels.at(size_t(index)).section(QLatin1Char(' '), 0, 0);
}

double Comparison::ratio(int index, int reference) const
{
    if (reference < 0)
        reference = m_floor;
    const double base = reference >= 0 ? stats(reference).median : 0;
    return base > 0 ? stats(index).median / base : 0;
}

bool Comparison::report() const
{
    if (!m_title.isEmpty())
        std::printf("%s\n", qPrintable(m_title));
    const Stats floor = m_floor >= 0 ? stats(m_floor) : Stats();
    for (size_t i = 0; i < m_labels.size(); ++i) {
        if (int(i) == m_floor || m_floor < 0)
            ombench::report(m_labels[i], stats(int(i)));
        else
            ombench::report(m_labels[i], stats(int(i)), &floor,
                            QStringLiteral("of ") + tag(m_floor));
    }
    bool met = true;
    for (const Expectation &e : m_expectations) {
        const int reference = e.reference >= 0 ? e.reference : m_floor;
        met &=
            target(tag(e.index) + QStringLiteral(" / ") + tag(reference), ratio(e.index, reference),
                   e.target.kind == Target::AtLeast ? QStringLiteral(">=") : QStringLiteral("<="),
                   e.target.limit);
    }
    std::printf("\n");
    std::fflush(stdout);
    return met;
}

QVariantMap typicalRequest()
{
    QVariantMap dat;
    dat.insert(QStringLiteral("itemId"), QStringLiteral("{6f1c2a9e-4b1d-4c55-9a43-0b7f7d1e2c3a}"));
    dat.insert(QStringLiteral("title"), QStringLiteral("Meeting moved to 14:30"));
    dat.insert(QStringLiteral("subtitle"),
               QStringLiteral("Room 4.12, bring the quarterly figures"));
    dat.insert(QStringLiteral("timestamp"), QStringLiteral("1795000000000"));
    dat.insert(QStringLiteral("badge"), QStringLiteral("true"));
    dat.insert(QStringLiteral("type"), QStringLiteral("calendar.reminder"));
    dat.insert(QStringLiteral("sound"), QStringLiteral("file:///usr/share/sounds/om/notify.wav"));
    dat.insert(QStringLiteral("iconUrl"), QStringLiteral("file:///apps/calendar/assets/icon.png"));

    QVariantMap message;
    message.insert(QStringLiteral("msg"), QStringLiteral("notify"));
    message.insert(QStringLiteral("id"), QStringLiteral("{6f1c2a9e-4b1d-4c55-9a43-0b7f7d1e2c3a}"));
    message.insert(QStringLiteral("target"), QStringLiteral("com.example.calendar"));
    message.insert(QStringLiteral("targetAction"), QStringLiteral("om.action.VIEW"));
    message.insert(QStringLiteral("payloadType"), QStringLiteral("text/calendar"));
    message.insert(QStringLiteral("payloadURI"), QStringLiteral("calendar://event/20461"));
    message.insert(QStringLiteral("payload"), QStringLiteral("ZXZlbnQ9MjA0NjE7dmlldz1kYXk="));
    message.insert(QStringLiteral("category"), QStringLiteral("reminder"));
    message.insert(QStringLiteral("priority"), QStringLiteral("normal"));
    message.insert(QStringLiteral("sender"), QStringLiteral("com.example.calendar"));
    message.insert(QStringLiteral("locale"), QStringLiteral("en_GB"));
    message.insert(QStringLiteral("summary"), QStringLiteral("Änderung: Besprechung verschoben"));
    message.insert(QStringLiteral("dat"), dat);
    return message;
}

QVariantMap typicalAnswer(const QVariantMap &request)
{
    QVariantMap dat;
    dat.insert(QStringLiteral("itemId"),
               request.value(QStringLiteral("dat")).toMap().value(QStringLiteral("itemId")));
    QVariantMap answer;
    answer.insert(QStringLiteral("res"), request.value(QStringLiteral("msg")));
    answer.insert(QStringLiteral("id"), request.value(QStringLiteral("id")));
    answer.insert(QStringLiteral("dat"), dat);
    return answer;
}

Device::Device(const QString &name)
    : m_name(name), m_root(QStringLiteral("/tmp/ombench-%1-XXXXXX").arg(name)),
      m_data(QStringLiteral("/tmp/ombench-%1-data-XXXXXX").arg(name))
{
    qputenv("OM_PPS_ROOT", QFile::encodeName(m_root.path()));
}

Device::~Device()
{
    stop();
}

void Device::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    m_process.waitForFinished(10000);
}

bool Device::start(const QString &program, const QStringList &arguments)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("OM_DEVICE_DATA"), m_data.path());
    m_process.setProcessEnvironment(env);
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.start(program, arguments);
    QByteArray output;
    while (!output.contains("omdeviced: ready") && m_process.waitForReadyRead(10000))
        output += m_process.readAll();
    if (output.contains("omdeviced: ready"))
        return true;
    std::fprintf(stderr, "bench_%s: omdeviced did not start: %s\n", qPrintable(m_name),
                 output.constData());
    return false;
}

} // namespace ombench
