#ifndef OMTEST_FAKEOMS_H
#define OMTEST_FAKEOMS_H

// A platform layer that records the library's calls and answers what the test says.

#include <om/platform/ommock/omsapi.h>
#include <om/platform/ommock/omscoreimpl.h>
#include <om/platform/ommock/omsdeviceinfoimpl.h>
#include <om/platform/ommock/omsnavigatorimpl.h>

#include "ommock/omsapi_p.h"

#include <QStringList>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace omtest {

struct FakeCore : ommock::OmsCoreImpl
{
    explicit FakeCore(QStringList &calls) : calls(calls) {}
    int initialize() override { return calls << "initialize", initializeResult; }
    void shutdown() override { calls << "shutdown"; }
    void free(void *ptr) override
    {
        calls << QString("free(%1)").arg(static_cast<char *>(ptr));
        std::free(ptr);
    }
    QStringList &calls;
    int initializeResult = 0;
};

struct FakeDeviceInfo : ommock::OmsDeviceInfoImpl
{
    explicit FakeDeviceInfo(QStringList &calls) : calls(calls) {}
    int get_details(deviceinfo_details_t **details) override
    {
        calls << "get_details";
        if (getDetailsResult == 0)
            *details = mine();
        return getDetailsResult;
    }
    void free_details(deviceinfo_details_t **details) override
    {
        calls << "free_details";
        *details = nullptr;
    }
    const char *details_get_device_os_version(deviceinfo_details_t *details) override
    {
        calls << "details_get_device_os_version";
        return details == mine() ? version.constData() : nullptr;
    }
    deviceinfo_details_t *mine() { return reinterpret_cast<deviceinfo_details_t *>(this); }
    QStringList &calls;
    int getDetailsResult = 0;
    QByteArray version;
};

struct FakeNavigator : ommock::OmsNavigatorImpl
{
    explicit FakeNavigator(QStringList &calls) : calls(calls) {}
    int request_events(int flags) override
    {
        return calls << QString("request_events(%1)").arg(flags), 0;
    }
    int set_wallpaper(const char *filepath) override
    {
        calls << QString("set_wallpaper(%1)").arg(filepath);
        return errno = error, result;
    }
    int add_uri(const char *icon_path, const char *icon_label, const char *default_category,
                const char *url, char **err) override
    {
        calls << "add_uri(" +
                     QStringList({icon_path, icon_label, default_category, url,
                                  *err ? "err set" : "err null"})
                         .join('|') +
                     ")";
        if (!errorText.isNull())
            *err = ::strdup(errorText.constData());
        return errno = error, result;
    }
    QStringList &calls;
    int result = 0;
    int error = 0;
    QByteArray errorText; // null: no text handed back
};

/** Puts the fakes in place for its lifetime, whatever instance was there. */
struct FakeOms
{
    FakeOms()
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
    FakeCore *core = new FakeCore(calls);
    FakeDeviceInfo *deviceInfo = new FakeDeviceInfo(calls);
    FakeNavigator *navigator = new FakeNavigator(calls);
    ommock::OmsApi *api = new ommock::OmsApi(*core, *deviceInfo, *navigator);
};

} // namespace omtest

#endif
