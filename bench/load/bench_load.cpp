// Many applications posting notifications at once against one omdeviced:
// client processes, each its own application, each sending its items one
// after the other as fast as the answers come. Prints the throughput, the
// median and 99th percentile of the time to an answer under that load
// against the floor (a raw SOCK_SEQPACKET round trip of the same sizes,
// measured in the same run), whether every item answered "ok" is in the
// inbox, and the device's memory (RSS) before and after.
// Usage: bench_load [clients [items-per-client]]   (default 100 x 100; the
// full run is bench_load 100 1000)

#include "benchcommon.h"

#include <om/ppsobject.h>
#include <sys/pps.h>

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {

const char NotifyControl[] = "/pps/services/notify/control";

QByteArray notifyText(int client, int n)
{
    const QString itemId = QStringLiteral("c%1-%2").arg(client).arg(n);
    return om::PpsObject::encode(
        {{QStringLiteral("msg"), QStringLiteral("notify")},
         {QStringLiteral("id"), itemId},
         {QStringLiteral("dat"),
          QVariantMap{{QStringLiteral("itemId"), itemId},
                      {QStringLiteral("title"), QStringLiteral("New message from Alice")},
                      {QStringLiteral("subtitle"),
                       QStringLiteral("Are we still on for lunch tomorrow at noon?")},
                      {QStringLiteral("type"), QStringLiteral("messages")}}}});
}

// One message read from @p fd within 10 s; empty if none.
QByteArray readMessage(int fd)
{
    pollfd readable{fd, POLLIN, 0};
    if (::poll(&readable, 1, 10000) != 1)
        return QByteArray();
    QByteArray buffer(70000, '\0');
    const ssize_t n = ::read(fd, buffer.data(), size_t(buffer.size()));
    if (n <= 0)
        return QByteArray();
    buffer.truncate(int(n));
    return buffer;
}

bool isError(const QByteArray &answer)
{
    return answer.isEmpty() || answer.contains("\nerr:") || answer.contains("\nerr::");
}

// A client process: connects, says "ready", waits for the start, posts
// @p count items one after the other and writes the time to each answer
// (ns, one a line) to @p times. Exit status 0 if every item was answered
// "ok".
int client(int index, int count, const QString &times)
{
    const int fd = pps_open(NotifyControl, O_RDWR);
    if (fd < 0) {
        std::perror("bench_load client: open");
        return 1;
    }
    std::vector<qint64> took;
    took.reserve(size_t(count));
    std::printf("ready\n");
    std::fflush(stdout);
    char go;
    if (::read(STDIN_FILENO, &go, 1) != 1)
        return 1;
    int failed = 0;
    for (int n = 0; n < count; ++n) {
        const QByteArray text = notifyText(index, n);
        const auto start = std::chrono::steady_clock::now();
        if (::write(fd, text.constData(), size_t(text.size())) != text.size()) {
            ++failed;
            break;
        }
        const QByteArray answer = readMessage(fd);
        took.push_back(std::chrono::duration_cast<std::chrono::nanoseconds>(
                           std::chrono::steady_clock::now() - start)
                           .count());
        if (isError(answer))
            ++failed;
    }
    ::close(fd);
    QFile out(times);
    if (!out.open(QIODevice::WriteOnly))
        return 1;
    QByteArray lines;
    for (qint64 t : took)
        lines += QByteArray::number(t) + '\n';
    out.write(lines);
    return failed == 0 && int(took.size()) == count ? 0 : 1;
}

qint64 rssKiB(qint64 pid)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

// The number of items in the inbox, as the user side tells it.
int inboxTotal()
{
    const int fd = pps_open("/pps/simulator/notifications", O_RDWR);
    if (fd < 0)
        return -1;
    const QByteArray request =
        om::PpsObject::encode({{QStringLiteral("msg"), QStringLiteral("inbox")},
                               {QStringLiteral("id"), QStringLiteral("1")}});
    int total = -1;
    if (::write(fd, request.constData(), size_t(request.size())) == request.size()) {
        const QVariantMap answer = om::PpsObject::decode(readMessage(fd));
        for (const QVariant &value : answer) {
            const QVariantMap inner = value.toMap();
            if (inner.contains(QStringLiteral("dat")))
                total = inner.value(QStringLiteral("dat"))
                            .toMap()
                            .value(QStringLiteral("total"))
                            .toInt();
        }
    }
    ::close(fd);
    return total;
}

double percentile(const std::vector<qint64> &sorted, double p)
{
    if (sorted.empty())
        return 0;
    const size_t at = std::min(sorted.size() - 1, size_t(p * double(sorted.size())));
    return double(sorted[at]);
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc == 5 && QByteArray(argv[1]) == "--client")
        return client(QByteArray(argv[2]).toInt(), QByteArray(argv[3]).toInt(),
                      QString::fromLocal8Bit(argv[4]));
    QCoreApplication app(argc, argv);
    const int clients = argc > 1 ? QByteArray(argv[1]).toInt() : 100;
    const int perClient = argc > 2 ? QByteArray(argv[2]).toInt() : 100;
    if (clients <= 0 || perClient <= 0) {
        std::fprintf(stderr, "usage: bench_load [clients [items-per-client]]\n");
        return 2;
    }

    QTemporaryDir times(QStringLiteral("/tmp/ombench-load-times-XXXXXX"));
    ombench::Device device(QStringLiteral("load"));
    const QStringList arguments{QStringLiteral("--services=notifications"), QStringLiteral("--set"),
                                QStringLiteral("inbox-cap=%1").arg(std::max(perClient, 1000))};
    if (!device.start(QStringLiteral(OMDEVICED_PATH), arguments))
        return 1;
    const qint64 rssBefore = rssKiB(device.processId());

    // The floor: one round trip of the same sizes between two processes.
    const QByteArray request = notifyText(0, 0);
    const int answerBytes =
        int(QByteArray("@control\nres::notify\nid::c0-0\ndat:json:{\"itemId\":\"c0-0\"}\n").size());
    ombench::SocketFloor floor(request.size(), answerBytes);
    const ombench::Stats floorStats = ombench::measure([&]() { floor.roundTrip(); }, 2000, 100);

    std::printf("bench_load: %d client processes x %d notifications, request %d bytes\n\n", clients,
                perClient, int(request.size()));
    std::vector<std::unique_ptr<QProcess>> children;
    for (int i = 0; i < clients; ++i) {
        auto child = std::make_unique<QProcess>();
        QProcessEnvironment childEnv = QProcessEnvironment::systemEnvironment();
        childEnv.insert(QStringLiteral("OM_PACKAGE_NAME"),
                        QStringLiteral("com.example.load%1").arg(i));
        child->setProcessEnvironment(childEnv);
        child->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child->start(QCoreApplication::applicationFilePath(),
                     {QStringLiteral("--client"), QString::number(i), QString::number(perClient),
                      times.filePath(QString::number(i))});
        children.push_back(std::move(child));
    }
    for (auto &child : children) {
        QByteArray said;
        while (!said.contains("ready") && child->waitForReadyRead(10000))
            said += child->readAll();
        if (!said.contains("ready")) {
            std::fprintf(stderr, "bench_load: a client did not connect\n");
            return 1;
        }
    }
    const auto start = std::chrono::steady_clock::now();
    for (auto &child : children) {
        child->write("g");
        child->waitForBytesWritten();
    }
    int failedClients = 0;
    for (auto &child : children) {
        if (!child->waitForFinished(600000) || child->exitStatus() != QProcess::NormalExit ||
            child->exitCode() != 0)
            ++failedClients;
    }
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

    std::vector<qint64> took;
    for (int i = 0; i < clients; ++i) {
        QFile in(times.filePath(QString::number(i)));
        if (!in.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray &line : in.readAll().split('\n')) {
            if (!line.isEmpty())
                took.push_back(line.toLongLong());
        }
    }
    std::sort(took.begin(), took.end());
    const qint64 sent = qint64(clients) * perClient;
    const int kept = inboxTotal();
    const qint64 rssAfter = rssKiB(device.processId());

    const double p50 = percentile(took, 0.5);
    const double p99 = percentile(took, 0.99);
    std::printf("throughput:            %.0f notifications/s (%lld answered in %.2f s)\n",
                double(took.size()) / seconds, static_cast<long long>(took.size()), seconds);
    std::printf("to the answer, median: %.3f ms (%.1fx the floor)\n", p50 / 1e6,
                p50 / floorStats.median);
    std::printf("to the answer, p99:    %.3f ms (%.1fx the floor)\n", p99 / 1e6,
                p99 / floorStats.median);
    // One server answers them all: what each notification costs it, against
    // what one round trip costs the machine at the least.
    const double perItem = seconds * 1e9 / double(std::max<size_t>(1, took.size()));
    std::printf("time per notification: %.1f us (1 / throughput; %.1fx the floor)\n", perItem / 1e3,
                perItem / floorStats.median);
    std::printf("floor (raw round trip, no load): %.1f us\n", floorStats.median / 1e3);
    std::printf("in the inbox:          %d of %lld sent; clients that failed: %d\n", kept,
                static_cast<long long>(sent), failedClients);
    std::printf("omdeviced RSS:         %lld KiB before, %lld KiB after (%.0f bytes per item)\n",
                static_cast<long long>(rssBefore), static_cast<long long>(rssAfter),
                kept > 0 ? double(rssAfter - rssBefore) * 1024.0 / kept : 0.0);
    // Started again on what it keeps: the inbox is read item by item.
    device.stop();
    const auto restart = std::chrono::steady_clock::now();
    const bool restarted = device.start(QStringLiteral(OMDEVICED_PATH), arguments);
    const double restartMs =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - restart)
            .count();
    std::printf("restart to ready:      %.0f ms with %d items kept, RSS then %lld KiB\n", restartMs,
                kept, static_cast<long long>(rssKiB(device.processId())));
    const bool nothingLost =
        restarted && ombench::target(QStringLiteral("items lost / answered \"ok\""),
                                     kept >= 0 ? double(sent - kept) / double(sent) : 1.0,
                                     QStringLiteral("<="), 0);

    return nothingLost && failedClients == 0 ? 0 : 1;
}
