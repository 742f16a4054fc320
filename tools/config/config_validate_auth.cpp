// Rules of a document between settings: the default profile names a profile
// that the document's profile list holds, an authentication type has the keys
// it needs in the form the service takes, and USB keeps a function on.
#include <cctype>

#include "config_rules.h"
#include "vg_mgmt_text.h"

namespace vgcfg {

namespace {

using problems_t = std::vector<std::string>;

bool all_of_chars(const std::string &s, int (*pred)(int))
{
    for (const char c : s)
        if (pred(static_cast<unsigned char>(c)) == 0)
            return false;
    return true;
}

int printable(int c)
{
    return c >= 0x20 && c <= 0x7e;
}

// WEP-40 or WEP-104: 5 or 13 characters, or 10 or 26 hex digits.
bool wep_key_ok(const std::string &k)
{
    if ((k.size() == 10 || k.size() == 26) && all_of_chars(k, isxdigit))
        return true;
    return (k.size() == 5 || k.size() == 13) && all_of_chars(k, printable);
}

// A WPA passphrase of 8 to 63 characters, or the key as 64 hex digits.
bool wpa_password_ok(const std::string &p)
{
    if (p.size() == 64)
        return all_of_chars(p, isxdigit);
    return p.size() >= 8 && p.size() <= 63 && all_of_chars(p, printable);
}

// A secret given in clear: its bytes; nullopt when absent, masked or no text.
std::optional<std::string> clear_secret(const json &obj, const char *key)
{
    if (!obj.contains(key) || obj[key] == kSecretMask)
        return std::nullopt;
    return vgm::text_bytes(obj[key]);
}

void wep_rules(const json &auth, const std::string &at, problems_t &out)
{
    const json d = auth.value("default-index", json(0));
    for (int k = 0; k < 4; ++k) {
        const std::string key = "key" + std::to_string(k);
        const bool is_default = d.is_number() && d == k;
        const bool masked = auth.contains(key) && auth[key] == kSecretMask;
        const std::optional<std::string> v = clear_secret(auth, key.c_str());
        if (is_default && !masked && (!v || v->empty()))
            out.push_back(at + "." + key + ": WEP needs its default key (key" + std::to_string(k) +
                          ")");
        else if (v && !v->empty() && !wep_key_ok(*v))
            out.push_back(at + "." + key + ": a WEP key of " + std::to_string(v->size()) +
                          " bytes; takes 5 or 13 characters, or 10 or 26 hex digits");
    }
}

void auth_rules(const json &doc, problems_t &out)
{
    for (int i = 1; i <= kWifiInterfaces; ++i) {
        const std::string at = "wifi.interfaces." + std::to_string(i) + ".auth";
        const json *auth = find_path(doc, at);
        if (auth == nullptr || !auth->is_object() || !auth->contains("auth"))
            continue;
        const json &type = (*auth)["auth"];
        if (type == "wep" || type == 1)
            wep_rules(*auth, at, out);
        const bool wpa = type.is_string() ? type.get<std::string>().rfind("wpa-", 0) == 0
                                          : type.is_number() && type >= 2 && type <= 4;
        const std::optional<std::string> pw = clear_secret(*auth, "password");
        if (wpa && pw && !wpa_password_ok(*pw))
            out.push_back(at + ".password: a WPA password of " + std::to_string(pw->size()) +
                          " bytes; takes 8 to 63 characters, or 64 hex digits");
    }
}

void default_profile_rule(const json &doc, problems_t &out)
{
    const json *id = find_path(doc, "datacall.default-profile.profile");
    const json *profiles = find_path(doc, "datacall.apn");
    if (id == nullptr || profiles == nullptr || !id->is_number() || !profiles->is_array())
        return;
    for (const json &p : *profiles)
        if (p.is_object() && p.value("profile-type", json()) == 0 &&
            p.value("profile-index", json()) == *id)
            return;
    out.push_back("datacall.default-profile.profile: profile " + id->dump() +
                  " of type 0 is not in datacall.apn, which the document makes the whole list");
}

void usb_rule(const json &doc, problems_t &out)
{
    const json *func = find_path(doc, "usb.func");
    if (func == nullptr || !func->is_object() || func->empty())
        return;
    for (const group &g : groups()) {
        if (g.object != "usb.func")
            continue;
        for (const field &f : g.row->fields)
            if (!func->contains(f.key) || (*func)[f.key] != "off")
                return; // one is on, or not given: it keeps its value
        out.push_back(
            "usb.func: every function off; a USB device with no function cannot enumerate");
    }
}

} // namespace

void check_document_rules(const json &doc, problems_t &out)
{
    default_profile_rule(doc, out);
    auth_rules(doc, out);
    usb_rule(doc, out);
}

} // namespace vgcfg
