#include "invokereply_p.h"

#include <om/ppsobject.h>
#include <om/system/invoketargetreply.h>

#include "invokeprotocol_p.h"

#include <QAtomicInt>
#include <QPointer>
#include <QTimer>

#include <cerrno>
#include <cstring>

namespace om {
namespace system {

void InvokeReplyPrivate::finish(int code, const QString &text)
{
    if (finished)
        return;
    finished = true;
    error = code;
    errorString = text;
    Q_EMIT q_ptr->finished();
}

void InvokeReplyPrivate::finishLater(int code, const QString &text)
{
    QPointer<InvokeReply> q(q_ptr);
    QMetaObject::invokeMethod(
        q_ptr,
        [q, this, code, text]() {
            if (q)
                finish(code, text);
        },
        Qt::QueuedConnection);
}

InvokeReply::InvokeReply(InvokeReplyPrivate *d, QObject *parent) : QObject(parent), d_ptr(d) {}

InvokeReply::~InvokeReply()
{
    delete d_ptr;
}

bool InvokeReply::isFinished() const
{
    return d_func()->finished;
}

int InvokeReply::error() const
{
    return d_func()->error;
}

QString InvokeReply::errorString() const
{
    return d_func()->errorString;
}

namespace {

QAtomicInt requestCounter;

QString systemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

} // namespace

void InvokeTargetReplyPrivate::start(const InvokeRequest &request, const QString &sender,
                                     int timeoutMs)
{
    InvokeReply *q = q_ptr;
    id = QString::number(requestCounter.fetchAndAddRelaxed(1) + 1);

    QVariantMap message;
    message.insert(QStringLiteral("msg"), invokeprotocol::invokeMessage());
    message.insert(QStringLiteral("id"), id);
    message.insert(QStringLiteral("dat"), invokeprotocol::encodeRequest(request, sender));
    bool encoded = false;
    const QByteArray text = PpsObject::encode(message, &encoded);
    if (!encoded) {
        finishLater(InvokeReply::BadRequest,
                    QStringLiteral("the request's metadata cannot be sent over the bus"));
        return;
    }
    if (text.size() > PpsObject::MaxMessageSize) {
        finishLater(InvokeReply::BadRequest,
                    QStringLiteral("the request (%1 bytes) is larger than a bus message can hold")
                        .arg(text.size()));
        return;
    }

    pps = new PpsObject(invokeprotocol::controlPath(), q);
    if (!pps->open(PpsOpenMode::PublishSubscribe)) {
        const int err = pps->error();
        delete pps;
        pps = nullptr;
        finishLater(InvokeReply::ServiceUnavailable,
                    QStringLiteral("cannot reach the invocation service: %1").arg(systemError(err)));
        return;
    }
    QObject::connect(pps, &PpsObject::readyRead, q, [this]() { onReadyRead(); });
    if (!pps->write(text)) {
        const int err = pps->error();
        end(InvokeReply::ServiceUnavailable,
            QStringLiteral("cannot write to the invocation service: %1").arg(systemError(err)));
        return;
    }
    timer = new QTimer(q);
    timer->setSingleShot(true);
    QObject::connect(timer, &QTimer::timeout, q, [this, timeoutMs]() {
        end(InvokeReply::NoAnswer,
            QStringLiteral("the invocation service did not answer within %1 ms").arg(timeoutMs));
    });
    timer->start(timeoutMs);
}

void InvokeTargetReplyPrivate::onReadyRead()
{
    while (pps && !finished) {
        bool ok = false;
        const QByteArray data = pps->read(&ok);
        if (!ok) {
            if (pps->error() != EAGAIN)
                end(InvokeReply::NoAnswer, QStringLiteral("the invocation service went away"));
            return;
        }
        bool decoded = false;
        const QVariantMap objects = PpsObject::decode(data, &decoded);
        if (!decoded) {
            end(InvokeReply::BadAnswer,
                QStringLiteral("the invocation service sent an answer that cannot be decoded"));
            return;
        }
        // The answer comes headed with the object's name; without a header
        // the attributes stand at top level.
        QVariantMap attributes = objects;
        if (!objects.isEmpty() && objects.firstKey().startsWith(QLatin1Char('@')))
            attributes = objects.first().toMap();
        // Once the answer is taken, finished() has run the caller's slots,
        // which may have deleted this reply: touch nothing after it.
        if (takeAnswer(attributes))
            return;
    }
}

bool InvokeTargetReplyPrivate::takeAnswer(const QVariantMap &attributes)
{
    if (attributes.value(QStringLiteral("res")).toString() != invokeprotocol::invokeMessage()
        || attributes.value(QStringLiteral("id")).toString() != id)
        return false; // something for all clients, or an answer to someone else
    if (!attributes.contains(invokeprotocol::keyError())) {
        target = attributes.value(QStringLiteral("dat")).toMap().value(invokeprotocol::keyTarget()).toString();
        end(InvokeReply::NoError, QString());
        return true;
    }
    bool isCode = false;
    const int code = attributes.value(invokeprotocol::keyError()).toInt(&isCode);
    QString text = attributes.value(invokeprotocol::keyErrorText()).toString();
    if (!isCode || code == InvokeReply::NoError) {
        end(InvokeReply::BadAnswer,
            QStringLiteral("the invocation service answered with an unknown error: %1")
                .arg(attributes.value(invokeprotocol::keyError()).toString()));
        return true;
    }
    if (text.isEmpty())
        text = QStringLiteral("the invocation service refused the request (error %1)").arg(code);
    end(code, text);
    return true;
}

void InvokeTargetReplyPrivate::end(int code, const QString &text)
{
    if (timer) {
        timer->stop();
        timer->deleteLater();
        timer = nullptr;
    }
    if (pps) {
        // This may run inside the object's own readyRead: let it finish
        // its emission before the connection goes.
        QObject::disconnect(pps, nullptr, q_ptr, nullptr);
        pps->deleteLater();
        pps = nullptr;
    }
    finish(code, text);
}

InvokeTargetReply::InvokeTargetReply(QObject *parent)
    : InvokeReply(new InvokeTargetReplyPrivate(this), parent)
{
}

InvokeTargetReply::~InvokeTargetReply() = default;

QString InvokeTargetReply::target() const
{
    return d_func()->target;
}

} // namespace system
} // namespace om
