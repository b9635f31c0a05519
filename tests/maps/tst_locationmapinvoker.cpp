#include "mapstest.h"

#include <om/platform/contentformatutility.h>
#include <om/platform/locationmapinvoker.h>

#include <QtTest>

using namespace om::platform;

namespace {

using Step = std::function<void(LocationMapInvoker &)>;

const QString ActionType = QStringLiteral("application/vnd.omb.map.action-v1");
const QString KmlType = QStringLiteral("application/vnd.google-earth.kml+xml");
const QByteArray EmptyMap("JSON {\"view_mode\":\"map\",\"geolocation\":false}");
const QString Kml = QStringLiteral("<kml><Placemark><name>P</name></Placemark></kml>");

void fullLocation(LocationMapInvoker &invoker)
{
    invoker.setLocationLatitude(48.8566);
    invoker.setLocationLongitude(2.3522);
    invoker.setLocationName(QStringLiteral("Paris"));
    invoker.setLocationDescription(QStringLiteral("City"));
    invoker.setGeocodeLocationEnabled(true);
}

} // namespace

Q_DECLARE_METATYPE(Step)

class tst_LocationMapInvoker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qputenv("OM_PACKAGE_NAME", "locationmapinvoker"); }
    void init();
    void cleanup();

    void scenario_data();
    void scenario();

private:
    mapstest::FakeInvokeService m_service;
};

void tst_LocationMapInvoker::init()
{
    QVERIFY(m_service.start());
}

void tst_LocationMapInvoker::cleanup()
{
    m_service.stop();
}

void tst_LocationMapInvoker::scenario_data()
{
    mapstest::addScenarioColumns<LocationMapInvoker>();

    const QVariant unset(UnsetCoordinate);
    const QVariant null = QVariant(QString());

    QTest::newRow("new object") << Step() << Step([](LocationMapInvoker &) {})
        << QStringList() << QVariantMap{{"kmlContent", null}, {"locationName", null}}
        << ActionType << EmptyMap;

    // Plain setters.
    QTest::newRow("name") << Step() << Step([](LocationMapInvoker &i) { i.setLocationName(QStringLiteral("Paris")); })
        << QStringList{"locationNameChanged(\"Paris\")"} << QVariantMap{{"locationName", "Paris"}}
        << ActionType << EmptyMap;
    QTest::newRow("empty name over null") << Step()
        << Step([](LocationMapInvoker &i) { i.setLocationName(QLatin1String("")); })
        << QStringList() << QVariantMap{{"locationName", null}} << ActionType << EmptyMap;
    QTest::newRow("empty description over text")
        << Step([](LocationMapInvoker &i) { i.setLocationDescription(QStringLiteral("d")); })
        << Step([](LocationMapInvoker &i) { i.setLocationDescription(QLatin1String("")); })
        << QStringList{"locationDescriptionChanged(\"\")"}
        << QVariantMap{{"locationDescription", QLatin1String("")}} << ActionType << EmptyMap;
    QTest::newRow("geocoded name only") << Step()
        << Step([](LocationMapInvoker &i) {
               i.setLocationName(QStringLiteral("Paris"));
               i.setGeocodeLocationEnabled(true);
           })
        << QStringList{"locationNameChanged(\"Paris\")", "geocodeLocationEnabledChanged(true)"}
        << QVariantMap() << ActionType
        << QByteArray("JSON {\"view_mode\":\"map\",\"placemark\":{\"name\":\"Paris\",\"geocode\":true},"
                      "\"geolocation\":false}");
    QTest::newRow("full location") << Step() << Step(fullLocation)
        << QStringList{"locationLatitudeChanged(48.8566)", "locationLongitudeChanged(2.3522)",
                       "locationNameChanged(\"Paris\")", "locationDescriptionChanged(\"City\")",
                       "geocodeLocationEnabledChanged(true)"}
        << QVariantMap() << ActionType
        << QByteArray("JSON {\"view_mode\":\"map\",\"placemark\":{\"latitude\":48.8566,\"longitude\":"
                      "2.3522,\"name\":\"Paris\",\"description\":\"City\",\"geocode\":true},"
                      "\"geolocation\":false}");

    // KML cancels the location: location signals first, KML last.
    QTest::newRow("KML over a full location") << Step(fullLocation)
        << Step([](LocationMapInvoker &i) { i.setKmlContent(Kml); })
        << QStringList{"locationLatitudeChanged(-2147483648)", "locationLongitudeChanged(-2147483648)",
                       "locationNameChanged(null)", "locationDescriptionChanged(null)",
                       "kmlContentChanged(\"" + Kml + "\")"}
        << QVariantMap{{"locationLatitude", unset}, {"locationLongitude", unset},
                       {"locationName", null}, {"locationDescription", null},
                       {"geocodeLocationEnabled", true}, {"kmlContent", Kml}}
        << KmlType << Kml.toLatin1();
    QTest::newRow("KML over a half location") << Step([](LocationMapInvoker &i) { i.setLocationLongitude(2); })
        << Step([](LocationMapInvoker &i) { i.setKmlContent(Kml); })
        << QStringList{"locationLongitudeChanged(-2147483648)", "kmlContentChanged(\"" + Kml + "\")"}
        << QVariantMap() << KmlType << Kml.toLatin1();
    QTest::newRow("same KML twice") << Step([](LocationMapInvoker &i) { i.setKmlContent(Kml); })
        << Step([](LocationMapInvoker &i) { i.setKmlContent(Kml); })
        << QStringList() << QVariantMap() << KmlType << Kml.toLatin1();
    QTest::newRow("empty KML on a new object") << Step()
        << Step([](LocationMapInvoker &i) { i.setKmlContent(QLatin1String("")); })
        << QStringList() << QVariantMap{{"kmlContent", null}} << ActionType << EmptyMap;
    QTest::newRow("empty KML over KML clears the location too")
        << Step([](LocationMapInvoker &i) {
               i.setKmlContent(Kml);
               i.setLocationName(QStringLiteral("kept"));
           })
        << Step([](LocationMapInvoker &i) { i.setKmlContent(QLatin1String("")); })
        << QStringList{"locationNameChanged(null)", "kmlContentChanged(\"\")"}
        << QVariantMap{{"kmlContent", QLatin1String("")}} << KmlType << QByteArray();

    // A complete pair cancels the KML: KML signal first, coordinate last.
    QTest::newRow("latitude alone keeps the KML") << Step([](LocationMapInvoker &i) { i.setKmlContent(Kml); })
        << Step([](LocationMapInvoker &i) { i.setLocationLatitude(48.8566); })
        << QStringList{"locationLatitudeChanged(48.8566)"}
        << QVariantMap{{"kmlContent", Kml}, {"locationLatitude", 48.8566}} << KmlType << Kml.toLatin1();
    QTest::newRow("longitude completes the pair")
        << Step([](LocationMapInvoker &i) {
               i.setKmlContent(Kml);
               i.setLocationLatitude(48.8566);
           })
        << Step([](LocationMapInvoker &i) { i.setLocationLongitude(2.3522); })
        << QStringList{"kmlContentChanged(null)", "locationLongitudeChanged(2.3522)"}
        << QVariantMap{{"kmlContent", null}} << ActionType
        << QByteArray("JSON {\"view_mode\":\"map\",\"placemark\":{\"latitude\":48.8566,\"longitude\":"
                      "2.3522,\"geocode\":false},\"geolocation\":false}");
    QTest::newRow("latitude completes the pair")
        << Step([](LocationMapInvoker &i) {
               i.setKmlContent(Kml);
               i.setLocationLongitude(2.3522);
           })
        << Step([](LocationMapInvoker &i) { i.setLocationLatitude(48.8566); })
        << QStringList{"kmlContentChanged(null)", "locationLatitudeChanged(48.8566)"}
        << QVariantMap{{"kmlContent", null}} << ActionType
        << QByteArray("JSON {\"view_mode\":\"map\",\"placemark\":{\"latitude\":48.8566,\"longitude\":"
                      "2.3522,\"geocode\":false},\"geolocation\":false}");
    QTest::newRow("a coordinate reset keeps the KML")
        << Step([](LocationMapInvoker &i) {
               i.setKmlContent(Kml);
               i.setLocationLatitude(48.8566);
           })
        << Step([](LocationMapInvoker &i) { i.resetLocationLatitude(); })
        << QStringList{"locationLatitudeChanged(-2147483648)"}
        << QVariantMap{{"kmlContent", Kml}} << KmlType << Kml.toLatin1();
    QTest::newRow("name over KML is kept but not sent")
        << Step([](LocationMapInvoker &i) { i.setKmlContent(Kml); })
        << Step([](LocationMapInvoker &i) {
               i.setLocationName(QStringLiteral("Paris"));
               i.setGeocodeLocationEnabled(true);
           })
        << QStringList{"locationNameChanged(\"Paris\")", "geocodeLocationEnabledChanged(true)"}
        << QVariantMap{{"locationName", "Paris"}, {"kmlContent", Kml}} << KmlType << Kml.toLatin1();
    QTest::newRow("KML reset leaves the location alone")
        << Step([](LocationMapInvoker &i) {
               i.setKmlContent(Kml);
               i.setLocationName(QStringLiteral("Paris"));
               i.setGeocodeLocationEnabled(true);
           })
        << Step([](LocationMapInvoker &i) { i.resetKmlContent(); })
        << QStringList{"kmlContentChanged(null)"}
        << QVariantMap{{"locationName", "Paris"}} << ActionType
        << QByteArray("JSON {\"view_mode\":\"map\",\"placemark\":{\"name\":\"Paris\",\"geocode\":true},"
                      "\"geolocation\":false}");
    QTest::newRow("KML hides the base properties")
        << Step([](LocationMapInvoker &i) {
               i.setCenterLatitude(1);
               i.setCenterLongitude(2);
               i.setSearchText(QStringLiteral("coffee"));
               i.setCurrentLocationEnabled(true);
           })
        << Step([](LocationMapInvoker &i) { i.setKmlContent(Kml); })
        << QStringList{"kmlContentChanged(\"" + Kml + "\")"}
        << QVariantMap{{"searchText", "coffee"}, {"centerLatitude", 1}, {"currentLocationEnabled", true}}
        << KmlType << Kml.toLatin1();
    QTest::newRow("KML is sent as it is") << Step()
        << Step([](LocationMapInvoker &i) { i.setKmlContent(QStringLiteral("not \"xml\" at all")); })
        << QStringList{"kmlContentChanged(\"not \"xml\" at all\")"} << QVariantMap() << KmlType
        << QByteArray("not \"xml\" at all");
}

void tst_LocationMapInvoker::scenario()
{
    mapstest::runScenario<LocationMapInvoker>(m_service.server());
}

QTEST_GUILESS_MAIN(tst_LocationMapInvoker)
#include "tst_locationmapinvoker.moc"
