// Steps that make each list of a document exact (MAC lists, SNAT rules, APN
// profiles) and set the DMZ address. Removals come before additions of the
// same list, and every step's undo is its opposite.
#include <algorithm>
#include <cstring>
#include <map>

#include "config_apply.h"

namespace vgcfg {

namespace {

using call_fn = std::function<bool(conn &)>;

call_fn send(uint32_t domain, uint16_t id, const record &rec)
{
    return [domain, id, rec](conn &c) {
        record buf = rec;
        return c.call(MGMT_OPT_SET, domain, id, buf.data());
    };
}

record entry_record(const list_desc &l, const json &e, uint32_t domain)
{
    record rec = new_record(domain);
    if (l.entry.size() == 1 && l.entry[0].key[0] == '\0')
        field_store(l.entry[0], e, rec.data());
    else
        for (const field &f : l.entry)
            if (e.contains(f.key) && !is_mask(f, e[f.key]))
                field_store(f, e[f.key], rec.data());
    return rec;
}

json entry_value(const list_desc &l, const record &rec, bool show_secrets)
{
    if (l.entry.size() == 1 && l.entry[0].key[0] == '\0')
        return field_value(l.entry[0], rec.data(), show_secrets);
    json e = json::object();
    for (const field &f : l.entry)
        e[f.key] = field_value(f, rec.data(), show_secrets);
    return e;
}

// A list whose entries are whole values: remove what the document lacks, add
// what the service lacks.
void plan_set_list(const list_desc &l, const std::string &path, const std::vector<record> &cur, const json &want,
                   uint32_t domain, uint16_t add_id, uint16_t del_id, uint32_t iface, plan &p)
{
    std::vector<record> wanted;
    for (const json &e : want) {
        wanted.push_back(entry_record(l, e, domain));
        if (iface != 0) // a MAC list entry carries its interface in front
            memcpy(wanted.back().data(), &iface, 4);
    }
    auto holds = [&](const std::vector<record> &in, const record &r) {
        return std::any_of(in.begin(), in.end(),
                           [&](const record &x) { return entry_value(l, x, true) == entry_value(l, r, true); });
    };
    for (const record &r : cur)
        if (!holds(wanted, r))
            p.steps.push_back({l.phase_del, path, {{path, entry_value(l, r, false), nullptr}}, send(domain, del_id, r),
                               send(domain, add_id, r)});
    for (const record &r : wanted)
        if (!holds(cur, r))
            p.steps.push_back({l.phase_add, path, {{path, nullptr, entry_value(l, r, false)}}, send(domain, add_id, r),
                               send(domain, del_id, r)});
}

std::vector<record> mac_records(const std::vector<std::string> &macs, int iface)
{
    std::vector<record> out;
    for (const std::string &m : macs) {
        record rec = new_record(MGMT_DOMAIN_WIFI);
        field_store(lists()[0].entry[0], m, rec.data());
        out.push_back(rec);
    }
    for (record &r : out) {
        const uint32_t index = static_cast<uint32_t>(iface);
        memcpy(r.data(), &index, 4);
    }
    return out;
}

// Adds a profile at exactly `rec`'s index: the service takes the lowest free
// index, so free indexes below it are filled for the moment and freed again.
bool place_profile(conn &c, const record &rec)
{
    std::vector<uint8_t> fillers;
    bool placed = false;
    while (true) {
        record buf = rec;
        if (!c.call(MGMT_OPT_SET, MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN_ADD, buf.data()))
            break;
        if (buf[1] == rec[1]) {
            placed = true;
            break;
        }
        fillers.push_back(buf[1]);
        if (buf[1] > rec[1])
            break;
    }
    const int32_t err = c.err;
    for (uint8_t index : fillers) {
        record del = rec;
        del[1] = index;
        placed = c.call(MGMT_OPT_SET, MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN_DEL, del.data()) && placed;
    }
    c.err = placed ? c.err : err;
    return placed;
}

void plan_profiles(const list_desc &l, const snapshot &cur, const json &want, plan &p)
{
    const std::string path = std::string(l.object) + "." + l.key;
    std::map<std::pair<int, int>, record> have, wanted;
    for (const record &r : cur.apn)
        have[{r[0], r[1]}] = r;
    for (const json &e : want) {
        const std::pair<int, int> key{e["type"].get<int>(), e["index"].get<int>()};
        const bool known = have.count(key) != 0;
        record rec = known ? have[key] : new_record(MGMT_DOMAIN_DATA_CALL);
        for (const field &f : l.entry)
            if (e.contains(f.key) && !is_mask(f, e[f.key]))
                field_store(f, e[f.key], rec.data());
        if (!known && e.contains("password") && is_mask(l.entry.back(), e["password"]))
            p.problems.push_back(path + ": the new profile " + e["type"].dump() + "/" + e["index"].dump() +
                                 " needs its password in clear");
        wanted[key] = rec;
    }
    for (const auto &[key, rec] : wanted) { // ascending: each lands on its index
        const auto old = have.find(key);
        if (old == have.end())
            p.steps.push_back({l.phase_add, path, {{path, nullptr, entry_value(l, rec, false)}},
                               [rec](conn &c) { return place_profile(c, rec); },
                               send(MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN_DEL, rec)});
        else if (entry_value(l, old->second, true) != entry_value(l, rec, true))
            p.steps.push_back({l.phase_add, path,
                               {{path, entry_value(l, old->second, false), entry_value(l, rec, false)}},
                               send(MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN, rec),
                               send(MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN, old->second)});
    }
    for (auto it = have.rbegin(); it != have.rend(); ++it) // descending: undone ascending
        if (wanted.count(it->first) == 0) {
            const record rec = it->second;
            p.steps.push_back({l.phase_del, path, {{path, entry_value(l, rec, false), nullptr}},
                               send(MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN_DEL, rec),
                               [rec](conn &c) { return place_profile(c, rec); }});
        }
}

void plan_dmz(const json &want, const snapshot &cur, plan &p)
{
    record wanted = new_record(MGMT_DOMAIN_NETWORK);
    if (!want.is_null())
        field_store(dmz_field, want, wanted.data());
    record old = new_record(MGMT_DOMAIN_NETWORK);
    memcpy(old.data(), &cur.dmz, 4);
    if (old == wanted)
        return;
    const json before = cur.dmz == 0 ? json(nullptr) : field_value(dmz_field, old.data(), false);
    const json after = want.is_null() ? json(nullptr) : field_value(dmz_field, wanted.data(), false);
    const record none = new_record(MGMT_DOMAIN_NETWORK);
    if (cur.dmz != 0)
        p.steps.push_back({lists()[1].phase_del + 1, "network.dmz", {{"network.dmz", before, after}},
                           send(MGMT_DOMAIN_NETWORK, NETWORK_CMD_DMZ_DEL, none),
                           send(MGMT_DOMAIN_NETWORK, NETWORK_CMD_DMZ_ADD, old)});
    if (!want.is_null())
        p.steps.push_back({lists()[1].phase_add - 1, "network.dmz",
                           cur.dmz != 0 ? std::vector<change>{} : std::vector<change>{{"network.dmz", before, after}},
                           send(MGMT_DOMAIN_NETWORK, NETWORK_CMD_DMZ_ADD, wanted),
                           send(MGMT_DOMAIN_NETWORK, NETWORK_CMD_DMZ_DEL, none)});
}

} // namespace

void plan_lists(const json &doc, const snapshot &cur, plan &p)
{
    const list_desc &mac = lists()[0], &snat = lists()[1], &apn = lists()[2];
    for (int i = 1; i <= wifi_interfaces; ++i) {
        const std::string obj = object_path(mac.object, i);
        const json *want = find_path(doc, obj + "." + mac.key);
        if (want != nullptr)
            plan_set_list(mac, obj + "." + mac.key, mac_records(cur.mac[i - 1], i), *want, MGMT_DOMAIN_WIFI,
                          WIFI_CMD_MAC_ACL_ADD, WIFI_CMD_MAC_ACL_DEL, static_cast<uint32_t>(i), p);
    }
    if (const json *want = find_path(doc, std::string(snat.object) + "." + snat.key))
        plan_set_list(snat, std::string(snat.object) + "." + snat.key, cur.snat, *want, MGMT_DOMAIN_NETWORK,
                      NETWORK_CMD_SNAT_ADD, NETWORK_CMD_SNAT_DEL, 0, p);
    if (const json *want = find_path(doc, std::string(apn.object) + "." + apn.key))
        plan_profiles(apn, cur, *want, p);
    if (const json *want = find_path(doc, "network.dmz"))
        plan_dmz(*want, cur, p);
}

} // namespace vgcfg
