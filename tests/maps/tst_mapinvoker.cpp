#include "maps/mapinvoker_p.h"

#include "fakeserver.h"
#include "testbroker.h"
#include "warningcapture.h"

#include <om/platform/contentformatutility.h>
#include <om/platform/handsfreenavigation.h>
#include <om/platform/locationmapinvoker.h>
#include <om/platform/mapnavigationmode.h>
#include <om/platform/maptransportationmode.h>
#include <om/platform/mapviewmode.h>
#include <om/platform/routemapinvoker.h>
#include <om/system/invoketargetreply.h>

#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using namespace om::platform;

namespace {

/** Property writes, in order; an invalid value resets the property. */
using Writes = QVector<QPair<QByteArray, QVariant>>;

const QString ActionType = QStringLiteral("application/vnd.omb.map.action-v1");
const QString KmlType = QStringLiteral("application/vnd.google-earth.kml+xml");
const QByteArray EmptyMap("JSON {\"view_mode\":\"map\",\"geolocation\":false}");
const QString Kml = QStringLiteral("<kml><Placemark><name>P</name></Placemark></kml>");
const QString Unset = QStringLiteral("-2147483648");

/** A value as the tests write it: strings quoted ("null" for a null string),
 *  enumerations by their key, doubles with ten significant digits. */
QString render(const QVariant &value)
{
    const int type = value.userType();
    if (type == QMetaType::QString)
        return value.toString().isNull() ? QStringLiteral("null") : '"' + value.toString() + '"';
    if (const QMetaObject *meta = QMetaType(type).metaObject()) {
        const char *key = meta->enumerator(meta->indexOfEnumerator("Type")).valueToKey(value.toInt());
        return key ? QString::fromLatin1(key) : value.toString();
    }
    return type == QMetaType::Double ? QString::number(value.toDouble(), 'g', 10) : value.toString();
}

/** Records each signal of an object as "name(argument, ...)", in order of emission. */
class SignalRecorder : public QObject
{
public:
    explicit SignalRecorder(QObject *target)
    {
        const QMetaObject *meta = target->metaObject();
        const int offset = QObject::staticMetaObject.methodCount();
        for (int i = offset; i < meta->methodCount(); ++i) {
            if (meta->method(i).methodType() != QMetaMethod::Signal)
                continue;
            QMetaObject::connect(target, i, this, offset + m_signals.size(), Qt::DirectConnection);
            m_signals.append(meta->method(i));
        }
    }

    QStringList records;

    int qt_metacall(QMetaObject::Call call, int id, void **args) override
    {
        id = QObject::qt_metacall(call, id, args);
        if (id < 0 || call != QMetaObject::InvokeMetaMethod)
            return id;
        const QMetaMethod method = m_signals.at(id);
        QStringList values;
        for (int i = 0; i < method.parameterCount(); ++i)
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
            values.append(render(QVariant(method.parameterMetaType(i), args[i + 1])));
#else
            values.append(render(QVariant(method.parameterType(i), args[i + 1])));
#endif
        records.append(QString::fromLatin1(method.name() + '(') + values.join(QLatin1String(", ")) + ')');
        return -1;
    }

private:
    QList<QMetaMethod> m_signals;
};

bool write(QObject *object, const Writes &writes)
{
    for (const auto &w : writes) {
        const QMetaProperty p = object->metaObject()->property(
            object->metaObject()->indexOfProperty(w.first.constData()));
        if (!(w.second.isValid() ? p.write(object, w.second) : p.reset(object)))
            return false;
    }
    return true;
}

/** A row of the scenario table: on a new "location" or "route" invoker, @p setup
 *  and then @p action, whose signals are recorded; then the properties read back
 *  ("name=value" as render() writes it) and, unless @p content is null, what
 *  go() sends: the MIME type and the content followed by one NUL. */
void row(const char *tag, const char *invoker, const Writes &setup, const Writes &action,
         const QStringList &expectedSignals, const QStringList &properties = {},
         const QString &mimeType = ActionType, const QByteArray &content = {})
{
    QTest::newRow(tag) << QByteArray(invoker) << setup << action << expectedSignals << properties
                       << mimeType << content;
}

// A map invoker with the base implementation only: it has nothing to send.
class PlainMapInvoker : public MapInvoker
{
public:
    PlainMapInvoker() : MapInvoker(nullptr, new MapInvokerPrivate(this)) {}
};

} // namespace

// MapInvoker, seen through its two subclasses.
// A method's revision as declared: Qt 6 gives it encoded as a version,
// with the declared number as its minor part.
int revisionOf(const QMetaMethod &method)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return method.revision() ? QTypeRevision::fromEncodedVersion(method.revision()).minorVersion()
                             : 0;
#else
    return method.revision();
#endif
}

class tst_MapInvoker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { m_service.reset(); m_broker.reset(); }

    void scenario_data();
    void scenario();
    void plainInvokerSendsNothing();
    void replyLifetime_data();
    void replyLifetime();
    void debugPrinting();
    void metaObject();

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_service;
};

void tst_MapInvoker::init()
{
    qputenv("OM_PACKAGE_NAME", "tst.maps");
    m_broker.reset(new omtest::TestBroker);
    QVERIFY(m_broker->isRunning());
    m_service.reset(new omtest::FakeServer(QStringLiteral("/pps/services/invoke/control")));
    QVERIFY(m_service->start());
    m_service->answerOk(QStringLiteral("invoke"), QVariantMap{{"target", "om.maps"}});
}

void tst_MapInvoker::scenario_data()
{
    QTest::addColumn<QByteArray>("invoker");
    QTest::addColumn<Writes>("setup");
    QTest::addColumn<Writes>("action");
    QTest::addColumn<QStringList>("expectedSignals");
    QTest::addColumn<QStringList>("properties");
    QTest::addColumn<QString>("mimeType");
    QTest::addColumn<QByteArray>("content");
    const QVariant reset;
    const QString empty(QLatin1String(""));

    // The base's setters, alike in both subclasses.
    for (const char *invoker : {"location", "route"}) {
        auto base = [invoker](const char *tag, const Writes &setup, const Writes &action,
                              const QStringList &expectedSignals, const QStringList &properties) {
            row(qPrintable(QStringLiteral("%1: %2").arg(invoker, tag)), invoker, setup, action,
                expectedSignals, properties);
        };
        base("heading 360", {}, {{"heading", 360}}, {"headingChanged(360)"}, {"heading=360"});
        base("heading 361 dropped", {}, {{"heading", 361}}, {}, {"heading=0"});
        base("heading -1 dropped", {}, {{"heading", -1}}, {}, {"heading=0"});
        base("stored heading stays", {{"heading", 90}}, {{"heading", 400}}, {}, {"heading=90"});
        base("heading reset", {{"heading", 90}}, {{"heading", reset}}, {"headingChanged(0)"}, {"heading=0"});
        base("negative altitude", {}, {{"altitude", -5}}, {"altitudeChanged(-5)"}, {"altitude=-5"});
        base("same value twice emits once", {{"searchLatitude", 43.65}}, {{"searchLatitude", 43.65}}, {},
             {"searchLatitude=43.65"});
        base("search latitude reset on a new object", {}, {{"searchLatitude", reset}}, {},
             {"searchLatitude=" + Unset});
        base("empty search text over null", {}, {{"searchText", empty}}, {}, {"searchText=null"});
        base("empty search text over text", {{"searchText", "coffee"}}, {{"searchText", empty}},
             {"searchTextChanged(\"\")"}, {"searchText=\"\""});
        base("search text reset", {{"searchText", "x"}}, {{"searchText", reset}},
             {"searchTextChanged(null)"}, {"searchText=null"});
        base("reset of an empty search text keeps it", {{"searchText", "x"}, {"searchText", empty}},
             {{"searchText", reset}}, {}, {"searchText=\"\""});
        base("search mode path, both forms", {}, {{"searchMode", "Path"}},
             {"searchModeChanged(Path)", "searchModeChanged(2)"}, {"searchMode=Path"});
        base("search mode reset", {{"searchMode", "Path"}}, {{"searchMode", reset}},
             {"searchModeChanged(Radial)", "searchModeChanged(1)"}, {"searchMode=Radial"});
    }

    // A location: KML cancels the location, location signals first and KML last.
    const QByteArray kml = Kml.toLatin1();
    const QString kmlChanged = "kmlContentChanged(\"" + Kml + "\")";
    const Writes paris{{"locationLatitude", 48.8566}, {"locationLongitude", 2.3522},
                       {"locationName", "Paris"}, {"locationDescription", "City"},
                       {"geocodeLocationEnabled", true}};
    row("new location", "location", {}, {}, {},
        {"kmlContent=null", "locationName=null", "locationLatitude=" + Unset}, ActionType, EmptyMap);
    row("KML over a full location", "location", paris, {{"kmlContent", Kml}},
        {"locationLatitudeChanged(" + Unset + ')', "locationLongitudeChanged(" + Unset + ')',
         "locationNameChanged(null)", "locationDescriptionChanged(null)", kmlChanged},
        {"geocodeLocationEnabled=true"}, KmlType, kml);
    row("empty KML on a new object", "location", {}, {{"kmlContent", empty}}, {}, {"kmlContent=null"},
        ActionType, EmptyMap);
    row("empty KML over KML clears the location too", "location",
        {{"kmlContent", Kml}, {"locationName", "n"}}, {{"kmlContent", empty}},
        {"locationNameChanged(null)", "kmlContentChanged(\"\")"}, {"kmlContent=\"\""}, KmlType, "");
    row("name over KML is kept but not sent", "location", {{"kmlContent", Kml}},
        {{"locationName", "Paris"}}, {"locationNameChanged(\"Paris\")"}, {"locationName=\"Paris\""},
        KmlType, kml);
    row("KML hides the base properties", "location",
        {{"centerLatitude", 1}, {"centerLongitude", 2}, {"searchText", "coffee"}}, {{"kmlContent", Kml}},
        {kmlChanged}, {"searchText=\"coffee\""}, KmlType, kml);
    row("KML reset leaves the location alone", "location",
        {{"kmlContent", Kml}, {"locationLatitude", 48.8566}}, {{"kmlContent", reset}},
        {"kmlContentChanged(null)"}, {"locationLatitude=48.8566"}, ActionType, EmptyMap);

    // A complete pair cancels the KML: KML signal first, coordinate last.
    const QByteArray pair("JSON {\"view_mode\":\"map\",\"placemark\":{\"latitude\":48.8566,"
                          "\"longitude\":2.3522,\"geocode\":false},\"geolocation\":false}");
    row("latitude keeps the KML, longitude completes the pair", "location", {{"kmlContent", Kml}},
        {{"locationLatitude", 48.8566}, {"locationLongitude", 2.3522}},
        {"locationLatitudeChanged(48.8566)", "kmlContentChanged(null)", "locationLongitudeChanged(2.3522)"},
        {}, ActionType, pair);
    row("latitude completes the pair", "location", {{"kmlContent", Kml}, {"locationLongitude", 2.3522}},
        {{"locationLatitude", 48.8566}}, {"kmlContentChanged(null)", "locationLatitudeChanged(48.8566)"},
        {}, ActionType, pair);
    row("a coordinate reset keeps the KML", "location", {{"kmlContent", Kml}, {"locationLatitude", 1}},
        {{"locationLatitude", reset}}, {"locationLatitudeChanged(" + Unset + ')'}, {}, KmlType, kml);

    // The payload is the content as a C string of Latin-1.
    const QByteArray search("JSON {\"view_mode\":\"map\",\"search\":\"");
    row("NUL ends the payload", "location", {{"searchText", QStringLiteral("ab") + QChar(0) + 'c'}}, {},
        {}, {}, ActionType, search + "ab");
    row("outside Latin-1 is replaced", "location", {{"searchText", QStringLiteral("\u20ac5")}}, {}, {}, {},
        ActionType, search + "?5\",\"search_pattern\":\"radial\",\"geolocation\":false}");

    // A route: the avoid options are sent only once one has changed, then always both.
    auto route = [](const char *tag, const Writes &setup, const Writes &action,
                    const QStringList &expectedSignals, const QByteArray &members) {
        row(tag, "route", setup, action, expectedSignals, {}, ActionType,
            "JSON {\"view_mode\":\"nav\"," + members + "\"geolocation\":false}");
    };
    row("new route", "route", {}, {}, {},
        {"startLatitude=" + Unset, "endName=null", "avoidTollsEnabled=false"},
        ActionType, "JSON {\"view_mode\":\"nav\",\"geolocation\":false}");
    route("hands-free back to undefined", {{"handsFreeNavigation", "Disabled"}},
          {{"handsFreeNavigation", "Undefined"}},
          {"handsFreeNavigationChanged(Undefined)", "handsFreeNavigationChanged(0)"}, "");
    route("navigation mode reset", {{"navigationMode", "ShortestRoute"}}, {{"navigationMode", reset}},
          {"navigationModeChanged(Undefined)", "navigationModeChanged(0)"}, "");
    route("avoid tolls false on a new object", {}, {{"avoidTollsEnabled", false}}, {}, "");
    route("avoid highways reset on a new object", {}, {{"avoidHighwaysEnabled", reset}}, {}, "");
    route("avoid highways brings both keys", {}, {{"avoidHighwaysEnabled", true}},
          {"avoidHighwaysEnabledChanged(true)"},
          "\"nav_options\":{\"avoid_highways\":true,\"avoid_tolls\":false},");
    route("avoid tolls set then reset keeps both keys", {{"avoidTollsEnabled", true}},
          {{"avoidTollsEnabled", reset}}, {"avoidTollsEnabledChanged(false)"},
          "\"nav_options\":{\"avoid_highways\":false,\"avoid_tolls\":false},");
    row("search after geolocation", "route", {},
        {{"searchText", "gas"}, {"searchLatitude", 43.65}, {"searchLongitude", -79.38}},
        {"searchTextChanged(\"gas\")", "searchLatitudeChanged(43.65)", "searchLongitudeChanged(-79.38)"},
        {}, ActionType,
        "JSON {\"view_mode\":\"nav\",\"geolocation\":false,\"search\":\"gas\",\"search_pattern\":"
        "\"radial\",\"search_center\":{\"latitude\":43.65,\"longitude\":-79.38}}");
}

void tst_MapInvoker::scenario()
{
    QFETCH(QByteArray, invoker);
    QFETCH(Writes, setup);
    QFETCH(Writes, action);
    QFETCH(QStringList, expectedSignals);
    QFETCH(QStringList, properties);
    QFETCH(QString, mimeType);
    QFETCH(QByteArray, content);
    std::unique_ptr<MapInvoker> object(invoker == "route" ? static_cast<MapInvoker *>(new RouteMapInvoker)
                                                          : new LocationMapInvoker);
    QVERIFY(write(object.get(), setup));
    SignalRecorder recorder(object.get());
    QVERIFY(write(object.get(), action));
    QCOMPARE(recorder.records, expectedSignals);
    for (const QString &property : properties) {
        const QString name = property.section(QLatin1Char('='), 0, 0);
        QCOMPARE(name + '=' + render(object->property(name.toLatin1().constData())), property);
    }
    if (content.isNull())
        return;
    object->go();
    QVERIFY(m_service->waitForReceived(1));
    const QVariantMap dat = m_service->last().dat();
    QCOMPARE(dat.value(QStringLiteral("action")).toString(), QStringLiteral("om.action.OPEN"));
    QCOMPARE(dat.value(QStringLiteral("target")).toString(), QString());
    QCOMPARE(dat.value(QStringLiteral("sender")).toString(), QStringLiteral("tst.maps"));
    QCOMPARE(dat.value(QStringLiteral("mimeType")).toString(), mimeType);
    QCOMPARE(QByteArray::fromBase64(dat.value(QStringLiteral("data")).toByteArray()), content + '\0');
}

void tst_MapInvoker::plainInvokerSendsNothing()
{
    PlainMapInvoker plain;
    plain.go();
    QVERIFY(plain.findChildren<om::system::InvokeTargetReply *>().isEmpty());
    LocationMapInvoker location; // what is sent afterwards arrives alone
    location.go();
    QVERIFY(m_service->waitForReceived(1));
    QTRY_VERIFY(location.findChildren<om::system::InvokeTargetReply *>().isEmpty());
    QCOMPARE(m_service->received().size(), 1);
}

void tst_MapInvoker::replyLifetime_data()
{
    QTest::addColumn<bool>("serviceThere");
    QTest::newRow("target took it") << true;
    QTest::newRow("no service") << false;
}

void tst_MapInvoker::replyLifetime()
{
    QFETCH(bool, serviceThere);
    if (!serviceThere)
        m_service->stop();
    QTemporaryDir dir; // the traces are switched off: nothing is logged
    const QString logFile = dir.filePath(QStringLiteral("slog"));
    qputenv("OM_SLOG_FILE", QFile::encodeName(logFile));
    omtest::WarningCapture capture;
    LocationMapInvoker invoker;
    invoker.go();
    QCOMPARE(invoker.findChildren<om::system::InvokeTargetReply *>().size(), 1);
    QTRY_VERIFY(invoker.findChildren<om::system::InvokeTargetReply *>().isEmpty());
    QCOMPARE(capture.warnings(), QStringList());
    QVERIFY(!QFile::exists(logFile));
    qunsetenv("OM_SLOG_FILE");
}

void tst_MapInvoker::debugPrinting()
{
    const QString names = QStringLiteral(
        "MapViewMode::Map MapViewMode::Navigation MapViewMode::Satellite MapSearchMode::Radial "
        "MapSearchMode::Path MapNavigationMode::Undefined MapNavigationMode::FastestRoute "
        "MapNavigationMode::ShortestRoute MapTransportationMode::Undefined MapTransportationMode::Car "
        "MapTransportationMode::Pedestrian HandsFreeNavigation::Undefined HandsFreeNavigation::Enabled "
        "HandsFreeNavigation::Disabled ");
    for (const bool spacing : {true, false}) {
        QString text;
        {
            QDebug debug(&text);
            if (!spacing)
                debug.nospace();
            // A value without a name prints nothing, not even the blank.
            debug << MapViewMode::Map << MapViewMode::Navigation << MapViewMode::Type(0)
                  << MapViewMode::Satellite << MapSearchMode::Radial << MapSearchMode::Type(3)
                  << MapSearchMode::Path << MapNavigationMode::Undefined
                  << MapNavigationMode::FastestRoute << MapNavigationMode::Type(-1)
                  << MapNavigationMode::ShortestRoute << MapTransportationMode::Undefined
                  << MapTransportationMode::Car << MapTransportationMode::Type(3)
                  << MapTransportationMode::Pedestrian << HandsFreeNavigation::Undefined
                  << HandsFreeNavigation::Enabled << HandsFreeNavigation::Type(3)
                  << HandsFreeNavigation::Disabled;
        }
        QCOMPARE(text, spacing ? names : QString(names).remove(QLatin1Char(' ')));
    }
}

void tst_MapInvoker::metaObject()
{
    // Each property in order of declaration: its notify signal's parameter, then the
    // revisions of that signal and of the setter and resetter slots.
    QStringList declared;
    for (const QMetaObject *meta : {&MapInvoker::staticMetaObject, &LocationMapInvoker::staticMetaObject,
                                    &RouteMapInvoker::staticMetaObject}) {
        for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i) {
            const QMetaProperty p = meta->property(i);
            const QByteArray name = p.name();
            const QByteArray capitalised = name.left(1).toUpper() + name.mid(1);
            QVERIFY2(p.isReadable() && p.isWritable() && p.isResettable() && p.isStored(), name);
            QCOMPARE(p.notifySignal().name(), name + "Changed");
            QCOMPARE(p.notifySignal().parameterType(0), p.userType());
            QString revisions = QString::number(revisionOf(p.notifySignal()));
            for (int m = 0; m < meta->methodCount(); ++m) {
                const QMetaMethod method = meta->method(m);
                if (method.methodType() == QMetaMethod::Slot
                    && (method.name() == "set" + capitalised || method.name() == "reset" + capitalised))
                    revisions += QString::number(revisionOf(method));
            }
            declared << QStringLiteral("%1(%2)%3").arg(QString::fromLatin1(name),
                QString::fromLatin1(p.notifySignal().parameterNames().value(0)), revisions);
        }
    }
    QCOMPARE(declared.join(QLatin1Char(' ')), QStringLiteral(
        "currentLocationEnabled(enable)000 searchLatitude(newSearchLatitude)000 "
        "searchLongitude(newSearchLongitude)000 searchText(newSearchText)000 "
        "searchMode(newSearchPattern)000 altitude(newAltitude)000 heading(newHeading)000 "
        "centerLatitude(newCenterLatitude)000 centerLongitude(newCenterLongitude)000 "
        "locationLatitude(newLocationLatitude)000 locationLongitude(newLocationLongitude)000 "
        "locationName(newLocationName)000 locationDescription(newLocationDescription)000 "
        "geocodeLocationEnabled(enable)000 kmlContent(newKmlContent)000 "
        "startLatitude(newStartLatitude)000 startLongitude(newStartLongitude)000 "
        "startName(newStartName)000 startDescription(newStartDescription)000 "
        "startAddress(newStartAddress)000 endLatitude(newEndLatitude)000 "
        "endLongitude(newEndLongitude)000 endName(newEndName)000 endDescription(newEndDescription)000 "
        "endAddress(newEndAddress)000 handsFreeNavigation(newValue)111 navigationMode(newMode)000 "
        "avoidTollsEnabled(enable)000 avoidHighwaysEnabled(enable)000 transportationMode(newMode)000"));
}

QTEST_GUILESS_MAIN(tst_MapInvoker)
#include "tst_mapinvoker.moc"
