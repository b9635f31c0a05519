#ifndef OMMOCK_OMSEVENTPROVIDER_H
#define OMMOCK_OMSEVENTPROVIDER_H

#include <om/platform/omplatform_export.h>

namespace ommock {

/** A service of the platform that delivers events in a domain of its own. */
class OMPLATFORM_EXPORT OmsEventProvider
{
public:
    virtual ~OmsEventProvider();

    /** Asks for the service's events in the active channel. */
    virtual int request_events(int flags) = 0;
    /** The service's event domain. */
    virtual int get_domain() = 0;
    /** Does nothing and returns 0 unless a provider has a way to stop. */
    virtual int stop_events(int flags);
};

} // namespace ommock

#endif
