#ifndef OM_PLATFORM_IDENTITY_IDENTITYSERVICELOGGER_H
#define OM_PLATFORM_IDENTITY_IDENTITYSERVICELOGGER_H

#include <QString>

/** The log of the identity classes: the system log's "IdentityService" buffer. */
class IdentityServiceLogger
{
public:
    /** Writes @p message; the very first call writes "Logger Initialized!" before it. */
    static void Log(QString message);
};

#endif
