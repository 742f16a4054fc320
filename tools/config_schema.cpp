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
    s["maximum"] = f.max;
    if (!f.only.empty())
        s["enum"] = f.only;
    return s;
}

json field_schema(const field &f)
{
    json s = json::object();
    switch (f.type) {
    case vtype::uint: s = uint_schema(f); break;
    case vtype::flag: s["type"] = "boolean"; break;
    case vtype::named: {
        json names = json::array();
        for (size_t i = 0; i < f.values.n; ++i)
            names.push_back(f.values.v[i].name);
        s["anyOf"] = json::array({json{{"enum", names}}, uint_schema(f)});
        break;
    }
    case vtype::text:
        s["type"] = "string";
        s["maxLength"] = f.max; // characters; the service counts bytes
        break;
    case vtype::ipv4:
        s["type"] = "string";
        s["format"] = "ipv4";
        s["pattern"] = "^[0-9]{1,3}(\\.[0-9]{1,3}){3}$";
        break;
    case vtype::hex16:
        s["type"] = "string";
        s["pattern"] = "^0x[0-9a-fA-F]{4}$";
        break;
    case vtype::mac:
        s["type"] = "string";
        s["pattern"] = "^[0-9a-fA-F]{2}(:[0-9a-fA-F]{2}){5}$";
        break;
    }
    std::string help = f.help;
    if (f.secret)
        help += std::string("; exported as \"") + secret_mask + "\", which keeps the current one";
    s["description"] = help;
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
        const std::string seg = path.substr(start, dot == std::string::npos ? std::string::npos : dot - start);
        if (seg == "{i}") {
            for (int i = 1; i <= wifi_interfaces; ++i)
                (*at)["properties"][std::to_string(i)] = json{{"$ref", "#/$defs/interface"}};
            json &defs = root["$defs"];
            if (!defs.contains("interface"))
                defs["interface"] = object_schema("one Wi-Fi interface (3 is the station interface)");
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

// A group with variants: the fields of other variants may not be given.
void variant_rules(const group &g, json &obj)
{
    const field &sel = g.fields[static_cast<size_t>(g.variant)];
    json rules = json::array();
    for (uint32_t v = sel.min; v <= sel.max; ++v) {
        json then = json{{"properties", json::object()}};
        for (const field &f : g.fields)
            if (!applies(f, v))
                then["properties"][f.key] = false;
        json match = json::array({v});
        if (const char *name = sel.values.name_of(v))
            match.push_back(name);
        json sel_is = json::object();
        sel_is["properties"][sel.key] = json{{"enum", match}};
        sel_is["required"] = json::array({sel.key});
        json rule = json::object();
        rule["if"] = sel_is;
        rule["then"] = then;
        rules.push_back(rule);
    }
    obj["allOf"] = rules;
}

json list_schema(const list_desc &l)
{
    json items;
    if (l.entry.size() == 1 && l.entry[0].key[0] == '\0') {
        items = field_schema(l.entry[0]);
    } else {
        items = object_schema(nullptr);
        json required = json::array();
        for (size_t i = 0; i < l.entry.size(); ++i) {
            items["properties"][l.entry[i].key] = field_schema(l.entry[i]);
            if (l.kind != list_kind::apn || i < 2)
                required.push_back(l.entry[i].key);
        }
        items["required"] = required;
    }
    return json{{"type", "array"}, {"description", std::string(l.help) + "; made exactly equal to this list"},
                {"items", items}, {"uniqueItems", true}};
}

} // namespace

json make_schema()
{
    json root = json::object();
    root["$schema"] = "https://json-schema.org/draft/2020-12/schema";
    root["$id"] = "urn:vg-mgmt:config:" + std::to_string(document_version);
    root["title"] = "vg-mgmt configuration document";
    root.update(object_schema("The module's configuration: vg-mgmt config export, diff, apply"));
    root["properties"]["version"] = json{{"const", document_version}, {"description", "format of the document"}};
    root["required"] = json::array({"version"});
    for (const char *top : {"wifi", "data_call", "network", "usb"})
        node(root, top);
    for (const group &g : groups()) {
        json &obj = node(root, g.object);
        for (const field &f : g.fields)
            obj["properties"][f.key] = field_schema(f);
        if (g.variant >= 0)
            variant_rules(g, obj);
    }
    for (const list_desc &l : lists())
        node(root, l.object)["properties"][l.key] = list_schema(l);
    json dmz = field_schema(dmz_field);
    node(root, "network")["properties"]["dmz"] =
        json{{"description", dmz["description"]}, {"anyOf", json::array({json{{"type", "null"}}, dmz})}};
    return root;
}

} // namespace vgcfg
