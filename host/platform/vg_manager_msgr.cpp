// Host service object of the KEST management service
// (libvg_manager_msgr.so.1). The host transport only tells it from null.

#include "vg_manager_msgr.h"

struct qmi_idl_service_object {
    uint32_t idl_major;
    uint32_t idl_minor;
    uint32_t service_id;
    const char *name;
};

namespace {
constexpr qmi_idl_service_object kest_service_object = {1, 1, 0x4b45u, "kest"};
}

// The same object for every version and tag: the host has one service.
extern "C" __attribute__((visibility("default"))) qmi_idl_service_object_type
vg_manager_msgr_get_service_object_internal_v01(int32_t major, int32_t minor, int32_t tag)
{
    (void)major;
    (void)minor;
    (void)tag;
    return const_cast<qmi_idl_service_object *>(&kest_service_object);
}
