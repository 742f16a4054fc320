// Text output that cannot be forged: control characters, the backslash and
// bytes that are not valid UTF-8 are shown escaped, so that a value read
// from the service can neither drive the terminal nor add lines of its own.
// One function for vg-mgmt and kestctl (header only: kestctl links no more).
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace vgm {

// The length of the valid UTF-8 sequence at the start of `s` that is not a
// control character (C1 included), or 0.
inline size_t printable_utf8(std::string_view s)
{
    const auto b = [&](size_t i) { return static_cast<uint8_t>(s[i]); };
    const uint8_t c = b(0);
    if (c >= 0x20 && c < 0x7f)
        return 1;
    size_t n = 0;
    uint32_t cp = 0;
    if (c >= 0xc2 && c <= 0xdf) {
        n = 2;
        cp = c & 0x1fu;
    } else if (c >= 0xe0 && c <= 0xef) {
        n = 3;
        cp = c & 0x0fu;
    } else if (c >= 0xf0 && c <= 0xf4) {
        n = 4;
        cp = c & 0x07u;
    }
    if (n == 0 || s.size() < n)
        return 0;
    for (size_t i = 1; i < n; ++i) {
        if ((b(i) & 0xc0) != 0x80)
            return 0;
        cp = (cp << 6) | (b(i) & 0x3fu);
    }
    const bool overlong = (n == 3 && cp < 0x800) || (n == 4 && cp < 0x10000);
    const bool bad =
        overlong || cp > 0x10ffff || (cp >= 0xd800 && cp <= 0xdfff) || (cp >= 0x80 && cp < 0xa0);
    return bad ? 0 : n;
}

// `text` with every byte of a control character or of an invalid UTF-8
// sequence, and the bytes of `also`, written as \xNN (lower-case hex) and a
// backslash as \\.
inline std::string escape_text(std::string_view text, std::string_view also = {})
{
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const size_t n = text[0] == '\\' || also.find(text[0]) != std::string_view::npos
                             ? 0
                             : printable_utf8(text);
        if (text[0] == '\\') {
            out += "\\\\";
            text.remove_prefix(1);
        } else if (n == 0) {
            char hex[5];
            std::snprintf(hex, sizeof hex, "\\x%02x", static_cast<uint8_t>(text[0]));
            out += hex;
            text.remove_prefix(1);
        } else {
            out.append(text.substr(0, n));
            text.remove_prefix(n);
        }
    }
    return out;
}

} // namespace vgm
