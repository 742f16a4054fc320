// Reading the configuration and writing it as a document.
#include "config_doc.h"

#include <arpa/inet.h>

#include <cstdio>
#include <cstring>

namespace vgcfg {

namespace {

uint32_t value_size(uint32_t domain)
{
    switch (domain) {
    case MGMT_DOMAIN_WIFI: return MGMT_WIFI_VALUE_SIZE;
    case MGMT_DOMAIN_NETWORK: return MGMT_NETWORK_VALUE_SIZE;
    case MGMT_DOMAIN_DATA_CALL: return MGMT_DATA_CALL_VALUE_SIZE;
    default: return MGMT_USB_VALUE_SIZE;
    }
}

uint32_t load_uint(const uint8_t *p, uint16_t width)
{
    uint8_t b8;
    uint16_t b16;
    uint32_t b32;
    switch (width) {
    case 1: memcpy(&b8, p, 1); return b8;
    case 2: memcpy(&b16, p, 2); return b16;
    default: memcpy(&b32, p, 4); return b32;
    }
}

void store_uint(uint8_t *p, uint16_t width, uint32_t v)
{
    const uint8_t b8 = static_cast<uint8_t>(v);
    const uint16_t b16 = static_cast<uint16_t>(v);
    switch (width) {
    case 1: memcpy(p, &b8, 1); break;
    case 2: memcpy(p, &b16, 2); break;
    default: memcpy(p, &v, 4); break;
    }
}

std::string text_of(const uint8_t *p, uint16_t width)
{
    const char *s = reinterpret_cast<const char *>(p);
    return std::string(s, strnlen(s, width));
}

bool parse_mac(const std::string &s, uint8_t *mac)
{
    unsigned b[6];
    char tail;
    if (s.size() != 17 || sscanf(s.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x%c", &b[0], &b[1], &b[2], &b[3], &b[4],
                                 &b[5], &tail) != 6)
        return false;
    for (int i = 0; i < 6; ++i)
        mac[i] = static_cast<uint8_t>(b[i]);
    return true;
}

std::string range_text(const field &f)
{
    std::string r = std::to_string(f.min) + " to " + std::to_string(f.max);
    for (size_t i = 0; i < f.values.n; ++i)
        r += (i == 0 ? ", or " : ", ") + std::string(f.values.v[i].name);
    return r;
}

bool in_range(const field &f, uint32_t v)
{
    if (v < f.min || v > f.max)
        return false;
    if (f.only.empty())
        return true;
    for (uint32_t o : f.only)
        if (o == v)
            return true;
    return false;
}

} // namespace

bool conn::call(uint32_t flag, uint32_t domain, uint16_t id, void *buf)
{
    const uint32_t code = MGMT_COMMAND(domain, id);
    const int32_t r = flag == MGMT_OPT_SET ? vg_mgmt_client_set(h, code, buf, value_size(domain))
                                           : vg_mgmt_client_get(h, code, buf, value_size(domain));
    (flag == MGMT_OPT_SET ? sets : gets)++;
    if (r != 0)
        err = vg_mgmt_get_errno();
    return r == 0;
}

record new_record(uint32_t domain) { return record(value_size(domain), 0); }

std::string instance_key(size_t group_index, int iface)
{
    return std::to_string(group_index) + "/" + std::to_string(iface);
}

std::string object_path(const char *object, int iface)
{
    std::string p = object;
    const size_t at = p.find("{i}");
    if (at != std::string::npos)
        p.replace(at, 3, std::to_string(iface));
    return p;
}

json field_value(const field &f, const uint8_t *rec, bool show_secrets)
{
    const uint8_t *p = rec + f.off;
    char buf[32];
    switch (f.type) {
    case vtype::uint: return load_uint(p, f.width);
    case vtype::flag: return *p != 0;
    case vtype::named: {
        const uint32_t v = load_uint(p, f.width);
        const char *name = f.values.name_of(v);
        return name != nullptr ? json(name) : json(v);
    }
    case vtype::text: {
        const std::string s = text_of(p, f.width);
        return f.secret && !show_secrets && !s.empty() ? std::string(secret_mask) : s;
    }
    case vtype::ipv4: {
        in_addr a{};
        memcpy(&a.s_addr, p, 4);
        inet_ntop(AF_INET, &a, buf, sizeof buf);
        return std::string(buf);
    }
    case vtype::hex16: snprintf(buf, sizeof buf, "0x%04x", load_uint(p, 2)); return std::string(buf);
    case vtype::mac:
        snprintf(buf, sizeof buf, "%02x:%02x:%02x:%02x:%02x:%02x", p[0], p[1], p[2], p[3], p[4], p[5]);
        return std::string(buf);
    }
    return nullptr;
}

bool is_mask(const field &f, const json &v)
{
    return f.secret && v.is_string() && v.get<std::string>() == secret_mask;
}

std::string field_problem(const field &f, const json &v)
{
    switch (f.type) {
    case vtype::uint:
    case vtype::named: {
        uint32_t n = 0;
        if (v.is_string() && f.values.value_of(v.get<std::string>(), n))
            return {};
        if (!v.is_number_unsigned() || v.get<uint64_t>() > UINT32_MAX || !in_range(f, v.get<uint32_t>()))
            return v.dump() + " is not one of " + range_text(f) + (f.only.empty() ? "" : " (listed values)");
        return {};
    }
    case vtype::flag: return v.is_boolean() ? std::string() : v.dump() + " is not true or false";
    case vtype::text:
        if (!v.is_string())
            return v.dump() + " is not a text";
        if (v.get<std::string>().size() > f.max)
            return "text longer than " + std::to_string(f.max) + " bytes";
        if (v.get<std::string>().find('\0') != std::string::npos)
            return "text holds a NUL byte";
        return {};
    case vtype::ipv4: {
        in_addr a{};
        return v.is_string() && inet_pton(AF_INET, v.get<std::string>().c_str(), &a) == 1
                   ? std::string()
                   : v.dump() + " is not an IPv4 address (a.b.c.d)";
    }
    case vtype::hex16: {
        unsigned n = 0;
        char tail;
        return v.is_string() && v.get<std::string>().size() == 6 && v.get<std::string>().rfind("0x", 0) == 0 &&
                       sscanf(v.get<std::string>().c_str() + 2, "%4x%c", &n, &tail) == 1
                   ? std::string()
                   : v.dump() + " is not a 16-bit id in hex (0x1234)";
    }
    case vtype::mac: {
        uint8_t m[6];
        return v.is_string() && parse_mac(v.get<std::string>(), m) ? std::string()
                                                                   : v.dump() + " is not a MAC address";
    }
    }
    return "unknown type";
}

void field_store(const field &f, const json &v, uint8_t *rec)
{
    uint8_t *p = rec + f.off;
    switch (f.type) {
    case vtype::uint:
    case vtype::named: {
        uint32_t n = 0;
        if (!(v.is_string() && f.values.value_of(v.get<std::string>(), n)))
            n = v.get<uint32_t>();
        store_uint(p, f.width, n);
        break;
    }
    case vtype::flag: *p = v.get<bool>() ? 1 : 0; break;
    case vtype::text: {
        const std::string s = v.get<std::string>();
        memset(p, 0, f.width);
        memcpy(p, s.data(), s.size());
        break;
    }
    case vtype::ipv4: {
        in_addr a{};
        inet_pton(AF_INET, v.get<std::string>().c_str(), &a);
        memcpy(p, &a.s_addr, 4);
        break;
    }
    case vtype::hex16: store_uint(p, 2, static_cast<uint32_t>(std::stoul(v.get<std::string>(), nullptr, 16))); break;
    case vtype::mac: parse_mac(v.get<std::string>(), p); break;
    }
}

uint32_t selector_of(const group &g, const uint8_t *rec)
{
    if (g.variant < 0)
        return 0;
    const field &f = g.fields[static_cast<size_t>(g.variant)];
    return load_uint(rec + f.off, f.width);
}

bool applies(const field &f, uint32_t selector)
{
    return f.variants == 0 || (selector < 32 && (f.variants & (1u << selector)) != 0);
}

const json *find_path(const json &doc, const std::string &path)
{
    const json *at = &doc;
    size_t start = 0;
    while (start <= path.size()) {
        const size_t dot = path.find('.', start);
        const std::string part = path.substr(start, dot == std::string::npos ? std::string::npos : dot - start);
        if (!at->is_object() || !at->contains(part))
            return nullptr;
        at = &(*at)[part];
        if (dot == std::string::npos)
            break;
        start = dot + 1;
    }
    return at;
}

json &make_path(json &doc, const std::string &path)
{
    json *at = &doc;
    size_t start = 0;
    while (true) {
        const size_t dot = path.find('.', start);
        json &next = (*at)[path.substr(start, dot == std::string::npos ? std::string::npos : dot - start)];
        if (next.is_null())
            next = json::object();
        at = &next;
        if (dot == std::string::npos)
            return *at;
        start = dot + 1;
    }
}

} // namespace vgcfg
