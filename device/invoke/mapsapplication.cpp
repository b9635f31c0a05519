#include "invoke/mapsapplication.h"

#include "invoke/invokeservice.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QXmlStreamReader>

namespace omdevice {

namespace {

// Reads the members of the content's JSON object into the view, checking
// their types; the first mismatch is the reason the content is refused.
class JsonReader
{
public:
    QString error;

    bool failed() const { return !error.isEmpty(); }

    void fail(const QString &reason)
    {
        if (error.isEmpty())
            error = reason;
    }

    // Copies key of @p object to @p out if present and of the right type.
    void copy(const QJsonObject &object, const QString &where, const QString &key,
              QJsonValue::Type type, QVariantMap *out, bool required = false)
    {
        const QJsonValue value = object.value(key);
        if (value.isUndefined()) {
            if (required && where.isEmpty())
                fail(QStringLiteral("the content has no \"%1\"").arg(key));
            else if (required)
                fail(QStringLiteral("\"%1\" has no \"%2\"").arg(where, key));
            return;
        }
        if (value.type() != type) {
            fail(QStringLiteral("\"%1\" is not %2").arg(path(where, key), typeName(type)));
            return;
        }
        out->insert(key, value.toVariant());
    }

    // Copies a string that must be one of @p allowed.
    void copyChoice(const QJsonObject &object, const QString &where, const QString &key,
                    const QStringList &allowed, QVariantMap *out, bool required = false)
    {
        QVariantMap value;
        copy(object, where, key, QJsonValue::String, &value, required);
        if (!value.contains(key))
            return;
        const QString text = value.value(key).toString();
        if (!allowed.contains(text)) {
            fail(QStringLiteral("\"%1\" has the unknown value \"%2\"").arg(path(where, key), text));
            return;
        }
        out->insert(key, text);
    }

    // The member @p key as an object, if present.
    bool object(const QJsonObject &parent, const QString &where, const QString &key,
                QJsonObject *out)
    {
        const QJsonValue value = parent.value(key);
        if (value.isUndefined())
            return false;
        if (!value.isObject()) {
            fail(QStringLiteral("\"%1\" is not an object").arg(path(where, key)));
            return false;
        }
        *out = value.toObject();
        return true;
    }

    // latitude and longitude, both or neither (or both required).
    void coordinates(const QJsonObject &object, const QString &where, QVariantMap *out,
                     bool required)
    {
        copy(object, where, QStringLiteral("latitude"), QJsonValue::Double, out, required);
        copy(object, where, QStringLiteral("longitude"), QJsonValue::Double, out, required);
        if (!failed() && out->contains(QStringLiteral("latitude"))
                             != out->contains(QStringLiteral("longitude")))
            fail(QStringLiteral("\"%1\" has only one of latitude and longitude").arg(where));
    }

private:
    static QString path(const QString &where, const QString &key)
    {
        return where.isEmpty() ? key : where + QLatin1Char('.') + key;
    }

    static QString typeName(QJsonValue::Type type)
    {
        switch (type) {
        case QJsonValue::Bool:
            return QStringLiteral("a boolean");
        case QJsonValue::Double:
            return QStringLiteral("a number");
        case QJsonValue::String:
            return QStringLiteral("a string");
        default:
            return QStringLiteral("an object");
        }
    }
};

// Both kinds of content travel as C strings: they end at their first NUL.
QByteArray cString(const QByteArray &data)
{
    const int nul = data.indexOf('\0');
    return nul < 0 ? data : data.left(nul);
}

QVariantMap readEndPoint(JsonReader &reader, const QJsonObject &object, const QString &where)
{
    QVariantMap point;
    reader.coordinates(object, where, &point, true);
    QJsonObject properties;
    const QString propertiesWhere = where + QLatin1String(".properties");
    if (reader.object(object, where, QStringLiteral("properties"), &properties)) {
        for (const QString &key : {QStringLiteral("name"), QStringLiteral("description"),
                                   QStringLiteral("address")})
            reader.copy(properties, propertiesWhere, key, QJsonValue::String, &point);
    }
    return point;
}

QVariantMap readActionContent(const QByteArray &data, QString *reason)
{
    const QByteArray text = cString(data);
    if (text.isEmpty()) {
        *reason = QStringLiteral("the content is empty");
        return {};
    }
    const QByteArray keyword("JSON ");
    if (!text.startsWith("JSON {")) {
        *reason = QStringLiteral("the content does not begin with \"JSON {\"");
        return {};
    }
    // The sender writes Latin-1; the JSON reader wants UTF-8.
    const QByteArray json = QString::fromLatin1(text.mid(keyword.size())).toUtf8();
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        *reason = QStringLiteral("the content is not valid after \"JSON \": %1 at offset %2")
                      .arg(parseError.errorString())
                      .arg(parseError.offset);
        return {};
    }
    const QJsonObject root = document.object();
    JsonReader reader;
    QVariantMap view;
    const QString noWhere;

    QVariantMap mode;
    reader.copyChoice(root, noWhere, QStringLiteral("view_mode"),
                      {QStringLiteral("map"), QStringLiteral("nav"), QStringLiteral("sat")}, &mode,
                      true);
    if (reader.failed()) {
        *reason = reader.error;
        return {};
    }
    const QString viewMode = mode.value(QStringLiteral("view_mode")).toString();
    view.insert(QStringLiteral("view"), viewMode);

    QJsonObject member;
    if (reader.object(root, noWhere, QStringLiteral("center"), &member)) {
        QVariantMap center;
        reader.coordinates(member, QStringLiteral("center"), &center, true);
        reader.copy(member, QStringLiteral("center"), QStringLiteral("heading"), QJsonValue::Double,
                    &center);
        reader.copy(member, QStringLiteral("center"), QStringLiteral("altitude"),
                    QJsonValue::Double, &center);
        view.insert(QStringLiteral("center"), center);
    }

    QVariantMap search;
    reader.copy(root, noWhere, QStringLiteral("search"), QJsonValue::String, &search);
    if (search.contains(QStringLiteral("search"))) {
        search.insert(QStringLiteral("text"), search.take(QStringLiteral("search")));
        QVariantMap pattern;
        reader.copyChoice(root, noWhere, QStringLiteral("search_pattern"),
                          {QStringLiteral("radial"), QStringLiteral("path")}, &pattern);
        if (pattern.contains(QStringLiteral("search_pattern")))
            search.insert(QStringLiteral("pattern"), pattern.value(QStringLiteral("search_pattern")));
        if (reader.object(root, noWhere, QStringLiteral("search_center"), &member)) {
            QVariantMap center;
            reader.coordinates(member, QStringLiteral("search_center"), &center, true);
            search.insert(QStringLiteral("center"), center);
        }
        view.insert(QStringLiteral("search"), search);
    }

    if (reader.object(root, noWhere, QStringLiteral("placemark"), &member)) {
        QVariantMap placemark;
        const QString where = QStringLiteral("placemark");
        reader.coordinates(member, where, &placemark, false);
        reader.copy(member, where, QStringLiteral("name"), QJsonValue::String, &placemark);
        reader.copy(member, where, QStringLiteral("description"), QJsonValue::String, &placemark);
        reader.copy(member, where, QStringLiteral("geocode"), QJsonValue::Bool, &placemark);
        view.insert(where, placemark);
    }

    if (reader.object(root, noWhere, QStringLiteral("nav_start"), &member))
        view.insert(QStringLiteral("start"), readEndPoint(reader, member, QStringLiteral("nav_start")));
    if (reader.object(root, noWhere, QStringLiteral("nav_end"), &member))
        view.insert(QStringLiteral("end"), readEndPoint(reader, member, QStringLiteral("nav_end")));

    if (reader.object(root, noWhere, QStringLiteral("nav_options"), &member)) {
        QVariantMap options;
        const QString where = QStringLiteral("nav_options");
        reader.copy(member, where, QStringLiteral("hands_free"), QJsonValue::Bool, &options);
        reader.copyChoice(member, where, QStringLiteral("nav_mode"),
                          {QStringLiteral("fastest"), QStringLiteral("shortest")}, &options);
        reader.copy(member, where, QStringLiteral("avoid_highways"), QJsonValue::Bool, &options);
        reader.copy(member, where, QStringLiteral("avoid_tolls"), QJsonValue::Bool, &options);
        reader.copyChoice(member, where, QStringLiteral("transport_mode"),
                          {QStringLiteral("car"), QStringLiteral("pedestrian")}, &options);
        view.insert(QStringLiteral("options"), options);
    }

    QVariantMap geolocation;
    reader.copy(root, noWhere, QStringLiteral("geolocation"), QJsonValue::Bool, &geolocation);
    view.insert(QStringLiteral("currentLocation"),
                geolocation.value(QStringLiteral("geolocation"), false));

    if (reader.failed()) {
        *reason = reader.error;
        return {};
    }
    return view;
}

// "lon,lat[,alt]", the first tuple of a KML coordinates element.
bool readKmlCoordinates(const QString &text, QVariantMap *placemark)
{
    const QString tuple = text.simplified().section(QLatin1Char(' '), 0, 0);
    const QStringList parts = tuple.split(QLatin1Char(','));
    if (parts.size() < 2 || parts.size() > 3)
        return false;
    bool lonOk = false;
    bool latOk = false;
    const double longitude = parts.at(0).toDouble(&lonOk);
    const double latitude = parts.at(1).toDouble(&latOk);
    if (!lonOk || !latOk)
        return false;
    placemark->insert(QStringLiteral("latitude"), latitude);
    placemark->insert(QStringLiteral("longitude"), longitude);
    if (parts.size() == 3) {
        bool altOk = false;
        const double altitude = parts.at(2).toDouble(&altOk);
        if (!altOk)
            return false;
        placemark->insert(QStringLiteral("altitude"), altitude);
    }
    return true;
}

QVariantMap readKml(const QByteArray &data, QString *reason)
{
    const QByteArray text = cString(data);
    if (text.trimmed().isEmpty()) {
        *reason = QStringLiteral("the KML is empty");
        return {};
    }
    QXmlStreamReader xml(text);
    QVariantList placemarks;
    QVariantMap current;
    int depth = 0;
    int placemarkDepth = -1; // depth of the open Placemark, -1 outside one
    bool sawRoot = false;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement()) {
            ++depth;
            const QString name = xml.name().toString();
            if (!sawRoot) {
                sawRoot = true;
                if (name != QLatin1String("kml")) {
                    *reason = QStringLiteral("the root element is <%1>, not <kml>").arg(name);
                    return {};
                }
                continue;
            }
            if (name == QLatin1String("Placemark") && placemarkDepth < 0) {
                placemarkDepth = depth;
                current.clear();
            } else if (placemarkDepth > 0 && depth == placemarkDepth + 1
                       && (name == QLatin1String("name") || name == QLatin1String("description")
                           || name == QLatin1String("address"))) {
                current.insert(name, xml.readElementText(QXmlStreamReader::IncludeChildElements));
                --depth; // readElementText consumed the end element
            } else if (placemarkDepth > 0 && name == QLatin1String("coordinates")
                       && !current.contains(QStringLiteral("latitude"))) {
                const QString coordinates = xml.readElementText();
                --depth;
                if (!xml.hasError() && !readKmlCoordinates(coordinates, &current)) {
                    *reason = QStringLiteral("the coordinates \"%1\" are not longitude,latitude[,altitude]")
                                  .arg(coordinates.simplified());
                    return {};
                }
            }
        } else if (xml.isEndElement()) {
            if (depth == placemarkDepth) {
                placemarks.append(current);
                placemarkDepth = -1;
            }
            --depth;
        }
    }
    if (xml.hasError()) {
        *reason = QStringLiteral("the KML is not well-formed: %1 (line %2, column %3)")
                      .arg(xml.errorString())
                      .arg(xml.lineNumber())
                      .arg(xml.columnNumber());
        return {};
    }
    return {{QStringLiteral("view"), QStringLiteral("kml")},
            {QStringLiteral("placemarks"), placemarks}};
}

} // namespace

namespace {
// In the invocation service's store.
const QString ShownKey = QStringLiteral("maps");
} // namespace

MapsApplication::MapsApplication(DataStore *store, const QString &dataDirectory)
    : m_store(store), m_shown(store->load().value(ShownKey).toMap())
{
    if (store->load().contains(ShownKey))
        return;
    // An earlier version's own store: taken over, then left empty.
    DataStore earlier(dataDirectory, QStringLiteral("maps"));
    const QVariantMap shown = earlier.load();
    if (shown.isEmpty())
        return;
    QString error;
    if (!m_store->set({ShownKey}, shown, &error) || !earlier.save(QVariantMap(), &error)) {
        qCWarning(lcInvoke).noquote()
            << "cannot take over what the maps application showed:" << error;
        return;
    }
    m_shown = shown;
}

QString MapsApplication::name() const
{
    return QString::fromLatin1(TargetName);
}

QStringList MapsApplication::actions() const
{
    return {QStringLiteral("om.action.OPEN")};
}

QStringList MapsApplication::mimeTypes() const
{
    return {QString::fromLatin1(ActionType), QString::fromLatin1(KmlType)};
}

QVariantMap MapsApplication::read(const QString &mimeType, const QByteArray &data, QString *reason)
{
    const QString type = TargetRegistry::essence(mimeType);
    if (type == QLatin1String(ActionType))
        return readActionContent(data, reason);
    if (type == QLatin1String(KmlType))
        return readKml(data, reason);
    *reason = QStringLiteral("the maps application does not read \"%1\"").arg(mimeType);
    return {};
}

void MapsApplication::take(const Invocation &invocation, DataStore::Changes *changes)
{
    QString reason;
    QVariantMap shown = read(invocation.mimeType, invocation.data, &reason);
    shown.insert(QStringLiteral("readable"), reason.isEmpty());
    if (!reason.isEmpty())
        shown.insert(QStringLiteral("reason"), reason);
    shown.insert(QStringLiteral("sender"), invocation.sender);
    shown.insert(QStringLiteral("mimeType"), invocation.mimeType);
    shown.insert(QStringLiteral("time"), invocation.time);
    shown.insert(QStringLiteral("size"), invocation.data.size());
    m_shown = shown;
    if (changes)
        changes->set({ShownKey}, shown);
}

void MapsApplication::take(const Invocation &invocation)
{
    DataStore::Changes changes;
    take(invocation, &changes);
    QString error;
    if (!m_store->commit(changes, &error))
        qCWarning(lcInvoke).noquote() << "cannot save what the maps application shows:" << error;
}

} // namespace omdevice
