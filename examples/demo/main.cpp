// A small application on the simulated device: posts a notification through
// the notification service and prints the service's answer.

#include <om/platform/ommock/notificationppschannel.h>

#include <om/ppsobject.h>

#include <QCoreApplication>
#include <QUuid>
#include <QVariantMap>

#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);

    const QString id = QUuid::createUuid().toString();
    QVariantMap dat;
    dat.insert(QStringLiteral("itemId"), id);
    dat.insert(QStringLiteral("title"), QStringLiteral("Hello from omdemo"));
    dat.insert(QStringLiteral("subtitle"), QStringLiteral("Posted through the device bus"));
    dat.insert(QStringLiteral("badge"), QStringLiteral("true"));
    QVariantMap message;
    message.insert(QStringLiteral("msg"), QStringLiteral("notify"));
    message.insert(QStringLiteral("id"), id);
    message.insert(QStringLiteral("dat"), dat);

    QVariantMap response;
    const int result = ommock::NotificationPpsChannel::sendAndWait(message, response, 2000);
    if (result != 0) {
        std::fprintf(stderr, "omdemo: notify failed with code %d (is omdeviced running?)\n", result);
        return 1;
    }
    const QVariantMap answer = response.value(QStringLiteral("@control")).toMap();
    std::printf("omdemo: notify answered: res=%s id=%s dat=%s\n",
                qPrintable(answer.value(QStringLiteral("res")).toString()),
                qPrintable(answer.value(QStringLiteral("id")).toString()),
                qPrintable(QString::fromUtf8(om::PpsObject::encode(answer.value(QStringLiteral("dat")).toMap()).trimmed())));
    return answer.contains(QStringLiteral("err")) ? 1 : 0;
}
