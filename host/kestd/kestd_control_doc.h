// kestd's control commands and what each does: one list for kestd's "help"
// answer, its usage messages and kestctl's own --help (which needs no service).
#pragma once

#include <string_view>

struct kestd_control_doc {
    const char *name;
    const char *help;
};

inline constexpr kestd_control_doc kKestdControlDocs[] = {
    {"help", "help: this list"},
    {"ping", "ping: answers pong"},
    {"dump", "dump [all|wifi|data|network|usb|faults]: the state as key=value lines"},
    {"sta-join", "sta-join IFACE MAC [NAME]: a station joins access point 1 or 2 (sends 33)"},
    {"sta-leave", "sta-leave MAC: a station leaves its access point (sends 33)"},
    {"sta-status", "sta-status STATE [SSID]: station interface 0 disconnected, 1 connecting, 2 "
                   "connected (sends 32)"},
    {"delay", "delay MS: answer every request MS milliseconds late (0: at once)"},
    {"fail", "fail ERROR [COUNT [MSG_ID [SKIP]]]: let SKIP (0) matching requests pass, then refuse "
             "the next "
             "COUNT (1), of MSG_ID only if given"},
    {"mute", "mute: read requests and answer none"},
    {"unmute", "unmute: answer requests again"},
    {"clear", "clear: end every injected fault"},
    {"drop", "drop: close every other connection"},
};

constexpr const char *kestd_control_help(std::string_view name)
{
    for (const kestd_control_doc &d : kKestdControlDocs)
        if (name == d.name)
            return d.help;
    return "";
}
