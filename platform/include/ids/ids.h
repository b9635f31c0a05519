#ifndef OM_IDS_IDS_H
#define OM_IDS_IDS_H

/*
 * libids: the identity client. An application registers identity providers
 * ("ids:omb:omid", "ids:omb:profile") with the device's identity service and
 * asks them for tokens, user properties and stored data.
 *
 * Every request returns at once, having copied what it was given, and hands
 * out a request id (never 0). Its outcome arrives later as exactly one call
 * of the success or the failure callback, from inside ids_process_msg(),
 * which the application calls when the provider's descriptor is readable.
 * Memory handed to a callback belongs to the library and is valid during
 * the call only.
 *
 * Functions that return int give 0 on success and -1 on failure, with the
 * reason in errno:
 *
 *   EEXIST  (17) the provider is registered in this process already; the
 *                handle and descriptor of that registration are written
 *   EINVAL  (22) a bad argument, an unknown handle, ids_initialize() not
 *                in effect, a name that is not UTF-8
 *   ECOMM   (70) no identity service, an unknown provider, or the service
 *                did not answer in time
 *   E2BIG   (7)  the request does not fit in one bus message
 *   ENOMEM  (12) no memory
 */

#include <om/omsys_export.h>

#include <stdbool.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The version of this client, ids_get_version(). */
#define IDS_VERSION 100

/* Result codes of the identity service, as the failure callback gets them. */
typedef enum {
    IDS_SUCCESS = 0,
    IDS_INTERNAL_ERROR = 49999,
    IDS_NAME_TOO_LONG = 50002,
    IDS_ACCOUNT_LOCALLY_LOCKED_OUT = 50003,
    IDS_USER_COULD_NOT_BE_AUTHENTICATED = 50004,
    IDS_TOO_MANY_NAMES_PASSED = 50005,
    IDS_INVALID_REQUEST = 50006,
    IDS_DOES_NOT_EXIST = 50007,
    IDS_UNKNOWN_TOKEN_TYPE = 50008,
    IDS_UNKNOWN_APPLIES_TO = 50009,
    IDS_NOT_ENOUGH_RESOURCES = 50010,
    IDS_CANNOT_GET_TOKEN_WHILE_OFFLINE = 50011,
    IDS_ERROR_WHILE_CONTACTING_SERVICE = 50012,
    IDS_NULL_OR_UNKNOWN_PARAMETERS = 50015,
    IDS_NOT_ALLOWED = 50017,
    IDS_VALUE_TOO_LARGE = 50107,
    IDS_ALREADY_EXISTS = 50159,
    IDS_NOT_READY = 50207
} ids_result_t;

/* Options of ids_set_option(). */
typedef enum {
    IDS_OPT_GUI_ALLOWED = 0, /* "true" or "false": may the service ask the user */
    IDS_OPT_GROUP_ID = 1,    /* the application's window group, any text */
    IDS_OPT_VERBOSITY = 2    /* "Silent", "Normal" or "Verbose" */
} ids_option_t;

/* A registered provider. Opaque: the library never reads through a handle,
 * so a stale or made-up one is refused with EINVAL. */
typedef struct ids_provider_s ids_provider_t;

/* A named data entry. value holds length bytes of any kind, NUL included. */
typedef struct ids_data_s
{
    const char *name;
    const void *value;
    size_t length;
} ids_data_t;

typedef struct ids_property_s
{
    const char *name;
    const char *value;
} ids_property_t;

typedef struct ids_token_param_s
{
    const char *name;
    const char *value;
} ids_token_param_t;

/* The failure of any request: the service's result code and its text (NULL
 * when the service gave none). */
typedef void (*ids_failure_cb)(unsigned int request_id, ids_result_t result, const char *info,
                               void *cb_data);

typedef void (*ids_get_token_cb)(unsigned int request_id, const char *token, int param_count,
                                 const ids_token_param_t *params, void *cb_data);
/* cleared: whether there was a token to clear. */
typedef void (*ids_clear_token_cb)(unsigned int request_id, bool cleared, void *cb_data);
typedef void (*ids_get_properties_cb)(unsigned int request_id, int property_count,
                                      const ids_property_t *properties, void *cb_data);
typedef void (*ids_get_data_cb)(unsigned int request_id, const ids_data_t *data, void *cb_data);
typedef void (*ids_set_data_cb)(unsigned int request_id, void *cb_data);
typedef void (*ids_create_data_cb)(unsigned int request_id, void *cb_data);
typedef void (*ids_delete_data_cb)(unsigned int request_id, void *cb_data);
typedef void (*ids_list_data_cb)(unsigned int request_id, int name_count, const char **names,
                                 void *cb_data);
typedef void (*ids_challenge_cb)(unsigned int request_id, int level, void *cb_data);
/* A notification of a notifier: its type and name, and what happened. */
typedef void (*ids_notify_cb)(int type, const char *name, int notification, void *cb_data);

/*
 * Counted: every ids_initialize() needs one ids_shutdown(). The last
 * ids_shutdown() ends every registration; its pending requests are dropped
 * without a callback.
 */
OMSYS_EXPORT int ids_initialize(void);
OMSYS_EXPORT int ids_shutdown(void);

/*
 * Registers the provider @name (UTF-8) with the identity service, waiting
 * for the service's answer for a bounded time (OM_IDS_TIMEOUT_MS, default
 * 5000). Writes the handle for requests and the descriptor to watch for
 * reading. The descriptor keeps its number for the life of the process:
 * when the service goes away, the library puts a timer behind the number
 * and connects again when it fires; see ids_process_msg().
 */
OMSYS_EXPORT int ids_register_provider(const char *name, ids_provider_t **provider, int *fd);

/*
 * Reads at most one message from @fd and runs its callbacks, inside this
 * call. Never blocks. Returns 0 when the descriptor behind @fd changed (the
 * connection ended, or was made again), and non-zero otherwise (1 when
 * there was nothing to do or a message was handled, -1 with errno EINVAL
 * for a descriptor that is no registration's).
 */
OMSYS_EXPORT int ids_process_msg(int fd);

OMSYS_EXPORT int ids_get_token(ids_provider_t *provider, const char *token_type,
                               const char *applies_to, ids_get_token_cb success,
                               ids_failure_cb failure, void *cb_data, unsigned int *request_id);
OMSYS_EXPORT int ids_clear_token(ids_provider_t *provider, const char *token_type,
                                 const char *applies_to, ids_clear_token_cb success,
                                 ids_failure_cb failure, void *cb_data, unsigned int *request_id);
OMSYS_EXPORT int ids_get_properties(ids_provider_t *provider, int type, int name_count,
                                    const char *const *names, ids_get_properties_cb success,
                                    ids_failure_cb failure, void *cb_data,
                                    unsigned int *request_id);
OMSYS_EXPORT int ids_get_data(ids_provider_t *provider, int type, int flags, const char *name,
                              ids_get_data_cb success, ids_failure_cb failure, void *cb_data,
                              unsigned int *request_id);
OMSYS_EXPORT int ids_set_data(ids_provider_t *provider, int type, int flags, const ids_data_t *data,
                              ids_set_data_cb success, ids_failure_cb failure, void *cb_data,
                              unsigned int *request_id);
OMSYS_EXPORT int ids_create_data(ids_provider_t *provider, int type, int flags,
                                 const ids_data_t *data, ids_create_data_cb success,
                                 ids_failure_cb failure, void *cb_data, unsigned int *request_id);
OMSYS_EXPORT int ids_delete_data(ids_provider_t *provider, int type, int flags, const char *name,
                                 ids_delete_data_cb success, ids_failure_cb failure, void *cb_data,
                                 unsigned int *request_id);
OMSYS_EXPORT int ids_list_data(ids_provider_t *provider, int type, int flags,
                               ids_list_data_cb success, ids_failure_cb failure, void *cb_data,
                               unsigned int *request_id);
OMSYS_EXPORT int ids_challenge(ids_provider_t *provider, int type, int flags,
                               ids_challenge_cb success, ids_failure_cb failure, void *cb_data,
                               unsigned int *request_id);

/*
 * Starts (flags 0) or stops (flags 1) notifications of changes to the entry
 * @name of @type. Waits for the service's verdict for a bounded time; the
 * notifications, "Started" and "Stopped" among them, come through @callback
 * from ids_process_msg(). The library does not keep @name after the call.
 */
OMSYS_EXPORT int ids_register_notifier(ids_provider_t *provider, int type, int flags,
                                       const char *name, ids_notify_cb callback, void *cb_data);

/*
 * Sets an option of the process at the service, waiting for its answer for
 * a bounded time. EINVAL for an unknown option or a value the service does
 * not take.
 */
OMSYS_EXPORT int ids_set_option(ids_option_t option, const char *value);

/* IDS_VERSION of the library in use. */
OMSYS_EXPORT int ids_get_version(void);

/*
 * No callback with @cb_data follows this call: its pending requests are
 * dropped and its notifiers stopped. An object that gives itself as
 * callback data calls this before it goes away, since other objects of the
 * process may share its provider's descriptor and read its answers.
 */
OMSYS_EXPORT int ids_cancel_callbacks(void *cb_data);

#ifdef __cplusplus
}
#endif

#endif
