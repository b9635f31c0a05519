// Times of the data lock as an application sees them: constructing an
// AdarpDomain (open and first reading), a state change from the publisher
// to the signal, and a lock request to its answer from omdeviced.

#include "common/statepublisher.h"
#include "deviceprocess.h"
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

/** A state object with raw state @p raw, published on the current bus. */
std::unique_ptr<omdevice::StatePublisher> publishState(int raw)
{
    std::unique_ptr<omdevice::StatePublisher> publisher(new omdevice::StatePublisher(statePath));
    if (!publisher->open(nullptr) || !publisher->publish({{QStringLiteral("state"), raw}}))
        publisher.reset();
    return publisher;
}

void ignoreMessages(QtMsgType, const QMessageLogContext &, const QString &) {}
} // namespace

class bench_DataLock : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void construction()
    {
        omtest::TestBroker broker;
        const auto publisher = publishState(3);
        QVERIFY(publisher);
        // Without a control object every construction logs a warning.
        QtMessageHandler previous = qInstallMessageHandler(ignoreMessages);
        QBENCHMARK {
            AdarpDomain domain;
        }
        qInstallMessageHandler(previous);
    }

    void stateChangeToSignal()
    {
        omtest::TestBroker broker;
        const auto publisher = publishState(1);
        QVERIFY(publisher);
        QtMessageHandler previous = qInstallMessageHandler(ignoreMessages);
        AdarpDomain domain;
        qInstallMessageHandler(previous);
        int raw = 1;
        QBENCHMARK {
            raw = raw == 1 ? 3 : 1;
            publisher->publish({{QStringLiteral("state"), raw}});
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
