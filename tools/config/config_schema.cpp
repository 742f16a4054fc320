// The JSON Schema (draft 2020-12) of the configuration document, made from
// the same table as export and apply.
#include "config_schema.h"

#include <string>

namespace vgcfg {

namespace {

json object_schema(const char *help)
{
    json o = json::object();
    o["type"] = "object";
    if (help != nullptr)
        o["description"] = help;
    o["properties"] = json::object();
    o["additionalProperties"] = false;
    return o;
}

json uint_schema(const field &f)
{
    json s = json::object();
    s["type"] = "integer";
    s["minimum"] = f.min;
    s["maximum"] = vgm::field_max(f);
    if (f.allowed != nullptr && vgm::field_max(f) - f.min <= 1024) {
        json only = json::array();
        for (uint64_t v = f.min; v <= vgm::field_max(f); ++v)
            if (f.allowed(v))
                only.push_back(v);
        s["enum"] = only;
    }
    return s;
}

json string_schema(const char *pattern)
{
    return json{{"type", "string"}, {"pattern", pattern}};
}

// A text: a string of at most so many bytes of UTF-8 (maxBytes states the
// exact rule; maxLength, counting characters, can only bound it), or any
// bytes as {"hex": ...}. No text holds a NUL byte.
json text_schema(const field &f)
{
    const uint64_t most = f.type == vtype::text ? f.width - 1u : f.width;
    json plain = json{
        {"type", "string"}, {"pattern", "^[^\\u0000]*$"}, {"maxLength", most}, {"maxBytes", most}};
    if (f.min > 0) // empty leaves the text as it is
        plain["anyOf"] = json::array({json{{"const", ""}}, json{{"minBytes", f.min}}});
    const std::string pairs = "(0[1-9a-f]|[1-9a-f][0-9a-f])";
    json hex = object_schema("any bytes, as lower-case hex: a text that is not valid UTF-8");
    hex["properties"]["hex"] = json{{"type", "string"},
                                    {"pattern", "^(" + pairs + "{" + std::to_string(f.min) + "," +
                                                    std::to_string(most) + "})?$"}};
    hex["required"] = json::array({"hex"});
    return json{{"anyOf", json::array({plain, hex})}};
}

json typed_schema(const field &f)
{
    switch (f.type) {
    case vtype::number:
        return uint_schema(f);
    case vtype::flag:
        return json{
            {"anyOf", json::array({json{{"enum", {"on", "off"}}}, json{{"type", "boolean"}}})}};
    case vtype::named: {
        json names = json::array();
        for (const vgm::name_value &n : f.named)
            names.push_back(n.name);
        json digits = json{{"type", "string"}, {"pattern", "^[0-9]+$"}};
        if (const json numbers = uint_schema(f);
            numbers.contains("enum") || vgm::field_max(f) - f.min <= 1024) {
            json words =
                json::array(); // the numbers as decimal digits, exactly the ones the field takes
            for (uint64_t v = f.min; v <= vgm::field_max(f); ++v)
                if (f.allowed == nullptr || f.allowed(v))
                    words.push_back(std::to_string(v));
            digits = json{{"enum", words}};
        }
        return json{{"anyOf", json::array({json{{"enum", names}}, digits, uint_schema(f)})}};
    }
    case vtype::usb_id:
        return string_schema("^0x[0-9a-fA-F]{1,4}$");
    case vtype::text:
    case vtype::textn:
        return text_schema(f);
    case vtype::mac:
        return string_schema("^[0-9a-fA-F]{2}(:[0-9a-fA-F]{2}){5}$");
    case vtype::ipv4:
    case vtype::ipv4_text:
        return json{{"type", "string"}, {"format", "ipv4"}};
    case vtype::ipv6:
        return json{{"type", "string"}, {"format", "ipv6"}};
    case vtype::hex:
        return string_schema("^([0-9a-f]{2})*$");
    }
    return json::object();
}

json field_schema(const field &f)
{
    json s = typed_schema(f);
    std::string help = std::string(f.help) + " (" + vgm::range_of(f) + ")";
    if (f.unit != nullptr)
        help += std::string(", in ") + f.unit;
    if (f.shown != nullptr)
        help += "; only where the other values give it";
    if (f.secret)
        help += std::string("; exported as \"") + kSecretMask + "\", which keeps the current one";
    s["description"] = help;
    s["title"] = f.help; // a form's label
    if (f.secret)
        s["writeOnly"] = true; // a form's password input
    return s;
}

// The object schema of a dotted document path, made on the way; the
// interface level ({i}) is one definition that every interface refers to.
json &node(json &root, const std::string &path)
{
    json *at = &root;
    size_t start = 0;
    while (start < path.size()) {
        const size_t dot = path.find('.', start);
        const std::string seg =
            path.substr(start, dot == std::string::npos ? std::string::npos : dot - start);
        if (seg == "{i}") {
            for (int i = 1; i <= kWifiInterfaces; ++i)
                (*at)["properties"][std::to_string(i)] = json{{"$ref", "#/$defs/interface"}};
            json &defs = root["$defs"];
            if (!defs.contains("interface"))
                defs["interface"] =
                    object_schema("one Wi-Fi interface (3 is the station interface)");
            at = &defs["interface"];
        } else {
            json &props = (*at)["properties"];
            if (!props.contains(seg))
                props[seg] = object_schema(nullptr);
            at = &props[seg];
        }
        if (dot == std::string::npos)
            break;
        start = dot + 1;
    }
    return *at;
}

// Fields that exist only with some values of another (the WEP keys with
// WEP): for each named value of a field that always exists, the fields that
// do not exist with it may not be given.
void variant_rules(const group &g, json &obj)
{
    json rules = json::array();
    for (const field &sel : g.row->fields) {
        if (sel.shown != nullptr || sel.type != vtype::named)
            continue;
        for (const vgm::name_value &n : sel.named) {
            record scratch = new_record(g.row->domain);
            field_store(sel, n.name, scratch.data());
            json absent = json::object();
            for (const field &f : g.row->fields)
                if (!applies(f, scratch.data()))
                    absent[f.key] = false;
            if (absent.empty())
                continue;
            json rule = json::object();
            rule["if"] = json{
                {"properties", json{{sel.key, json{{"enum", json::array({n.name, n.value})}}}}},
                {"required", json::array({sel.key})}};
            rule["then"] = json{{"properties", absent}};
            rules.push_back(rule);
        }
    }
    if (!rules.empty())
        obj["allOf"] = rules;
}

json list_schema(const list_desc &l)
{
    if (l.kind == list_kind::optional)
        return json{{"anyOf", json::array({json{{"type", "null"}}, field_schema(l.entry[0])})},
                    {"description", std::string(l.add->help) + "; null: none"}};
    json items;
    if (l.single()) {
        items = field_schema(l.entry[0]);
    } else {
        items = object_schema(nullptr);
        json required = json::array();
        for (size_t i = 0; i < l.entry.size(); ++i) {
            items["properties"][l.entry[i].key] = field_schema(l.entry[i]);
            if (l.kind != list_kind::keyed || i < 2)
                required.push_back(l.entry[i].key);
        }
        items["required"] = required;
    }
    json list =
        json{{"type", "array"},
             {"description", std::string(l.read->help) + "; made exactly equal to this list"},
             {"items", items},
             {"uniqueItems", true}};
    if (l.kind == list_kind::exact && l.read->list != nullptr)
        list["maxItems"] = l.read->list->max; // what the module holds
    return list;
}

} // namespace

json make_schema()
{
    json root = json::object();
    root["$schema"] = "https://json-schema.org/draft/2020-12/schema";
    root["$id"] = "urn:vg-mgmt:config:" + std::to_string(kDocumentVersion);
    root["title"] = "vg-mgmt configuration document";
    root.update(object_schema("The module's configuration: vg-mgmt config export, diff, apply"));
    root["properties"]["version"] =
        json{{"const", kDocumentVersion}, {"description", "format of the document"}};
    root["required"] = json::array({"version"});
    for (const group &g : groups()) {
        json &obj = node(root, g.object);
        if (!obj.contains("description"))
            obj["description"] = g.row->help;
        for (const field &f : g.row->fields)
            obj["properties"][f.key] = field_schema(f);
        variant_rules(g, obj);
    }
    for (const list_desc &l : lists())
        node(root, l.object)["properties"][l.key] = list_schema(l);
    return root;
}

} // namespace vgcfg
