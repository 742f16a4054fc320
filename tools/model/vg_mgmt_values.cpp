// Values of vg-mgmt: parsing, range checks and display of one field.
#include "vg_mgmt_values.h"

#include "vg_mgmt_text.h"

#include <arpa/inet.h>

#include <cstdio>
#include <cstring>
#include <deque>

namespace vgm {
namespace {

uint64_t load_uint(const uint8_t *p, uint16_t width)
{
    switch (width) {
    case 1:
        return *p;
    case 2: {
        uint16_t v;
        std::memcpy(&v, p, 2);
        return v;
    }
    case 4: {
        uint32_t v;
        std::memcpy(&v, p, 4);
        return v;
    }
    default: {
        uint64_t v;
        std::memcpy(&v, p, 8);
        return v;
    }
    }
}

void store_uint(uint8_t *p, uint16_t width, uint64_t v)
{
    switch (width) {
    case 1:
        *p = static_cast<uint8_t>(v);
        break;
    case 2: {
        const auto w = static_cast<uint16_t>(v);
        std::memcpy(p, &w, 2);
        break;
    }
    case 4: {
        const auto w = static_cast<uint32_t>(v);
        std::memcpy(p, &w, 4);
        break;
    }
    default:
        std::memcpy(p, &v, 8);
        break;
    }
}

bool is_integer(vtype t)
{
    return t == vtype::number || t == vtype::named || t == vtype::flag || t == vtype::usb_id;
}

const char *name_of(const field &f, uint64_t v)
{
    for (const name_value &n : f.named)
        if (n.value == v)
            return n.name;
    return nullptr;
}

bool parse_mac(const std::string &s, uint8_t *mac)
{
    unsigned b[6];
    char tail;
    if (s.size() != 17 || std::sscanf(s.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x%c", &b[0], &b[1], &b[2],
                                      &b[3], &b[4], &b[5], &tail) != 6)
        return false;
    for (int i = 0; i < 6; ++i)
        mac[i] = static_cast<uint8_t>(b[i]);
    return true;
}

std::string bad(const field &f, const std::string &word)
{
    return f.key + std::string(": ") + shown_value(word, f.secret) + " is not valid; takes " +
           range_of(f);
}

std::optional<std::string> parse_integer(const field &f, const std::string &word, uint8_t *p)
{
    std::optional<uint64_t> v;
    for (const name_value &n : f.named)
        if (word == n.name)
            v = n.value;
    if (f.type == vtype::flag && (word == "on" || word == "off"))
        v = word == "on";
    // A USB id is read as it is shown: in hex, with or without 0x.
    if (!v && f.type == vtype::usb_id && word.rfind("0x", 0) != 0 && word.rfind("0X", 0) != 0)
        v = parse_uint("0x" + word);
    if (!v)
        v = parse_uint(word);
    if (!v)
        return bad(f, word);
    if (*v < f.min || *v > field_max(f) || (f.allowed != nullptr && !f.allowed(*v)))
        return f.key + std::string(": ") + word + " is out of range; takes " +
               range_of(f); // a short number
    store_uint(p, f.width, *v);
    return std::nullopt;
}

std::optional<std::string> parse_text(const field &f, const std::string &word, uint8_t *p)
{
    const size_t room = f.type == vtype::textn ? f.width : f.width - 1u;
    if (word.size() > room || word.size() < f.min || word.find('\0') != std::string::npos)
        return f.key + std::string(": ") + shown_value(word, f.secret) + " does not fit; takes " +
               range_of(f);
    std::memset(p, 0, f.width);
    std::memcpy(p, word.data(), word.size());
    return std::nullopt;
}

} // namespace

field described(const kest_field &d)
{
    static constexpr struct {
        kest_kind kind;
        vtype type;
    } kTypes[] = {{kest_kind::number, vtype::number}, {kest_kind::named, vtype::named},
                  {kest_kind::flag, vtype::flag},     {kest_kind::usb_id, vtype::usb_id},
                  {kest_kind::text, vtype::text},     {kest_kind::secret, vtype::text},
                  {kest_kind::textn, vtype::textn},   {kest_kind::mac, vtype::mac},
                  {kest_kind::ipv4, vtype::ipv4},     {kest_kind::ipv4_text, vtype::ipv4_text},
                  {kest_kind::ipv6, vtype::ipv6}};
    vtype t = vtype::number;
    for (const auto &k : kTypes)
        if (k.kind == d.kind)
            t = k.type;
    field f = t == vtype::named
                  ? named(d.word, d.off, d.width, {d.names.rows, d.names.count}, d.help)
                  : of_type(t, d.word, d.off, d.width, d.help);
    if (t == vtype::flag)
        f.max = 1;
    if (d.min != 0 || d.max != 0) {
        f.min = d.min;
        f.max = t == vtype::text ? 0 : d.max;
    }
    f.secret = d.kind == kest_kind::secret;
    f.allowed = d.allowed == kest_any ? nullptr : d.allowed;
    f.range_text = d.range_text;
    return f;
}

field num(const char *key, uint16_t off, uint16_t width, uint64_t min, uint64_t max,
          const char *help, const char *unit)
{
    field f{key, vtype::number, off, off, width};
    f.min = min;
    f.max = max;
    f.help = help;
    f.unit = unit;
    return f;
}

field named(const char *key, uint16_t off, uint16_t width, names n, const char *help)
{
    field f{key, vtype::named, off, off, width};
    f.named = n;
    f.help = help;
    uint64_t top = 0;
    for (const name_value &v : n)
        top = v.value > top ? v.value : top;
    f.max = top;
    return f;
}

field flag(const char *key, uint16_t off, const char *help)
{
    field f{key, vtype::flag, off, off, 1};
    f.max = 1;
    f.help = help;
    return f;
}

field text(const char *key, uint16_t off, uint16_t width, const char *help, uint64_t min_len)
{
    field f{key, vtype::text, off, off, width};
    f.min = min_len;
    f.help = help;
    return f;
}

field secret(const char *key, uint16_t off, uint16_t width, const char *help)
{
    field f = text(key, off, width, help);
    f.secret = true;
    return f;
}

field of_type(vtype t, const char *key, uint16_t off, uint16_t width, const char *help)
{
    field f{key, t, off, off, width};
    f.help = help;
    return f;
}

uint64_t field_max(const field &f)
{
    if (f.max != 0)
        return f.max;
    return f.width >= 8 ? UINT64_MAX : (uint64_t{1} << (8 * f.width)) - 1;
}

std::string range_of(const field &f)
{
    const std::string unit = f.unit != nullptr ? std::string(" ") + f.unit : "";
    switch (f.type) {
    case vtype::number:
        if (f.range_text != nullptr)
            return f.range_text;
        return std::to_string(f.min) + " to " + std::to_string(field_max(f)) + unit;
    case vtype::flag:
        return "off or on";
    case vtype::named: {
        std::string r;
        for (const name_value &n : f.named)
            r += (r.empty() ? "" : ", ") + std::string(n.name) + " (" + std::to_string(n.value) +
                 ")";
        if (f.range_text != nullptr)
            r += std::string(", ") + f.range_text;
        return r;
    }
    case vtype::usb_id:
        return "0x0000 to 0xffff (hex, as shown; 0x may be left out)";
    case vtype::text:
        if (f.min == f.width - 1u)
            return "text of " + std::to_string(f.min) + " bytes";
        return "text of " + std::to_string(f.min) + " to " + std::to_string(f.width - 1) + " bytes";
    case vtype::textn:
        return "text of up to " + std::to_string(f.width) + " bytes";
    case vtype::mac:
        return "a MAC address (aa:bb:cc:dd:ee:ff)";
    case vtype::ipv4:
    case vtype::ipv4_text:
        return "an IPv4 address (a.b.c.d)";
    case vtype::ipv6:
        return "an IPv6 address";
    case vtype::hex:
        return "bytes in hex";
    }
    return "";
}

std::optional<uint64_t> parse_uint(const std::string &word)
{
    const bool hex = word.size() > 2 && word[0] == '0' && (word[1] == 'x' || word[1] == 'X');
    const size_t start = hex ? 2 : 0;
    if (word.size() == start || word.size() - start > (hex ? 16u : 20u))
        return std::nullopt;
    uint64_t v = 0;
    for (size_t i = start; i < word.size(); ++i) {
        const char c = word[i];
        unsigned d;
        if (c >= '0' && c <= '9')
            d = static_cast<unsigned>(c - '0');
        else if (hex && c >= 'a' && c <= 'f')
            d = static_cast<unsigned>(c - 'a' + 10);
        else if (hex && c >= 'A' && c <= 'F')
            d = static_cast<unsigned>(c - 'A' + 10);
        else
            return std::nullopt;
        const uint64_t base = hex ? 16 : 10;
        if (v > (UINT64_MAX - d) / base)
            return std::nullopt;
        v = v * base + d;
    }
    return v;
}

std::optional<std::string> parse_field(const field &f, const std::string &word, uint8_t *wrec)
{
    uint8_t *p = wrec + f.woff;
    if (is_integer(f.type))
        return parse_integer(f, word, p);
    switch (f.type) {
    case vtype::text:
    case vtype::textn:
        return parse_text(f, word, p);
    case vtype::mac:
        if (!parse_mac(word, p))
            return bad(f, word);
        return std::nullopt;
    case vtype::ipv4: {
        in_addr a{};
        if (inet_pton(AF_INET, word.c_str(), &a) != 1)
            return bad(f, word);
        std::memcpy(p, &a.s_addr, 4);
        return std::nullopt;
    }
    case vtype::ipv4_text: {
        in_addr a{};
        if (inet_pton(AF_INET, word.c_str(), &a) != 1)
            return bad(f, word);
        return parse_text(f, word, p);
    }
    case vtype::ipv6:
        if (inet_pton(AF_INET6, word.c_str(), p) != 1)
            return bad(f, word);
        return std::nullopt;
    default:
        return f.key + std::string(" cannot be given");
    }
}

json field_json(const field &f, const uint8_t *rec, bool show_secrets)
{
    const uint8_t *p = rec + f.off;
    char buf[INET6_ADDRSTRLEN + 8];
    switch (f.type) {
    case vtype::number:
        return load_uint(p, f.width);
    case vtype::named:
    case vtype::flag: {
        const uint64_t v = load_uint(p, f.width);
        const char *name = f.type == vtype::flag ? (v != 0 ? "on" : "off") : name_of(f, v);
        return name != nullptr ? json(std::string(name))
                               : json(v); // a number without a name stays a number
    }
    case vtype::usb_id:
        std::snprintf(buf, sizeof buf, "0x%04x", static_cast<unsigned>(load_uint(p, 2)));
        return std::string(buf);
    case vtype::text:
    case vtype::textn:
    case vtype::ipv4_text: {
        const std::string_view s(reinterpret_cast<const char *>(p),
                                 strnlen(reinterpret_cast<const char *>(p), f.width));
        return f.secret && !show_secrets && !s.empty() ? json(kMasked) : text_json(s);
    }
    case vtype::mac:
        std::snprintf(buf, sizeof buf, "%02x:%02x:%02x:%02x:%02x:%02x", p[0], p[1], p[2], p[3],
                      p[4], p[5]);
        return std::string(buf);
    case vtype::ipv4:
        if (f.zero_is_none && load_uint(p, 4) == 0)
            return nullptr;
        return inet_ntop(AF_INET, p, buf, sizeof buf) ? std::string(buf) : "";
    case vtype::ipv6:
        return inet_ntop(AF_INET6, p, buf, sizeof buf) ? std::string(buf) : "";
    case vtype::hex: {
        std::string hex;
        for (uint16_t i = 0; i < f.width; ++i) {
            std::snprintf(buf, sizeof buf, "%02x", p[i]);
            hex += buf;
        }
        return hex;
    }
    }
    return nullptr;
}

std::string json_text(const json &v)
{
    if (const std::optional<std::string> t = text_bytes(v))
        return *t;
    if (v.is_null())
        return "none";
    if (v.is_array()) {
        std::string r;
        for (const auto &e : v)
            r += (r.empty() ? "" : " ") + json_text(e);
        return r;
    }
    return v.dump();
}

const char *intern(const std::string &s)
{
    static std::deque<std::string> pool;
    return pool.emplace_back(s).c_str();
}

void carry_field(const field &f, const uint8_t *rrec, uint8_t *wrec)
{
    if (f.type == vtype::flag) // a read reduces flags to 0 or 1; the set takes the byte
        wrec[f.woff] = rrec[f.off] != 0;
    else
        std::memcpy(wrec + f.woff, rrec + f.off, f.width);
}

} // namespace vgm
