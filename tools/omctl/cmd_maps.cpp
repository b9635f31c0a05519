// The invocation commands: invocations, maps.

#include "command.h"
#include "omctlclient.h"

#include "invoke/invokeprotocol_p.h"

#include <QDateTime>
#include <QVariantList>

namespace omctl {
namespace {

namespace protocol = om::system::invokeprotocol;
const QString SimulatorPath = protocol::userSidePath();

// Bytes as text: printable ASCII as it is, the rest as C escapes, so that a
// trailing NUL shows as \0.
QString escaped(const QByteArray &data)
{
    QString text;
    for (const char c : data) {
        const unsigned char u = static_cast<unsigned char>(c);
        switch (c) {
        case '\0': text += QLatin1String("\\0"); break;
        case '\n': text += QLatin1String("\\n"); break;
        case '\r': text += QLatin1String("\\r"); break;
        case '\t': text += QLatin1String("\\t"); break;
        case '\\': text += QLatin1String("\\\\"); break;
        default:
            if (u >= 0x20 && u < 0x7f)
                text += QLatin1Char(c);
            else
                text += QStringLiteral("\\x%1").arg(u, 2, 16, QLatin1Char('0'));
        }
    }
    return text;
}

QString timeText(const QVariant &msecs)
{
    return QDateTime::fromMSecsSinceEpoch(msecs.toLongLong()).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
}

QString number(const QVariant &value)
{
    return QString::number(value.toDouble(), 'g', 12);
}

QString onOff(const QVariant &value)
{
    return value.toBool() ? QStringLiteral("on") : QStringLiteral("off");
}

QString quoted(const QVariant &value)
{
    return QLatin1Char('"') + value.toString() + QLatin1Char('"');
}

// "Name", description "...", address "...", at lat, lon[, altitude a]
QString place(const QVariantMap &point)
{
    QStringList parts;
    if (point.contains(QStringLiteral("name")))
        parts.append(quoted(point.value(QStringLiteral("name"))));
    if (point.contains(QStringLiteral("description")))
        parts.append(QStringLiteral("description ") + quoted(point.value(QStringLiteral("description"))));
    if (point.contains(QStringLiteral("address")))
        parts.append(QStringLiteral("address ") + quoted(point.value(QStringLiteral("address"))));
    if (point.contains(QStringLiteral("latitude"))) {
        parts.append(QStringLiteral("at %1, %2").arg(number(point.value(QStringLiteral("latitude"))),
                                                     number(point.value(QStringLiteral("longitude")))));
    }
    if (point.contains(QStringLiteral("altitude")))
        parts.append(QStringLiteral("altitude ") + number(point.value(QStringLiteral("altitude"))));
    if (parts.isEmpty())
        return QStringLiteral("(no name, no coordinates)");
    return parts.join(QLatin1String(", "));
}

void printView(const QVariantMap &shown)
{
    const QString view = shown.value(QStringLiteral("view")).toString();
    static const QMap<QString, QString> viewNames = {{QStringLiteral("map"), QStringLiteral("map")},
                                                     {QStringLiteral("sat"), QStringLiteral("satellite")},
                                                     {QStringLiteral("nav"), QStringLiteral("route")},
                                                     {QStringLiteral("kml"), QStringLiteral("KML places")}};
    out(QStringLiteral("view: ") + viewNames.value(view, view));

    if (shown.contains(QStringLiteral("center"))) {
        const QVariantMap center = shown.value(QStringLiteral("center")).toMap();
        QString line = QStringLiteral("center: %1, %2").arg(number(center.value(QStringLiteral("latitude"))),
                                                             number(center.value(QStringLiteral("longitude"))));
        if (center.contains(QStringLiteral("heading")))
            line += QStringLiteral(", heading ") + number(center.value(QStringLiteral("heading")));
        if (center.contains(QStringLiteral("altitude")))
            line += QStringLiteral(", altitude ") + number(center.value(QStringLiteral("altitude")));
        out(line);
    }
    if (shown.contains(QStringLiteral("start")))
        out(QStringLiteral("start: ") + place(shown.value(QStringLiteral("start")).toMap()));
    if (shown.contains(QStringLiteral("end")))
        out(QStringLiteral("end: ") + place(shown.value(QStringLiteral("end")).toMap()));
    if (shown.contains(QStringLiteral("options"))) {
        const QVariantMap options = shown.value(QStringLiteral("options")).toMap();
        QStringList parts;
        if (options.contains(QStringLiteral("hands_free")))
            parts.append(QStringLiteral("hands-free ") + onOff(options.value(QStringLiteral("hands_free"))));
        if (options.contains(QStringLiteral("nav_mode")))
            parts.append(options.value(QStringLiteral("nav_mode")).toString() + QStringLiteral(" route"));
        if (options.contains(QStringLiteral("avoid_highways")))
            parts.append(QStringLiteral("avoid highways ") + onOff(options.value(QStringLiteral("avoid_highways"))));
        if (options.contains(QStringLiteral("avoid_tolls")))
            parts.append(QStringLiteral("avoid tolls ") + onOff(options.value(QStringLiteral("avoid_tolls"))));
        if (options.contains(QStringLiteral("transport_mode"))) {
            parts.append(options.value(QStringLiteral("transport_mode")).toString() == QLatin1String("pedestrian")
                             ? QStringLiteral("on foot")
                             : QStringLiteral("by car"));
        }
        out(QStringLiteral("options: ") + parts.join(QLatin1String(", ")));
    }
    if (shown.contains(QStringLiteral("placemark"))) {
        const QVariantMap placemark = shown.value(QStringLiteral("placemark")).toMap();
        QString line = QStringLiteral("place: ") + place(placemark);
        if (placemark.contains(QStringLiteral("geocode")))
            line += QStringLiteral(", geocode ") + onOff(placemark.value(QStringLiteral("geocode")));
        out(line);
    }
    const QVariantList placemarks = shown.value(QStringLiteral("placemarks")).toList();
    for (const QVariant &placemark : placemarks)
        out(QStringLiteral("place: ") + place(placemark.toMap()));
    if (view == QLatin1String("kml") && placemarks.isEmpty())
        out(QStringLiteral("places: none"));
    if (shown.contains(QStringLiteral("search"))) {
        const QVariantMap search = shown.value(QStringLiteral("search")).toMap();
        QString line = QStringLiteral("search: ") + quoted(search.value(QStringLiteral("text")));
        if (search.contains(QStringLiteral("pattern")))
            line += QStringLiteral(", ") + search.value(QStringLiteral("pattern")).toString();
        if (search.contains(QStringLiteral("center"))) {
            const QVariantMap center = search.value(QStringLiteral("center")).toMap();
            line += QStringLiteral(", around %1, %2").arg(number(center.value(QStringLiteral("latitude"))),
                                                          number(center.value(QStringLiteral("longitude"))));
        }
        out(line);
    }
    if (shown.contains(QStringLiteral("currentLocation")))
        out(QStringLiteral("current location: ")
            + (shown.value(QStringLiteral("currentLocation")).toBool() ? QStringLiteral("shown")
                                                                       : QStringLiteral("not shown")));
}

int maps(const Invocation &call)
{
    const auto answer = call.request(SimulatorPath, protocol::mapsMessage());
    if (!answer)
        return Failure;
    const QVariantMap &shown = *answer;
    if (shown.isEmpty()) {
        out(QStringLiteral("The maps application has not been asked to show anything."));
        return Success;
    }
    out(QStringLiteral("asked by: %1 at %2").arg(shown.value(QStringLiteral("sender")).toString(),
                                                 timeText(shown.value(QStringLiteral("time")))));
    out(QStringLiteral("type: %1 (%2 bytes)").arg(shown.value(QStringLiteral("mimeType")).toString(),
                                                  shown.value(QStringLiteral("size")).toString()));
    if (!shown.value(QStringLiteral("readable")).toBool()) {
        out(QStringLiteral("could not read it: ") + shown.value(QStringLiteral("reason")).toString());
        return Success;
    }
    printView(shown);
    return Success;
}

int listTargets(const Invocation &call)
{
    const auto result = call.request(SimulatorPath, protocol::targetsMessage());
    if (!result)
        return Failure;
    const QVariantList targets = result->value(protocol::keyTargets()).toList();
    for (const QVariant &entry : targets) {
        const QVariantMap target = entry.toMap();
        out(target.value(protocol::keyName()).toString());
        out(QStringLiteral("  actions: ") +
            target.value(protocol::keyActions()).toStringList().join(QLatin1String(", ")));
        out(QStringLiteral("  types:   ") +
            target.value(protocol::keyMimeTypes()).toStringList().join(QLatin1String(", ")));
    }
    return Success;
}

int invocations(const Invocation &call)
{
    const std::optional<int> last = call.positive(QStringLiteral("last"), 10);
    if (!last)
        return Usage;
    const bool clear = call.isSet(QStringLiteral("clear"));
    const bool targets = call.isSet(QStringLiteral("targets"));
    if (clear && targets)
        return call.usage(QStringLiteral("--clear and --targets do not go together"));
    if (targets)
        return listTargets(call);
    if (clear) {
        const auto cleared = call.request(SimulatorPath, protocol::clearMessage());
        if (!cleared)
            return Failure;
        out(QStringLiteral("Cleared %1 invocations.")
                .arg(cleared->value(protocol::keyCleared()).toInt()));
        return Success;
    }
    const auto result =
        call.request(SimulatorPath, protocol::invocationsMessage(), {{protocol::keyLast(), *last}});
    if (!result)
        return Failure;
    const QVariantList list = result->value(protocol::keyInvocations()).toList();
    const int total = result->value(protocol::keyTotal()).toInt();
    if (list.isEmpty()) {
        out(QStringLiteral("No invocations."));
        return Success;
    }
    int index = total - list.size();
    for (const QVariant &entry : list) {
        const QVariantMap invocation = entry.toMap();
        ++index;
        const int code = invocation.value(protocol::keyRecordError()).toInt();
        const QString outcome =
            code == 0
                ? QStringLiteral("taken by ") + invocation.value(protocol::keyTarget()).toString()
                : QStringLiteral("refused, error %1: %2")
                      .arg(code)
                      .arg(invocation.value(protocol::keyRecordErrorText()).toString());
        out(QStringLiteral("%1. %2 from %3: %4")
                .arg(index)
                .arg(timeText(invocation.value(protocol::keyTime())),
                     invocation.value(protocol::keySender()).toString(), outcome));
        if (!invocation.value(protocol::keyRequestedTarget()).toString().isEmpty())
            out(QStringLiteral("   target: ") +
                invocation.value(protocol::keyRequestedTarget()).toString());
        out(QStringLiteral("   action: ") + invocation.value(protocol::keyAction()).toString());
        out(QStringLiteral("   type: ") + invocation.value(protocol::keyMimeType()).toString());
        if (!invocation.value(protocol::keyUri()).toString().isEmpty())
            out(QStringLiteral("   uri: ") + invocation.value(protocol::keyUri()).toString());
        const QByteArray data =
            QByteArray::fromBase64(invocation.value(protocol::keyData()).toString().toLatin1());
        const int size = invocation.value(protocol::keyDataSize()).toInt();
        QString heading = QStringLiteral("   data (%1 bytes").arg(size);
        if (data.size() < size)
            heading += QStringLiteral(", first %1 shown").arg(data.size());
        out(heading + QStringLiteral("): ") + escaped(data));
    }
    return Success;
}

} // namespace

OMCTL_COMMAND(
    {QStringLiteral("invocations"),
     QString(),
     QStringLiteral("List the recent invocations: sender, outcome, action, type and data."),
     QStringLiteral("Shows the last invocations, oldest first. Data is printed as text\n"
                    "with C escapes, so a final NUL shows as \\0; long data is cut."),
     {{QStringLiteral("last"), QStringLiteral("Show the last N (default 10)."),
       QStringLiteral("N")},
      {QStringLiteral("clear"), QStringLiteral("Forget every invocation.")},
      {QStringLiteral("targets"), QStringLiteral("List the targets that invocations can go to.")}},
     invocations});

OMCTL_COMMAND({QStringLiteral("maps"),
               QString(),
               QStringLiteral("Show what the maps application was last asked to show."),
               QStringLiteral("The view (map, route or KML places), the center, the places, the\n"
                              "route's start, end and options, the search and whether the current\n"
                              "location is shown; or why the content could not be read."),
               {},
               maps});

} // namespace omctl
