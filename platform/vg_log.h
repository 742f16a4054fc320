/* The platform's log sinks and IPv4 address formatter. */
#ifndef VG_PLATFORM_LOG_H
#define VG_PLATFORM_LOG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* File sink: source file, line, function, level (1 failure .. 4 trace),
 * then a printf format and its values. */
void __vg_log(const char *file, int line, const char *func, int level, const char *fmt, ...)
    __attribute__((format(printf, 5, 6)));

/* System sink: kind, syslog-style severity, tag, then a printf format and
 * its values. */
void vg_sys_log_print(int kind, int severity, const char *tag, const char *fmt, ...)
    __attribute__((format(printf, 4, 5)));

/* Text of an IPv4 address held as the records hold it. The text stays valid
 * until the next call on the same thread. */
const char *vg_ipv4_ntoa(uint32_t addr);

#ifdef __cplusplus
}
#endif

#endif
