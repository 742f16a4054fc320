/*
 * What the host transport (libqmi_cci.so.1 on a PC) adds to qmi_cci.h: its
 * failure codes and the one entry of its service list.
 */
#ifndef VG_HOST_QMI_CCI_HOST_H
#define VG_HOST_QMI_CCI_HOST_H

#include <stdint.h>

#include "qmi_cci.h"

enum {
    QMI_HOST_ERR_ARGUMENT = -1,   /* a null or too long argument, a wrong handle */
    QMI_HOST_ERR_NO_SERVICE = -2, /* the service's socket takes no connection now */
    QMI_HOST_ERR_TIMEOUT = -3,    /* no answer within the time-out */
    QMI_HOST_ERR_REFUSED = -4,    /* the service answered with a non-zero status */
    QMI_HOST_ERR_CLOSED = -5,     /* the connection has ended (service gone, bad frame) */
    QMI_HOST_ERR_THREAD = -6,     /* release of a client from its own delivery thread */
    QMI_HOST_ERR_RESOURCE = -7    /* no memory, thread or descriptor */
};

/* The service list always has this one entry. */
#define QMI_HOST_KEST_SERVICE_ID 0x4b45u
#define QMI_HOST_KEST_INSTANCE_ID 0u

/* Indications waiting for delivery on one client at most (a callback that
 * is slower than the service). Beyond this the newest are dropped: counted,
 * and each run of drops reported with its count through the log sinks
 * (level 1, severity 6) when the callback takes the next indication or the
 * client is released. */
#define QMI_HOST_MAX_QUEUED_INDICATIONS 1024u

#endif
