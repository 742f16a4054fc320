// One value between a record and the document, through the model's fields,
// and the paths of the document.
#include "config_doc.h"

#include <algorithm>
#include <cstring>

#include "vg_mgmt_text.h"

namespace vgcfg {

namespace {

// A whole number given as a JSON number: an integer, or a number with no
// fraction (11.0, as JSON Schema's "integer" takes it).
std::optional<std::string> number_word(const json &v)
{
    if (v.is_number_unsigned())
        return std::to_string(v.get<uint64_t>());
    if (v.is_number_float()) {
        const double d = v.get<double>();
        if (d >= 0 && d < 18446744073709551616.0 &&
            d == static_cast<double>(static_cast<uint64_t>(d)))
            return std::to_string(static_cast<uint64_t>(d));
    }
    return std::nullopt;
}

// Decimal digits as a number is written: no sign, no leading zero.
bool decimal_word(const std::string &s)
{
    return !s.empty() && s.size() <= 20 && s.find_first_not_of("0123456789") == std::string::npos &&
           (s == "0" || s[0] != '0');
}

bool usb_id_word(const std::string &s)
{
    return s.size() >= 3 && s.size() <= 6 && s[0] == '0' && s[1] == 'x' &&
           s.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string::npos;
}

// A document value as the word the model's parser takes. The document's one
// rule, the same as its JSON Schema: a number is a JSON number (no fraction);
// a named value is its name, its number, or its number as decimal digits; a
// flag on, off, true or false; a USB id "0x" and one to four hex digits; a
// text a string or {"hex": ...}; addresses strings.
std::optional<std::string> word_of(const field &f, const json &v)
{
    switch (f.type) {
    case vtype::flag:
        if (v == true || v == "on")
            return std::string("1");
        if (v == false || v == "off")
            return std::string("0");
        return std::nullopt;
    case vtype::number:
        return number_word(v);
    case vtype::named:
        if (v.is_string() && (decimal_word(v.get<std::string>()) ||
                              std::any_of(f.named.begin(), f.named.end(),
                                          [&](const vgm::name_value &n) { return v == n.name; })))
            return v.get<std::string>();
        return number_word(v);
    case vtype::usb_id:
        if (v.is_string() && usb_id_word(v.get<std::string>()))
            return v.get<std::string>();
        return std::nullopt;
    case vtype::text:
    case vtype::textn:
        return vgm::text_bytes(v);
    default:
        return v.is_string() ? std::optional<std::string>(v.get<std::string>()) : std::nullopt;
    }
}

} // namespace

bool conn::call(uint32_t flag, uint32_t domain, uint16_t id, void *buf)
{
    const uint32_t code = MGMT_COMMAND(domain, id);
    const uint32_t size = vgm::value_size(domain);
    const int32_t r = flag == MGMT_OPT_SET ? vg_mgmt_client_set(h, code, buf, size)
                                           : vg_mgmt_client_get(h, code, buf, size);
    (flag == MGMT_OPT_SET ? sets : gets)++;
    if (r != 0)
        err = vg_mgmt_get_errno();
    return r == 0;
}

record new_record(uint32_t domain)
{
    return record(vgm::value_size(domain), 0);
}

std::string instance_key(size_t index, int iface)
{
    return std::to_string(index) + "/" + std::to_string(iface);
}

std::string object_path(const std::string &object, int iface)
{
    std::string p = object;
    const size_t at = p.find("{i}");
    if (at != std::string::npos)
        p.replace(at, 3, std::to_string(iface));
    return p;
}

int first_instance(const vgm::command &c)
{
    return per_interface(c) ? 1 : 0;
}
int last_instance(const vgm::command &c)
{
    return per_interface(c) ? kWifiInterfaces : 0;
}

record instance_record(const vgm::command &c, int iface)
{
    record rec = new_record(c.domain);
    if (per_interface(c)) {
        const uint32_t index = static_cast<uint32_t>(iface);
        std::memcpy(rec.data(), &index, 4);
    }
    vgm::axis_fixed(c.inst, rec.data());
    return rec;
}

json field_value(const field &f, const uint8_t *rec, bool show_secrets)
{
    return vgm::field_json(f, rec, show_secrets);
}

bool is_mask(const field &f, const json &v)
{
    return f.secret && v == kSecretMask;
}

std::string field_problem(const field &f, const json &v)
{
    const std::optional<std::string> word = word_of(f, v);
    if (!word)
        return (f.secret ? std::string("the value") : vgm::shown_value(v.dump(), false)) +
               " is not a value of " + f.key + " (" + vgm::range_of(f) + ")";
    if (f.type == vtype::text && word->empty() && f.min > 0)
        return {}; // left as it is, or refused once it is known to change
    if (is_mask(f, v))
        return {};
    record scratch(vgm::value_size(MGMT_DOMAIN_WIFI), 0);
    const std::optional<std::string> e = vgm::parse_field(f, *word, scratch.data());
    return e ? *e : std::string();
}

void field_store(const field &f, const json &v, uint8_t *wrec)
{
    if (const std::optional<std::string> word = word_of(f, v))
        vgm::parse_field(f, *word, wrec);
}

json masked_entry(const list_desc &l, const json &entry, bool show_secrets)
{
    if (show_secrets || !entry.is_object())
        return entry;
    json e = entry;
    for (const field &f : l.entry)
        if (f.secret && e.contains(f.key) && e[f.key] != "")
            e[f.key] = kSecretMask;
    return e;
}

const json *find_path(const json &doc, const std::string &path)
{
    const json *at = &doc;
    size_t start = 0;
    while (true) {
        const size_t dot = path.find('.', start);
        const std::string part =
            path.substr(start, dot == std::string::npos ? std::string::npos : dot - start);
        if (!at->is_object() || !at->contains(part))
            return nullptr;
        at = &(*at)[part];
        if (dot == std::string::npos)
            return at;
        start = dot + 1;
    }
}

json &make_path(json &doc, const std::string &path)
{
    json *at = &doc;
    size_t start = 0;
    while (true) {
        const size_t dot = path.find('.', start);
        json &next =
            (*at)[path.substr(start, dot == std::string::npos ? std::string::npos : dot - start)];
        if (next.is_null())
            next = json::object();
        at = &next;
        if (dot == std::string::npos)
            return *at;
        start = dot + 1;
    }
}

} // namespace vgcfg
