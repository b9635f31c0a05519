// How long the content of a map or route takes to build, and how long one
// invocation takes from invoke() to finished() through the bus and the
// device's invocation service (all in one process, on a private bus).

#include "invoke/invokeservice.h"
#include "testbroker.h"

#include <om/platform/contentformatutility.h>
#include <om/system/invokemanager.h>
#include <om/system/invokerequest.h>
#include <om/system/invoketargetreply.h>

#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using namespace om::platform;

class bench_Maps : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void mapViewContent()
    {
        QString content;
        QBENCHMARK {
            content = generateMapViewContent(JsonContent, 43.6532, -79.3832, 1200, 90, true, 43.65,
                                             -79.38, QStringLiteral("coffee"), MapSearchMode::Radial,
                                             43.6426, -79.3871, QStringLiteral("Tower"),
                                             QStringLiteral("Deck"), false);
        }
        QCOMPARE(content.size(), 327);
    }

    void navigationViewContent()
    {
        QString content;
        QBENCHMARK {
            content = generateNavigationViewContent(
                JsonContent, UnsetCoordinate, UnsetCoordinate, 0, 0, 43.6532, -79.3832,
                QStringLiteral("Home"), QString(), QString(), 43.4723, -80.5449,
                QStringLiteral("Office"), QString(), QStringLiteral("1 Main St"),
                HandsFreeNavigation::Enabled, MapNavigationMode::ShortestRoute, true, false, true,
                MapTransportationMode::Car, UnsetCoordinate, UnsetCoordinate, QString(),
                MapSearchMode::Radial, false);
        }
        QCOMPARE(content.size(), 353);
    }

    void invocationRoundTrip()
    {
        omtest::TestBroker broker;
        QTemporaryDir data;
        omdevice::DeviceContext context;
        context.dataDirectory = data.path();
        omdevice::InvokeService service(context, nullptr);
        QString error;
        QVERIFY2(service.start(&error), qPrintable(error));

        om::system::InvokeRequest request;
        request.setAction(QStringLiteral("om.action.OPEN"));
        request.setMimeType(ACTION_INVOKE_TYPE);
        request.setData(generateDeviceLocation().toLatin1() + QByteArray(1, '\0'));
        om::system::InvokeManager manager;
        QBENCHMARK {
            std::unique_ptr<om::system::InvokeTargetReply> reply(manager.invoke(request));
            QSignalSpy finished(reply.get(), &om::system::InvokeReply::finished);
            QVERIFY(finished.wait(5000));
            QCOMPARE(reply->error(), 0);
        }
    }
};

QTEST_GUILESS_MAIN(bench_Maps)
#include "bench_maps.moc"
