// Runs every command of the four tables once to warm up, then once more with
// each command between two callgrind dumps named after it. Callgrind counts
// only inside the library's vg_mgmt_client_set and vg_mgmt_client_get and not
// inside the log sinks (scripts/instructions.sh passes --toggle-collect for
// the four), so each dump holds the instructions of one command in the
// library, outside the sinks.
#include <valgrind/callgrind.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "command_rows.h"
#include "qmi_cci.h"
#include "vg_log.h"
#include "vg_manager_msgr.h"

using vg_rows::command_row;

namespace {
int g_object;
}

// ---------------------------------------------------------------------------
// Null platform: the service is there, answers success at once and leaves the
// zeroed response as it is; the sinks drop every line.

extern "C" qmi_idl_service_object_type
vg_manager_msgr_get_service_object_internal_v01(int32_t, int32_t, int32_t)
{
    return reinterpret_cast<qmi_idl_service_object_type>(&g_object);
}

extern "C" qmi_client_error_type qmi_client_notifier_init(qmi_idl_service_object_type,
                                                          qmi_client_os_params *,
                                                          qmi_client_type *user_handle)
{
    *user_handle = reinterpret_cast<qmi_client_type>(&g_object);
    return 0;
}

extern "C" qmi_client_error_type qmi_client_get_service_list(qmi_idl_service_object_type,
                                                             qmi_service_info *list,
                                                             uint32_t *num_entries,
                                                             uint32_t *num_services)
{
    *num_services = 1;
    if (list != nullptr && num_entries != nullptr)
        *num_entries = 1;
    return 0;
}

extern "C" qmi_client_error_type qmi_client_init(qmi_service_info *, qmi_idl_service_object_type,
                                                 qmi_client_ind_cb, void *, qmi_client_os_params *,
                                                 qmi_client_type *user_handle)
{
    *user_handle = reinterpret_cast<qmi_client_type>(&g_object);
    return 0;
}

extern "C" qmi_client_error_type qmi_client_send_msg_sync(qmi_client_type, uint32_t, const void *,
                                                          uint32_t, void *, uint32_t, uint32_t)
{
    return 0;
}

extern "C" qmi_client_error_type qmi_client_message_decode(qmi_client_type, int, uint32_t,
                                                           const void *, uint32_t, void *, uint32_t)
{
    return 0;
}

extern "C" qmi_client_error_type qmi_client_release(qmi_client_type)
{
    return 0;
}

extern "C" void __vg_log(const char *, int, const char *, int, const char *, ...) {}
extern "C" void vg_sys_log_print(int, int, const char *, const char *, ...) {}

extern "C" const char *vg_ipv4_ntoa(uint32_t)
{
    return "0.0.0.0";
}

// ---------------------------------------------------------------------------

// One command, in the direction of its row.
static int32_t bench_command(mgmt_client *h, const command_row &r, void *value, uint32_t size)
{
    const uint32_t command = MGMT_COMMAND(r.domain, r.id);
    return r.flag == MGMT_OPT_SET ? vg_mgmt_client_set(h, command, value, size)
                                  : vg_mgmt_client_get(h, command, value, size);
}

// With --aggregate the measured pass is one profile, for callgrind_annotate.
int main(int argc, char **argv)
{
    const bool aggregate = argc > 1 && std::strcmp(argv[1], "--aggregate") == 0;
    mgmt_client *h = nullptr;
    if (vg_mgmt_client_open(&h, nullptr) != 0)
        return 1;
    int failures = 0;
    for (int pass = 0; pass < 2; ++pass) {
        CALLGRIND_ZERO_STATS;
        for (const command_row &r : vg_rows::kRows) {
            std::vector<uint8_t> buf(vg_rows::value_size(r.domain), 0);
            r.fill(buf.data());
            const int32_t rc = bench_command(h, r, buf.data(), static_cast<uint32_t>(buf.size()));
            if (pass == 0) {
                failures += rc != 0;
                continue;
            }
            if (aggregate)
                continue;
            char name[64];
            std::snprintf(name, sizeof name, "d%u-id%u-%s", r.domain, r.id,
                          r.flag == MGMT_OPT_SET ? "set" : "get");
            CALLGRIND_DUMP_STATS_AT(name);
        }
    }
    vg_mgmt_client_close(h);
    if (failures != 0)
        std::fprintf(stderr, "%d commands did not succeed\n", failures);
    return failures == 0 ? 0 : 1;
}
