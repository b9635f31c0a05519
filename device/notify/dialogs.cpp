#include "notify/dialogs.h"

#include "control/controlprotocol_p.h"
#include "notify/notifyprotocol_p.h"

#include <QDateTime>

#include <algorithm>

namespace omdevice {

namespace {
namespace protocol = om::notifyprotocol;
const QString KeyItemId = protocol::keyItemId();
const QString KeyButtons = protocol::keyButtons();
const QString KeyLabel = protocol::keyButtonLabel();
const QString KeyContext = protocol::keyButtonContext();

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

Dialogs::Dialogs(NotifyService *service) : NotifyPart(service)
{
    RequestRouter *router = service->router();
    router->add({
        {protocol::alertMessage(), Shape::Map, [this](const Request &r) { alert(r); }},
        {protocol::updateMessage(), Shape::Any, [this](const Request &r) { update(r); }},
    });
    // A dialog's "cancel" carries the dialog's id; an item's never does.
    router->claim(
        protocol::cancelMessage(), [](const Request &r) { return r.hasId(); }, Shape::Any,
        [this](const Request &r) { cancel(r); });
    connect(service->control(), &ControlServer::clientClosed, this, &Dialogs::clientClosed);
}

// Why a dialog's content cannot be shown, or a null string if it can.
QString Dialogs::checkContent(const QVariantMap &content)
{
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

void Dialogs::alert(const Request &request)
{
    const QVariantMap content = request.map();
    const QString problem = checkContent(content);
    if (!problem.isNull()) {
        service()->router()->fail(request, 0, QStringLiteral("alert ") + problem);
        return;
    }
    const QString itemId = content.value(KeyItemId).toString();
    // Showing a dialog again, from wherever, replaces the one on screen,
    // if it is one of the client's user's.
    const auto shown = m_dialogs.constFind(itemId);
    if (shown != m_dialogs.cend() && !service()->router()->permits(request, shown->application))
        return;
    Dialog &dialog = m_dialogs[itemId];
    dialog.itemId = itemId;
    dialog.clientId = request.clientId();
    dialog.application = request.application();
    dialog.shown = QDateTime::currentMSecsSinceEpoch();
    dialog.content = content;
    service()->router()->answer(request, QVariantMap{{KeyItemId, itemId}});
    service()->publish(protocol::eventDialogShown(),
                       {{KeyItemId, itemId},
                        {protocol::keyApplication(), dialog.application},
                        {protocol::keyContent(), content}});
    Q_EMIT dialogsChanged();
}

void Dialogs::update(const Request &request)
{
    // Not answered: the dialog's client takes any message but the answer
    // to its alert and the user's choice for a failure.
    if (request.dat().userType() != QMetaType::QVariantMap || !checkContent(request.map()).isNull())
        return;
    const QVariantMap content = request.map();
    auto it = m_dialogs.find(content.value(KeyItemId).toString());
    if (it == m_dialogs.end() || it->clientId != request.clientId())
        return;
    it->content = content;
    Q_EMIT dialogsChanged();
}

void Dialogs::cancel(const Request &request)
{
    auto it = m_dialogs.find(request.map().value(KeyItemId).toString());
    if (it != m_dialogs.end() && it->clientId == request.clientId()) {
        ended(it);
        Q_EMIT dialogsChanged();
    }
}

void Dialogs::ended(QMap<QString, Dialog>::iterator dialog, const QVariantMap &button)
{
    QVariantMap details{{KeyItemId, dialog->itemId},
                        {protocol::keyApplication(), dialog->application}};
    if (!button.isEmpty())
        details.insert(protocol::keyButton(), button);
    m_dialogs.erase(dialog);
    service()->publish(protocol::eventDialogEnded(), details);
}

void Dialogs::clientClosed(int clientId)
{
    bool any = false;
    for (auto it = m_dialogs.begin(); it != m_dialogs.end();) {
        if (it->clientId == clientId) {
            const auto next = std::next(it);
            ended(it);
            it = next;
            any = true;
        } else {
            ++it;
        }
    }
    if (any)
        Q_EMIT dialogsChanged();
}

QList<QVariantMap> Dialogs::dialogs() const
{
    QList<Dialog> list = m_dialogs.values();
    std::stable_sort(list.begin(), list.end(),
                     [](const Dialog &a, const Dialog &b) { return a.shown < b.shown; });
    QList<QVariantMap> result;
    for (const Dialog &dialog : qAsConst(list)) {
        result.append({{KeyItemId, dialog.itemId},
                       {protocol::keyApplication(), dialog.application},
                       {protocol::keyShown(), dialog.shown},
                       {protocol::keyContent(), dialog.content}});
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
    // Not an answer but a message of the service's own, under the
    // dialog's id.
    QVariantMap choice;
    choice.insert(om::controlprotocol::keyMsg(), protocol::choiceMessage());
    choice.insert(om::controlprotocol::keyId(), dialog.itemId);
    choice.insert(om::controlprotocol::keyDat(),
                  QVariantMap{{KeyItemId, dialog.itemId}, {KeyContext, context}});
    if (!service()->control()->reply(dialog.clientId, choice)) {
        *error = QStringLiteral("the choice could not be sent to the application");
        return false;
    }
    // The dialog leaves the screen with the user's choice.
    *chosen = {{KeyItemId, dialog.itemId}, {KeyContext, context}, {KeyLabel, button.value(KeyLabel)}};
    ended(found, *chosen);
    Q_EMIT dialogsChanged();
    return true;
}

} // namespace omdevice
