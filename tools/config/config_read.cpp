// Reading every setting of the document from the service, and writing the
// snapshot as the document.
#include <algorithm>
#include <cstring>

#include "config_doc.h"

namespace vgcfg {

namespace {

uint64_t load(const uint8_t *p, uint16_t width)
{
    uint64_t v = 0;
    std::memcpy(&v, p, std::min<uint16_t>(width, 8)); // little-endian hosts and targets
    return v;
}

json entry_json(const std::vector<field> &fields, const uint8_t *at, bool single)
{
    if (single)
        return field_value(fields[0], at, true);
    json e = json::object();
    for (const field &f : fields)
        if (applies(f, at))
            e[f.key] = field_value(f, at, true);
    return e;
}

bool read_exact(conn &c, const list_desc &l, int iface, json &out)
{
    record rec = instance_record(*l.read, iface);
    if (!c.call(MGMT_OPT_GET, l.read->domain, l.read->read_id, rec.data()))
        return false;
    out = exact_entries(l, rec.data());
    return true;
}

bool read_keyed(conn &c, const list_desc &l, json &out)
{
    const field &type = l.entry[0], &index = l.entry[1];
    out = json::array();
    for (uint64_t t = type.min; t <= vgm::field_max(type); ++t) {
        record rec = new_record(l.read->domain);
        vgm::parse_field(type, std::to_string(t), rec.data());
        if (!c.call(MGMT_OPT_GET, l.read->domain, l.read->read_id, rec.data()))
            return false;
        const vgm::list_def &d = *l.read->list;
        std::vector<uint64_t> indexes;
        for (uint64_t n = 0;
             n < std::min<uint64_t>(load(rec.data() + d.count_off, d.count_width), d.max); ++n)
            indexes.push_back(load(rec.data() + d.entries_off + n * d.stride, d.stride));
        std::sort(indexes.begin(), indexes.end());
        for (uint64_t i : indexes) {
            record p = new_record(l.set->domain);
            vgm::parse_field(type, std::to_string(t), p.data());
            vgm::parse_field(index, std::to_string(i), p.data());
            if (!c.call(MGMT_OPT_GET, l.set->domain, l.set->read_id, p.data()))
                return false;
            out.push_back(entry_json(l.entry, p.data(), false));
        }
    }
    return true;
}

bool read_optional(conn &c, const list_desc &l, json &out)
{
    record rec = instance_record(*l.read, 0);
    if (!c.call(MGMT_OPT_GET, l.read->domain, l.read->read_id, rec.data()))
        return false;
    const field &f = l.entry[0];
    const bool none = std::all_of(rec.begin() + f.off, rec.begin() + f.off + f.width,
                                  [](uint8_t b) { return b == 0; });
    out = none ? json(nullptr) : field_value(f, rec.data(), true);
    return true;
}

} // namespace

json exact_entries(const list_desc &l, const uint8_t *rec)
{
    const vgm::list_def &d = *l.read->list;
    const uint64_t count = std::min<uint64_t>(load(rec + d.count_off, d.count_width), d.max);
    json out = json::array();
    for (uint64_t n = 0; n < count; ++n)
        out.push_back(entry_json(d.entry, rec + d.entries_off + n * d.stride, l.single()));
    return out;
}

bool read_snapshot(conn &c, snapshot &s, std::string &what)
{
    return read_snapshot(c, s, what, nullptr);
}

bool read_snapshot(conn &c, snapshot &s, std::string &what, const path_filter &only)
{
    std::map<std::string, record> reads; // one read of a record serves all its settings (USB)
    const auto &all = groups();
    for (size_t gi = 0; gi < all.size(); ++gi) {
        const vgm::command &row = *all[gi].row;
        for (int i = first_instance(row); i <= last_instance(row); ++i) {
            if (only && !only(object_path(all[gi].object, i), false))
                continue;
            const std::string read_key = std::to_string(row.domain) + "/" +
                                         std::to_string(row.read_id) + "/" + std::to_string(i);
            if (reads.count(read_key) == 0) {
                what = object_path(all[gi].object, i);
                record rec = instance_record(row, i);
                if (!c.call(MGMT_OPT_GET, row.domain, row.read_id, rec.data()))
                    return false;
                reads[read_key] = rec;
            }
            s.groups[instance_key(gi, i)] = reads[read_key];
        }
    }
    const auto &ls = lists();
    for (size_t li = 0; li < ls.size(); ++li) {
        const list_desc &l = ls[li];
        for (int i = first_instance(*l.read); i <= last_instance(*l.read); ++i) {
            what = object_path(l.object, i) + "." + l.key;
            if (only && !only(what, true))
                continue;
            json &out = s.lists[instance_key(li, i)];
            const bool ok = l.kind == list_kind::exact   ? read_exact(c, l, i, out)
                            : l.kind == list_kind::keyed ? read_keyed(c, l, out)
                                                         : read_optional(c, l, out);
            if (!ok)
                return false;
        }
    }
    return true;
}

json to_document(const snapshot &s, bool show_secrets)
{
    json doc = json::object();
    doc["version"] = kDocumentVersion;
    const auto &all = groups();
    for (size_t gi = 0; gi < all.size(); ++gi) {
        const group &g = all[gi];
        for (int i = first_instance(*g.row); i <= last_instance(*g.row); ++i) {
            const auto got = s.groups.find(instance_key(gi, i));
            if (got == s.groups.end())
                continue; // not read: a part of the configuration only
            const record &rec = got->second;
            json &obj = make_path(doc, object_path(g.object, i));
            for (const field &f : g.row->fields)
                if (applies(f, rec.data()))
                    obj[f.key] = field_value(f, rec.data(), show_secrets);
        }
    }
    const auto &ls = lists();
    for (size_t li = 0; li < ls.size(); ++li) {
        const list_desc &l = ls[li];
        for (int i = first_instance(*l.read); i <= last_instance(*l.read); ++i) {
            const auto got = s.lists.find(instance_key(li, i));
            if (got == s.lists.end())
                continue;
            json v = got->second;
            if (v.is_array())
                for (json &e : v)
                    e = masked_entry(l, e, show_secrets);
            make_path(doc, object_path(l.object, i))[l.key] = v;
        }
    }
    return doc;
}

} // namespace vgcfg
