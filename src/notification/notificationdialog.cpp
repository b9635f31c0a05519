#include "notificationdialog_p.h"

#include "notification_p.h"
#include "notificationssharedconstants.h"

#include <om/platform/ommock/notificationppschannel.h>

#include <QAbstractEventDispatcher>
#include <QEventLoop>
#include <QMutexLocker>
#include <QUuid>

#include <algorithm>

using om::system::InvokeRequest;
using om::system::SystemUiButton;

namespace om {
namespace platform {

namespace {
QString ppsIdOf(const QObject *object)
{
    return object->property(s_ppsId.toLatin1().constData()).toString();
}
} // namespace

NotificationDialogPrivate::NotificationDialogPrivate(NotificationDialog *owner)
    : QObject(owner), q_ptr(owner), eventLoop(new QEventLoop(this))
{
}

NotificationDialogPrivate::~NotificationDialogPrivate()
{
    cancel();
    // A dialog destroyed from inside its own exec(): the loop is still on
    // the stack, so it must outlive this object. It ends once that exec()
    // has returned.
    if (eventLoop->isRunning()) {
        eventLoop->exit(0);
        eventLoop->setParent(nullptr);
        eventLoop->deleteLater();
    }
}

QString NotificationDialogPrivate::dialogId() const
{
    return ppsIdOf(q_ptr);
}

void NotificationDialogPrivate::connectChannel()
{
    if (connected)
        return;
    channel = new ommock::NotificationPpsChannel(this);
    if (!channel->isOpen()) {
        result = NotificationResult::Error;
        error = NotificationError::ServiceUnavailable;
        return;
    }
    m_receiveConnection = connect(channel, &ommock::NotificationPpsChannel::receivePassthrough, this,
                                  &NotificationDialogPrivate::onReceive);
    m_sendConnection = connect(this, &NotificationDialogPrivate::send, channel,
                               &ommock::NotificationPpsChannel::sendPassthrough);
    connected = true;
}

void NotificationDialogPrivate::disconnectChannel()
{
    if (!connected)
        return;
    QMutexLocker lock(&mutex);
    disconnect(m_receiveConnection);
    disconnect(m_sendConnection);
    // The channel may be in the middle of delivering the message that ended
    // the exchange, and the dialog may be destroyed by a slot meanwhile: let
    // the channel end on its own, later.
    channel->setParent(nullptr);
    channel->deleteLater();
    channel = nullptr;
    connected = false;
}

void NotificationDialogPrivate::show()
{
    QMutexLocker lock(&mutex);
    result = NotificationResult::None;
    error = NotificationError::None;

    const QString id = dialogId();
    QVariantMap message;
    message.insert(s_attributeMsg, connected ? s_attributeMsgUpdate : s_attributeMsgAlert);
    if (!connected)
        message.insert(s_attributeId, id);

    QVariantMap dat;
    dat.insert(s_attributeItemId, id);
    if (!title.isNull())
        dat.insert(s_attributeTitle, title);
    if (!body.isNull())
        dat.insert(s_attributeBody, body);
    dat.insert(s_attributeRepeating, repeat ? s_attributeRepeatingOn : s_attributeRepeatingOff);
    if (!category.isNull())
        dat.insert(s_attributeCategory, category);
    const QString sound = wireFileUrl(soundUrl);
    if (!sound.isEmpty())
        dat.insert(s_attributeSound, sound);

    if (buttons.isEmpty()) {
        error = NotificationError::NoButtons;
        result = NotificationResult::Error;
        cancel();
        lock.unlock();
        finish();
        return;
    }

    QVariantList choices;
    for (int i = 0; i < buttons.size(); ++i) {
        const SystemUiButton *button = buttons.at(i);
        const InvokeRequest request = invokeRequests.value(i);
        QVariantMap choice;
        choice.insert(s_attributeButtonLabel, button->label());
        choice.insert(s_attributeButtonId, ppsIdOf(button));
        if (!request.target().isEmpty())
            choice.insert(s_attributeTarget, request.target());
        if (!request.action().isEmpty())
            choice.insert(s_attributeAction, request.action());
        // The service takes a button's data as it is, not in base64.
        if (!request.data().isEmpty())
            choice.insert(s_attributeData, request.data());
        const QString uri = request.uri().toString();
        if (!uri.isEmpty())
            choice.insert(s_attributeUri, uri);
        choices.append(choice);
    }
    dat.insert(s_attributeButtons, choices);
    message.insert(s_attributeDat, dat);

    connectChannel();
    if (result == NotificationResult::Error) {
        lock.unlock();
        finish();
        return;
    }
    Q_EMIT send(message);
}

void NotificationDialogPrivate::cancel()
{
    QMutexLocker lock(&mutex);
    if (!connected)
        return;
    const QString id = dialogId();
    QVariantMap message;
    message.insert(s_attributeMsg, s_attributeMsgCancel);
    message.insert(s_attributeId, id);
    message.insert(s_attributeDat, QVariantMap{{s_attributeItemId, id}});
    Q_EMIT send(message);
    disconnectChannel();
}

void NotificationDialogPrivate::fail(NotificationError::Type reason)
{
    disconnectChannel();
    error = reason;
    result = NotificationResult::Error;
    finish();
}

void NotificationDialogPrivate::finish()
{
    Q_Q(NotificationDialog);
    eventLoop->exit(0);
    const NotificationResult::Type value = result;
    QPointer<NotificationDialog> alive(q);
    Q_EMIT q->finished(value);
    if (alive)
        Q_EMIT q->finished(int(value));
}

void NotificationDialogPrivate::onReceive(QVariantMap response)
{
    const QVariantMap attributes = controlAttributes(response);
    const QString myId = dialogId();

    if (!attributes.contains(s_attributeId) || attributes.value(s_attributeId).toString() != myId) {
        fail(NotificationError::Unknown);
        return;
    }
    if (attributes.value(s_attributeRes).toString() == s_attributeMsgAlert) {
        if (attributes.contains(s_attributeError))
            fail(NotificationError::InvalidRequest);
        // Otherwise the dialog is up, and goes on waiting.
        return;
    }
    if (attributes.value(s_attributeMsg).toString() != s_attributeMsgChoice) {
        fail(NotificationError::Unknown);
        return;
    }
    const QVariantMap dat = attributes.value(s_attributeDat).toMap();
    cancel();
    if (dat.value(s_attributeItemId).toString() != myId) {
        fail(NotificationError::Unknown);
        return;
    }
    QString context;
    if (dat.contains(s_attributeButtonId))
        context = dat.value(s_attributeButtonId).toString();
    if (!context.isEmpty()) {
        for (SystemUiButton *button : qAsConst(buttons)) {
            if (ppsIdOf(button) == context) {
                selectedButton = button;
                result = NotificationResult::ButtonSelection;
                error = NotificationError::None;
                break;
            }
        }
    }
    if (!selectedButton) {
        error = NotificationError::Unknown;
        result = NotificationResult::Error;
    }
    finish();
}

void NotificationDialogPrivate::onDestroyed(QObject *object)
{
    QMutexLocker lock(&mutex);
    // The button is no more than a QObject by now: it may not even be cast
    // to what it was, so each button is made a QObject to be compared.
    // Its invocation stays where it is, so the requests of the buttons
    // behind it no longer line up with them.
    buttons.erase(std::remove_if(buttons.begin(), buttons.end(),
                                 [object](SystemUiButton *button) {
                                     return static_cast<QObject *>(button) == object;
                                 }),
                  buttons.end());
}

void NotificationDialogPrivate::qmlAppend(QQmlListProperty<SystemUiButton> *list,
                                          SystemUiButton *button)
{
    auto *dialog = qobject_cast<NotificationDialog *>(list->object);
    if (!dialog || !button)
        return;
    dialog->appendButton(button);
}

NotificationDialogPrivate::QmlListSize
NotificationDialogPrivate::qmlCount(QQmlListProperty<SystemUiButton> *list)
{
    auto *dialog = qobject_cast<NotificationDialog *>(list->object);
    return dialog ? dialog->buttonCount() : 0;
}

SystemUiButton *NotificationDialogPrivate::qmlAt(QQmlListProperty<SystemUiButton> *list,
                                                 QmlListSize index)
{
    auto *dialog = qobject_cast<NotificationDialog *>(list->object);
    return dialog ? dialog->buttonAt(int(index)) : nullptr;
}

void NotificationDialogPrivate::qmlClear(QQmlListProperty<SystemUiButton> *list)
{
    if (auto *dialog = qobject_cast<NotificationDialog *>(list->object))
        dialog->clearButtons();
}

NotificationDialog::NotificationDialog(QObject *parent)
    : QObject(parent), d_ptr(new NotificationDialogPrivate(this))
{
    setProperty(s_ppsId.toLatin1().constData(), QUuid::createUuid().toString());
}

NotificationDialog::~NotificationDialog()
{
    Q_D(NotificationDialog);
    // While the dialog is still whole, so that "cancel" carries its id.
    d->cancel();
}

QString NotificationDialog::category() const
{
    Q_D(const NotificationDialog);
    return d->category;
}

void NotificationDialog::setCategory(const QString &category)
{
    Q_D(NotificationDialog);
    if (assign(d->category, category))
        Q_EMIT categoryChanged(d->category);
}

void NotificationDialog::resetCategory()
{
    setCategory(QString());
}

QString NotificationDialog::title() const
{
    Q_D(const NotificationDialog);
    return d->title;
}

void NotificationDialog::setTitle(const QString &title)
{
    Q_D(NotificationDialog);
    if (assign(d->title, title))
        Q_EMIT titleChanged(d->title);
}

void NotificationDialog::resetTitle()
{
    setTitle(QString());
}

QString NotificationDialog::body() const
{
    Q_D(const NotificationDialog);
    return d->body;
}

void NotificationDialog::setBody(const QString &body)
{
    Q_D(NotificationDialog);
    if (assign(d->body, body))
        Q_EMIT bodyChanged(d->body);
}

void NotificationDialog::resetBody()
{
    setBody(QString());
}

bool NotificationDialog::repeat() const
{
    Q_D(const NotificationDialog);
    return d->repeat;
}

void NotificationDialog::setRepeat(bool repeat)
{
    Q_D(NotificationDialog);
    if (assign(d->repeat, repeat))
        Q_EMIT repeatChanged(d->repeat);
}

void NotificationDialog::resetRepeat()
{
    setRepeat(false);
}

QUrl NotificationDialog::soundUrl() const
{
    Q_D(const NotificationDialog);
    return d->soundUrl;
}

void NotificationDialog::setSoundUrl(const QUrl &soundUrl)
{
    Q_D(NotificationDialog);
    if (assign(d->soundUrl, soundUrl))
        Q_EMIT soundUrlChanged(d->soundUrl);
}

void NotificationDialog::resetSoundUrl()
{
    setSoundUrl(QUrl());
}

NotificationResult::Type NotificationDialog::result() const
{
    Q_D(const NotificationDialog);
    return d->result;
}

NotificationError::Type NotificationDialog::error() const
{
    Q_D(const NotificationDialog);
    return d->error;
}

SystemUiButton *NotificationDialog::buttonSelection() const
{
    Q_D(const NotificationDialog);
    return d->selectedButton.data();
}

void NotificationDialog::appendButton(SystemUiButton *button)
{
    appendButton(button, InvokeRequest());
}

void NotificationDialog::appendButton(SystemUiButton *button, const InvokeRequest &request)
{
    Q_D(NotificationDialog);
    if (!button)
        return;
    if (button->parent() != this)
        button->setParent(this);
    QMutexLocker lock(&d->mutex);
    if (d->buttons.contains(button))
        return;
    connect(button, &QObject::destroyed, d, &NotificationDialogPrivate::onDestroyed);
    d->buttons.append(button);
    d->invokeRequests.append(request);
}

int NotificationDialog::buttonCount() const
{
    Q_D(const NotificationDialog);
    QMutexLocker lock(&d->mutex);
    return d->buttons.size();
}

SystemUiButton *NotificationDialog::buttonAt(int index) const
{
    Q_D(const NotificationDialog);
    QMutexLocker lock(&d->mutex);
    return d->buttons.value(index, nullptr);
}

InvokeRequest NotificationDialog::invokeRequestAt(int index) const
{
    Q_D(const NotificationDialog);
    QMutexLocker lock(&d->mutex);
    if (index < 0 || index >= d->buttons.size())
        return InvokeRequest();
    return d->invokeRequests.value(index);
}

bool NotificationDialog::setInvokeRequestAt(int index, const InvokeRequest &request)
{
    Q_D(NotificationDialog);
    QMutexLocker lock(&d->mutex);
    if (index < 0 || index >= d->buttons.size())
        return false;
    d->invokeRequests[index] = request;
    return true;
}

void NotificationDialog::clearButtons()
{
    Q_D(NotificationDialog);
    QMutexLocker lock(&d->mutex);
    for (SystemUiButton *button : qAsConst(d->buttons))
        button->deleteLater();
    d->buttons.clear();
    d->invokeRequests.clear();
}

QQmlListProperty<SystemUiButton> NotificationDialog::qmlButtons()
{
    return QQmlListProperty<SystemUiButton>(this, nullptr, &NotificationDialogPrivate::qmlAppend,
                                            &NotificationDialogPrivate::qmlCount,
                                            &NotificationDialogPrivate::qmlAt,
                                            &NotificationDialogPrivate::qmlClear);
}

void NotificationDialog::show()
{
    Q_D(NotificationDialog);
    d->show();
}

NotificationResult::Type NotificationDialog::exec()
{
    Q_D(NotificationDialog);
    show();
    if (d->result == NotificationResult::Error)
        return d->result;
    // No event dispatcher on this thread (no QCoreApplication): the user's
    // choice could never arrive, and the loop would spin instead of wait.
    if (!QAbstractEventDispatcher::instance()) {
        d->cancel();
        d->fail(NotificationError::Unknown);
        return d->result;
    }
    QPointer<NotificationDialog> alive(this);
    QPointer<QEventLoop> loop(d->eventLoop);
    loop->exec();
    // The dialog may have been destroyed while the loop ran.
    if (!alive)
        return NotificationResult::None;
    return d->result;
}

void NotificationDialog::cancel()
{
    Q_D(NotificationDialog);
    d->cancel();
}

} // namespace platform
} // namespace om
