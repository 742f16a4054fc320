// What every domain of kestd writes text with: the names of the error codes
// and the lines of the state's dump.
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "kestd_msg.h"
#include "vg_mgmt_output_escape.h"

const char *kestd_error_name(uint16_t code)
{
    if (code == KESTD_OK)
        return "OK";
    const kest_error_row *row = kest_error_find(code);
    return row != nullptr ? row->name : "INJECTED";
}

void kestd_dump_line(std::string &out, const char *key, const char *fmt, ...)
{
    char value[1024];
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(value, sizeof value, fmt, ap);
    va_end(ap);
    out += key;
    out += '=';
    out += value;
    out += '\n';
}

std::string kestd_dump_text(const char *text, size_t max)
{
    return '"' + vgm::escape_text(std::string_view(text, strnlen(text, max)), "\"") + '"';
}
