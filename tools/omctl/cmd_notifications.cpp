// The user's side of the notification service: the inbox, the dialogs on
// screen, and pressing a dialog's button.

#include "command.h"
#include "omctlclient.h"

#include "notify/notifyprotocol_p.h"

#include <QDateTime>
#include <QVariantList>

namespace omctl {
namespace {

namespace protocol = om::notifyprotocol;
const QString UserSidePath = protocol::userSidePath();

// Every entry of a listing that the user side gives page by page: asks
// with "from" the entries so far until "total" are in. The last page whole
// in @p lastPage.
std::optional<QVariantList> requestAll(const Invocation &call, const QString &msg,
                                       const QString &listKey, QVariantMap *lastPage = nullptr)
{
    QVariantList entries;
    int total = 0;
    do {
        const auto page = call.request(UserSidePath, msg, {{protocol::keyFrom(), entries.size()}});
        if (!page)
            return std::nullopt;
        const QVariantList part = page->value(listKey).toList();
        total = page->value(protocol::keyTotal()).toInt();
        if (lastPage)
            *lastPage = *page;
        if (part.isEmpty())
            break; // the list shrank meanwhile
        entries.append(part);
    } while (entries.size() < total);
    return entries;
}

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
    QVariantMap lastPage;
    const auto items = requestAll(call, protocol::inboxMessage(), protocol::keyItems(), &lastPage);
    if (!items)
        return Failure;
    int count = 0;
    for (const QVariant &value : *items) {
        const QVariantMap item = value.toMap();
        if (!application.isEmpty() &&
            item.value(protocol::keyApplication()).toString() != application)
            continue;
        const QVariantMap attributes = item.value(protocol::keyAttributes()).toMap();
        QString time;
        bool numeric = false;
        const qint64 timestamp =
            attributes.value(protocol::keyTimestamp()).toString().toLongLong(&numeric);
        if (numeric)
            time = timeText(timestamp);
        else if (attributes.contains(protocol::keyTimestamp()))
            time = attributes.value(protocol::keyTimestamp()).toString();
        else
            time = timeText(item.value(protocol::keyReceived()).toLongLong()) +
                   QStringLiteral(" (received)");
        if (count++ > 0)
            out(QString());
        out(QStringLiteral("%1  %2").arg(item.value(protocol::keyApplication()).toString(),
                                         item.value(protocol::keyItemId()).toString()));
        field(QStringLiteral("title"), shown(attributes, protocol::keyTitle()));
        field(QStringLiteral("body"), shown(attributes, protocol::keyBody()));
        field(QStringLiteral("time"), time);
        field(QStringLiteral("category"), shown(attributes, protocol::keyCategory()));
        field(QStringLiteral("effects"),
              (item.value(protocol::keyEffectsCleared()).toBool() ? QStringLiteral("cleared")
                                                                  : QStringLiteral("active")));
        if (item.value(protocol::keyTruncated()).toBool())
            out(QStringLiteral("  (too large to show whole)"));
    }
    if (count == 0)
        out(QStringLiteral("(the inbox is empty)"));
    // An application keeps only so many items; the inbox counts what it
    // dropped to keep the newest.
    const QVariantMap dropped = lastPage.value(protocol::keyDropped()).toMap();
    for (auto it = dropped.cbegin(); it != dropped.cend(); ++it) {
        if (application.isEmpty() || it.key() == application)
            out(QStringLiteral("(%1 older items of %2 dropped by the inbox's cap)")
                    .arg(it.value().toLongLong())
                    .arg(it.key()));
    }
    return Success;
}

int dialogs(const Invocation &call)
{
    const auto list = requestAll(call, protocol::dialogsMessage(), protocol::keyDialogs());
    if (!list)
        return Failure;
    int count = 0;
    for (const QVariant &value : *list) {
        const QVariantMap dialog = value.toMap();
        const QVariantMap content = dialog.value(protocol::keyContent()).toMap();
        if (count++ > 0)
            out(QString());
        out(QStringLiteral("%1  %2").arg(dialog.value(protocol::keyItemId()).toString(),
                                         dialog.value(protocol::keyApplication()).toString()));
        field(QStringLiteral("title"), shown(content, protocol::keyTitle()));
        field(QStringLiteral("body"), shown(content, protocol::keyBody()));
        if (content.value(protocol::keyRepeating()).toString() == protocol::repeatingOn())
            out(QStringLiteral("  repeats until answered"));
        const QVariantList buttons = content.value(protocol::keyButtons()).toList();
        for (const QVariant &b : buttons) {
            const QVariantMap button = b.toMap();
            field(QStringLiteral("button"),
                  QStringLiteral("%1  [%2]")
                      .arg(button.value(protocol::keyButtonLabel()).toString(),
                           button.value(protocol::keyButtonContext()).toString()));
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
        return call.usage(
            QStringLiteral("choose takes a dialog id and a button's label or context"));
    const auto chosen =
        call.request(UserSidePath, protocol::chooseMessage(),
                     {{protocol::keyDialog(), args.at(0)}, {protocol::keyButton(), args.at(1)}});
    if (!chosen)
        return Failure;
    out(QStringLiteral("chose '%1' in dialog %2")
            .arg(chosen->value(protocol::keyButtonLabel()).toString(),
                 chosen->value(protocol::keyItemId()).toString()));
    return Success;
}

// The application and, if given, the item that an inbox action names.
bool itemArguments(const Invocation &call, bool itemRequired, QVariantMap *dat)
{
    const QStringList args = call.args();
    if (args.isEmpty() || args.size() > 2 || (itemRequired && args.size() != 2))
        return false;
    dat->insert(protocol::keyApplication(), args.at(0));
    if (args.size() == 2)
        dat->insert(protocol::keyItemId(), args.at(1));
    return true;
}

int open(const Invocation &call)
{
    QVariantMap dat;
    if (!itemArguments(call, true, &dat))
        return call.usage(QStringLiteral("open takes an application and an item id"));
    const auto opened = call.request(UserSidePath, protocol::openMessage(), dat);
    if (!opened)
        return Failure;
    const QString target = opened->value(protocol::keyInvoked()).toString();
    out(target.isEmpty() ? QStringLiteral("opened %1: nothing to invoke, effects cleared")
                               .arg(dat.value(protocol::keyItemId()).toString())
                         : QStringLiteral("opened %1: invoked %2, effects cleared")
                               .arg(dat.value(protocol::keyItemId()).toString(), target));
    return Success;
}

// Clearing effects and deleting: one item, or every item of the application.
int inboxAction(const Invocation &call, const QString &msg, const QString &done)
{
    QVariantMap dat;
    if (!itemArguments(call, false, &dat))
        return call.usage(
            QStringLiteral("%1 takes an application and, optionally, an item id").arg(call.command().name));
    if (!call.request(UserSidePath, msg, dat))
        return Failure;
    out(dat.contains(protocol::keyItemId())
            ? QStringLiteral("%1 %2 of %3").arg(done, dat.value(protocol::keyItemId()).toString(),
                                                dat.value(protocol::keyApplication()).toString())
            : QStringLiteral("%1 every item of %2")
                  .arg(done, dat.value(protocol::keyApplication()).toString()));
    return Success;
}

int clearEffects(const Invocation &call)
{
    return inboxAction(call, protocol::clearEffectsMessage(), QStringLiteral("cleared the effects of"));
}

int remove(const Invocation &call)
{
    return inboxAction(call, protocol::removeMessage(), QStringLiteral("deleted"));
}

} // namespace

OMCTL_COMMAND({QStringLiteral("open"),
               QStringLiteral("<application> <item-id>"),
               QStringLiteral("Open an item of the inbox, as the user tapping it."),
               QStringLiteral("Runs the item's invocation through the invocation service, if it\n"
                              "has one, and clears its effects.\n"
                              "Example: omctl open com.example.mail 42"),
               {},
               open});

OMCTL_COMMAND({QStringLiteral("clear-effects"),
               QStringLiteral("<application> [<item-id>]"),
               QStringLiteral("Clear the effects of an item of the inbox, or of all of an application's."),
               QStringLiteral("The items stay in the inbox, seen."),
               {},
               clearEffects});

OMCTL_COMMAND({QStringLiteral("delete"),
               QStringLiteral("<application> [<item-id>]"),
               QStringLiteral("Delete an item of the inbox, or all of an application's items."),
               QString(),
               {},
               remove});

OMCTL_COMMAND({QStringLiteral("notifications"),
               QString(),
               QStringLiteral("List the items in the notification inbox."),
               QStringLiteral("One block per item, oldest first: application and item id, then\n"
                              "title, body, time (the item's timestamp, or when it arrived),\n"
                              "category, and whether its effects are cleared. Last, for each\n"
                              "application that posted more items than the inbox keeps, how\n"
                              "many of its oldest were dropped."),
               {{QStringLiteral("app"), QStringLiteral("List the items of application NAME only."),
                 QStringLiteral("NAME")}},
               notifications});

OMCTL_COMMAND({QStringLiteral("dialogs"),
               QString(),
               QStringLiteral("List the notification dialogs on screen."),
               QStringLiteral("One block per dialog: its id and application, then title, body\n"
                              "and each button's label with its context in brackets."),
               {},
               dialogs});

OMCTL_COMMAND({QStringLiteral("choose"),
               QStringLiteral("<dialog-id> <button label or context>"),
               QStringLiteral("Press a button of a dialog on screen, as the user."),
               QStringLiteral("The dialog may be named by the start of its id, braces left out,\n"
                              "if no other dialog's id starts so. The application that showed\n"
                              "the dialog learns the choice, and the dialog leaves the screen.\n"
                              "Example: omctl choose 3f2a Yes"),
               {},
               choose});

} // namespace omctl
