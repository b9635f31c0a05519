#ifndef OMMOCK_OMSNAVIGATORIMPL_H
#define OMMOCK_OMSNAVIGATORIMPL_H

#include <om/platform/ommock/omsnavigator.h>

namespace ommock {

/** The default navigator: every operation calls its platform function;
 *  stop_events() is the base class's, which calls nothing. */
class OMPLATFORM_EXPORT OmsNavigatorImpl : public OmsNavigator
{
public:
    OmsNavigatorImpl();
    ~OmsNavigatorImpl() override;

    int request_events(int flags) override;
    int get_domain() override;

    int invoke(const char *url, char **err) override;
    int open_file(const char *filepath, char **err) override;
    int add_uri(const char *icon_path, const char *icon_label, const char *default_category,
                const char *url, char **err) override;
    int extend_timeout(int extension, char **err) override;
    int request_swipe_start() override;
    int stop_swipe_start() override;
    int rotation_lock(bool locked) override;
    int set_orientation(int angle, char **id) override;
    int set_window_angle(int angle) override;
    int set_close_prompt(const char *title, const char *message) override;
    int clear_close_prompt() override;
    int set_badge(navigator_badge_t badge) override;
    int clear_badge() override;
    int event_get_window_state(oms_event_t *event) override;
    const char *event_get_groupid(oms_event_t *event) override;
    int event_get_orientation_angle(oms_event_t *event) override;
    const char *event_get_data(oms_event_t *event) override;
    const char *event_get_id(oms_event_t *event) override;
    const char *event_get_err(oms_event_t *event) override;
    int orientation_check_response(oms_event_t *event, bool will_rotate) override;
    int orientation_check_response_id(const char *id, bool will_rotate) override;
    int done_orientation(oms_event_t *event) override;
    int done_orientation_id(const char *id) override;
    int raw_write(const char *data, unsigned int length) override;
    const char *event_get_extended_data(oms_event_t *event) override;
    int event_get_extended_data_length(oms_event_t *event) override;
    int set_wallpaper(const char *filepath) override;
};

} // namespace ommock

#endif
