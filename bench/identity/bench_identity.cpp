// IdentityServiceProvider against the identity service of a real omdeviced,
// measured in one run with the floor beneath it:
//   (a) requestProperties() to propertiesRetrieved, one request at a time;
//   (b) the floor: a raw SOCK_SEQPACKET ping-pong of the same sizes on one
//       persistent connection to a server process, as a provider keeps its
//       connection;
//   (c) 1,000 requestProperties() in flight until the last answer, as a rate;
//   (d) the floor with 1,000 in flight: written as fast as the socket takes
//       them, answers read as they come.
// (a) and (b) are measured in turn, a few runs of each at a time; so are the
// rounds of (c) and (d).
// Usage: bench_identity [iterations]

#include "benchcommon.h"
#include "persistentfloor.h"
#include "deviceprocess.h"

#include <om/platform/identity/identityserviceprovider.h>
#include <om/platform/identity/ombrelid.h>
#include <om/ppsobject.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace om::platform::identity;

namespace {

constexpr int InFlight = 1000;
constexpr int Rounds = 7;

const QStringList Names = {OmbrelId::userNamePropertyKey(), OmbrelId::firstNamePropertyKey(),
                           OmbrelId::emailPropertyKey()};

// The sizes on the wire of one requestProperties() of Names and its answer.
int requestBytes()
{
    return om::PpsObject::encode({{"msg", "getProperties"},
                                  {"id", "123456"},
                                  {"dat", QVariantMap{{"type", 0}, {"names", Names}}}})
        .size();
}

int answerBytes()
{
    QVariantList pairs;
    for (const QString &name : Names)
        pairs.append(QVariantMap{{"name", name}, {"value", "alex@example.org"}});
    return om::PpsObject::encode({{"res", "getProperties"},
                                  {"id", "123456"},
                                  {"dat", QVariantMap{{"properties", pairs}}}})
               .size() +
           int(sizeof "@control\n") - 1;
}

double seconds(const std::function<void()> &operation)
{
    const auto start = std::chrono::steady_clock::now();
    operation();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/** CPU time of process @p pid (0: this one) so far, in seconds. */
double cpuOf(pid_t pid)
{
    QFile file(pid ? QStringLiteral("/proc/%1/schedstat").arg(pid)
                   : QStringLiteral("/proc/self/schedstat"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return file.readAll().split(' ').value(0).toDouble() / 1e9;
}

/** The omdeviced that this process started. */
pid_t deviceProcess()
{
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &entry : entries) {
        QFile stat(QStringLiteral("/proc/%1/stat").arg(entry));
        if (!stat.open(QIODevice::ReadOnly))
            continue;
        const QByteArray text = stat.readAll();
        const int close = text.lastIndexOf(')');
        const QList<QByteArray> fields = text.mid(close + 2).split(' ');
        if (text.contains("(omdeviced)") && fields.value(1).toInt() == ::getpid())
            return pid_t(entry.toInt());
    }
    return 0;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const int iterations = argc > 1 ? std::max(100, std::atoi(argv[1])) : 2000;

    omtest::DeviceProcess device;
    if (!device.start({QStringLiteral("--services=identity")})) {
        std::fprintf(stderr, "bench_identity: omdeviced did not start:\n%s\n",
                     device.output().constData());
        return 1;
    }
    IdentityServiceProvider provider(OmbrelId::providerName());
    if (!provider.isValid()) {
        std::fprintf(stderr, "bench_identity: no identity service\n");
        return 1;
    }
    int answers = 0;
    QObject::connect(&provider,
                     qOverload<int, const QMap<QString, QString> &>(
                         &IdentityServiceProvider::propertiesRetrieved),
                     [&answers](int, const QMap<QString, QString> &) { ++answers; });
    auto waitForAnswers = [&answers](int count) {
        while (answers < count)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    };

    const int out = requestBytes();
    const int in = answerBytes();
    ombench::PersistentFloor floor(out, in);
    std::printf("bench_identity: %d iterations; requests of %d bytes, answers of %d\n", iterations,
                out, in);

    ombench::Interleaved one;
    const int a = one.add([&] {
        answers = 0;
        provider.requestProperties(0, Names);
        waitForAnswers(1);
    });
    const int b = one.add([&] { floor.roundTrip(); });
    one.run(iterations);
    const ombench::Stats library = one.stats(a);
    const ombench::Stats raw = one.stats(b);
    ombench::report(QStringLiteral("(b) raw ping-pong, persistent connection"), raw);
    ombench::report(QStringLiteral("(a) requestProperties -> propertiesRetrieved"), library, &raw,
                    QStringLiteral("of (b)"));

    std::vector<double> libraryRates;
    std::vector<double> floorRates;
    const pid_t service = deviceProcess();
    double clientCpu = 0;
    double serviceCpu = 0;
    for (int round = 0; round < Rounds; ++round) {
        const double clientBefore = cpuOf(0);
        const double serviceBefore = cpuOf(service);
        libraryRates.push_back(InFlight / seconds([&] {
                                   answers = 0;
                                   for (int i = 0; i < InFlight; ++i)
                                       provider.requestProperties(0, Names);
                                   waitForAnswers(InFlight);
                               }));
        clientCpu += cpuOf(0) - clientBefore;
        serviceCpu += cpuOf(service) - serviceBefore;
        floorRates.push_back(InFlight / seconds([&] { floor.inFlight(InFlight); }));
    }
    const double libraryRate = median(libraryRates);
    const double floorRate = median(floorRates);
    std::printf("%-46s %9.0f requests/s\n", "(d) raw, 1000 in flight", floorRate);
    std::printf("%-46s %9.0f requests/s   %.2fx of (d)\n", "(c) requestProperties, 1000 in flight",
                libraryRate, libraryRate / floorRate);
    std::printf("%-46s client %.1f us, service %.1f us\n", "    CPU time per request in (c)",
                clientCpu * 1e6 / (Rounds * InFlight), serviceCpu * 1e6 / (Rounds * InFlight));

    const bool latency = ombench::target(QStringLiteral("(a) / (b), one at a time"),
                                         library.median / raw.median, QStringLiteral("<="), 3.0);
    const bool rate = ombench::target(QStringLiteral("(c) / (d), 1000 in flight"),
                                      libraryRate / floorRate, QStringLiteral(">="), 1.0 / 3.0);
    return latency && rate ? 0 : 2;
}
