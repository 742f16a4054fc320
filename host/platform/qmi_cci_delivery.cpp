// Delivering a client's indications: a queue of at most
// QMI_HOST_MAX_QUEUED_INDICATIONS, emptied one indication at a time into
// the application's callback on the delivery thread. An indication that
// finds the queue full is dropped, and never silently: the drops are
// counted and each run of them is reported through the log sinks, with its
// count, as soon as the callback takes the next indication (or at release).
#include <cstdlib>
#include <cstring>

#include "qmi_cci_internal.h"
#include "vg_log.h"

namespace qmi_host {

namespace {

uint8_t *indication_bytes(queued_indication *q)
{
    return reinterpret_cast<uint8_t *>(q + 1);
}

// Both sinks, as every log point of the platform: level 1, severity 6.
void report_dropped(uint32_t count, uint64_t total)
{
    __vg_log(
        "qmi_cci", __LINE__, __func__, 1,
        "dropped %u indications: %u were waiting for the callback (%llu dropped on this client)",
        count, QMI_HOST_MAX_QUEUED_INDICATIONS, static_cast<unsigned long long>(total));
    vg_sys_log_print(3, 6, "qmi_cci",
                     "[%s  %d]: dropped %u indications: %u were waiting for the callback (%llu "
                     "dropped on this client)",
                     __func__, __LINE__, count, QMI_HOST_MAX_QUEUED_INDICATIONS,
                     static_cast<unsigned long long>(total));
}

// Under lock: the drops not yet reported, now counted as reported.
uint32_t take_dropped(host_client &c)
{
    const uint32_t n = c.ind_dropped;
    c.ind_dropped = 0;
    return n;
}

} // namespace

// From the reading turn: queues the indication for the callback, or counts
// it as dropped when the queue is full or no memory is left.
void take_indication(host_client &c, const kest_frame_header &h, const uint8_t *payload)
{
    if (c.ind_cb == nullptr)
        return;
    auto *q = static_cast<queued_indication *>(malloc(sizeof(queued_indication) + h.len));
    if (q != nullptr) {
        *q = {nullptr, h.msg_id, h.len};
        memcpy(indication_bytes(q), payload, h.len);
    }
    pthread_mutex_lock(&c.lock);
    if (c.releasing || q == nullptr || c.ind_count >= QMI_HOST_MAX_QUEUED_INDICATIONS) {
        if (!c.releasing) {
            ++c.ind_dropped;
            ++c.ind_dropped_total;
        }
        pthread_mutex_unlock(&c.lock);
        free(q);
        return;
    }
    if (c.ind_tail != nullptr)
        c.ind_tail->next = q;
    else
        c.ind_head = q;
    c.ind_tail = q;
    ++c.ind_count;
    pthread_cond_signal(&c.ind_ready);
    pthread_mutex_unlock(&c.lock);
}

void *deliver_indications(void *arg)
{
    auto &c = *static_cast<host_client *>(arg);
    pthread_mutex_lock(&c.lock);
    for (;;) {
        while (!c.releasing && c.ind_head == nullptr)
            pthread_cond_wait(&c.ind_ready, &c.lock);
        if (c.releasing)
            break;
        queued_indication *q = c.ind_head;
        c.ind_head = q->next;
        if (c.ind_head == nullptr)
            c.ind_tail = nullptr;
        --c.ind_count;
        const uint32_t dropped = take_dropped(c);
        const uint64_t total = c.ind_dropped_total;
        pthread_mutex_unlock(&c.lock);
        if (dropped > 0)
            report_dropped(dropped, total);
        c.ind_cb(&c.base, q->msg_id, indication_bytes(q), q->len, c.ind_cb_data);
        free(q);
        pthread_mutex_lock(&c.lock);
    }
    pthread_mutex_unlock(&c.lock);
    return nullptr;
}

void end_delivery(host_client &c)
{
    if (const uint32_t n = take_dropped(c))
        report_dropped(n, c.ind_dropped_total);
    while (c.ind_head != nullptr) {
        queued_indication *q = c.ind_head;
        c.ind_head = q->next;
        free(q);
    }
    c.ind_tail = nullptr;
    c.ind_count = 0;
}

} // namespace qmi_host
