// Any bytes as an answer of the payment service, read by the library's wire
// layer: a record or null, never a crash, a hang or a leak. The layer gets
// one end of a socket pair where it asks the platform to open the service's
// control object; the test writes the bytes into the other end.

#include <om/platform/ommock/paymentserviceinterface.h>

#include <QCoreApplication>

#include <cstdint>
#include <memory>
#include <sys/socket.h>
#include <unistd.h>

namespace {
int nextDescriptor = -1;

void quiet(QtMsgType, const QMessageLogContext &, const QString &) {}
} // namespace

// Stands in for the platform's pps_open for the code of this program.
extern "C" int pps_open(const char *, int)
{
    return nextDescriptor;
}

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    // No bus: what an answer asks to invoke fails at once.
    qputenv("OM_PPS_ROOT", "/nonexistent/om-fuzz");
    static QCoreApplication app(*argc, *argv);
    qInstallMessageHandler(quiet);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, pair) != 0)
        return 0;
    nextDescriptor = pair[0];
    const auto mode = size > 0 && (data[0] & 1) ? om::platform::PaymentConnectionMode::Test
                                                : om::platform::PaymentConnectionMode::Production;
    std::unique_ptr<ommock::PaymentServiceInterface> layer(
        ommock::PaymentServiceInterface::create(mode));
    if (size == 0)
        ::close(pair[1]); // the service is gone
    else
        ::send(pair[1], data, size, MSG_NOSIGNAL);
    const QSharedPointer<ommock::ResponseInfo> record = layer->readResponse();
    if (record) {
        // Everything a record holds can be used.
        for (const om::platform::PurchaseReceipt &receipt : record->purchases)
            (void)receipt.date().toMSecsSinceEpoch();
        if (record->receipt)
            (void)record->receipt->extraParameters().size();
    }
    // A second read finds nothing and says so.
    if (layer->readResponse())
        abort();
    layer.reset();
    if (size != 0)
        ::close(pair[1]);
    // Invocations made for an answer end through the event loop.
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return 0;
}
