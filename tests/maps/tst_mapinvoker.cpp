#include "maps/mapinvoker_p.h"
#include "mapstest.h"

#include "fakeserver.h"
#include "warningcapture.h"

#include <om/platform/handsfreenavigation.h>
#include <om/platform/locationmapinvoker.h>
#include <om/platform/mapnavigationmode.h>
#include <om/platform/maptransportationmode.h>
#include <om/platform/mapviewmode.h>
#include <om/platform/routemapinvoker.h>
#include <om/system/invoketargetreply.h>

#include <QTemporaryDir>
#include <QtTest>

using namespace om::platform;

namespace {

const QVariant Unset = QVariant(UnsetCoordinate);

// A map invoker with the base implementation only: it has nothing to send.
class PlainMapInvoker : public MapInvoker
{
public:
    PlainMapInvoker() : MapInvoker(nullptr, new MapInvokerPrivate(this)) {}
};

template <typename T>
QString printed(T value, bool spacing)
{
    QString text;
    {
        QDebug debug(&text);
        if (!spacing)
            debug.nospace();
        debug << value;
    }
    return text;
}

int replyCount(const QObject *invoker)
{
    return invoker->findChildren<om::system::InvokeTargetReply *>().size();
}

} // namespace

class tst_MapInvoker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void setters_data();
    void setters();
    void resets_data();
    void resets();
    void viewMode();

    void payloadIsACString_data();
    void payloadIsACString();
    void emptyTextSurvivesReset();
    void plainInvokerSendsNothing();
    void replyGoesWhenAnswered_data();
    void replyGoesWhenAnswered();
    void unansweredReplyDiesWithInvoker();

    void tracesSwitchedOff();
    void traceWriter_data();
    void traceWriter();

    void debugPrinting_data();
    void debugPrinting();
    void metaObject_data();
    void metaObject();

private:
    mapstest::FakeInvokeService m_bus;
    omtest::FakeServer *m_service = nullptr;
};

void tst_MapInvoker::initTestCase()
{
    qputenv("OM_PACKAGE_NAME", "tst.maps");
    qunsetenv("OM_SLOG_FILE");
}

void tst_MapInvoker::init()
{
    QVERIFY(m_bus.start());
    m_service = m_bus.server();
}

void tst_MapInvoker::cleanup()
{
    m_bus.stop();
}

void tst_MapInvoker::setters_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QVariantList>("before");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QStringList>("expectedSignals");
    QTest::addColumn<QVariant>("stored");

    const QVariant path = QVariant::fromValue(MapSearchMode::Path);
    const QVariant radial = QVariant::fromValue(MapSearchMode::Radial);

    QTest::newRow("current location on") << QByteArray("currentLocationEnabled") << QVariantList()
        << QVariant(true) << QStringList{"currentLocationEnabledChanged(true)"} << QVariant(true);
    QTest::newRow("current location off is the stored value") << QByteArray("currentLocationEnabled")
        << QVariantList() << QVariant(false) << QStringList() << QVariant(false);
    QTest::newRow("search latitude") << QByteArray("searchLatitude") << QVariantList() << QVariant(43.65)
        << QStringList{"searchLatitudeChanged(43.65)"} << QVariant(43.65);
    QTest::newRow("same value twice emits once") << QByteArray("searchLatitude") << QVariantList{43.65}
        << QVariant(43.65) << QStringList() << QVariant(43.65);
    QTest::newRow("search longitude to the marker") << QByteArray("searchLongitude") << QVariantList{-79.38}
        << Unset << QStringList{"searchLongitudeChanged(-2147483648)"} << Unset;
    QTest::newRow("search text") << QByteArray("searchText") << QVariantList()
        << QVariant(QStringLiteral("coffee")) << QStringList{"searchTextChanged(\"coffee\")"}
        << QVariant(QStringLiteral("coffee"));
    QTest::newRow("empty search text over null") << QByteArray("searchText") << QVariantList()
        << QVariant(QLatin1String("")) << QStringList() << QVariant(QString());
    QTest::newRow("empty search text over text") << QByteArray("searchText")
        << QVariantList{QStringLiteral("coffee")} << QVariant(QLatin1String(""))
        << QStringList{"searchTextChanged(\"\")"} << QVariant(QLatin1String(""));
    QTest::newRow("search mode path, both forms") << QByteArray("searchMode") << QVariantList() << path
        << QStringList{"searchModeChanged(Path)", "searchModeChanged(2)"} << path;
    QTest::newRow("search mode radial is the default") << QByteArray("searchMode") << QVariantList()
        << radial << QStringList() << radial;
    QTest::newRow("negative altitude") << QByteArray("altitude") << QVariantList() << QVariant(-5)
        << QStringList{"altitudeChanged(-5)"} << QVariant(-5);
    QTest::newRow("heading 360") << QByteArray("heading") << QVariantList() << QVariant(360)
        << QStringList{"headingChanged(360)"} << QVariant(360);
    QTest::newRow("heading 361 dropped") << QByteArray("heading") << QVariantList() << QVariant(361)
        << QStringList() << QVariant(0);
    QTest::newRow("heading -1 dropped") << QByteArray("heading") << QVariantList() << QVariant(-1)
        << QStringList() << QVariant(0);
    QTest::newRow("stored heading stays") << QByteArray("heading") << QVariantList{90}
        << QVariant(400) << QStringList() << QVariant(90);
    QTest::newRow("heading back to 0") << QByteArray("heading") << QVariantList{90} << QVariant(0)
        << QStringList{"headingChanged(0)"} << QVariant(0);
    QTest::newRow("center latitude 0 is a value") << QByteArray("centerLatitude") << QVariantList()
        << QVariant(0.0) << QStringList{"centerLatitudeChanged(0)"} << QVariant(0.0);
    QTest::newRow("center longitude out of range") << QByteArray("centerLongitude") << QVariantList()
        << QVariant(500.25) << QStringList{"centerLongitudeChanged(500.25)"} << QVariant(500.25);
}

void tst_MapInvoker::setters()
{
    QFETCH(QByteArray, property);
    QFETCH(QVariantList, before);
    QFETCH(QVariant, value);
    QFETCH(QStringList, expectedSignals);
    QFETCH(QVariant, stored);
    // The base's properties behave alike in both subclasses.
    LocationMapInvoker location;
    mapstest::checkProperty(&location, property, before, value, expectedSignals, stored);
    if (QTest::currentTestFailed())
        return;
    RouteMapInvoker route;
    mapstest::checkProperty(&route, property, before, value, expectedSignals, stored);
}

void tst_MapInvoker::resets_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QVariantList>("before");
    QTest::addColumn<QStringList>("expectedSignals");
    QTest::addColumn<QVariant>("stored");

    QTest::newRow("current location") << QByteArray("currentLocationEnabled") << QVariantList{true}
        << QStringList{"currentLocationEnabledChanged(false)"} << QVariant(false);
    QTest::newRow("search latitude on a new object") << QByteArray("searchLatitude") << QVariantList()
        << QStringList() << Unset;
    QTest::newRow("search latitude") << QByteArray("searchLatitude") << QVariantList{1.5}
        << QStringList{"searchLatitudeChanged(-2147483648)"} << Unset;
    QTest::newRow("search text") << QByteArray("searchText") << QVariantList{QStringLiteral("x")}
        << QStringList{"searchTextChanged(null)"} << QVariant(QString());
    QTest::newRow("search text set to empty stays empty") << QByteArray("searchText")
        << QVariantList{QStringLiteral("x"), QLatin1String("")} << QStringList()
        << QVariant(QLatin1String(""));
    QTest::newRow("search mode") << QByteArray("searchMode")
        << QVariantList{QVariant::fromValue(MapSearchMode::Path)}
        << QStringList{"searchModeChanged(Radial)", "searchModeChanged(1)"}
        << QVariant::fromValue(MapSearchMode::Radial);
    QTest::newRow("altitude") << QByteArray("altitude") << QVariantList{1200}
        << QStringList{"altitudeChanged(0)"} << QVariant(0);
    QTest::newRow("heading") << QByteArray("heading") << QVariantList{90}
        << QStringList{"headingChanged(0)"} << QVariant(0);
    QTest::newRow("center latitude") << QByteArray("centerLatitude") << QVariantList{43.6}
        << QStringList{"centerLatitudeChanged(-2147483648)"} << Unset;
    QTest::newRow("center longitude") << QByteArray("centerLongitude") << QVariantList{-79.3}
        << QStringList{"centerLongitudeChanged(-2147483648)"} << Unset;
}

void tst_MapInvoker::resets()
{
    QFETCH(QByteArray, property);
    QFETCH(QVariantList, before);
    QFETCH(QStringList, expectedSignals);
    QFETCH(QVariant, stored);
    LocationMapInvoker invoker;
    mapstest::checkProperty(&invoker, property, before, QVariant(), expectedSignals, stored);
}

void tst_MapInvoker::viewMode()
{
    LocationMapInvoker location;
    RouteMapInvoker route;
    QCOMPARE(location.findChild<MapInvokerPrivate *>()->viewMode(), MapViewMode::Map);
    QCOMPARE(route.findChild<MapInvokerPrivate *>()->viewMode(), MapViewMode::Navigation);
}

void tst_MapInvoker::payloadIsACString_data()
{
    QTest::addColumn<QString>("searchText");
    QTest::addColumn<QByteArray>("payload");

    const QByteArray head("JSON {\"view_mode\":\"map\",\"search\":\"");
    const QByteArray tail("\",\"search_pattern\":\"radial\",\"geolocation\":false}");
    QTest::newRow("NUL ends the payload") << (QStringLiteral("ab") + QChar(0) + QStringLiteral("cd"))
                                          << head + "ab" + QByteArray(1, '\0');
    QTest::newRow("outside Latin-1 is replaced") << QStringLiteral("\u20ac5")
                                                 << head + "?5" + tail + QByteArray(1, '\0');
    QTest::newRow("Latin-1 is one byte") << QStringLiteral("caf\u00e9")
                                         << head + "caf\xe9" + tail + QByteArray(1, '\0');
}

void tst_MapInvoker::payloadIsACString()
{
    QFETCH(QString, searchText);
    QFETCH(QByteArray, payload);
    LocationMapInvoker invoker;
    invoker.setSearchText(searchText);
    invoker.go();
    QVERIFY(m_service->waitForReceived(1));
    QCOMPARE(mapstest::sentInvocation(m_service->last()).data, payload);
}

void tst_MapInvoker::emptyTextSurvivesReset()
{
    // Null and empty compare equal in the setter, so the reset of an empty
    // text changes nothing and the empty key goes on being sent.
    LocationMapInvoker invoker;
    invoker.setSearchText(QStringLiteral("x"));
    invoker.setSearchText(QLatin1String(""));
    invoker.resetSearchText();
    invoker.go();
    QVERIFY(m_service->waitForReceived(1));
    QCOMPARE(mapstest::sentInvocation(m_service->last()).data,
             QByteArray("JSON {\"view_mode\":\"map\",\"search\":\"\",\"search_pattern\":\"radial\","
                        "\"geolocation\":false}") + QByteArray(1, '\0'));
}

void tst_MapInvoker::plainInvokerSendsNothing()
{
    PlainMapInvoker plain;
    plain.setCenterLatitude(1);
    plain.setCenterLongitude(2);
    plain.go();
    QCOMPARE(replyCount(&plain), 0);

    // Something sent afterwards arrives alone.
    LocationMapInvoker location;
    location.go();
    QVERIFY(m_service->waitForReceived(1));
    location.go();
    QVERIFY(m_service->waitForReceived(2));
    QCOMPARE(m_service->received().size(), 2);
    for (const omtest::Received &received : m_service->received())
        QCOMPARE(mapstest::sentInvocation(received).mimeType,
                 QStringLiteral("application/vnd.omb.map.action-v1"));
}

void tst_MapInvoker::replyGoesWhenAnswered_data()
{
    QTest::addColumn<int>("service"); // 0 answers, 1 refuses, 2 is not there

    QTest::newRow("target took it") << 0;
    QTest::newRow("no target") << 1;
    QTest::newRow("no service") << 2;
}

void tst_MapInvoker::replyGoesWhenAnswered()
{
    QFETCH(int, service);
    if (service == 1) {
        m_service->clearScript();
        m_service->respond([](const omtest::Received &r) {
            QVariantMap answer = omtest::FakeServer::okAnswer(r.attributes);
            answer.remove(QStringLiteral("dat"));
            answer.insert(QStringLiteral("err"), 1);
            answer.insert(QStringLiteral("errstr"), QStringLiteral("no target"));
            return QList<omtest::Answer>{omtest::Answer{answer, {}, {}, 0}};
        });
    } else if (service == 2) {
        m_service->stop();
    }
    omtest::WarningCapture capture;
    LocationMapInvoker invoker;
    invoker.go();
    QCOMPARE(replyCount(&invoker), 1);
    // Nothing reaches the application: the reply just goes.
    QTRY_COMPARE(replyCount(&invoker), 0);
    QCOMPARE(capture.warnings(), QStringList());
}

void tst_MapInvoker::unansweredReplyDiesWithInvoker()
{
    m_service->clearScript();
    auto *invoker = new LocationMapInvoker;
    invoker->go();
    QVERIFY(m_service->waitForReceived(1));
    QCOMPARE(replyCount(invoker), 1);
    QPointer<om::system::InvokeTargetReply> reply =
        invoker->findChild<om::system::InvokeTargetReply *>();
    delete invoker;
    QVERIFY(reply.isNull());
    // Its connection to the service closes with it.
    QVERIFY(m_service->waitForClosed(1));
}

void tst_MapInvoker::tracesSwitchedOff()
{
    QVERIFY(!DEBUG_TO_SYSTEMLOG_FILE);
    QTemporaryDir dir;
    const QString logFile = dir.filePath(QStringLiteral("slog"));
    qputenv("OM_SLOG_FILE", QFile::encodeName(logFile));
    m_service->clearScript();
    m_service->respond([](const omtest::Received &r) {
        QVariantMap answer = omtest::FakeServer::okAnswer(r.attributes);
        answer.insert(QStringLiteral("err"), 1);
        return QList<omtest::Answer>{omtest::Answer{answer, {}, {}, 0}};
    });
    LocationMapInvoker invoker;
    invoker.setLocationName(QStringLiteral("Paris"));
    invoker.go();
    QVERIFY(m_service->waitForReceived(1));
    QTRY_COMPARE(replyCount(&invoker), 0);
    qunsetenv("OM_SLOG_FILE");
    QVERIFY(!QFile::exists(logFile));
}

void tst_MapInvoker::traceWriter_data()
{
    QTest::addColumn<int>("bufferSize");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QByteArray>("text");

    const QByteArray prefix("MapInvokerPrivate::sendRequest(): Data is: ");
    QTest::newRow("short") << int(SendTraceBufferSize) << QByteArray("JSON {}")
                           << prefix + "JSON {}";
    const QByteArray longContent(5000, 'x');
    QTest::newRow("cut at the send buffer") << int(SendTraceBufferSize) << longContent
                                            << (prefix + longContent).left(2999);
    QTest::newRow("cut at the reply buffer") << int(ReplyTraceBufferSize) << longContent
                                             << (prefix + longContent).left(199);
}

void tst_MapInvoker::traceWriter()
{
    QFETCH(int, bufferSize);
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, text);
    QTemporaryDir dir;
    const QString logFile = dir.filePath(QStringLiteral("slog"));
    qputenv("OM_SLOG_FILE", QFile::encodeName(logFile));
    writeMapTrace(std::size_t(bufferSize), "MapInvokerPrivate::sendRequest(): Data is: %s",
                  content.constData());
    qunsetenv("OM_SLOG_FILE");
    QFile file(logFile);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = file.readAll().split('\n');
    QCOMPARE(lines.size(), 2); // one line and the end
    // <time> <program>[<pid>] 10000 6 <text>
    const QByteArray marker = "] 10000 6 ";
    const int at = lines.first().indexOf(marker);
    QVERIFY(at > 0);
    QCOMPARE(lines.first().mid(at + marker.size()), text);
}

void tst_MapInvoker::debugPrinting_data()
{
    QTest::addColumn<QString>("spaced");
    QTest::addColumn<QString>("unspaced");
    QTest::addColumn<QString>("name");

    auto row = [](const char *tag, auto value, const char *name) {
        QTest::newRow(tag) << printed(value, true) << printed(value, false) << QString::fromLatin1(name);
    };
    row("MapViewMode::Map", MapViewMode::Map, "MapViewMode::Map");
    row("MapViewMode::Navigation", MapViewMode::Navigation, "MapViewMode::Navigation");
    row("MapViewMode::Satellite", MapViewMode::Satellite, "MapViewMode::Satellite");
    row("MapViewMode 0", MapViewMode::Type(0), "");
    row("MapSearchMode::Radial", MapSearchMode::Radial, "MapSearchMode::Radial");
    row("MapSearchMode::Path", MapSearchMode::Path, "MapSearchMode::Path");
    row("MapSearchMode 3", MapSearchMode::Type(3), "");
    row("MapNavigationMode::Undefined", MapNavigationMode::Undefined, "MapNavigationMode::Undefined");
    row("MapNavigationMode::FastestRoute", MapNavigationMode::FastestRoute, "MapNavigationMode::FastestRoute");
    row("MapNavigationMode::ShortestRoute", MapNavigationMode::ShortestRoute, "MapNavigationMode::ShortestRoute");
    row("MapNavigationMode -1", MapNavigationMode::Type(-1), "");
    row("MapTransportationMode::Undefined", MapTransportationMode::Undefined, "MapTransportationMode::Undefined");
    row("MapTransportationMode::Car", MapTransportationMode::Car, "MapTransportationMode::Car");
    row("MapTransportationMode::Pedestrian", MapTransportationMode::Pedestrian, "MapTransportationMode::Pedestrian");
    row("MapTransportationMode 3", MapTransportationMode::Type(3), "");
    row("HandsFreeNavigation::Undefined", HandsFreeNavigation::Undefined, "HandsFreeNavigation::Undefined");
    row("HandsFreeNavigation::Enabled", HandsFreeNavigation::Enabled, "HandsFreeNavigation::Enabled");
    row("HandsFreeNavigation::Disabled", HandsFreeNavigation::Disabled, "HandsFreeNavigation::Disabled");
    row("HandsFreeNavigation 3", HandsFreeNavigation::Type(3), "");
}

void tst_MapInvoker::debugPrinting()
{
    QFETCH(QString, spaced);
    QFETCH(QString, unspaced);
    QFETCH(QString, name);
    // A value without a name prints nothing at all, not even the blank.
    QCOMPARE(spaced, name.isEmpty() ? QString() : name + QLatin1Char(' '));
    QCOMPARE(unspaced, name);
}

void tst_MapInvoker::metaObject_data()
{
    QTest::addColumn<QByteArray>("className");
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QByteArray>("parameterName");
    QTest::addColumn<int>("revision");

    const QMetaObject *base = &MapInvoker::staticMetaObject;
    const QMetaObject *location = &LocationMapInvoker::staticMetaObject;
    const QMetaObject *route = &RouteMapInvoker::staticMetaObject;
    const struct
    {
        const QMetaObject *meta;
        const char *property;
        const char *parameter;
        int revision;
    } rows[] = {
        {base, "currentLocationEnabled", "enable", 0},
        {base, "searchLatitude", "newSearchLatitude", 0},
        {base, "searchLongitude", "newSearchLongitude", 0},
        {base, "searchText", "newSearchText", 0},
        {base, "searchMode", "newSearchPattern", 0},
        {base, "altitude", "newAltitude", 0},
        {base, "heading", "newHeading", 0},
        {base, "centerLatitude", "newCenterLatitude", 0},
        {base, "centerLongitude", "newCenterLongitude", 0},
        {location, "locationLatitude", "newLocationLatitude", 0},
        {location, "locationLongitude", "newLocationLongitude", 0},
        {location, "locationName", "newLocationName", 0},
        {location, "locationDescription", "newLocationDescription", 0},
        {location, "geocodeLocationEnabled", "enable", 0},
        {location, "kmlContent", "newKmlContent", 0},
        {route, "startLatitude", "newStartLatitude", 0},
        {route, "startLongitude", "newStartLongitude", 0},
        {route, "startName", "newStartName", 0},
        {route, "startDescription", "newStartDescription", 0},
        {route, "startAddress", "newStartAddress", 0},
        {route, "endLatitude", "newEndLatitude", 0},
        {route, "endLongitude", "newEndLongitude", 0},
        {route, "endName", "newEndName", 0},
        {route, "endDescription", "newEndDescription", 0},
        {route, "endAddress", "newEndAddress", 0},
        {route, "handsFreeNavigation", "newValue", 1},
        {route, "navigationMode", "newMode", 0},
        {route, "avoidTollsEnabled", "enable", 0},
        {route, "avoidHighwaysEnabled", "enable", 0},
        {route, "transportationMode", "newMode", 0},
    };
    for (const auto &row : rows) {
        QTest::newRow(row.property) << QByteArray(row.meta->className()) << QByteArray(row.property)
                                    << QByteArray(row.parameter) << row.revision;
    }
}

void tst_MapInvoker::metaObject()
{
    QFETCH(QByteArray, className);
    const QMetaObject *meta = &MapInvoker::staticMetaObject;
    if (className == LocationMapInvoker::staticMetaObject.className())
        meta = &LocationMapInvoker::staticMetaObject;
    else if (className == RouteMapInvoker::staticMetaObject.className())
        meta = &RouteMapInvoker::staticMetaObject;
    QFETCH(QByteArray, property);
    QFETCH(QByteArray, parameterName);
    QFETCH(int, revision);
    const QMetaProperty p = meta->property(meta->indexOfProperty(property));
    QVERIFY(p.isValid());
    QVERIFY(p.isReadable());
    QVERIFY(p.isWritable());
    QVERIFY(p.isResettable());
    QVERIFY(p.isStored());
    QCOMPARE(p.revision(), revision);
    const QMetaMethod notify = p.notifySignal();
    QCOMPARE(notify.name(), property + "Changed");
    QCOMPARE(notify.parameterNames(), QList<QByteArray>{parameterName});
    QCOMPARE(notify.parameterType(0), p.userType());
    QCOMPARE(notify.revision(), revision);

    // Setter and resetter are slots of the same revision.
    const QByteArray capitalised = property.left(1).toUpper() + property.mid(1);
    for (const QByteArray &prefix : {QByteArray("set"), QByteArray("reset")}) {
        bool found = false;
        for (int i = 0; i < meta->methodCount(); ++i) {
            const QMetaMethod method = meta->method(i);
            if (method.name() == prefix + capitalised) {
                QCOMPARE(method.methodType(), QMetaMethod::Slot);
                QCOMPARE(method.revision(), revision);
                found = true;
            }
        }
        QVERIFY2(found, prefix + capitalised);
    }
}

QTEST_GUILESS_MAIN(tst_MapInvoker)
#include "tst_mapinvoker.moc"
