// The user's side of the notification service: the inbox, the dialogs on
// screen, and pressing a dialog's button.

#include "command.h"
#include "omctlclient.h"

#include <QDateTime>
#include <QVariantList>


namespace omctl {
namespace {

const QString UserSidePath = QStringLiteral("/pps/simulator/notifications");

QString shown(const QVariantMap &map, const QString &key)
{
    if (!map.contains(key))
        return QStringLiteral("(none)");
    return map.value(key).toString();
}

// "  name:     value", with the further lines of a value indented below it.
void field(const QString &name, const QString &value)
{
    QString text = value;
    text.replace(QLatin1Char('\n'), QLatin1Char('\n') + QString(12, QLatin1Char(' ')));
    out(QStringLiteral("  %1 %2").arg(name + QLatin1Char(':'), -9).arg(text));
}

QString timeText(qint64 ms)
{
    return QDateTime::fromMSecsSinceEpoch(ms).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
}

int notifications(const Invocation &call)
{
    const QString application = call.value(QStringLiteral("app"));
    const auto items = call.requestAll(UserSidePath, QStringLiteral("inbox"), QStringLiteral("items"));
    if (!items)
        return Failure;
    int count = 0;
    for (const QVariant &value : *items) {
        const QVariantMap item = value.toMap();
        if (!application.isEmpty() && item.value(QStringLiteral("application")).toString() != application)
            continue;
        const QVariantMap attributes = item.value(QStringLiteral("attributes")).toMap();
        QString time;
        bool numeric = false;
        const qint64 timestamp = attributes.value(QStringLiteral("timestamp")).toString().toLongLong(&numeric);
        if (numeric)
            time = timeText(timestamp);
        else if (attributes.contains(QStringLiteral("timestamp")))
            time = attributes.value(QStringLiteral("timestamp")).toString();
        else
            time = timeText(item.value(QStringLiteral("received")).toLongLong()) + QStringLiteral(" (received)");
        if (count++ > 0)
            out(QString());
        out(QStringLiteral("%1  %2").arg(item.value(QStringLiteral("application")).toString(),
                                         item.value(QStringLiteral("itemId")).toString()));
        field(QStringLiteral("title"), shown(attributes, QStringLiteral("title")));
        field(QStringLiteral("body"), shown(attributes, QStringLiteral("subtitle")));
        field(QStringLiteral("time"), time);
        field(QStringLiteral("category"), shown(attributes, QStringLiteral("type")));
        field(QStringLiteral("effects"),
              (item.value(QStringLiteral("effectsCleared")).toBool() ? QStringLiteral("cleared")
                                                                       : QStringLiteral("active")));
        if (item.value(QStringLiteral("truncated")).toBool())
            out(QStringLiteral("  (too large to show whole)"));
    }
    if (count == 0)
        out(QStringLiteral("(the inbox is empty)"));
    return Success;
}

int dialogs(const Invocation &call)
{
    const auto list = call.requestAll(UserSidePath, QStringLiteral("dialogs"), QStringLiteral("dialogs"));
    if (!list)
        return Failure;
    int count = 0;
    for (const QVariant &value : *list) {
        const QVariantMap dialog = value.toMap();
        const QVariantMap content = dialog.value(QStringLiteral("content")).toMap();
        if (count++ > 0)
            out(QString());
        out(QStringLiteral("%1  %2").arg(dialog.value(QStringLiteral("itemId")).toString(),
                                         dialog.value(QStringLiteral("application")).toString()));
        field(QStringLiteral("title"), shown(content, QStringLiteral("title")));
        field(QStringLiteral("body"), shown(content, QStringLiteral("subtitle")));
        if (content.value(QStringLiteral("repeating")).toString() == QLatin1String("on"))
            out(QStringLiteral("  repeats until answered"));
        const QVariantList buttons = content.value(QStringLiteral("promptChoices")).toList();
        for (const QVariant &b : buttons) {
            const QVariantMap button = b.toMap();
            field(QStringLiteral("button"),
                  QStringLiteral("%1  [%2]").arg(button.value(QStringLiteral("label")).toString(),
                         button.value(QStringLiteral("context")).toString()));
        }
    }
    if (count == 0)
        out(QStringLiteral("(no dialog on screen)"));
    return Success;
}

int choose(const Invocation &call)
{
    const QStringList args = call.args();
    if (args.size() != 2)
        return call.usage(QStringLiteral("choose takes a dialog id and a button's label or context"));
    const auto chosen = call.request(UserSidePath, QStringLiteral("choose"),
                                     {{QStringLiteral("dialog"), args.at(0)}, {QStringLiteral("button"), args.at(1)}});
    if (!chosen)
        return Failure;
    out(QStringLiteral("chose '%1' in dialog %2")
            .arg(chosen->value(QStringLiteral("label")).toString(), chosen->value(QStringLiteral("itemId")).toString()));
    return Success;
}

} // namespace

OMCTL_COMMAND({QStringLiteral("notifications"), QString(),
               QStringLiteral("List the items in the notification inbox."),
               QStringLiteral("One block per item, oldest first: application and item id, then\n"
                              "title, body, time (the item's timestamp, or when it arrived),\n"
                              "category, and whether its effects are cleared."),
               {{QStringLiteral("app"), QStringLiteral("List the items of application NAME only."),
                 QStringLiteral("NAME")}},
               notifications});

OMCTL_COMMAND({QStringLiteral("dialogs"), QString(),
               QStringLiteral("List the notification dialogs on screen."),
               QStringLiteral("One block per dialog: its id and application, then title, body\n"
                              "and each button's label with its context in brackets."),
               {}, dialogs});

OMCTL_COMMAND({QStringLiteral("choose"), QStringLiteral("<dialog-id> <button label or context>"),
               QStringLiteral("Press a button of a dialog on screen, as the user."),
               QStringLiteral("The dialog may be named by the start of its id, braces left out,\n"
                              "if no other dialog's id starts so. The application that showed\n"
                              "the dialog learns the choice, and the dialog leaves the screen.\n"
                              "Example: omctl choose 3f2a Yes"),
               {}, choose});

} // namespace omctl
