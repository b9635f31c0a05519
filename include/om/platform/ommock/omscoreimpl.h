#ifndef OMMOCK_OMSCOREIMPL_H
#define OMMOCK_OMSCOREIMPL_H

#include <om/platform/ommock/omscore.h>

namespace ommock {

/** The default core: every operation calls its platform function. */
class OMPLATFORM_EXPORT OmsCoreImpl : public OmsCore
{
public:
    OmsCoreImpl();
    ~OmsCoreImpl() override;

    int get_version() override;
    int initialize() override;
    void shutdown() override;
    int channel_create(int *chid, int flags) override;
    int channel_set_active(int chid) override;
    int channel_get_active() override;
    int channel_destroy(int chid) override;
    int get_event(oms_event_t **event, int timeout_ms) override;
    int push_event(oms_event_t *event) override;
    int channel_push_event(int chid, oms_event_t *event) override;
    int set_verbosity(unsigned int verbosity) override;
    void free(void *ptr) override;
    int register_domain() override;
    int register_shutdown_handler(void (*handler)(void *), void *data) override;
    int register_channel_destroy_handler(void (*handler)(void *), void *data) override;
    int add_fd(int fd, int io_events, int (*handler)(int, int, void *), void *data) override;
    int remove_fd(int fd) override;
    int set_domain_data(int domain, void *new_data, void **old_data) override;
    void *get_domain_data(int domain) override;
    int event_get_domain(oms_event_t *event) override;
    int event_get_code(oms_event_t *event) override;
    int event_create(oms_event_t **event, unsigned int domain, unsigned int code,
                     const oms_event_payload_t *payload,
                     void (*completion)(oms_event_t *)) override;
    void event_destroy(oms_event_t *event) override;
    oms_event_payload_t *event_get_payload(oms_event_t *event) override;
};

} // namespace ommock

#endif
