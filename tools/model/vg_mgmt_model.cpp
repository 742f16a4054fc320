// The model's shared parts: instances, buffer sizes, names, and the table of
// all rows, made from the protocol's description of every command: each
// subject gives its plain rows, or those its domain's special builder makes.
#include "vg_mgmt_model.h"

#include <cstring>
#include <string_view>

#include "vg_mgmt_client.h"

namespace vgm {

std::vector<field> axis_fields(axis a)
{
    const auto range = [](const char *key, uint16_t off, uint16_t width, kest_range r,
                          const char *help) { return num(key, off, width, r.min, r.max, help); };
    using A = data_call_apn_params;
    const field type =
        range("profile-type", offsetof(A, profile_type), 1, kProfileTypeRange, "APN profile type");
    switch (a) {
    case axis::iface:
        return {range("interface", 0, 4, kInterfaceRange,
                      "Wi-Fi interface: 1 and 2 access points, 3 the station")};
    case axis::apn:
        return {type, range("profile-index", offsetof(A, profile_index), 1, kProfileIndexRange,
                            "APN profile index within its type")};
    case axis::apn_type:
        return {type};
    case axis::profile:
        return {range("profile", 0, 1, kProfileIndexRange,
                      "APN profile of type 0 that carries the call")};
    default:
        return {};
    }
}

void axis_fixed(axis a, uint8_t *rec)
{
    if (a == axis::sta_iface) {
        const uint32_t station = kInterfaceRange.max;
        std::memcpy(rec, &station, 4);
    } else if (a == axis::usb) {
        std::memset(rec, 0, 4);
    }
}

uint32_t value_size(uint32_t domain)
{
    switch (domain) {
    case MGMT_DOMAIN_WIFI:
        return MGMT_WIFI_VALUE_SIZE;
    case MGMT_DOMAIN_NETWORK:
        return MGMT_NETWORK_VALUE_SIZE;
    case MGMT_DOMAIN_DATA_CALL:
        return MGMT_DATA_CALL_VALUE_SIZE;
    default:
        return MGMT_USB_VALUE_SIZE;
    }
}

std::string command_name(const command &c)
{
    std::string n = std::string(c.domain_word) + " " + c.subject;
    return c.verb[0] != '\0' ? n + " " + c.verb : n;
}

std::vector<field> described_fields(uint32_t domain, uint32_t cmd)
{
    std::vector<field> out;
    for (const kest_field &d : kest_fields_of(domain, cmd))
        out.push_back(described(d));
    return out;
}

field described_field(uint32_t domain, uint32_t cmd, const char *word)
{
    const kest_field *d = kest_field_find(domain, cmd, word);
    return d != nullptr ? described(*d) : field{word, vtype::number, 0, 0, 0};
}

void add_setting(std::vector<command> &c, const command &row)
{
    if (row.read_id != 0) {
        command get = row;
        get.verb = "get";
        get.k = kind::get;
        get.help = "show " + row.help;
        get.npos = 0;
        c.push_back(get);
    }
    if (row.write_id != 0) {
        command set = row;
        set.verb = "set";
        set.k = kind::set;
        set.help = "change " + row.help;
        set.raw.clear();
        c.push_back(set);
    }
}

void add_plain(std::vector<command> &c, command base)
{
    const bool set = kest_command_find(base.domain, base.write_id, MGMT_OPT_SET) != nullptr;
    const bool get = kest_command_find(base.domain, base.read_id, MGMT_OPT_GET) != nullptr;
    base.fields = described_fields(base.domain, set ? base.write_id : base.read_id);
    if (set && get) {
        // The first field is given as a word when it is the one the subject
        // is named for ("ssid", "default-profile") or the only one.
        const std::string_view subject = base.subject, first = base.fields.at(0).key;
        base.npos = base.fields.size() == 1 || subject.ends_with(first) ? 1 : 0;
        add_setting(c, base);
        return;
    }
    if (!set)
        base.write_id = 0;
    else
        base.read_id = 0;
    base.k = set ? kind::run : kind::get;
    if (!set && base.verb[0] == '\0')
        base.verb = "get";
    for (field &f : base.fields)
        if (const kest_field *d = kest_field_find(base.domain, base.write_id, f.key);
            set && d != nullptr && d->factory.given)
            f.def = d->factory.at(1);
    c.push_back(base);
}

namespace {

// The subject's row before its builder: words, help, instance, commands.
command base_of(const kest_subject &s)
{
    const std::string_view words = s.words;
    const size_t space = words.find(' ');
    command c{
        .domain_word = kest_domain_word(s.domain),
        .subject = intern(std::string(words.substr(0, space))),
        .verb = space == std::string_view::npos ? "" : intern(std::string(words.substr(space + 1))),
        .k = kind::set,
        .help = s.help,
        .domain = s.domain,
        .read_id = static_cast<uint16_t>(s.command),
        .write_id = static_cast<uint16_t>(s.command),
        .inst = s.instance};
    return c;
}

void add_subject(std::vector<command> &c, const kest_subject &s)
{
    for (auto specials :
         {wifi_specials(), data_call_specials(), network_specials(), usb_specials()})
        for (const special &sp : specials)
            if (sp.domain == s.domain && sp.cmd == s.command) {
                sp.add(c, base_of(s));
                return;
            }
    add_plain(c, base_of(s));
}

} // namespace

const std::vector<command> &commands()
{
    static const std::vector<command> table = [] {
        std::vector<command> c;
        for (uint32_t domain :
             {MGMT_DOMAIN_WIFI, MGMT_DOMAIN_DATA_CALL, MGMT_DOMAIN_NETWORK, MGMT_DOMAIN_USB})
            for (const kest_subject &s : kSubjects)
                if (s.domain == domain)
                    add_subject(c, s);
        return c;
    }();
    return table;
}

} // namespace vgm
