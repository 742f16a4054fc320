// The configuration of a fresh module, made from the factory values that the
// protocol's description gives each field, in the snapshot that a read of
// such a module would give.
#include "config_doc.h"
#include "kest_fields.h"

namespace vgcfg {

namespace {

record factory_record(const vgm::command &row, int iface)
{
    record rec = instance_record(row, iface);
    for (const field &f : row.fields) {
        const kest_field *d = kest_field_find(row.domain, row.write_id, f.key);
        const char *word = d != nullptr ? d->factory.at(iface) : nullptr;
        if (word == nullptr)
            continue;
        field at = f;
        at.woff = f.off; // the read record's place
        vgm::parse_field(at, word, rec.data());
    }
    return rec;
}

json factory_list(const list_desc &l)
{
    if (l.kind == list_kind::optional)
        return nullptr;
    json out = json::array();
    if (l.kind != list_kind::keyed)
        return out;
    for (const data_call_apn_params &p : kFactoryProfiles) {
        json e = json::object();
        for (const field &f : l.entry)
            e[f.key] = field_value(f, reinterpret_cast<const uint8_t *>(&p), true);
        out.push_back(e);
    }
    return out;
}

} // namespace

snapshot factory_snapshot()
{
    snapshot s;
    const auto &all = groups();
    for (size_t gi = 0; gi < all.size(); ++gi)
        for (int i = first_instance(*all[gi].row); i <= last_instance(*all[gi].row); ++i)
            s.groups[instance_key(gi, i)] = factory_record(*all[gi].row, i);
    const auto &ls = lists();
    for (size_t li = 0; li < ls.size(); ++li)
        for (int i = first_instance(*ls[li].read); i <= last_instance(*ls[li].read); ++i)
            s.lists[instance_key(li, i)] = factory_list(ls[li]);
    return s;
}

} // namespace vgcfg
