#ifndef OMMOCK_OMSNAVIGATOR_H
#define OMMOCK_OMSNAVIGATOR_H

#include <om/platform/ommock/omseventprovider.h>
#include <om/platform/omplatform_export.h>

#include <oms/navigator.h>

namespace ommock {

/**
 * The navigator of the platform services library, one operation per
 * platform function. A text handed back through an err or id argument is
 * released with OmsCore::free().
 */
class OMPLATFORM_EXPORT OmsNavigator : public OmsEventProvider
{
public:
    ~OmsNavigator() override;

    virtual int invoke(const char *url, char **err) = 0;
    virtual int open_file(const char *filepath, char **err) = 0;
    virtual int add_uri(const char *icon_path, const char *icon_label, const char *default_category,
                        const char *url, char **err) = 0;
    virtual int extend_timeout(int extension, char **err) = 0;
    virtual int request_swipe_start() = 0;
    virtual int stop_swipe_start() = 0;
    virtual int rotation_lock(bool locked) = 0;
    virtual int set_orientation(int angle, char **id) = 0;
    virtual int set_window_angle(int angle) = 0;
    virtual int set_close_prompt(const char *title, const char *message) = 0;
    virtual int clear_close_prompt() = 0;
    virtual int set_badge(navigator_badge_t badge) = 0;
    virtual int clear_badge() = 0;
    virtual int event_get_window_state(oms_event_t *event) = 0;
    virtual const char *event_get_groupid(oms_event_t *event) = 0;
    virtual int event_get_orientation_angle(oms_event_t *event) = 0;
    virtual const char *event_get_data(oms_event_t *event) = 0;
    virtual const char *event_get_id(oms_event_t *event) = 0;
    virtual const char *event_get_err(oms_event_t *event) = 0;
    virtual int orientation_check_response(oms_event_t *event, bool will_rotate) = 0;
    virtual int orientation_check_response_id(const char *id, bool will_rotate) = 0;
    virtual int done_orientation(oms_event_t *event) = 0;
    virtual int done_orientation_id(const char *id) = 0;
    virtual int raw_write(const char *data, unsigned int length) = 0;
    virtual const char *event_get_extended_data(oms_event_t *event) = 0;
    virtual int event_get_extended_data_length(oms_event_t *event) = 0;
    virtual int set_wallpaper(const char *filepath) = 0;
};

} // namespace ommock

#endif
