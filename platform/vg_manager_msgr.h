/* The service object of the KEST management service, from the platform
 * image's messenger library. */
#ifndef VG_PLATFORM_MANAGER_MSGR_H
#define VG_PLATFORM_MANAGER_MSGR_H

#include <stdint.h>

#include "qmi_cci.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The library always asks for version 1.1, tag 6. The object is never
 * released. */
qmi_idl_service_object_type
vg_manager_msgr_get_service_object_internal_v01(int32_t major, int32_t minor, int32_t tag);

#ifdef __cplusplus
}
#endif

#endif
