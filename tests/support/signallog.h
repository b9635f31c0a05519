#ifndef OMTEST_SIGNALLOG_H
#define OMTEST_SIGNALLOG_H

#include <QList>
#include <QMetaMethod>
#include <QObject>
#include <QPair>
#include <QSignalSpy>
#include <QVariantList>

#include <map>
#include <memory>

namespace omtest {

/**
 * Every signal of an object, in the order of emission, with its arguments:
 * what QSignalSpy gives for one signal, for all of them at once, so that the
 * order between overloads and between signals can be checked.
 */
class SignalLog : public QObject
{
    Q_OBJECT
public:
    explicit SignalLog(QObject *target)
    {
        const QMetaObject *meta = target->metaObject();
        const QMetaMethod record = metaObject()->method(metaObject()->indexOfSlot("record()"));
        for (int i = QObject::staticMetaObject.methodCount(); i < meta->methodCount(); ++i) {
            const QMetaMethod method = meta->method(i);
            if (method.methodType() != QMetaMethod::Signal)
                continue;
            m_spies[i] =
                std::make_unique<QSignalSpy>(target, QByteArray("2") + method.methodSignature());
            connect(target, method, this, record);
        }
    }

    /** (signature, arguments) of each emission so far. */
    QList<QPair<QByteArray, QVariantList>> entries() const
    {
        QList<QPair<QByteArray, QVariantList>> out;
        std::map<int, int> seen;
        for (int index : m_order) {
            const int n = seen[index]++;
            out.append({m_signatures.value(index), m_spies.at(index)->at(n)});
        }
        return out;
    }
    QList<QByteArray> signatures() const
    {
        QList<QByteArray> out;
        for (int index : m_order)
            out.append(m_signatures.value(index));
        return out;
    }
    int size() const { return m_order.size(); }
    void clear()
    {
        m_order.clear();
        for (auto &spy : m_spies)
            spy.second->clear();
    }

private Q_SLOTS:
    void record()
    {
        const int index = senderSignalIndex();
        m_signatures[index] = sender()->metaObject()->method(index).methodSignature();
        m_order.append(index);
    }

private:
    std::map<int, std::unique_ptr<QSignalSpy>> m_spies;
    QMap<int, QByteArray> m_signatures;
    QList<int> m_order;
};

} // namespace omtest

#endif
