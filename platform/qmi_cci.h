/*
 * QMI common client interface: the transport through which the library
 * reaches the KEST management service. On the module it is the vendor's
 * libqmi_cci.so.1; on a PC the host platform provides a stand-in with the
 * same soname and symbols.
 */
#ifndef VG_PLATFORM_QMI_CCI_H
#define VG_PLATFORM_QMI_CCI_H

#include <pthread.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A connection or a notifier; opaque to the library. */
typedef struct qmi_client_struct *qmi_client_type;

/* 0 is success; any other value is a transport failure code. */
typedef int qmi_client_error_type;

/* The service object that names the KEST management service; opaque. */
typedef struct qmi_idl_service_object *qmi_idl_service_object_type;

/* Message kinds for qmi_client_message_decode. */
enum { QMI_IDL_REQUEST = 0, QMI_IDL_RESPONSE = 1, QMI_IDL_INDICATION = 2 };

/* One entry of the service list; the transport fills it and reads it back
 * in qmi_client_init. */
typedef struct qmi_service_info {
    uint32_t service_id;
    uint32_t instance_id;
    uint32_t addr[3];
} qmi_service_info;

/*
 * The block through which the transport wakes a client that waits for the
 * service to appear. The transport initialises it in
 * qmi_client_notifier_init; when the service comes up it sets signal_set
 * and signals cond while holding mutex. clock_id selects the clock of the
 * waiter's deadline: 1 is CLOCK_MONOTONIC, anything else the wall clock.
 * The field order is fixed on every target.
 */
typedef struct mgmt_os_signal {
    uint32_t signal_set;
    uint32_t timed_out;
    uint32_t clock_id;
    uint32_t reserved0;
    pthread_cond_t cond;
    uint32_t reserved1;
    pthread_mutex_t mutex;
} mgmt_os_signal;

typedef mgmt_os_signal qmi_client_os_params;

/* Called on a thread of the transport for every indication of a client. */
typedef void (*qmi_client_ind_cb)(qmi_client_type user_handle, uint32_t msg_id, void *ind_buf,
                                  uint32_t ind_buf_len, void *ind_cb_data);

qmi_client_error_type qmi_client_notifier_init(qmi_idl_service_object_type service_obj,
                                               qmi_client_os_params *os_params,
                                               qmi_client_type *user_handle);

/* With a null list and null num_entries: a probe, 0 when the service is
 * there. With a list: num_entries is the room going in, and on 0 the list
 * and both counts are filled. */
qmi_client_error_type qmi_client_get_service_list(qmi_idl_service_object_type service_obj,
                                                  qmi_service_info *service_info_array,
                                                  uint32_t *num_entries, uint32_t *num_services);

qmi_client_error_type qmi_client_init(qmi_service_info *service_info,
                                      qmi_idl_service_object_type service_obj,
                                      qmi_client_ind_cb ind_cb, void *ind_cb_data,
                                      qmi_client_os_params *os_params,
                                      qmi_client_type *user_handle);

/* Blocks until the answer or the time-out. On 0 the response is filled. */
qmi_client_error_type qmi_client_send_msg_sync(qmi_client_type user_handle, uint32_t msg_id,
                                               const void *req, uint32_t req_len, void *resp,
                                               uint32_t resp_len, uint32_t timeout_msecs);

qmi_client_error_type qmi_client_message_decode(qmi_client_type user_handle, int msg_kind,
                                                uint32_t msg_id, const void *src, uint32_t src_len,
                                                void *dst, uint32_t dst_len);

/* Ends a notifier or a client. Once the release of a client has returned,
 * none of its indications is delivered any more. */
qmi_client_error_type qmi_client_release(qmi_client_type user_handle);

#ifdef __cplusplus
}
#endif

#endif
