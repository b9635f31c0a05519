#ifndef OMS_OMS_H
#define OMS_OMS_H

/*
 * The core of the platform services library: initialisation, event
 * channels, event domains and events.
 *
 * A process initialises the library with oms_initialize() and ends its use
 * with a matching oms_shutdown(); the calls are counted. The first
 * oms_initialize() connects the process to the device's platform services;
 * the last oms_shutdown() closes that connection.
 *
 * Events travel through channels. Every thread that calls oms_initialize()
 * gets a channel of its own, which becomes the thread's active channel;
 * oms_get_event() waits on the active channel. Services (such as the
 * navigator) put their events into the channel that was active when the
 * thread asked for them, and an application may push events of its own
 * domains.
 *
 * Functions that return int give OMS_SUCCESS (0) on success and
 * OMS_FAILURE (-1) with errno set on failure.
 */

#include <om/omsys_export.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define OMS_SUCCESS 0
#define OMS_FAILURE (-1)

/* The version of the library, major * 10000 + minor * 100 + patch. */
#define OMS_VERSION_MAJOR 1
#define OMS_VERSION_MINOR 0
#define OMS_VERSION_PATCH 0
#define OMS_VERSION (OMS_VERSION_MAJOR * 10000 + OMS_VERSION_MINOR * 100 + OMS_VERSION_PATCH)

/* What a file descriptor handler of oms_add_fd() is called for. */
#define OMS_IO_INPUT 0x01
#define OMS_IO_OUTPUT 0x02
#define OMS_IO_EXCEPT 0x04
#define OMS_IO_HUP 0x08

/* Levels of oms_set_verbosity(): messages go to standard error. */
#define OMS_VERBOSITY_SILENT 0
#define OMS_VERBOSITY_ERRORS 1
#define OMS_VERBOSITY_WARNINGS 2
#define OMS_VERBOSITY_INFO 3

/* One event. Opaque; made with oms_event_create() or by a service. */
typedef struct oms_event_t oms_event_t;

/* The data an event carries; what the fields mean is up to its domain. */
typedef struct oms_event_payload_t
{
    uintptr_t data1;
    uintptr_t data2;
    uintptr_t data3;
} oms_event_payload_t;

/* The library's version, OMS_VERSION of the build that is running. */
OMSYS_EXPORT int oms_get_version(void);

/*
 * Initialises the library for the calling thread and connects the process
 * to the platform services if it is not connected yet. Fails if the device
 * cannot be reached (ECONNREFUSED: no bus; ENOENT: the platform services
 * are not running); a failed call needs no oms_shutdown().
 */
OMSYS_EXPORT int oms_initialize(void);

/* Ends one oms_initialize(). The last one of a thread destroys the thread's
 * channel and runs its shutdown handlers; the last one of the process
 * closes the connection to the platform services. */
OMSYS_EXPORT void oms_shutdown(void);

/* Creates a channel. flags must be 0. The new channel is not made active. */
OMSYS_EXPORT int oms_channel_create(int *chid, int flags);
OMSYS_EXPORT int oms_channel_set_active(int chid);
/* The calling thread's active channel, or -1 (errno EINVAL) if none. */
OMSYS_EXPORT int oms_channel_get_active(void);
/* Destroys a channel: runs its destroy handlers and releases its events. */
OMSYS_EXPORT int oms_channel_destroy(int chid);

/*
 * Waits for the next event on the active channel, at most timeout_ms
 * milliseconds (-1: no limit, 0: do not wait). On time-out *event is NULL
 * and the call succeeds. The event stays valid until the next
 * oms_get_event() on the channel, which releases it: its completion
 * function is called if it has one, otherwise it is destroyed. File
 * descriptor handlers of the channel run inside this call; if one fails,
 * so does the call.
 */
OMSYS_EXPORT int oms_get_event(oms_event_t **event, int timeout_ms);

/* Puts an event into the active channel / the channel chid. The channel
 * owns the event from then on (see oms_get_event()). */
OMSYS_EXPORT int oms_push_event(oms_event_t *event);
OMSYS_EXPORT int oms_channel_push_event(int chid, oms_event_t *event);

OMSYS_EXPORT int oms_set_verbosity(unsigned int verbosity);

/* Releases memory that the library handed out, such as error texts. */
OMSYS_EXPORT void oms_free(void *ptr);

/* A new event domain, a number greater than 0, or -1. */
OMSYS_EXPORT int oms_register_domain(void);

/* Called, most recent first, when the calling thread's last
 * oms_shutdown() runs. */
OMSYS_EXPORT int oms_register_shutdown_handler(void (*handler)(void *), void *data);

/* Called, most recent first, when the active channel is destroyed. */
OMSYS_EXPORT int oms_register_channel_destroy_handler(void (*handler)(void *), void *data);

/* Watches fd in the active channel: oms_get_event() calls handler with the
 * OMS_IO_* conditions that hold. A descriptor is watched once per channel
 * (EEXIST). */
OMSYS_EXPORT int oms_add_fd(int fd, int io_events,
                            int (*handler)(int fd, int io_events, void *data), void *data);
OMSYS_EXPORT int oms_remove_fd(int fd);

/* Data of a domain in the active channel. */
OMSYS_EXPORT int oms_set_domain_data(int domain, void *new_data, void **old_data);
OMSYS_EXPORT void *oms_get_domain_data(int domain);

OMSYS_EXPORT int oms_event_get_domain(oms_event_t *event);
OMSYS_EXPORT int oms_event_get_code(oms_event_t *event);

/* Makes an event of a registered domain. code is at most INT_MAX; payload
 * may be NULL. completion, if given, is called instead of destroying the
 * event when the channel releases it. */
OMSYS_EXPORT int oms_event_create(oms_event_t **event, unsigned int domain, unsigned int code,
                                  const oms_event_payload_t *payload,
                                  void (*completion)(oms_event_t *));
OMSYS_EXPORT void oms_event_destroy(oms_event_t *event);
OMSYS_EXPORT oms_event_payload_t *oms_event_get_payload(oms_event_t *event);

#ifdef __cplusplus
}
#endif

#endif
