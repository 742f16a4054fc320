// The values of the round trip of every setting (test_cli_settings.cpp),
// made from each field's own description: its range, names and kind.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "vg_mgmt_model.h"

namespace settings {
using json = nlohmann::json;
using vgm::field;
using vgm::vtype;

// A setting as the test names it: "wifi auth: password".
inline std::string name_of(const vgm::command &c, const field &f)
{
    return std::string(c.domain_word) + " " + c.subject + ": " + f.key;
}

inline std::string word(const json &v)
{
    return v.is_string() ? v.get<std::string>() : v.dump();
}

inline const json *at_path(const json &doc, const std::string &path)
{
    const json *at = &doc;
    for (size_t start = 0; start <= path.size();) {
        const size_t dot = std::min(path.find('.', start), path.size());
        const std::string key = path.substr(start, dot - start);
        if (!at->is_object() || !at->contains(key))
            return nullptr;
        at = &(*at)[key];
        start = dot + 1;
    }
    return at;
}

inline std::string with_iface(std::string object, const std::vector<std::string> &inst)
{
    if (const size_t at = object.find("{i}"); at != std::string::npos)
        object.replace(at, 3, inst.at(0));
    return object;
}

inline std::optional<uint32_t> ipv4_of(const json &v)
{
    unsigned a, b, c, d;
    char end;
    if (!v.is_string() ||
        std::sscanf(v.get<std::string>().c_str(), "%u.%u.%u.%u%c", &a, &b, &c, &d, &end) != 4)
        return std::nullopt;
    return a << 24 | b << 16 | c << 8 | d;
}

inline std::string ipv4_text(uint32_t v)
{
    return std::to_string(v >> 24) + "." + std::to_string(v >> 16 & 255) + "." +
           std::to_string(v >> 8 & 255) + "." + std::to_string(v & 255);
}

// Every address in a document: the seeds of an address that has no factory value.
inline void addresses(const json &doc, std::vector<uint32_t> &out)
{
    if (const auto a = ipv4_of(doc))
        out.push_back(*a);
    if (doc.is_structured())
        for (const json &v : doc)
            addresses(v, out);
}

// Values of a field in the document's form, from its description, the
// factory value left out.
inline std::vector<json> candidates(const field &f, const json &factory, const json &factory_doc)
{
    std::vector<json> v;
    std::vector<uint64_t> numbers = {f.min, vgm::field_max(f)};
    for (uint64_t n = f.min + 1; n < vgm::field_max(f) && n <= f.min + 8; ++n)
        numbers.push_back(n);
    std::erase_if(numbers, [&](uint64_t n) { return f.allowed != nullptr && !f.allowed(n); });
    switch (f.type) {
    case vtype::flag:
        v = {"on", "off"};
        break;
    case vtype::named:
        for (const vgm::name_value &n : f.named)
            v.emplace_back(n.name);
        break;
    case vtype::number:
        v.assign(numbers.begin(), numbers.end());
        break;
    case vtype::usb_id:
        for (const uint64_t n : numbers) {
            char id[8];
            std::snprintf(id, sizeof id, "0x%04x", static_cast<unsigned>(n));
            v.emplace_back(id);
        }
        break;
    case vtype::text:
    case vtype::textn: {
        const size_t longest = f.width - (f.type == vtype::text ? 1 : 0);
        std::vector<size_t> lengths = {longest};
        for (size_t n = std::max<size_t>(f.min, 1); n < longest && n <= f.min + 13; ++n)
            lengths.push_back(n);
        for (const size_t n : lengths) {
            std::string s;
            for (size_t i = 0; i < n; ++i)
                s += static_cast<char>('A' + i % 26);
            v.emplace_back(s);
        }
        break;
    }
    case vtype::ipv4: {
        std::vector<uint32_t> seeds;
        addresses(factory.is_string() ? factory : factory_doc, seeds);
        for (const uint32_t s : seeds)
            for (const uint32_t a : {s & (s - 1), s + 1, s + 2})
                v.emplace_back(ipv4_text(a));
        break;
    }
    case vtype::mac:
        for (const char *m : {"02:00:00:00:00:01", "02:00:00:00:00:02"})
            v.emplace_back(m);
        break;
    default:
        ADD_FAILURE() << f.key << ": no values of this kind are made";
    }
    std::erase(v, factory);
    return v;
}

// What an export must hold after a pass: the value at a path, or an entry
// of the list there.
struct expected {
    std::string setting;
    std::string path;
    json value;
    bool entry = false;
    std::set<std::string> secrets = {}; // keys of the value that export masks
};

inline bool holds(const json &doc, const expected &e, bool masked)
{
    const json *at = at_path(doc, e.path);
    json want = e.value;
    for (const std::string &k : e.secrets)
        if (masked && want.is_object())
            want[k] = vgm::kMasked;
        else if (masked)
            want = vgm::kMasked;
    if (at == nullptr || !e.entry)
        return at != nullptr && *at == want;
    return std::any_of(at->begin(), at->end(), [&](const json &got) {
        if (!want.is_object() || !got.is_object())
            return got == want || (want.size() == 1 && got == want.begin().value());
        for (const auto &[k, v] : want.items())
            if (!got.contains(k) || got[k] != v)
                return false;
        return true;
    });
}

inline const vgm::command *row_of(const vgm::command &c, const char *verb)
{
    for (const vgm::command &r : vgm::commands())
        if (std::strcmp(r.domain_word, c.domain_word) == 0 &&
            std::strcmp(r.subject, c.subject) == 0 && std::strcmp(r.verb, verb) == 0)
            return &r;
    return nullptr;
}

// The words of a set or add row's values: the leading ones as words, the
// others as --key V.
inline std::vector<std::string> value_words(const vgm::command &c,
                                            const std::map<std::string, json> &v)
{
    std::vector<std::string> out;
    bool leading = true;
    for (size_t i = 0; i < c.fields.size(); ++i) {
        const auto it = v.find(c.fields[i].key);
        leading = leading && i < c.npos && it != v.end();
        if (it == v.end())
            continue;
        if (!leading)
            out.push_back(std::string("--") + c.fields[i].key);
        out.push_back(word(it->second));
    }
    return out;
}

// The value of another field of the row that a conditional field is shown
// with, and its name: WEP's keys with "auth=wep".
inline std::pair<std::string, std::map<std::string, json>> shown_with(const vgm::command &c,
                                                                      const field &f)
{
    for (const field &s : c.fields)
        for (const json &v :
             s.shown ? std::vector<json>{} : candidates(s, json(), json::object())) {
            std::vector<uint8_t> rec(vgm::value_size(c.domain));
            if (!vgm::parse_field(s, word(v), rec.data()) && f.shown(rec.data()))
                return {std::string(s.key) + "=" + word(v), {{s.key, v}}};
        }
    ADD_FAILURE() << name_of(c, f) << ": no value of another field shows it";
    return {};
}

} // namespace settings
