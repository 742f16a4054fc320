// The steps of the handler pattern that every domain shares: the per-thread
// error number, the dispatch of a command table and the exchange of one
// message. Each logs for the handler it works for, through that handler's
// site, never under a name of its own.

#include <cstring>

#include "vg_mgmt_core.h"

constinit thread_local int32_t vg_errno = 0;

// Tables list their ids nearly in order from 1, so the search starts at the
// id's own place and widens from there. Ids are unique in a table: the row
// found is the one a search from the top would find.
static const mgmt_command_row *vg_find_row(const vg_dispatcher &d, uint32_t command_id)
{
    if (command_id < kVgRowIndexIds) {
        const uint8_t row = (*d.index)[command_id];
        return row == kVgNoRow ? nullptr : &d.rows[row];
    }
    // Only the last row's -1 lies beyond the index.
    for (size_t i = 0; i < d.count; ++i)
        if (d.rows[i].id == command_id)
            return &d.rows[i];
    return nullptr;
}

int32_t vg_dispatch(const vg_dispatcher &d, mgmt_client *handle, uint32_t flag, uint32_t command_id,
                    void *value)
{
    const mgmt_command_row *row = vg_find_row(d, command_id);
    if (row == nullptr) {
        vg_log_fmt(d.site, __LINE__, 2, d.not_found, command_id);
        return vg_fail(MGMT_ERR_NOT_SUPPORTED);
    }
    vg_log_fmt(d.site, __LINE__, 4, d.found, command_id, flag);
    mgmt_handler handler;
    if (flag == MGMT_OPT_SET) {
        handler = row->set;
    } else if (flag == MGMT_OPT_GET) {
        handler = row->get;
    } else {
        VG_LOG_AT(d.site, 2, "%d invalid command flag", flag);
        return vg_fail(MGMT_ERR_NOT_SUPPORTED);
    }
    if (handler == nullptr) {
        VG_LOG_AT(d.site, 2, "command %d function is null", command_id);
        if (d.null_handler_sets_errno)
            vg_errno = MGMT_ERR_NOT_SUPPORTED;
        return -1;
    }
    return handler(handle, value);
}

int vg_send(const mgmt_client *h, uint32_t msg_id, const void *req, uint32_t req_len, void *resp,
            uint32_t resp_len, uint32_t timeout_ms)
{
    memset(resp, 0, resp_len);
    return qmi_client_send_msg_sync(h->client, msg_id, req, req_len, resp, resp_len, timeout_ms);
}

bool vg_judged_ok(int rc, const void *resp, vg_judge judge)
{
    resp_status st;
    memcpy(&st, resp, sizeof st);
    const uint16_t judged = judge == vg_judge::result ? st.result : st.error;
    if (rc == 0 && judged == 0)
        return true;
    vg_errno = st.error;
    return false;
}

bool vg_exchange_zeroed(const vg_site &site, const mgmt_client *h, const kest_call &call,
                        const void *req, uint32_t req_len, void *resp, uint32_t resp_len)
{
    const int rc = qmi_client_send_msg_sync(h->client, call.msg_id, req, req_len, resp, resp_len,
                                            call.timeout_ms);
    resp_status st;
    memcpy(&st, resp, sizeof st);
    vg_log_fmt(site, __LINE__, 4, call.transport, rc, st.result);
    return vg_judged_ok(rc, resp, call.judge);
}
