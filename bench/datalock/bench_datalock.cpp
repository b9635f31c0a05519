// Times of the data lock as an application sees them: constructing an
// AdarpDomain (open and first reading), a state change from the publisher
// to the signal, and a lock request to its answer from omdeviced.

#include "deviceprocess.h"
#include "statepublisher.h"
#include "testbroker.h"

#include <om/platform/adarpdomain.h>

#include <QtTest/QtTest>

#include <memory>

using om::platform::AdarpDomain;

namespace {
const QString statePath = QStringLiteral("/pps/system/perimeter/info/1000/enterprise/state");

/** Runs the event loop until @p signal of @p sender comes, at most 5 s. */
template<typename Signal>
bool waitFor(const AdarpDomain *sender, Signal signal)
{
    QEventLoop loop;
    QTimer timer;
    timer.setSingleShot(true);
    bool came = false;
    QObject::connect(sender, signal, &loop, [&]() {
        came = true;
        loop.quit();
    });
    QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
    timer.start(5000);
    loop.exec();
    return came;
}
} // namespace

class bench_DataLock : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void construction()
    {
        omtest::TestBroker broker;
        omdevice::StatePublisher publisher(statePath);
        QVERIFY(publisher.open(nullptr));
        QVERIFY(publisher.publish({{QStringLiteral("state"), 3}}));
        QtMessageHandler previous = qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
        QBENCHMARK {
            AdarpDomain domain;
        }
        qInstallMessageHandler(previous);
    }

    void stateChangeToSignal()
    {
        omtest::TestBroker broker;
        omdevice::StatePublisher publisher(statePath);
        QVERIFY(publisher.open(nullptr));
        QVERIFY(publisher.publish({{QStringLiteral("state"), 1}}));
        QtMessageHandler previous = qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
        AdarpDomain domain;
        qInstallMessageHandler(previous);
        int raw = 1;
        QBENCHMARK {
            raw = raw == 1 ? 3 : 1;
            publisher.publish({{QStringLiteral("state"), raw}});
            QVERIFY(waitFor(&domain, &AdarpDomain::dataLockStateChanged));
        }
    }

    void lockRequestToAnswer()
    {
        omtest::DeviceProcess device;
        QVERIFY(device.start({QStringLiteral("--services=perimeter"), QStringLiteral("--set"),
                              QStringLiteral("perimeter.state=3")}));
        AdarpDomain domain;
        QBENCHMARK {
            QCOMPARE(domain.requestDataLock(QStringLiteral("bench")), 0);
            QVERIFY(waitFor(&domain, &AdarpDomain::responseReceived));
        }
    }
};

QTEST_GUILESS_MAIN(bench_DataLock)
#include "bench_datalock.moc"
