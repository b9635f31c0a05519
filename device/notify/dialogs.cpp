#include "notify/dialogs.h"

#include "notify/inbox.h"

#include <QDateTime>

#include <algorithm>

namespace omdevice {

namespace {
const QString KeyItemId = QStringLiteral("itemId");
const QString KeyButtons = QStringLiteral("promptChoices");
const QString KeyLabel = QStringLiteral("label");
const QString KeyContext = QStringLiteral("context");

QString withoutBraces(const QString &id)
{
    QString bare = id;
    if (bare.startsWith(QLatin1Char('{')))
        bare.remove(0, 1);
    if (bare.endsWith(QLatin1Char('}')))
        bare.chop(1);
    return bare;
}
} // namespace

Dialogs::Dialogs(NotifyService *service) : NotifyPart(service) {}

QStringList Dialogs::messages() const
{
    // "cancel" reaches this part through the inbox, which tells the two
    // kinds of "cancel" apart.
    return {QStringLiteral("alert"), QStringLiteral("update")};
}

void Dialogs::handle(int clientId, const QVariantMap &request)
{
    if (request.value(QStringLiteral("msg")).toString() == QLatin1String("alert"))
        alert(clientId, request);
    else
        update(clientId, request);
}

// Why a dialog's content cannot be shown, or a null string if it can.
QString Dialogs::checkContent(const QVariant &dat)
{
    if (dat.userType() != QMetaType::QVariantMap)
        return QStringLiteral("without dat");
    const QVariantMap content = dat.toMap();
    if (content.value(KeyItemId).toString().isEmpty())
        return QStringLiteral("without itemId");
    const QVariantList buttons = content.value(KeyButtons).toList();
    if (buttons.isEmpty())
        return QStringLiteral("without promptChoices");
    for (const QVariant &button : buttons) {
        if (button.toMap().value(KeyContext).toString().isEmpty())
            return QStringLiteral("with a button that has no context");
    }
    return QString();
}

void Dialogs::alert(int clientId, const QVariantMap &request)
{
    const QVariant dat = request.value(QStringLiteral("dat"));
    const QString problem = checkContent(dat);
    if (!problem.isNull()) {
        service()->fail(clientId, request, QStringLiteral("alert ") + problem);
        return;
    }
    const QVariantMap content = dat.toMap();
    const QString itemId = content.value(KeyItemId).toString();
    // Showing a dialog again, from wherever, replaces the one on screen.
    Dialog &dialog = m_dialogs[itemId];
    dialog.itemId = itemId;
    dialog.clientId = clientId;
    dialog.application = Inbox::applicationOf(service(), clientId);
    dialog.shown = QDateTime::currentMSecsSinceEpoch();
    dialog.content = content;
    service()->answer(clientId, request, {{KeyItemId, itemId}});
}

void Dialogs::update(int clientId, const QVariantMap &request)
{
    // Not answered: the dialog's client takes any message but the answer
    // to its alert and the user's choice for a failure.
    const QVariant dat = request.value(QStringLiteral("dat"));
    if (!checkContent(dat).isNull())
        return;
    const QVariantMap content = dat.toMap();
    auto it = m_dialogs.find(content.value(KeyItemId).toString());
    if (it == m_dialogs.end() || it->clientId != clientId)
        return;
    it->content = content;
}

void Dialogs::cancel(int clientId, const QVariantMap &request)
{
    const QString itemId = request.value(QStringLiteral("dat")).toMap().value(KeyItemId).toString();
    auto it = m_dialogs.find(itemId);
    if (it != m_dialogs.end() && it->clientId == clientId)
        m_dialogs.erase(it);
}

void Dialogs::clientClosed(int clientId)
{
    for (auto it = m_dialogs.begin(); it != m_dialogs.end();) {
        if (it->clientId == clientId)
            it = m_dialogs.erase(it);
        else
            ++it;
    }
}

QList<QVariantMap> Dialogs::dialogs() const
{
    QList<Dialog> list = m_dialogs.values();
    std::stable_sort(list.begin(), list.end(),
                     [](const Dialog &a, const Dialog &b) { return a.shown < b.shown; });
    QList<QVariantMap> result;
    for (const Dialog &dialog : qAsConst(list)) {
        result.append({{KeyItemId, dialog.itemId},
                       {QStringLiteral("application"), dialog.application},
                       {QStringLiteral("shown"), dialog.shown},
                       {QStringLiteral("content"), dialog.content}});
    }
    return result;
}

bool Dialogs::choose(const QString &dialogName, const QString &buttonName, QVariantMap *chosen,
                     QString *error)
{
    auto found = m_dialogs.find(dialogName);
    if (found == m_dialogs.end()) {
        const QString wanted = withoutBraces(dialogName);
        QList<QString> matches;
        for (auto it = m_dialogs.cbegin(); it != m_dialogs.cend(); ++it) {
            if (!wanted.isEmpty() && withoutBraces(it.key()).startsWith(wanted))
                matches.append(it.key());
        }
        if (matches.size() > 1) {
            *error = QStringLiteral("'%1' names %2 dialogs; give more of the id")
                         .arg(dialogName)
                         .arg(matches.size());
            return false;
        }
        if (matches.isEmpty()) {
            *error = QStringLiteral("no dialog '%1' on screen").arg(dialogName);
            return false;
        }
        found = m_dialogs.find(matches.first());
    }

    const QVariantList buttons = found->content.value(KeyButtons).toList();
    QVariantMap button;
    for (const QVariant &value : buttons) {
        if (value.toMap().value(KeyContext).toString() == buttonName) {
            button = value.toMap();
            break;
        }
    }
    if (button.isEmpty()) {
        int labelled = 0;
        for (const QVariant &value : buttons) {
            if (value.toMap().value(KeyLabel).toString() == buttonName) {
                if (++labelled == 1)
                    button = value.toMap();
            }
        }
        if (labelled > 1) {
            *error = QStringLiteral("dialog %1 has %2 buttons labelled '%3'; name one by its context")
                         .arg(found->itemId)
                         .arg(labelled)
                         .arg(buttonName);
            return false;
        }
    }
    if (button.isEmpty()) {
        *error = QStringLiteral("dialog %1 has no button '%2'").arg(found->itemId, buttonName);
        return false;
    }

    const Dialog dialog = *found;
    const QString context = button.value(KeyContext).toString();
    QVariantMap choice;
    choice.insert(QStringLiteral("msg"), QStringLiteral("choice"));
    choice.insert(QStringLiteral("id"), dialog.itemId);
    choice.insert(QStringLiteral("dat"), QVariantMap{{KeyItemId, dialog.itemId}, {KeyContext, context}});
    if (!service()->control()->reply(dialog.clientId, choice)) {
        *error = QStringLiteral("the choice could not be sent to the application");
        return false;
    }
    // The dialog leaves the screen with the user's choice.
    m_dialogs.erase(found);
    *chosen = {{KeyItemId, dialog.itemId}, {KeyContext, context}, {KeyLabel, button.value(KeyLabel)}};
    return true;
}

OM_NOTIFY_PART(Dialogs, "dialogs");

} // namespace omdevice
