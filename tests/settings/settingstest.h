#ifndef SETTINGSTEST_H
#define SETTINGSTEST_H

#include <om/platform/notificationapplicationsettings.h>
#include <om/platform/notificationdefaultapplicationsettings.h>
#include <om/platform/notificationglobalsettings.h>

#include "childprocess.h"
#include "fakeserver.h"
#include "signallog.h"
#include "testbroker.h"
#include "warningcapture.h"

#include <QtTest>

#include <algorithm>
#include <grp.h>
#include <memory>
#include <unistd.h>
#include <vector>

namespace settingstest {

// All properties on one line: a test compares the whole state at once.
inline QString describe(const om::platform::NotificationGlobalSettings &s)
{
    return QString::asprintf("sound=%d vibrate=%d led=%d preview=%d volume=%d mode=%d", s.sound(),
                             s.vibrate(), s.led(), s.preview(), s.volume(), s.mode());
}

inline QString describe(const om::platform::NotificationDefaultApplicationSettings &s)
{
    return QString::asprintf("sound=%d vibrate=%d led=%d preview=%d count=%d tone=%s", s.sound(),
                             s.vibrate(), s.led(), s.preview(), s.vibrateCount(),
                             qPrintable(s.tonePath().toString()));
}

inline QString describe(const om::platform::NotificationApplicationSettings &s)
{
    return QString::asprintf("alerts=%d sound=%d vibrate=%d led=%d preview=%d count=%d tone=%s",
                             s.alertsEnabled(), s.sound(), s.vibrate(), s.led(), s.preview(),
                             s.vibrateCount(), qPrintable(s.tonePath().toString()));
}

// Every signal of a settings object, in order, as "name:value": "sound:Deny"
// for the typed signal of "sound", then "sound(int):2" for its int overload.
inline QStringList signalsOf(const QObject &object, const omtest::SignalLog &log)
{
    QStringList out;
    const QMetaObject *mo = object.metaObject();
    for (const auto &entry : log.entries()) {
        QByteArray name = entry.first.left(entry.first.indexOf('('));
        int overloads = 0;
        for (int i = mo->methodOffset(); i < mo->methodCount(); ++i)
            overloads += mo->method(i).name() == name ? 1 : 0;
        const bool intForm = overloads > 1 && entry.first.endsWith("(int)");
        out << QString(name.replace("Changed", intForm ? "(int)" : "")) + ':' +
                   entry.second.value(0).toString();
    }
    return out;
}

// A bus of the test's own and the notification service's control object on it.
inline bool startNotifyService(std::unique_ptr<omtest::TestBroker> &broker,
                               std::unique_ptr<omtest::FakeServer> &control)
{
    broker.reset(new omtest::TestBroker);
    control.reset(new omtest::FakeServer("/pps/services/notify/control"));
    return broker->isRunning() && control->start();
}

inline QVariantMap update(const QVariantMap &dat)
{
    return {{"msg", "settingsChanged"}, {"dat", dat}};
}

// @p map with @p key set to @p value, or taken out for an invalid value.
inline QVariantMap with(QVariantMap map, const QString &key, const QVariant &value)
{
    if (value.isValid())
        map.insert(key, value);
    else
        map.remove(key);
    return map;
}

// The client that subscribed to updates on @p control.
inline int monitorClient(const omtest::FakeServer &control)
{
    for (const omtest::Received &r : control.received()) {
        if (r.msg() == "monitorSettings")
            return r.clientId;
    }
    return -1;
}

// Runs @p body as uid and gid 65534, without root's groups, so that it has
// no rights on objects of other users; the broker sees the user of the
// opening process, QFileInfo the real user. The saved ids stay root's, so
// that the test takes its rights back after.
template <typename F> auto asNobody(F body)
{
    gid_t gid, egid, sgid;
    std::vector<gid_t> groups(size_t(std::max(::getgroups(0, nullptr), 0)));
    if (::getresgid(&gid, &egid, &sgid) != 0 ||
        ::getgroups(int(groups.size()), groups.data()) != int(groups.size()) ||
        ::setgroups(0, nullptr) != 0 || ::setresgid(omtest::NobodyId, omtest::NobodyId, 0) != 0 ||
        ::setresuid(omtest::NobodyId, omtest::NobodyId, 0) != 0)
        qFatal("cannot drop privileges");
    const auto result = body();
    if (::setresuid(0, 0, 0) != 0 || ::setresgid(gid, egid, sgid) != 0 ||
        ::setgroups(groups.size(), groups.data()) != 0)
        qFatal("cannot take privileges back");
    return result;
}

} // namespace settingstest

#endif
