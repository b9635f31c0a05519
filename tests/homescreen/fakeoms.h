#ifndef OMTEST_FAKEOMS_H
#define OMTEST_FAKEOMS_H

// A replacement platform layer for the facade: it records what the library
// calls and answers what the test says, for the paths that a device cannot
// easily produce. Operations a test does not script fall through to the
// default implementations.

#include <om/platform/ommock/omsapi.h>
#include <om/platform/ommock/omscoreimpl.h>
#include <om/platform/ommock/omsdeviceinfoimpl.h>
#include <om/platform/ommock/omsnavigatorimpl.h>

#include "ommock/omsapi_p.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace omtest {

class FakeCore : public ommock::OmsCoreImpl
{
public:
    explicit FakeCore(QStringList &calls) : m_calls(calls) {}

    int initialize() override
    {
        m_calls << QStringLiteral("initialize");
        return initializeResult;
    }
    void shutdown() override { m_calls << QStringLiteral("shutdown"); }
    void free(void *ptr) override
    {
        m_calls
            << QStringLiteral("free(%1)").arg(QString::fromUtf8(static_cast<const char *>(ptr)));
        freed << ptr;
        std::free(ptr);
    }

    int initializeResult = 0;
    QList<void *> freed;

private:
    QStringList &m_calls;
};

class FakeDeviceInfo : public ommock::OmsDeviceInfoImpl
{
public:
    explicit FakeDeviceInfo(QStringList &calls) : m_calls(calls) {}

    int get_details(deviceinfo_details_t **details) override
    {
        m_calls << QStringLiteral("get_details");
        if (getDetailsResult != 0)
            return getDetailsResult;
        // Any distinct pointer does; the fake never looks inside.
        *details = reinterpret_cast<deviceinfo_details_t *>(&m_details);
        return 0;
    }
    void free_details(deviceinfo_details_t **details) override
    {
        m_calls << QStringLiteral("free_details");
        *details = nullptr;
    }
    const char *details_get_device_os_version(deviceinfo_details_t *details) override
    {
        m_calls << QStringLiteral("details_get_device_os_version");
        return details == reinterpret_cast<deviceinfo_details_t *>(&m_details) ? version.constData()
                                                                               : nullptr;
    }

    int getDetailsResult = 0;
    QByteArray version;

private:
    QStringList &m_calls;
    int m_details = 0;
};

class FakeNavigator : public ommock::OmsNavigatorImpl
{
public:
    explicit FakeNavigator(QStringList &calls) : m_calls(calls) {}

    int request_events(int flags) override
    {
        m_calls << QStringLiteral("request_events(%1)").arg(flags);
        return 0;
    }
    int set_wallpaper(const char *filepath) override
    {
        m_calls << QStringLiteral("set_wallpaper(%1)").arg(QString::fromUtf8(filepath));
        errno = error;
        return result;
    }
    int add_uri(const char *icon_path, const char *icon_label, const char *default_category,
                const char *url, char **err) override
    {
        m_calls << QStringLiteral("add_uri(%1|%2|%3|%4|%5)")
                       .arg(QString::fromUtf8(icon_path), QString::fromUtf8(icon_label),
                            QString::fromUtf8(default_category), QString::fromUtf8(url),
                            *err ? QStringLiteral("err set") : QStringLiteral("err null"));
        if (!errorText.isNull())
            *err = ::strdup(errorText.constData());
        errno = error;
        return result;
    }

    int result = 0;
    int error = 0;
    QByteArray errorText; // null: no text handed back

private:
    QStringList &m_calls;
};

/** Puts the fakes in place for its lifetime, whatever instance was there. */
class FakeOms
{
public:
    FakeOms()
        : core(new FakeCore(calls)), deviceInfo(new FakeDeviceInfo(calls)),
          navigator(new FakeNavigator(calls)),
          api(new ommock::OmsApi(*core, *deviceInfo, *navigator))
    {
        if (ommock::omsApiInstance)
            ommock::OmsApi::unsetInstance(*ommock::omsApiInstance);
        ommock::OmsApi::setInstance(*api);
    }
    ~FakeOms()
    {
        ommock::OmsApi::unsetInstance(*api);
        delete api;
    }

    QStringList calls;
    FakeCore *core;
    FakeDeviceInfo *deviceInfo;
    FakeNavigator *navigator;
    ommock::OmsApi *api;
};

} // namespace omtest

#endif
