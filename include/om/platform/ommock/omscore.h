#ifndef OMMOCK_OMSCORE_H
#define OMMOCK_OMSCORE_H

#include <om/platform/omplatform_export.h>

#include <oms/oms.h>

namespace ommock {

/**
 * The core of the platform services library, one operation per platform
 * function (oms_initialize() is initialize(), and so on). A status result
 * is 0 on success and anything else on failure, with errno set.
 */
class OMPLATFORM_EXPORT OmsCore
{
public:
    virtual ~OmsCore();

    virtual int get_version() = 0;
    virtual int initialize() = 0;
    virtual void shutdown() = 0;
    virtual int channel_create(int *chid, int flags) = 0;
    virtual int channel_set_active(int chid) = 0;
    virtual int channel_get_active() = 0;
    virtual int channel_destroy(int chid) = 0;
    virtual int get_event(oms_event_t **event, int timeout_ms) = 0;
    virtual int push_event(oms_event_t *event) = 0;
    virtual int channel_push_event(int chid, oms_event_t *event) = 0;
    virtual int set_verbosity(unsigned int verbosity) = 0;
    /** Releases what a platform function handed out, such as an error text. */
    virtual void free(void *ptr) = 0;
    virtual int register_domain() = 0;
    virtual int register_shutdown_handler(void (*handler)(void *), void *data) = 0;
    virtual int register_channel_destroy_handler(void (*handler)(void *), void *data) = 0;
    virtual int add_fd(int fd, int io_events, int (*handler)(int, int, void *), void *data) = 0;
    virtual int remove_fd(int fd) = 0;
    virtual int set_domain_data(int domain, void *new_data, void **old_data) = 0;
    virtual void *get_domain_data(int domain) = 0;
    virtual int event_get_domain(oms_event_t *event) = 0;
    virtual int event_get_code(oms_event_t *event) = 0;
    virtual int event_create(oms_event_t **event, unsigned int domain, unsigned int code,
                             const oms_event_payload_t *payload,
                             void (*completion)(oms_event_t *)) = 0;
    virtual void event_destroy(oms_event_t *event) = 0;
    virtual oms_event_payload_t *event_get_payload(oms_event_t *event) = 0;
};

} // namespace ommock

#endif
