#ifndef OMTEST_INPROCESSDEVICE_H
#define OMTEST_INPROCESSDEVICE_H

#include "common/servicemodule.h"
#include "testbroker.h"

#include <QStringList>
#include <QTemporaryDir>

#include <memory>

namespace omtest {

/**
 * The device's services inside the test process, on a broker of their
 * own: every module that runs by default, and the optional ones a test
 * names, made through the registry as omdeviced makes them.
 */
class InProcessDevice
{
public:
    ~InProcessDevice() { stop(); }

    bool start(const QStringList &optional = QStringList(),
               const QMap<QString, QString> &settings = QMap<QString, QString>())
    {
        m_broker = std::make_unique<TestBroker>();
        omdevice::DeviceContext context;
        context.dataDirectory = m_data.path();
        context.settings = settings;
        for (const omdevice::ModuleInfo &info : omdevice::ModuleRegistry::all()) {
            if (info.optional && !optional.contains(info.name))
                continue;
            omdevice::ServiceModule *module = info.create(context, nullptr);
            QString error;
            if (!module->start(&error)) {
                qWarning("%s: %s", qPrintable(info.name), qPrintable(error));
                delete module;
                return false;
            }
            m_modules.append(module);
        }
        return true;
    }

    void stop()
    {
        while (!m_modules.isEmpty())
            delete m_modules.takeLast();
        m_broker.reset();
    }

    template <class Module> Module *module() const
    {
        for (omdevice::ServiceModule *m : m_modules) {
            if (auto *found = qobject_cast<Module *>(m))
                return found;
        }
        return nullptr;
    }

private:
    QTemporaryDir m_data;
    std::unique_ptr<TestBroker> m_broker;
    QList<omdevice::ServiceModule *> m_modules;
};

} // namespace omtest

#endif
