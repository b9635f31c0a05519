#ifndef DATALOCKTEST_RECORDER_H
#define DATALOCKTEST_RECORDER_H

#include <om/platform/adarpdomain.h>

#include <QMetaEnum>
#include <QStringList>

namespace datalocktest {

using om::platform::AdarpDomain;
using S = om::platform::DataLockState;

inline QString stateName(S::Type state)
{
    return QString::fromLatin1(QMetaEnum::fromType<S::Type>().valueToKey(state));
}

inline QString timeText(const QDateTime &time)
{
    return time.isNull() ? QStringLiteral("null") : QString::number(time.toSecsSinceEpoch());
}

/** Everything a domain signals, one line per signal, in order. */
class Recorder : public QObject
{
public:
    explicit Recorder(AdarpDomain *domain)
    {
        connect(domain, &AdarpDomain::dataLockStateChanged, this, [this](S::Type from, S::Type to) {
            events << QStringLiteral("state %1 %2").arg(stateName(from), stateName(to));
        });
        connect(domain, &AdarpDomain::nextDataLockTimeChanged, this,
                [this](const QDateTime &time) { events << "time " + timeText(time); });
        connect(domain, &AdarpDomain::responseReceived, this,
                [this](const QString &id, int status) {
                    events << QStringLiteral("response %1 %2").arg(id).arg(status);
                });
    }
    QStringList events;
};

} // namespace datalocktest

#endif
