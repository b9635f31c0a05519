// Any bytes as one message to a service's control object, through the
// whole way an application's message takes: a real broker in this process,
// the object's socket, the server's endpoint, the request layer and the
// service itself. Each target is this file built for one object (see
// CMakeLists.txt: OM_FUZZ_MODULE names the service, OM_FUZZ_OBJECT its
// object).
//
// Every input is followed by a request the service does not know, with an
// id of its own: its answer tells that the input has been dealt with
// (a server takes a client's messages in order). A service that stops
// answering is a finding too: the target aborts.

#include "broker/broker.h"
#include "common/servicemodule.h"

#include <om/ppsobject.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QThread>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

struct Device
{
    QTemporaryDir root;
    QTemporaryDir data;
    std::unique_ptr<QCoreApplication> app;
    std::unique_ptr<omdevice::Broker> broker;
    std::unique_ptr<omdevice::ServiceModule> module;
    std::unique_ptr<om::PpsObject> client;
    quint64 sentinel = 0;

    Device()
    {
        static int argc = 1;
        static char name[] = "fuzz_service";
        static char *argv[] = {name, nullptr};
        qputenv("OM_PPS_ROOT", QFile::encodeName(root.path()));
        qputenv("OM_PACKAGE_NAME", "fuzz.application");
        qputenv("QT_LOGGING_RULES", "*=false");
        app.reset(new QCoreApplication(argc, argv));
        broker.reset(new omdevice::Broker(root.path()));
        QString error;
        if (!broker->start(&error))
            fail(error);
        const omdevice::ModuleInfo *info =
            omdevice::ModuleRegistry::find(QStringLiteral(OM_FUZZ_MODULE));
        if (!info)
            fail(QStringLiteral("no module " OM_FUZZ_MODULE));
        omdevice::DeviceContext context;
        context.dataDirectory = data.path();
        module.reset(info->create(context, nullptr));
        if (!module->start(&error))
            fail(error);
        client.reset(new om::PpsObject(QStringLiteral(OM_FUZZ_OBJECT)));
        if (!client->open(om::PpsOpenMode::PublishSubscribe))
            fail(QStringLiteral("cannot open " OM_FUZZ_OBJECT ": errno %1").arg(client->error()));
    }

    [[noreturn]] static void fail(const QString &why)
    {
        std::fprintf(stderr, "fuzz_service: %s\n", qPrintable(why));
        std::abort();
    }

    // Sends @p message, then the sentinel, and reads until the sentinel's
    // answer: what the message caused has happened by then.
    void exchange(const QByteArray &message)
    {
        if (!client->write(message))
            fail(QStringLiteral("write failed: errno %1").arg(client->error()));
        const QByteArray id = "fuzz-sentinel-" + QByteArray::number(++sentinel);
        if (!client->write("msg::fuzz-sentinel\nid::" + id + '\n'))
            fail(QStringLiteral("write failed: errno %1").arg(client->error()));
        QElapsedTimer waited;
        waited.start();
        int idle = 0;
        for (;;) {
            bool ok = false;
            const QByteArray answer = client->read(&ok);
            if (ok && answer.contains(id))
                return;
            if (ok)
                continue;
            if (client->error() != EAGAIN)
                fail(QStringLiteral("read failed: errno %1").arg(client->error()));
            if (waited.elapsed() > 20000)
                fail(QStringLiteral("no answer from " OM_FUZZ_OBJECT));
            // The service runs on this thread: what is pending for it runs
            // here, and its answer is then on the client's socket. A short
            // sleep after a round that brought nothing (a timer of the
            // service, or the broker's thread, has yet to come).
            if (idle++ > 0)
                QThread::usleep(100);
            QCoreApplication::processEvents(QEventLoop::AllEvents);
        }
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // Lives as long as the process; its directories go when it ends.
    static Device *device = [] {
        Device *made = new Device;
        // Taken down in order when the process ends: client, service,
        // broker (whose thread is joined), application, directories.
        std::atexit([] { delete device; });
        return made;
    }();
    // What the library refuses to send never reaches the service.
    if (size > size_t(om::PpsObject::MaxMessageSize))
        return 0;
    device->exchange(QByteArray(reinterpret_cast<const char *>(data), int(size)));
    return 0;
}
