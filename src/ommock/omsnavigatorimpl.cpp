#include <om/platform/ommock/omsnavigatorimpl.h>

namespace ommock {

OmsNavigator::~OmsNavigator() = default;

OmsNavigatorImpl::OmsNavigatorImpl() = default;
OmsNavigatorImpl::~OmsNavigatorImpl() = default;

int OmsNavigatorImpl::request_events(int flags)
{
    return navigator_request_events(flags);
}

int OmsNavigatorImpl::get_domain()
{
    return navigator_get_domain();
}

int OmsNavigatorImpl::invoke(const char *url, char **err)
{
    return navigator_invoke(url, err);
}

int OmsNavigatorImpl::open_file(const char *filepath, char **err)
{
    return navigator_open_file(filepath, err);
}

int OmsNavigatorImpl::add_uri(const char *icon_path, const char *icon_label,
                              const char *default_category, const char *url, char **err)
{
    return navigator_add_uri(icon_path, icon_label, default_category, url, err);
}

int OmsNavigatorImpl::extend_timeout(int extension, char **err)
{
    return navigator_extend_timeout(extension, err);
}

int OmsNavigatorImpl::request_swipe_start()
{
    return navigator_request_swipe_start();
}

int OmsNavigatorImpl::stop_swipe_start()
{
    return navigator_stop_swipe_start();
}

int OmsNavigatorImpl::rotation_lock(bool locked)
{
    return navigator_rotation_lock(locked);
}

int OmsNavigatorImpl::set_orientation(int angle, char **id)
{
    return navigator_set_orientation(angle, id);
}

int OmsNavigatorImpl::set_window_angle(int angle)
{
    return navigator_set_window_angle(angle);
}

int OmsNavigatorImpl::set_close_prompt(const char *title, const char *message)
{
    return navigator_set_close_prompt(title, message);
}

int OmsNavigatorImpl::clear_close_prompt()
{
    return navigator_clear_close_prompt();
}

int OmsNavigatorImpl::set_badge(navigator_badge_t badge)
{
    return navigator_set_badge(badge);
}

int OmsNavigatorImpl::clear_badge()
{
    return navigator_clear_badge();
}

int OmsNavigatorImpl::event_get_window_state(oms_event_t *event)
{
    return navigator_event_get_window_state(event);
}

const char *OmsNavigatorImpl::event_get_groupid(oms_event_t *event)
{
    return navigator_event_get_groupid(event);
}

int OmsNavigatorImpl::event_get_orientation_angle(oms_event_t *event)
{
    return navigator_event_get_orientation_angle(event);
}

const char *OmsNavigatorImpl::event_get_data(oms_event_t *event)
{
    return navigator_event_get_data(event);
}

const char *OmsNavigatorImpl::event_get_id(oms_event_t *event)
{
    return navigator_event_get_id(event);
}

const char *OmsNavigatorImpl::event_get_err(oms_event_t *event)
{
    return navigator_event_get_err(event);
}

int OmsNavigatorImpl::orientation_check_response(oms_event_t *event, bool will_rotate)
{
    return navigator_orientation_check_response(event, will_rotate);
}

int OmsNavigatorImpl::orientation_check_response_id(const char *id, bool will_rotate)
{
    return navigator_orientation_check_response_id(id, will_rotate);
}

int OmsNavigatorImpl::done_orientation(oms_event_t *event)
{
    return navigator_done_orientation(event);
}

int OmsNavigatorImpl::done_orientation_id(const char *id)
{
    return navigator_done_orientation_id(id);
}

int OmsNavigatorImpl::raw_write(const char *data, unsigned int length)
{
    return navigator_raw_write(data, length);
}

const char *OmsNavigatorImpl::event_get_extended_data(oms_event_t *event)
{
    return navigator_event_get_extended_data(event);
}

int OmsNavigatorImpl::event_get_extended_data_length(oms_event_t *event)
{
    return navigator_event_get_extended_data_length(event);
}

int OmsNavigatorImpl::set_wallpaper(const char *filepath)
{
    return navigator_set_wallpaper(filepath);
}

} // namespace ommock
