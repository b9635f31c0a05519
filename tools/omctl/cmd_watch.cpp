// omctl watch: follows one bus object, or, without one, the device as its
// user sees it: notifications posted, cleared and removed, dialogs shown and
// answered, changes of the notification settings, and the state objects of
// the navigator, the data lock and the device properties.

#include "command.h"
#include "omctlclient.h"

#include "control/controlprotocol_p.h"
#include "notify/notifyprotocol_p.h"
#include "oms/devicepropertiesprotocol_p.h"
#include "oms/navigatorprotocol_p.h"
#include "perimeter/perimeterprotocol_p.h"

#include <om/ppsobject.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QUuid>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <vector>

namespace omctl {
namespace {

namespace notify = om::notifyprotocol;

// Counts what has been printed and ends the loop after --count of it.
class Counter
{
public:
    explicit Counter(int limit) : m_limit(limit) {}
    void printed()
    {
        if (m_limit > 0 && ++m_seen >= m_limit)
            QCoreApplication::exit(Success);
    }

private:
    int m_limit;
    int m_seen = 0;
};

// One line of the device's events: the time, what happened, the details.
void event(Counter &counter, const QString &what, const QString &details)
{
    out(QStringLiteral("%1 %2 %3")
            .arg(QTime::currentTime().toString(QStringLiteral("hh:mm:ss")), what.leftJustified(13),
                 details));
    std::fflush(stdout);
    counter.printed();
}

QString quoted(const QVariant &value)
{
    QString text = value.toString();
    text.replace(QLatin1Char('\n'), QLatin1String("\\n"));
    return QLatin1Char('"') + text + QLatin1Char('"');
}

QString itemOrAll(const QVariantMap &dat)
{
    const QString item = dat.value(notify::keyItemId()).toString();
    return item.isEmpty() ? QStringLiteral("(every item)") : item;
}

QString pairs(const QVariantMap &map)
{
    QStringList parts;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        parts.append(it.key() + QLatin1Char('=') + it.value().toString());
    return parts.join(QLatin1Char(' '));
}

// An event of the notification service, as one line.
void printNotifyEvent(Counter &counter, const QVariantMap &dat)
{
    const QString kind = dat.value(notify::keyEvent()).toString();
    const QString application = dat.value(notify::keyApplication()).toString();
    if (kind == notify::eventPosted()) {
        const QVariantMap attributes = dat.value(notify::keyAttributes()).toMap();
        QString line = QStringLiteral("%1 %2 %3 %4")
                           .arg(application, dat.value(notify::keyItemId()).toString(),
                                quoted(attributes.value(notify::keyTitle())),
                                quoted(attributes.value(notify::keyBody())));
        if (!dat.value(QStringLiteral("new")).toBool())
            line += QStringLiteral(" (updated)");
        event(counter, QStringLiteral("notification"), line);
    } else if (kind == notify::eventCleared() || kind == notify::eventRemoved()) {
        event(counter, kind, application + QLatin1Char(' ') + itemOrAll(dat));
    } else if (kind == notify::eventDialogShown()) {
        const QVariantMap content = dat.value(notify::keyContent()).toMap();
        QStringList buttons;
        const QVariantList list = content.value(notify::keyButtons()).toList();
        for (const QVariant &button : list)
            buttons.append(QLatin1Char('[') +
                           button.toMap().value(notify::keyButtonLabel()).toString() +
                           QLatin1Char(']'));
        event(counter, QStringLiteral("dialog"),
              QStringLiteral("%1 %2 %3 %4")
                  .arg(application, dat.value(notify::keyItemId()).toString(),
                       quoted(content.value(notify::keyTitle())), buttons.join(QLatin1Char(' '))));
    } else if (kind == notify::eventDialogEnded()) {
        const QVariantMap button = dat.value(notify::keyButton()).toMap();
        event(counter, QStringLiteral("dialog ended"),
              QStringLiteral("%1 %2 %3")
                  .arg(application, dat.value(notify::keyItemId()).toString(),
                       button.isEmpty()
                           ? QStringLiteral("without a choice")
                           : QStringLiteral("chose ") + quoted(button.value(notify::keyButtonLabel()))));
    } else if (kind == notify::eventSettings()) {
        event(counter, QStringLiteral("settings"),
              dat.value(notify::keyScope()).toString() + QLatin1Char(' ') +
                  pairs(dat.value(notify::keySettings()).toMap()));
    }
}

// The attributes of one object in a subscriber's read.
QVariantMap attributesOf(const QByteArray &text)
{
    bool ok = false;
    const QVariantMap decoded = om::PpsObject::decode(text, &ok);
    if (!ok || decoded.isEmpty())
        return QVariantMap();
    return decoded.first().toMap();
}

// A plain object whose changes watch prints: attribute by attribute, what
// changed since the last content.
struct StateWatch
{
    QString name;
    std::unique_ptr<om::PpsObject> pps;
    QVariantMap last;
};

void printChanges(Counter &counter, StateWatch &watch, const QVariantMap &now)
{
    QVariantMap changed;
    for (auto it = now.cbegin(); it != now.cend(); ++it) {
        if (watch.last.value(it.key()) != it.value())
            changed.insert(it.key(), it.value());
    }
    for (auto it = watch.last.cbegin(); it != watch.last.cend(); ++it) {
        if (!now.contains(it.key()))
            changed.insert(it.key(), QStringLiteral("(removed)"));
    }
    watch.last = now;
    if (!changed.isEmpty())
        event(counter, watch.name, pairs(changed));
}

int watchObject(const Invocation &call, Counter &counter)
{
    const QString path = call.args().first();
    om::PpsObject pps(path);
    if (!pps.open(om::PpsOpenMode::Subscribe))
        return fail(path, reason(pps.error()));
    int result = Success;
    QObject::connect(&pps, &om::PpsObject::readyRead, [&]() {
        bool ok = false;
        const QByteArray text = pps.read(&ok);
        if (!ok) {
            if (pps.error() == EAGAIN)
                return;
            result = fail(path, reason(pps.error()));
            QCoreApplication::exit(result);
            return;
        }
        printText(text);
        counter.printed();
    });
    const int code = QCoreApplication::exec();
    return code != Success ? code : result;
}

int watchDevice(Counter &counter)
{
    // The notification service's user side: ask it to follow, then read
    // its events. Its answer to "follow" says the service takes it.
    om::PpsObject userSide(notify::userSidePath());
    bool following = false;
    if (userSide.open(om::PpsOpenMode::PublishSubscribe) &&
        userSide.writeMessage(notify::followMessage(), QUuid::createUuid().toString(),
                              QVariantMap()) == 0) {
        following = true;
        QObject::connect(&userSide, &om::PpsObject::readyRead, [&]() {
            for (;;) {
                bool ok = false;
                const QByteArray text = userSide.read(&ok);
                if (!ok) {
                    if (userSide.error() != EAGAIN) {
                        fail(notify::userSidePath(), reason(userSide.error()));
                        QCoreApplication::exit(Failure);
                    }
                    return;
                }
                const QVariantMap message = attributesOf(text);
                if (message.value(om::controlprotocol::keyMsg()).toString() ==
                    notify::eventMessage())
                    printNotifyEvent(counter, message.value(om::controlprotocol::keyDat()).toMap());
                else if (message.contains(om::controlprotocol::keyErr()))
                    fail(notify::userSidePath(), message.value(om::controlprotocol::keyErr()).toString());
            }
        });
    } else {
        fail(notify::userSidePath(),
             userSide.error() == ENOENT ? QStringLiteral("no notification service; not followed")
                                        : reason(userSide.error()));
    }

    std::vector<StateWatch> states;
    const QList<QPair<QString, QString>> objects{
        {QStringLiteral("navigator"), om::navigatorprotocol::statePath()},
        {QStringLiteral("datalock"), om::perimeterprotocol::statePath()},
        {QStringLiteral("device"), om::devicepropertiesprotocol::path()},
    };
    for (const auto &object : objects) {
        StateWatch watch{object.first, std::make_unique<om::PpsObject>(object.second), {}};
        if (!watch.pps->open(om::PpsOpenMode::Subscribe))
            continue; // that service does not run
        // The content at open is where changes start from, not a change.
        bool ok = false;
        const QByteArray text = watch.pps->read(&ok);
        if (ok)
            watch.last = attributesOf(text);
        states.push_back(std::move(watch));
    }
    for (StateWatch &watch : states) {
        StateWatch *w = &watch;
        QObject::connect(w->pps.get(), &om::PpsObject::readyRead, [&counter, w]() {
            bool ok = false;
            const QByteArray text = w->pps->read(&ok);
            if (ok)
                printChanges(counter, *w, attributesOf(text));
        });
    }
    if (!following && states.empty())
        return fail(QStringLiteral("watch"),
                    QStringLiteral("nothing to follow: is omdeviced running at %1?")
                        .arg(om::PpsObject::rootDirectory()));
    QStringList followed;
    if (following)
        followed.append(QStringLiteral("notifications"));
    for (const StateWatch &watch : states)
        followed.append(watch.name);
    std::fprintf(stderr, "omctl: watching %s on %s\n", qPrintable(followed.join(QLatin1String(", "))),
                 qPrintable(om::PpsObject::rootDirectory()));
    std::fflush(stderr);
    return QCoreApplication::exec();
}

int watch(const Invocation &call)
{
    if (call.args().size() > 1)
        return call.usage(QStringLiteral("watch takes at most one object path"));
    const std::optional<int> count = call.positive(QStringLiteral("count"), -1);
    if (!count)
        return Usage;
    Counter counter(*count);
    return call.args().isEmpty() ? watchDevice(counter) : watchObject(call, counter);
}

} // namespace

OMCTL_COMMAND(
    {QStringLiteral("watch"),
     QStringLiteral("[object]"),
     QStringLiteral("Follow the device live, or print an object's content and each update."),
     QStringLiteral("Without an object: one line per event, headed by the time, for every\n"
                    "notification posted, cleared or removed, every dialog shown or ended,\n"
                    "every change of the notification settings, and every change of the\n"
                    "navigator's state, the data lock and the device properties.\n"
                    "With an object: its content, then each update, as PPS text; on a\n"
                    "control object what the server sends to all clients.\n"
                    "Runs until interrupted, or until N lines or updates have been printed."),
     {{QStringLiteral("count"), QStringLiteral("Stop after N events or updates."),
       QStringLiteral("N")}},
     watch});

} // namespace omctl
