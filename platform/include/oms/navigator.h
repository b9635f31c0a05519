#ifndef OMS_NAVIGATOR_H
#define OMS_NAVIGATOR_H

/*
 * The navigator: the device's home screen and application manager.
 *
 * Requests (wallpaper, shortcuts, badge, close prompt) go to the navigator
 * over the process's connection to the platform services (see
 * oms_initialize()) and wait for its answer at most a bounded time (5
 * seconds; OM_NAVIGATOR_TIMEOUT_MS changes it), failing with ETIMEDOUT
 * beyond. A request made while the process is not initialised uses a
 * connection of its own for that one call.
 *
 * Functions with an err argument store there, on failure and if err is not
 * NULL, a text that says why; release it with oms_free().
 *
 * What this device does not do (invocation through the navigator, opening
 * files, orientation and rotation, swipe gestures, extending the exit
 * time-out) fails with -1 and errno ENOTSUP.
 */

#include <oms/oms.h>

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Event codes of the navigator domain. */
enum {
    NAVIGATOR_WINDOW_STATE = 0x01,      /* data: "fullscreen", "thumbnail" or "invisible" */
    NAVIGATOR_ORIENTATION_CHECK = 0x02, /* data: the angle */
    NAVIGATOR_ORIENTATION = 0x03,       /* data: the angle */
    NAVIGATOR_DEVICE_LOCK_STATE =
        0x04,              /* data: "notLocked", "screenLocked", "passwordLocked" or "pinBlocked" */
    NAVIGATOR_OTHER = 0xff /* anything else; see navigator_event_get_extended_data() */
};

typedef enum {
    NAVIGATOR_WINDOW_FULLSCREEN = 0,
    NAVIGATOR_WINDOW_THUMBNAIL = 1,
    NAVIGATOR_WINDOW_INVISIBLE = 2
} navigator_window_state_t;

typedef enum { NAVIGATOR_BADGE_SPLAT = 0 } navigator_badge_t;

/* Asks for the navigator's events in the active channel. flags must be 0.
 * Needs oms_initialize(). */
OMSYS_EXPORT int navigator_request_events(int flags);
/* The navigator's event domain. */
OMSYS_EXPORT int navigator_get_domain(void);

OMSYS_EXPORT int navigator_invoke(const char *url, char **err);
OMSYS_EXPORT int navigator_open_file(const char *filepath, char **err);

/*
 * Adds a shortcut to the home screen: an icon (an image file), a label and
 * the URL it opens. The navigator refuses a URL that already has a shortcut
 * (EEXIST), and an icon file it cannot read (ENOENT, EACCES, EISDIR).
 */
OMSYS_EXPORT int navigator_add_uri(const char *icon_path, const char *icon_label,
                                   const char *default_category, const char *url, char **err);

OMSYS_EXPORT int navigator_extend_timeout(int extension, char **err);
OMSYS_EXPORT int navigator_request_swipe_start(void);
OMSYS_EXPORT int navigator_stop_swipe_start(void);
OMSYS_EXPORT int navigator_rotation_lock(bool locked);
OMSYS_EXPORT int navigator_set_orientation(int angle, char **id);
OMSYS_EXPORT int navigator_set_window_angle(int angle);

/* A question the navigator asks the user before it closes the application;
 * it lasts until cleared or until the process's connection closes. Needs
 * oms_initialize() (ENOTCONN otherwise). */
OMSYS_EXPORT int navigator_set_close_prompt(const char *title, const char *message);
OMSYS_EXPORT int navigator_clear_close_prompt(void);

/* The badge on the application's icon, until cleared. */
OMSYS_EXPORT int navigator_set_badge(navigator_badge_t badge);
OMSYS_EXPORT int navigator_clear_badge(void);

/* Accessors of navigator events. On an event of another domain, or of
 * another kind, they give -1 or NULL with errno EINVAL; a text the message
 * did not carry (id, err, group) is NULL. Texts belong to the event. */
OMSYS_EXPORT int navigator_event_get_window_state(oms_event_t *event);
OMSYS_EXPORT const char *navigator_event_get_groupid(oms_event_t *event);
OMSYS_EXPORT int navigator_event_get_orientation_angle(oms_event_t *event);
OMSYS_EXPORT const char *navigator_event_get_data(oms_event_t *event);
OMSYS_EXPORT const char *navigator_event_get_id(oms_event_t *event);
OMSYS_EXPORT const char *navigator_event_get_err(oms_event_t *event);

OMSYS_EXPORT int navigator_orientation_check_response(oms_event_t *event, bool will_rotate);
OMSYS_EXPORT int navigator_orientation_check_response_id(const char *id, bool will_rotate);
OMSYS_EXPORT int navigator_done_orientation(oms_event_t *event);
OMSYS_EXPORT int navigator_done_orientation_id(const char *id);

/* Writes length bytes of PPS text to the navigator as they are. Needs
 * oms_initialize(); the navigator's answer, if any, is not waited for. */
OMSYS_EXPORT int navigator_raw_write(const char *data, unsigned int length);

/* The whole message of the event as the navigator sent it. */
OMSYS_EXPORT const char *navigator_event_get_extended_data(oms_event_t *event);
OMSYS_EXPORT int navigator_event_get_extended_data_length(oms_event_t *event);

/* Makes an image file the wallpaper. Fails with EPERM while the wallpaper
 * is locked, and with ENOENT, EACCES or EISDIR for a file the navigator
 * cannot read. */
OMSYS_EXPORT int navigator_set_wallpaper(const char *filepath);

#ifdef __cplusplus
}
#endif

#endif
