#include <om/platform/ommock/omscoreimpl.h>

namespace ommock {

OmsCore::~OmsCore() = default;

OmsCoreImpl::OmsCoreImpl() = default;
OmsCoreImpl::~OmsCoreImpl() = default;

int OmsCoreImpl::get_version()
{
    return oms_get_version();
}

int OmsCoreImpl::initialize()
{
    return oms_initialize();
}

void OmsCoreImpl::shutdown()
{
    oms_shutdown();
}

int OmsCoreImpl::channel_create(int *chid, int flags)
{
    return oms_channel_create(chid, flags);
}

int OmsCoreImpl::channel_set_active(int chid)
{
    return oms_channel_set_active(chid);
}

int OmsCoreImpl::channel_get_active()
{
    return oms_channel_get_active();
}

int OmsCoreImpl::channel_destroy(int chid)
{
    return oms_channel_destroy(chid);
}

int OmsCoreImpl::get_event(oms_event_t **event, int timeout_ms)
{
    return oms_get_event(event, timeout_ms);
}

int OmsCoreImpl::push_event(oms_event_t *event)
{
    return oms_push_event(event);
}

int OmsCoreImpl::channel_push_event(int chid, oms_event_t *event)
{
    return oms_channel_push_event(chid, event);
}

int OmsCoreImpl::set_verbosity(unsigned int verbosity)
{
    return oms_set_verbosity(verbosity);
}

void OmsCoreImpl::free(void *ptr)
{
    oms_free(ptr);
}

int OmsCoreImpl::register_domain()
{
    return oms_register_domain();
}

int OmsCoreImpl::register_shutdown_handler(void (*handler)(void *), void *data)
{
    return oms_register_shutdown_handler(handler, data);
}

int OmsCoreImpl::register_channel_destroy_handler(void (*handler)(void *), void *data)
{
    return oms_register_channel_destroy_handler(handler, data);
}

int OmsCoreImpl::add_fd(int fd, int io_events, int (*handler)(int, int, void *), void *data)
{
    return oms_add_fd(fd, io_events, handler, data);
}

int OmsCoreImpl::remove_fd(int fd)
{
    return oms_remove_fd(fd);
}

int OmsCoreImpl::set_domain_data(int domain, void *new_data, void **old_data)
{
    return oms_set_domain_data(domain, new_data, old_data);
}

void *OmsCoreImpl::get_domain_data(int domain)
{
    return oms_get_domain_data(domain);
}

int OmsCoreImpl::event_get_domain(oms_event_t *event)
{
    return oms_event_get_domain(event);
}

int OmsCoreImpl::event_get_code(oms_event_t *event)
{
    return oms_event_get_code(event);
}

int OmsCoreImpl::event_create(oms_event_t **event, unsigned int domain, unsigned int code,
                              const oms_event_payload_t *payload, void (*completion)(oms_event_t *))
{
    return oms_event_create(event, domain, code, payload, completion);
}

void OmsCoreImpl::event_destroy(oms_event_t *event)
{
    oms_event_destroy(event);
}

oms_event_payload_t *OmsCoreImpl::event_get_payload(oms_event_t *event)
{
    return oms_event_get_payload(event);
}

} // namespace ommock
