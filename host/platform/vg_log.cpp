// Host log sinks and address formatter (libvg_log.so.1).
//
// Quiet unless told otherwise, by the environment at the first log call
// (ignored in a set-user-id or set-group-id process):
//  VG_LOG_FILE=path  the file sink appends its lines to path;
//  VG_LOG_SYSLOG=1   the system sink writes to syslog under the caller's tag;
//  VG_LOG_LEVEL=N    keeps levels 1..N (default 3). The system sink reads
//                    a severity as the lowest level that logs at it (6: 1,
//                    4: 2, 3: 4).
// Level 4, the trace, prints what the commands carry, WEP keys, WPA
// passphrases and APN passwords included: it is kept only when asked for.
// The file is the user's alone: made with mode 0600, never reached through
// a symbolic link, and one of another user is not written; an existing file
// of the user loses the group's and others' access. Only a regular file is
// written (a FIFO or a device is refused, said once on stderr), opened
// without waiting; when the name comes to name another file or none (log
// rotation), the next line opens it again.
// Each line is formatted whole and written with one call under a lock, so
// lines of different threads never mix; a line break inside a value becomes
// a blank, so one call is one line.

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <syslog.h>
#include <unistd.h>

#include "kest_io.h"
#include "vg_log.h"

#define VG_HOST_API extern "C" __attribute__((visibility("default")))

namespace {
constexpr size_t kLineRoom = 4096;

struct log_settings {
    int fd;
    bool to_syslog;
    int max_level;
    char path[PATH_MAX]; // the file sink's name, to follow a rotation
    dev_t dev;           // the file open on fd
    ino_t ino;
};

// Level 4 carries credentials: only on request.
constexpr int kDefaultMaxLevel = 3;

log_settings settings{-1, false, kDefaultMaxLevel, "", 0, 0};
pthread_once_t settings_once = PTHREAD_ONCE_INIT;
pthread_mutex_t file_lock = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t syslog_lock = PTHREAD_MUTEX_INITIALIZER;
bool syslog_open = false;
char syslog_tag[64];

// Said once on stderr: the sink writes nowhere else than a file of its own.
void refuse_log_file(const char *path, const char *why)
{
    static bool said = false;
    if (!said)
        fprintf(stderr, "vg_log: not logging to %s: %s\n", path, why);
    said = true;
}

// The log file, or -1: appended to, mode 0600, not through a link, a
// regular file of the user's own. Its device and inode go to `st`.
int open_log_file(const char *path, struct stat &st)
{
    const int fd =
        open(path, O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
    if (fd < 0) {
        refuse_log_file(path, strerror(errno));
        return -1;
    }
    const char *why = fstat(fd, &st) != 0      ? "cannot examine it"
                      : !S_ISREG(st.st_mode)   ? "not a regular file"
                      : st.st_uid != geteuid() ? "the file is another user's"
                                               : nullptr;
    if (why != nullptr) {
        close(fd);
        refuse_log_file(path, why);
        return -1;
    }
    if ((st.st_mode & 077) != 0)
        fchmod(fd, st.st_mode & 0700);
    return fd;
}

void open_sink(log_settings &s)
{
    struct stat st {};
    s.fd = open_log_file(s.path, st);
    s.dev = st.st_dev;
    s.ino = st.st_ino;
}

// Called under file_lock: when the name no longer names the open file (the
// log was rotated), the lines go to a file opened again under the name.
void follow_rotation(log_settings &s)
{
    struct stat st {};
    if (s.fd >= 0 && stat(s.path, &st) == 0 && st.st_dev == s.dev && st.st_ino == s.ino)
        return;
    if (s.fd >= 0)
        close(s.fd);
    open_sink(s);
}

void load_settings()
{
    const char *file = secure_getenv("VG_LOG_FILE");
    if (file != nullptr && file[0] != '\0' && strlen(file) < sizeof settings.path) {
        memcpy(settings.path, file, strlen(file) + 1);
        open_sink(settings);
    }
    const char *sys = secure_getenv("VG_LOG_SYSLOG");
    settings.to_syslog = sys != nullptr && strcmp(sys, "1") == 0;
    const char *level = secure_getenv("VG_LOG_LEVEL");
    if (level != nullptr && level[0] != '\0') {
        char *end = nullptr;
        const long n = strtol(level, &end, 10);
        if (*end == '\0' && n >= 0 && n < INT_MAX)
            settings.max_level = static_cast<int>(n);
    }
}

const log_settings &current()
{
    pthread_once(&settings_once, load_settings);
    return settings;
}

// Appends the formatted values to line[used..]; returns the new length,
// cut to the room left, with line breaks turned into blanks and other control
// characters written as \xNN: a value can neither add a line nor drive the
// terminal that shows the file.
size_t append_message(char *line, size_t used, size_t room, const char *fmt, va_list ap)
{
    char raw[kLineRoom];
    const int n = vsnprintf(raw, sizeof raw, fmt, ap);
    if (n < 0)
        return used;
    const size_t len =
        static_cast<size_t>(n) < sizeof raw ? static_cast<size_t>(n) : sizeof raw - 1;
    for (size_t i = 0; i < len && used < room - 1; ++i) {
        const auto c = static_cast<unsigned char>(raw[i]);
        if (c == '\n' || c == '\r') {
            line[used++] = ' ';
        } else if (c < 0x20 || c == 0x7f) {
            if (used + 4 > room - 1)
                break;
            snprintf(line + used, 5, "\\x%02x", c);
            used += 4;
        } else {
            line[used++] = static_cast<char>(c);
        }
    }
    return used;
}

void write_line(log_settings &s, const char *line, size_t len)
{
    pthread_mutex_lock(&file_lock);
    follow_rotation(s);
    if (s.fd >= 0) {
        const int fd = s.fd;
        auto *p = reinterpret_cast<uint8_t *>(const_cast<char *>(line));
        kest_io_loop(p, len, [fd](uint8_t *q, size_t k) { return ::write(fd, q, k); });
    }
    pthread_mutex_unlock(&file_lock);
}

// The lowest level whose lines go out at this severity.
int level_of_severity(int severity)
{
    switch (severity) {
    case 6:
        return 1;
    case 4:
        return 2;
    default:
        return 4;
    }
}

// The library's severities rank failures highest; syslog's rank them lowest.
int syslog_priority(int severity)
{
    switch (severity) {
    case 6:
        return LOG_ERR;
    case 4:
        return LOG_NOTICE;
    default:
        return LOG_DEBUG;
    }
}
} // namespace

VG_HOST_API void __vg_log(const char *file, int line, const char *func, int level, const char *fmt,
                          ...)
{
    const log_settings &s = current();
    if (s.path[0] == '\0' || fmt == nullptr || level > s.max_level)
        return;
    char text[kLineRoom];
    timeval now{};
    gettimeofday(&now, nullptr);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    const int head =
        snprintf(text, sizeof text,
                 "%04d-%02d-%02d %02d:%02d:%02d.%03ld [%d] %s:%d %s: ", local.tm_year + 1900,
                 local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                 static_cast<long>(now.tv_usec / 1000), level, file != nullptr ? file : "?", line,
                 func != nullptr ? func : "?");
    size_t used = head < 0 ? 0 : static_cast<size_t>(head);
    if (used > sizeof text - 2)
        used = sizeof text - 2;
    va_list ap;
    va_start(ap, fmt);
    used = append_message(text, used, sizeof text - 1, fmt, ap);
    va_end(ap);
    text[used++] = '\n';
    write_line(settings, text, used);
}

// kind is the same at every call of the library and is not used here.
VG_HOST_API void vg_sys_log_print(int kind, int severity, const char *tag, const char *fmt, ...)
{
    (void)kind;
    const log_settings &s = current();
    if (!s.to_syslog || fmt == nullptr || level_of_severity(severity) > s.max_level)
        return;
    pthread_mutex_lock(&syslog_lock);
    if (!syslog_open) {
        // openlog keeps the pointer: give it a copy that lives on.
        snprintf(syslog_tag, sizeof syslog_tag, "%s", tag != nullptr ? tag : "vg");
        openlog(syslog_tag, LOG_PID, LOG_USER);
        syslog_open = true;
    }
    pthread_mutex_unlock(&syslog_lock);
    char text[kLineRoom];
    va_list ap;
    va_start(ap, fmt);
    const size_t used = append_message(text, 0, sizeof text, fmt, ap);
    va_end(ap);
    text[used] = '\0';
    syslog(syslog_priority(severity), "%s", text);
}

// The address as the records hold it: network byte order, so its bytes in
// memory are the four parts in writing order.
VG_HOST_API const char *vg_ipv4_ntoa(uint32_t addr)
{
    static thread_local char text[sizeof "255.255.255.255"];
    unsigned char b[4];
    memcpy(b, &addr, sizeof b);
    snprintf(text, sizeof text, "%u.%u.%u.%u", b[0], b[1], b[2], b[3]);
    return text;
}
