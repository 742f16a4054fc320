// Reading every setting of the document from the service, and writing the
// snapshot as the document.
#include <algorithm>
#include <cstring>

#include "config_doc.h"

namespace vgcfg {

namespace {

bool read_group(conn &c, const group &g, int iface, record &rec)
{
    rec = new_record(g.domain);
    if (g.per_interface) {
        const uint32_t index = static_cast<uint32_t>(iface);
        memcpy(rec.data(), &index, 4);
    }
    return c.call(MGMT_OPT_GET, g.domain, g.get_id, rec.data());
}

bool read_mac_lists(conn &c, snapshot &s)
{
    for (int i = 1; i <= wifi_interfaces; ++i) {
        record rec = new_record(MGMT_DOMAIN_WIFI);
        wifi_mac_acl_info_params info{};
        info.index = static_cast<uint32_t>(i);
        memcpy(rec.data(), &info, sizeof info);
        if (!c.call(MGMT_OPT_GET, MGMT_DOMAIN_WIFI, WIFI_CMD_MAC_ACL_INFO, rec.data()))
            return false;
        memcpy(&info, rec.data(), sizeof info);
        const field &mac = lists()[0].entry[0];
        for (uint32_t n = 0; n < info.count && n < WIFI_MAC_ACL_MAX; ++n) {
            uint8_t entry[16] = {};
            memcpy(entry + mac.off, info.mac_list[n], 6);
            s.mac[i - 1].push_back(field_value(mac, entry, true).get<std::string>());
        }
    }
    return true;
}

bool read_snat(conn &c, snapshot &s)
{
    record rec = new_record(MGMT_DOMAIN_NETWORK);
    if (!c.call(MGMT_OPT_GET, MGMT_DOMAIN_NETWORK, NETWORK_CMD_SNAT_GET, rec.data()))
        return false;
    network_snat_list_params list;
    memcpy(&list, rec.data(), sizeof list);
    for (uint32_t n = 0; n < list.count && n < NETWORK_SNAT_MAX; ++n) {
        record e = new_record(MGMT_DOMAIN_NETWORK);
        memcpy(e.data(), &list.entries[n], sizeof list.entries[n]);
        s.snat.push_back(e);
    }
    return true;
}

bool read_profiles(conn &c, snapshot &s)
{
    for (uint8_t type = 0; type <= 2; ++type) {
        record rec = new_record(MGMT_DOMAIN_DATA_CALL);
        rec[0] = type;
        if (!c.call(MGMT_OPT_GET, MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN_LIST, rec.data()))
            return false;
        data_call_apn_list_params list;
        memcpy(&list, rec.data(), sizeof list);
        std::vector<uint8_t> indexes(list.index_list, list.index_list + list.length);
        std::sort(indexes.begin(), indexes.end());
        for (uint8_t index : indexes) {
            record p = new_record(MGMT_DOMAIN_DATA_CALL);
            p[0] = type;
            p[1] = index;
            if (!c.call(MGMT_OPT_GET, MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN, p.data()))
                return false;
            s.apn.push_back(p);
        }
    }
    return true;
}

json list_entry(const list_desc &l, const uint8_t *rec, bool show_secrets)
{
    json e = json::object();
    for (const field &f : l.entry)
        e[f.key] = field_value(f, rec, show_secrets);
    return e;
}

} // namespace

bool read_snapshot(conn &c, snapshot &s, std::string &what)
{
    const auto &all = groups();
    for (size_t gi = 0; gi < all.size(); ++gi) {
        const group &g = all[gi];
        for (int i = g.per_interface ? 1 : 0; i <= (g.per_interface ? wifi_interfaces : 0); ++i) {
            what = object_path(g.object, i) + " (" + g.help + ")";
            if (!read_group(c, g, i, s.groups[instance_key(gi, i)]))
                return false;
        }
    }
    what = "MAC lists";
    if (!read_mac_lists(c, s))
        return false;
    what = "SNAT rules";
    if (!read_snat(c, s))
        return false;
    what = "APN profiles";
    if (!read_profiles(c, s))
        return false;
    what = "DMZ";
    record dmz = new_record(MGMT_DOMAIN_NETWORK);
    if (!c.call(MGMT_OPT_GET, MGMT_DOMAIN_NETWORK, NETWORK_CMD_DMZ_GET, dmz.data()))
        return false;
    memcpy(&s.dmz, dmz.data(), 4);
    return true;
}

json to_document(const snapshot &s, bool show_secrets)
{
    json doc = json::object();
    doc["version"] = document_version;
    for (const char *top : {"wifi", "data_call", "network", "usb"})
        doc[top] = json::object();
    make_path(doc, "data_call")["profiles"] = json::array();
    const auto &all = groups();
    for (size_t gi = 0; gi < all.size(); ++gi) {
        const group &g = all[gi];
        for (int i = g.per_interface ? 1 : 0; i <= (g.per_interface ? wifi_interfaces : 0); ++i) {
            const record &rec = s.groups.at(instance_key(gi, i));
            json &obj = make_path(doc, object_path(g.object, i));
            const uint32_t selector = selector_of(g, rec.data());
            for (const field &f : g.fields)
                if (applies(f, selector))
                    obj[f.key] = field_value(f, rec.data(), show_secrets);
        }
    }
    for (int i = 1; i <= wifi_interfaces; ++i)
        make_path(doc, object_path(lists()[0].object, i))[lists()[0].key] = s.mac[i - 1];
    json &net = make_path(doc, "network");
    net["dmz"] = s.dmz == 0 ? json(nullptr) : field_value(dmz_field, reinterpret_cast<const uint8_t *>(&s.dmz), true);
    json &snat = net["snat"] = json::array();
    for (const record &r : s.snat)
        snat.push_back(list_entry(lists()[1], r.data(), show_secrets));
    json &profiles = make_path(doc, "data_call")["profiles"];
    for (const record &r : s.apn)
        profiles.push_back(list_entry(lists()[2], r.data(), show_secrets));
    return doc;
}

} // namespace vgcfg
