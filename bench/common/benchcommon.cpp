#include "benchcommon.h"

#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <csignal>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace ombench {

Stats measure(const std::function<void()> &operation, int iterations, int warmup)
{
    for (int i = 0; i < warmup; ++i)
        operation();
    std::vector<double> times;
    times.reserve(size_t(iterations));
    for (int i = 0; i < iterations; ++i) {
        const auto start = std::chrono::steady_clock::now();
        operation();
        const auto end = std::chrono::steady_clock::now();
        times.push_back(std::chrono::duration<double, std::nano>(end - start).count());
    }
    std::sort(times.begin(), times.end());
    Stats stats;
    stats.iterations = iterations;
    stats.median = times[times.size() / 2];
    stats.p90 = times[std::min(times.size() - 1, times.size() * 9 / 10)];
    return stats;
}

namespace {

// Runs in a forked child: only system calls, on buffers made before the fork.
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

} // namespace

Stats rawSocketFloor(int requestBytes, int answerBytes, int iterations)
{
    QTemporaryDir dir(QStringLiteral("/tmp/ombench-XXXXXX"));
    const QByteArray path = QFile::encodeName(dir.path() + QStringLiteral("/floor"));
    sockaddr_un addr;
    std::memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    std::memcpy(addr.sun_path, path.constData(), size_t(path.size()));

    const int listener = ::socket(AF_UNIX, SOCK_SEQPACKET, 0);
    ::bind(listener, reinterpret_cast<sockaddr *>(&addr), sizeof addr);
    ::listen(listener, 64);
    std::vector<char> serverIn(size_t(requestBytes) + 1024);
    const std::vector<char> serverOut(size_t(answerBytes), 'a');
    const pid_t child = ::fork();
    if (child == 0) {
        serveFloor(listener, serverIn, serverOut);
        ::_exit(0);
    }
    ::close(listener);

    const std::vector<char> out(size_t(requestBytes), 'r');
    std::vector<char> in(size_t(answerBytes) + 1024);
    const Stats stats = measure(
        [&]() {
            const int fd = ::socket(AF_UNIX, SOCK_SEQPACKET, 0);
            ::connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr);
            ::send(fd, out.data(), out.size(), MSG_NOSIGNAL);
            ::recv(fd, in.data(), in.size(), 0);
            ::close(fd);
        },
        iterations);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    return stats;
}

void report(const QString &name, const Stats &stats, const Stats *reference, const QString &referenceName)
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
    std::printf("  target: %-52s %.2f %s %.2f  %s\n", qPrintable(what), ratio, qPrintable(op), limit,
                met ? "met" : "MISSED");
    std::fflush(stdout);
    return met;
}

QVariantMap typicalRequest()
{
    QVariantMap dat;
    dat.insert(QStringLiteral("itemId"), QStringLiteral("{6f1c2a9e-4b1d-4c55-9a43-0b7f7d1e2c3a}"));
    dat.insert(QStringLiteral("title"), QStringLiteral("Meeting moved to 14:30"));
    dat.insert(QStringLiteral("subtitle"), QStringLiteral("Room 4.12, bring the quarterly figures"));
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
    dat.insert(QStringLiteral("itemId"), request.value(QStringLiteral("dat")).toMap().value(QStringLiteral("itemId")));
    QVariantMap answer;
    answer.insert(QStringLiteral("res"), request.value(QStringLiteral("msg")));
    answer.insert(QStringLiteral("id"), request.value(QStringLiteral("id")));
    answer.insert(QStringLiteral("dat"), dat);
    return answer;
}

} // namespace ombench
