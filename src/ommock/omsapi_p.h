#ifndef OMMOCK_OMSAPI_P_H
#define OMMOCK_OMSAPI_P_H

#include <QMutex>

namespace ommock {

class OmsApi;

// The current instance of the facade, or null, and the lock around it.
extern OmsApi *omsApiInstance;
extern QMutex omsApiInstanceMutex;

} // namespace ommock

#endif
