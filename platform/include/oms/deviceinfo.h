#ifndef OMS_DEVICEINFO_H
#define OMS_DEVICEINFO_H

/*
 * Facts about the device, as its device properties service publishes them
 * on "/pps/services/deviceproperties". Needs no oms_initialize().
 */

#include <om/omsys_export.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One reading of the device's details. Opaque. */
typedef struct deviceinfo_details_t deviceinfo_details_t;

/*
 * Reads the details. Fails with ECONNREFUSED if the device cannot be
 * reached, ENOENT if it publishes no details, ENODATA if they are empty,
 * EBADMSG if they cannot be read, EINVAL if details is NULL.
 */
OMSYS_EXPORT int deviceinfo_get_details(deviceinfo_details_t **details);

/* Releases what deviceinfo_get_details() gave and sets *details to NULL. */
OMSYS_EXPORT void deviceinfo_free_details(deviceinfo_details_t **details);

/*
 * The accessors give texts that belong to the details, or NULL (errno
 * EINVAL) for NULL details. A detail that the device does not publish is an
 * empty text.
 */
OMSYS_EXPORT const char *deviceinfo_details_get_device_os_version(deviceinfo_details_t *details);
OMSYS_EXPORT const char *deviceinfo_details_get_device_os(deviceinfo_details_t *details);
OMSYS_EXPORT const char *deviceinfo_details_get_device_name(deviceinfo_details_t *details);
OMSYS_EXPORT const char *deviceinfo_details_get_model_name(deviceinfo_details_t *details);
OMSYS_EXPORT const char *deviceinfo_details_get_model_number(deviceinfo_details_t *details);
OMSYS_EXPORT const char *deviceinfo_details_get_hardware_id(deviceinfo_details_t *details);
OMSYS_EXPORT const char *deviceinfo_details_get_serial_number(deviceinfo_details_t *details);

#ifdef __cplusplus
}
#endif

#endif
