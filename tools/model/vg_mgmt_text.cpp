// Texts of vg-mgmt as JSON and in messages.
#include "vg_mgmt_text.h"

#include <cstdint>

namespace vgm {

namespace {

// The length of the UTF-8 sequence at s[i], or 0 when it is not one
// (overlong forms, surrogates and code points past U+10FFFF included).
size_t sequence_at(std::string_view s, size_t i)
{
    const auto b = [&](size_t k) { return static_cast<uint8_t>(s[i + k]); };
    const auto cont = [&](size_t k) { return i + k < s.size() && (b(k) & 0xc0u) == 0x80u; };
    const uint8_t c = b(0);
    if (c < 0x80)
        return 1;
    if (c >= 0xc2 && c <= 0xdf)
        return cont(1) ? 2 : 0;
    if (c >= 0xe0 && c <= 0xef) {
        if (!cont(1) || !cont(2) || (c == 0xe0 && b(1) < 0xa0) || (c == 0xed && b(1) > 0x9f))
            return 0;
        return 3;
    }
    if (c >= 0xf0 && c <= 0xf4) {
        if (!cont(1) || !cont(2) || !cont(3) || (c == 0xf0 && b(1) < 0x90) ||
            (c == 0xf4 && b(1) > 0x8f))
            return 0;
        return 4;
    }
    return 0;
}

int hex_digit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

} // namespace

bool valid_utf8(std::string_view s)
{
    for (size_t i = 0; i < s.size();) {
        const size_t n = sequence_at(s, i);
        if (n == 0)
            return false;
        i += n;
    }
    return true;
}

json text_json(std::string_view bytes)
{
    if (valid_utf8(bytes))
        return std::string(bytes);
    static constexpr char digits[] = "0123456789abcdef";
    std::string hex;
    hex.reserve(bytes.size() * 2);
    for (const char ch : bytes) {
        const auto c = static_cast<uint8_t>(ch);
        hex += digits[c >> 4];
        hex += digits[c & 0x0f];
    }
    return json{{"hex", hex}};
}

std::optional<std::string> text_bytes(const json &v)
{
    if (v.is_string())
        return v.get<std::string>();
    if (!v.is_object() || v.size() != 1 || !v.contains("hex") || !v["hex"].is_string())
        return std::nullopt;
    const std::string &hex = v["hex"].get_ref<const std::string &>();
    if (hex.size() % 2 != 0)
        return std::nullopt;
    std::string out;
    out.reserve(hex.size() / 2);
    for (size_t i = 0; i < hex.size(); i += 2) {
        const int hi = hex_digit(hex[i]), lo = hex_digit(hex[i + 1]);
        if (hi < 0 || lo < 0)
            return std::nullopt;
        out += static_cast<char>(hi * 16 + lo);
    }
    return out;
}

// Control characters, a backslash and bytes that are not UTF-8 as \xNN
// (a backslash as \\), the rest as it is.
std::string escaped(std::string_view s)
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < s.size();) {
        const auto c = static_cast<uint8_t>(s[i]);
        const size_t n = sequence_at(s, i);
        if (c == '\\') {
            out += "\\\\";
        } else if (n == 0 || c < 0x20 || c == 0x7f) {
            out += "\\x";
            out += digits[c >> 4];
            out += digits[c & 0x0f];
        } else {
            out.append(s.substr(i, n));
            i += n;
            continue;
        }
        ++i;
    }
    return out;
}

std::string shown_value(std::string_view value, bool secret)
{
    const std::string length = std::to_string(value.size()) + " bytes";
    if (secret)
        return "(a secret of " + length + ")";
    if (value.size() <= kShownPrefix)
        return "'" + escaped(value) + "'";
    size_t cut = kShownPrefix;
    while (cut > 0 && (static_cast<uint8_t>(value[cut]) & 0xc0u) == 0x80u)
        --cut; // never in the middle of a character
    return "'" + escaped(value.substr(0, cut)) + "...' (" + length + ")";
}

} // namespace vgm
