// omctl notify: posts a notification as an application does, through the
// library's own Notification and NotificationDialog, with the options that
// users of notify-send know. With actions it shows a dialog and waits for
// the user's choice, which it prints.

#include "command.h"
#include "omctlclient.h"

#include <om/platform/notification.h>
#include <om/platform/notificationdialog.h>

#include <QDir>
#include <QUrl>

#include <memory>

namespace omctl {
namespace {

using om::platform::Notification;
using om::platform::NotificationDialog;
using om::platform::NotificationError;
using om::platform::NotificationResult;
using om::platform::NotificationType;

const QString UrgencyOption = QStringLiteral("urgency");
const QString TypeOption = QStringLiteral("type");
const QString IconOption = QStringLiteral("icon");
const QString SoundOption = QStringLiteral("sound");
const QString CategoryOption = QStringLiteral("category");
const QString ActionOption = QStringLiteral("action");
const QString IdOption = QStringLiteral("id");
const QString AppOption = QStringLiteral("app");
const QString RemoveOption = QStringLiteral("remove");
const QString ClearOption = QStringLiteral("clear");

// notify-send's urgency levels, and the library's types by their names
// here; critical alerts again until answered when it shows a dialog.
const QList<QPair<QString, NotificationType::Type>> Urgencies{
    {QStringLiteral("low"), NotificationType::AllAlertsOff},
    {QStringLiteral("normal"), NotificationType::Default},
    {QStringLiteral("critical"), NotificationType::Default},
};
const QList<QPair<QString, NotificationType::Type>> Types{
    {QStringLiteral("default"), NotificationType::Default},
    {QStringLiteral("preview-off"), NotificationType::PreviewOff},
    {QStringLiteral("all-alerts-off"), NotificationType::AllAlertsOff},
    {QStringLiteral("hub-off"), NotificationType::HubOff},
};

template <class Value>
std::optional<Value> lookup(const QList<QPair<QString, Value>> &table, const QString &name)
{
    for (const auto &entry : table) {
        if (entry.first == name)
            return entry.second;
    }
    return std::nullopt;
}

template <class Value> QString names(const QList<QPair<QString, Value>> &table)
{
    QStringList list;
    for (const auto &entry : table)
        list.append(entry.first);
    return list.join(QLatin1String(", "));
}

// A path as the library takes it: a URL as given, a path made absolute.
QUrl fileUrl(const QString &value)
{
    if (value.contains(QLatin1String(":/")))
        return QUrl(value);
    return QUrl::fromLocalFile(QDir::current().absoluteFilePath(value));
}

QString errorText(NotificationError::Type error)
{
    switch (error) {
    case NotificationError::ServiceUnavailable:
        return QStringLiteral("the notification service cannot be reached (is omdeviced running?)");
    case NotificationError::InvalidRequest:
        return QStringLiteral("the notification service refused the request");
    case NotificationError::NoButtons:
        return QStringLiteral("a dialog needs at least one action");
    default:
        return QStringLiteral("no answer from the notification service in time");
    }
}

QString quoted(const QString &text)
{
    return QLatin1Char('"') + text + QLatin1Char('"');
}

// --remove and --clear: the items of the application, named or all.
int removeOrClear(const Invocation &call)
{
    const bool remove = call.isSet(RemoveOption);
    const QString key = call.value(remove ? RemoveOption : ClearOption);
    const NotificationError::Type error =
        remove ? Notification::deleteFromInbox(key) : Notification::clearEffects(key);
    if (error != NotificationError::None)
        return call.fail(errorText(error));
    out(QStringLiteral("%1 %2").arg(remove ? QStringLiteral("removed") : QStringLiteral("cleared"),
                                    key.isEmpty() ? QStringLiteral("every item") : key));
    return Success;
}

int notifyCommand(const Invocation &call)
{
    if (call.isSet(AppOption)) {
        if (call.value(AppOption).isEmpty())
            return call.usage(QStringLiteral("notify: --app needs a package name"));
        // The bus learns the application from the platform, which reads it
        // here, before the first connection.
        qputenv("OM_PACKAGE_NAME", call.value(AppOption).toUtf8());
    }
    if (call.isSet(RemoveOption) && call.isSet(ClearOption))
        return call.usage(QStringLiteral("notify: --remove and --clear exclude each other"));
    if (call.isSet(RemoveOption) || call.isSet(ClearOption)) {
        if (!call.args().isEmpty())
            return call.usage(QStringLiteral("notify: --remove and --clear take no title"));
        return removeOrClear(call);
    }
    if (call.args().isEmpty() || call.args().size() > 2)
        return call.usage(QStringLiteral("notify takes a title and, optionally, a body"));

    NotificationType::Type type = NotificationType::Default;
    bool critical = false;
    if (call.isSet(UrgencyOption)) {
        const auto urgency = lookup(Urgencies, call.value(UrgencyOption));
        if (!urgency)
            return call.usage(QStringLiteral("notify: --urgency takes %1, not '%2'")
                                  .arg(names(Urgencies), call.value(UrgencyOption)));
        type = *urgency;
        critical = call.value(UrgencyOption) == QLatin1String("critical");
    }
    if (call.isSet(TypeOption)) {
        const auto given = lookup(Types, call.value(TypeOption));
        if (!given)
            return call.usage(QStringLiteral("notify: --type takes %1, not '%2'")
                                  .arg(names(Types), call.value(TypeOption)));
        type = *given;
    }
    // Each action is NAME=LABEL, or a LABEL that is its own name.
    QList<QPair<QString, QString>> actions;
    for (const QString &action : call.values(ActionOption)) {
        const int eq = action.indexOf(QLatin1Char('='));
        const QString name = eq < 0 ? action : action.left(eq);
        const QString label = eq < 0 ? action : action.mid(eq + 1);
        if (name.isEmpty() || label.isEmpty())
            return call.usage(
                QStringLiteral("notify: --action takes NAME=LABEL or LABEL, not '%1'").arg(action));
        actions.append({name, label});
    }
    const QString title = call.args().at(0);
    const QString body = call.args().value(1);

    if (!actions.isEmpty()) {
        if (call.isSet(IdOption) || call.isSet(IconOption) || call.isSet(TypeOption))
            return call.usage(
                QStringLiteral("notify: --id, --icon and --type are for notifications, not for "
                               "a dialog with actions"));
        NotificationDialog dialog;
        dialog.setTitle(title);
        dialog.setBody(body);
        dialog.setCategory(call.value(CategoryOption));
        dialog.setRepeat(critical);
        if (call.isSet(SoundOption))
            dialog.setSoundUrl(fileUrl(call.value(SoundOption)));
        for (const auto &action : actions)
            dialog.appendButton(new om::system::SystemUiButton(action.second));
        const NotificationResult::Type result = dialog.exec();
        if (result != NotificationResult::ButtonSelection)
            return call.fail(errorText(dialog.error()));
        const om::system::SystemUiButton *chosen = dialog.buttonSelection();
        for (int i = 0; i < dialog.buttonCount(); ++i) {
            if (dialog.buttonAt(i) == chosen)
                out(actions.at(i).first);
        }
        return Success;
    }

    std::unique_ptr<Notification> made = call.isSet(IdOption)
                                             ? std::make_unique<Notification>(call.value(IdOption))
                                             : std::make_unique<Notification>();
    Notification &notification = *made;
    notification.setTitle(title);
    notification.setBody(body);
    notification.setType(type);
    if (call.isSet(CategoryOption))
        notification.setCategory(call.value(CategoryOption));
    if (call.isSet(IconOption))
        notification.setIconUrl(fileUrl(call.value(IconOption)));
    if (call.isSet(SoundOption))
        notification.setSoundUrl(fileUrl(call.value(SoundOption)));
    const NotificationError::Type error = notification.notify();
    if (error != NotificationError::None)
        return call.fail(errorText(error));
    out(QStringLiteral("posted %1 %2%3")
            .arg(notification.key(), quoted(title),
                 body.isEmpty() ? QString() : QLatin1Char(' ') + quoted(body)));
    return Success;
}

} // namespace

OMCTL_COMMAND(
    {QStringLiteral("notify"),
     QStringLiteral("<title> [body]"),
     QStringLiteral("Post a notification as an application, or show a dialog with actions."),
     QStringLiteral(
         "Posts through the library, as an application would, and prints the item's\n"
         "id. With --action it shows a dialog instead, waits for the user's choice\n"
         "(omctl choose, from elsewhere) and prints the chosen action's name.\n"
         "The application is OM_PACKAGE_NAME, --app, or else \"omctl\".\n"
         "Examples:\n"
         "  omctl notify -u low \"Backup done\" \"3 files\"\n"
         "  omctl notify --id build-42 \"Build\" \"running\"   # again: updates the item\n"
         "  omctl notify -A yes=Keep -A no=Discard \"Keep the draft?\"\n"
         "  omctl notify --remove build-42"),
     {{{QStringLiteral("u"), UrgencyOption},
       QStringLiteral("low (into the inbox silently), normal or critical (a dialog alerts "
                      "again until answered)."),
       QStringLiteral("LEVEL")},
      {{QStringLiteral("t"), TypeOption},
       QStringLiteral("default, preview-off, all-alerts-off or hub-off."),
       QStringLiteral("TYPE")},
      {{QStringLiteral("i"), IconOption}, QStringLiteral("The item's icon: a path or a URL."),
       QStringLiteral("ICON")},
      {SoundOption, QStringLiteral("The sound: a path or a URL."), QStringLiteral("SOUND")},
      {{QStringLiteral("c"), CategoryOption}, QStringLiteral("The category."),
       QStringLiteral("CATEGORY")},
      {{QStringLiteral("A"), ActionOption},
       QStringLiteral("A button, NAME=LABEL or LABEL; shows a dialog. May repeat."),
       QStringLiteral("ACTION")},
      {{QStringLiteral("r"), IdOption},
       QStringLiteral("The item's id: posting the same id again updates the item."),
       QStringLiteral("ID")},
      {AppOption, QStringLiteral("Post as application PACKAGE."), QStringLiteral("PACKAGE")},
      {RemoveOption, QStringLiteral("Remove item ID from the inbox (\"\" for every item)."),
       QStringLiteral("ID")},
      {ClearOption, QStringLiteral("Silence item ID (\"\" for every item)."),
       QStringLiteral("ID")}},
     notifyCommand});

} // namespace omctl
