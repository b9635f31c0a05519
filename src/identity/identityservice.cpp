#include <om/platform/identity/identityservice.h>

#include <ids/ids.h>

#include "enumbits_p.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace om {
namespace platform {
namespace identity {

namespace {

int setOption(ids_option_t option, const char *value)
{
    return ids_set_option(option, value) == 0 ? 0 : errno;
}

} // namespace

IdentityService::IdentityService(QObject *parent) : QObject(parent)
{
    ids_initialize();
}

// The client library stays initialized: options hold for the process.
IdentityService::~IdentityService() = default;

int IdentityService::version()
{
    return ids_get_version();
}

int IdentityService::setGuiAllowed(bool allowed)
{
    return setOption(IDS_OPT_GUI_ALLOWED, allowed ? "true" : "false");
}

int IdentityService::setLogVerbosity(IdentityServiceLogVerbosity::Type verbosity)
{
    const char *text;
    // Any number may come; only the named ones have a name.
    switch (enumBits(verbosity)) {
    case IdentityServiceLogVerbosity::None:
        text = "Silent";
        break;
    case IdentityServiceLogVerbosity::Normal:
        text = "Normal";
        break;
    case IdentityServiceLogVerbosity::Verbose:
        text = "Verbose";
        break;
    default:
        text = "InvalidVerbosity";
        break;
    }
    return setOption(IDS_OPT_VERBOSITY, text);
}

int IdentityService::setWindowGroupId(const QString &groupId)
{
    char *text = ::strdup(groupId.toUtf8().constData());
    if (!text)
        return ENOMEM;
    const int result = setOption(IDS_OPT_GROUP_ID, text);
    ::free(text);
    return result;
}

} // namespace identity
} // namespace platform
} // namespace om
