// The user's side of the notification service: the inbox, the dialogs on
// screen, and pressing a dialog's button.

#include "command.h"
#include "omctlclient.h"

#include <QDateTime>
#include <QVariantList>

#include <cerrno>

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

// Asks for every entry of a listing, page by page.
bool fetchAll(const QString &msg, const QString &listKey, QVariantList *entries, QString *error)
{
    int total = 0;
    do {
        QVariantMap answer;
        if (!request(UserSidePath, msg, {{QStringLiteral("from"), entries->size()}}, &answer, error))
            return false;
        if (answer.contains(QStringLiteral("err"))) {
            *error = answer.value(QStringLiteral("err")).toString();
            return false;
        }
        const QVariantMap dat = answer.value(QStringLiteral("dat")).toMap();
        const QVariantList page = dat.value(listKey).toList();
        total = dat.value(QStringLiteral("total")).toInt();
        if (page.isEmpty())
            break; // the list shrank meanwhile
        entries->append(page);
    } while (entries->size() < total);
    return true;
}

int failRequest(const QString &error)
{
    if (error == reason(ENOENT))
        return fail(QStringLiteral("notifications"),
                    QStringLiteral("the notification service is not running (no %1)").arg(UserSidePath));
    return fail(UserSidePath, error);
}

int notifications(const QStringList &args)
{
    QString application;
    for (int i = 0; i < args.size(); ++i) {
        if (args.at(i) == QLatin1String("--app") && i + 1 < args.size())
            application = args.at(++i);
        else
            return usage(QStringLiteral("unexpected argument '%1'").arg(args.at(i)));
    }
    QVariantList items;
    QString error;
    if (!fetchAll(QStringLiteral("inbox"), QStringLiteral("items"), &items, &error))
        return failRequest(error);
    int count = 0;
    for (const QVariant &value : qAsConst(items)) {
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

int dialogs(const QStringList &args)
{
    if (!args.isEmpty())
        return usage(QStringLiteral("dialogs takes no arguments"));
    QVariantList list;
    QString error;
    if (!fetchAll(QStringLiteral("dialogs"), QStringLiteral("dialogs"), &list, &error))
        return failRequest(error);
    int count = 0;
    for (const QVariant &value : qAsConst(list)) {
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

int choose(const QStringList &args)
{
    if (args.size() != 2)
        return usage(QStringLiteral("choose takes a dialog id and a button's label or context"));
    QVariantMap answer;
    QString error;
    if (!request(UserSidePath, QStringLiteral("choose"),
                 {{QStringLiteral("dialog"), args.at(0)}, {QStringLiteral("button"), args.at(1)}},
                 &answer, &error))
        return failRequest(error);
    if (answer.contains(QStringLiteral("err")))
        return fail(QStringLiteral("choose"), answer.value(QStringLiteral("err")).toString());
    const QVariantMap dat = answer.value(QStringLiteral("dat")).toMap();
    out(QStringLiteral("chose '%1' in dialog %2")
            .arg(dat.value(QStringLiteral("label")).toString(), dat.value(QStringLiteral("itemId")).toString()));
    return Success;
}

} // namespace

OMCTL_COMMAND({QStringLiteral("notifications"), QStringLiteral("[--app NAME]"),
               QStringLiteral("List the items in the notification inbox."),
               QStringLiteral("One block per item, oldest first: application and item id, then\n"
                              "title, body, time (the item's timestamp, or when it arrived),\n"
                              "category, and whether its effects are cleared.\n"
                              "--app NAME lists one application's items only."),
               notifications});

OMCTL_COMMAND({QStringLiteral("dialogs"), QString(),
               QStringLiteral("List the notification dialogs on screen."),
               QStringLiteral("One block per dialog: its id and application, then title, body\n"
                              "and each button's label with its context in brackets."),
               dialogs});

OMCTL_COMMAND({QStringLiteral("choose"), QStringLiteral("<dialog-id> <button label or context>"),
               QStringLiteral("Press a button of a dialog on screen, as the user."),
               QStringLiteral("The dialog may be named by the start of its id, braces left out,\n"
                              "if no other dialog's id starts so. The application that showed\n"
                              "the dialog learns the choice, and the dialog leaves the screen.\n"
                              "Example: omctl choose 3f2a Yes"),
               choose});

} // namespace omctl
