// Requests, indications, the state file and the control commands of kestd.
#include "kestd_service.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "kestd_control_doc.h"
#include "kestd_msg.h"
#include "kestd_store.h"

namespace {

// Station events of indication 33.
constexpr uint8_t kApStaJoined = 1;
constexpr uint8_t kApStaLeft = 2;

template <class Record>
void add_indication(kestd_frames &out, uint32_t msg_id, const Record &rec)
{
    out.push_back(kest_frame_bytes(KEST_FRAME_INDICATION, 0, msg_id, 0, &rec, sizeof rec));
}

bool has_station(const kestd_runtime &rt, const kestd_station &s)
{
    for (uint32_t i = 0; i < rt.sta_count; ++i)
        if (std::memcmp(rt.sta[i].mac, s.mac, 6) == 0)
            return true;
    return false;
}

void ap_station_events(const kestd_runtime &from, const kestd_runtime &to, uint8_t action,
                       kestd_frames &out)
{
    for (uint32_t i = 0; i < from.sta_count; ++i) {
        if (has_station(to, from.sta[i]))
            continue;
        wifi_ap_sta_ind ind{};
        ind.action = action;
        ind.index = from.sta[i].iface;
        std::memcpy(ind.mac, from.sta[i].mac, 6);
        add_indication(out, KEST_WIFI_AP_STA_IND, ind);
    }
}

// Every indication that the change from `a` to `b` calls for: stations that
// left or joined an access point, a new SSID or state of the station
// interface, each half of a data call that went up or down.
void collect_indications(const kestd_state &a, const kestd_state &b, kestd_frames &out)
{
    ap_station_events(a.rt, b.rt, kApStaLeft, out);
    ap_station_events(b.rt, a.rt, kApStaJoined, out);
    const char *ssid_a = a.cfg.iface[kKestdStaIface - 1].ssid;
    const char *ssid_b = b.cfg.iface[kKestdStaIface - 1].ssid;
    if (a.rt.sta_state != b.rt.sta_state || std::strcmp(ssid_a, ssid_b) != 0) {
        wifi_sta_status_ind ind{};
        ind.index = kKestdStaIface;
        kestd_put_text(ind.ssid, b.cfg.iface[kKestdStaIface - 1].ssid);
        ind.status = b.rt.sta_state;
        add_indication(out, KEST_WIFI_STA_STATUS_IND, ind);
    }
    for (uint32_t p = 0; p < kKestdProfiles; ++p)
        for (int fam = 0; fam < kKestdFamilies; ++fam) {
            const kestd_call &ca = a.rt.call[p][fam];
            const kestd_call &cb = b.rt.call[p][fam];
            if (ca.up != cb.up || ca.serial != cb.serial)
                add_indication(out, KEST_DATA_CALL_STATUS_IND, kestd_call_indication(b, p, fam));
        }
}

// Runs one change of the state as a whole: a refusal leaves nothing behind,
// a change of the configuration reaches the state file before it counts,
// and what changed goes out as indications.
template <class Change>
uint16_t apply(kestd_service &svc, kestd_frames &indications, Change &&change)
{
    std::memcpy(&svc.before, &svc.st, sizeof svc.st);
    uint16_t err = change();
    if (err == KESTD_OK && !svc.state_path.empty() &&
        std::memcmp(&svc.before.cfg, &svc.st.cfg, sizeof svc.st.cfg)) {
        std::string why;
        if (!kestd_save_config(svc.state_path, svc.st.cfg, why)) {
            std::fprintf(stderr, "kestd: change undone: %s\n", why.c_str());
            err = KESTD_ERR_STORAGE;
        }
    }
    if (err != KESTD_OK) {
        std::memcpy(&svc.st, &svc.before, sizeof svc.st);
        return err;
    }
    collect_indications(svc.before, svc.st, indications);
    return KESTD_OK;
}

std::vector<uint8_t> refusal_record(uint32_t size, uint16_t err)
{
    std::vector<uint8_t> record(size, 0);
    const resp_status status{kKestdResultFailure, err};
    std::memcpy(record.data(), &status, sizeof status);
    return record;
}

// ---------------------------------------------------------------------------
// Control commands: "name arg..." in, text out.

using words = std::vector<std::string>;

struct control_reply {
    int32_t status = KESTD_STATUS_OK;
    std::string text;
    kestd_frames indications;
    bool drop_others = false;
};

bool parse_u32(const std::string &s, uint32_t max, uint32_t &out)
{
    if (s.empty() || s[0] == '-')
        return false;
    errno = 0;
    char *end = nullptr;
    const unsigned long long v = std::strtoull(s.c_str(), &end, 0);
    if (errno != 0 || *end != 0 || v > max)
        return false;
    out = static_cast<uint32_t>(v);
    return true;
}

bool parse_mac(const std::string &s, uint8_t (&mac)[6])
{
    unsigned v[6];
    int used = 0;
    if (std::sscanf(s.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x%n", &v[0], &v[1], &v[2], &v[3], &v[4],
                    &v[5], &used) != 6 ||
        static_cast<size_t>(used) != s.size())
        return false;
    for (int i = 0; i < 6; ++i)
        mac[i] = static_cast<uint8_t>(v[i]);
    return true;
}

void refuse(control_reply &r, const std::string &why)
{
    r.status = KESTD_STATUS_CONTROL_REFUSED;
    r.text = why;
}

void answer_change(control_reply &r, uint16_t err, const std::string &done)
{
    if (err == KESTD_OK)
        r.text = done;
    else
        refuse(r, "error " + std::to_string(err) + " " + kestd_error_name(err));
}

void ctl_ping(kestd_service &, const words &, control_reply &r)
{
    r.text = "pong";
}

void ctl_dump(kestd_service &svc, const words &args, control_reply &r)
{
    const std::string part = args.size() > 1 ? args[1] : "all";
    const struct {
        const char *name;
        void (*dump)(const kestd_state &, std::string &);
    } parts[] = {{"wifi", kestd_wifi_dump},
                 {"data", kestd_data_call_dump},
                 {"network", kestd_network_dump},
                 {"usb", kestd_usb_dump}};
    bool known = part == "all" || part == "faults";
    for (const auto &p : parts)
        if (part == "all" || part == p.name) {
            p.dump(svc.st, r.text);
            known = true;
        }
    if (!known)
        return refuse(r, "usage: dump [all|wifi|data|network|usb|faults]");
    if (part == "all" || part == "faults") {
        const kestd_faults &f = svc.faults;
        kestd_dump_line(r.text, "faults",
                        "delay %u fail_error %u fail_count %u fail_msg %u fail_skip %u muted %u",
                        f.delay_ms, f.fail_error, f.fail_count, f.fail_msg, f.fail_skip, f.muted);
    }
    if (r.text.size() > kKestFrameMaxPayload)
        r.text.resize(kKestFrameMaxPayload);
}

void ctl_sta_join(kestd_service &svc, const words &args, control_reply &r)
{
    uint32_t iface = 0;
    uint8_t mac[6];
    if (!parse_u32(args[1], 255, iface) || !parse_mac(args[2], mac))
        return refuse(r, "usage: sta-join IFACE MAC [NAME]");
    char fallback[16];
    std::snprintf(fallback, sizeof fallback, "sta-%02x%02x", mac[4], mac[5]);
    const std::string name = args.size() > 3 ? args[3] : fallback;
    const uint16_t err = apply(
        svc, r.indications, [&] { return kestd_station_join(svc.st, iface, mac, name.c_str()); });
    answer_change(r, err, "joined " + args[2]);
}

void ctl_sta_leave(kestd_service &svc, const words &args, control_reply &r)
{
    uint8_t mac[6];
    if (!parse_mac(args[1], mac))
        return refuse(r, "usage: sta-leave MAC");
    const uint16_t err =
        apply(svc, r.indications, [&] { return kestd_station_leave(svc.st, mac); });
    answer_change(r, err, "left " + args[1]);
}

void ctl_sta_status(kestd_service &svc, const words &args, control_reply &r)
{
    uint32_t state = 0;
    if (!parse_u32(args[1], 255, state))
        return refuse(r, "usage: sta-status STATE [SSID]");
    const char *ssid = args.size() > 2 ? args[2].c_str() : nullptr;
    const uint16_t err = apply(svc, r.indications, [&] {
        return kestd_station_status(svc.st, static_cast<uint8_t>(state), ssid);
    });
    answer_change(r, err, r.indications.empty() ? "unchanged" : "changed");
}

void ctl_delay(kestd_service &svc, const words &args, control_reply &r)
{
    if (!parse_u32(args[1], 600000, svc.faults.delay_ms))
        return refuse(r, "usage: delay MS (0 to 600000)");
    r.text = "delay " + std::to_string(svc.faults.delay_ms) + " ms";
}

void ctl_fail(kestd_service &svc, const words &args, control_reply &r)
{
    uint32_t error = 0, count = 1, msg = 0, skip = 0;
    if (!parse_u32(args[1], 0xffff, error) || error == 0 ||
        (args.size() > 2 && !parse_u32(args[2], 1000000, count)) ||
        (args.size() > 3 &&
         (!parse_u32(args[3], kKestMsgIdMax, msg) || (msg == 0 && args.size() < 5))) ||
        (args.size() > 4 && !parse_u32(args[4], 1000000, skip)))
        return refuse(r, std::string("usage: ") + kestd_control_help("fail"));
    // One fault at a time: a new one replaces the one still waiting, and says so.
    const kestd_faults was = svc.faults;
    svc.faults.fail_error = static_cast<uint16_t>(error);
    svc.faults.fail_count = count;
    svc.faults.fail_msg = msg;
    svc.faults.fail_skip = skip;
    r.text =
        (skip ? "after " + std::to_string(skip) + " passed, fail " : std::string("fail next ")) +
        std::to_string(count) + " requests" +
        (msg ? " of message " + std::to_string(msg) : std::string()) + " with error " +
        std::to_string(error);
    if (was.fail_count != 0)
        r.text += " (replaces the fault with error " + std::to_string(was.fail_error) + ", " +
                  std::to_string(was.fail_count) + " request(s) left)";
}

void ctl_mute(kestd_service &svc, const words &, control_reply &r)
{
    svc.faults.muted = true;
    r.text = "muted";
}

void ctl_unmute(kestd_service &svc, const words &, control_reply &r)
{
    svc.faults.muted = false;
    r.text = "answering";
}

void ctl_clear(kestd_service &svc, const words &, control_reply &r)
{
    svc.faults = kestd_faults{};
    r.text = "faults cleared";
}

void ctl_drop(kestd_service &, const words &, control_reply &r)
{
    r.drop_others = true;
    r.text = "dropping all other connections";
}

void ctl_help(kestd_service &, const words &, control_reply &r);

struct control_row {
    const char *name;
    size_t min_args;
    size_t max_args;
    void (*run)(kestd_service &, const words &, control_reply &);
    const char *help;
};

constexpr control_row controls[] = {
    {"help", 0, 0, ctl_help, kestd_control_help("help")},
    {"ping", 0, 0, ctl_ping, kestd_control_help("ping")},
    {"dump", 0, 1, ctl_dump, kestd_control_help("dump")},
    {"sta-join", 2, 3, ctl_sta_join, kestd_control_help("sta-join")},
    {"sta-leave", 1, 1, ctl_sta_leave, kestd_control_help("sta-leave")},
    {"sta-status", 1, 2, ctl_sta_status, kestd_control_help("sta-status")},
    {"delay", 1, 1, ctl_delay, kestd_control_help("delay")},
    {"fail", 1, 4, ctl_fail, kestd_control_help("fail")},
    {"mute", 0, 0, ctl_mute, kestd_control_help("mute")},
    {"unmute", 0, 0, ctl_unmute, kestd_control_help("unmute")},
    {"clear", 0, 0, ctl_clear, kestd_control_help("clear")},
    {"drop", 0, 0, ctl_drop, kestd_control_help("drop")},
};

void ctl_help(kestd_service &, const words &, control_reply &r)
{
    for (const control_row &c : controls)
        r.text += std::string(c.help) + "\n";
}

words split(std::string_view text)
{
    words out;
    size_t i = 0;
    while (i < text.size()) {
        while (i < text.size() && (text[i] == ' ' || text[i] == '\t' || text[i] == '\n'))
            ++i;
        size_t j = i;
        while (j < text.size() && text[j] != ' ' && text[j] != '\t' && text[j] != '\n')
            ++j;
        if (j > i)
            out.emplace_back(text.substr(i, j - i));
        i = j;
    }
    return out;
}

} // namespace

bool kestd_service_start(kestd_service &svc, const std::string &state_path, std::string &why)
{
    std::memset(&svc.st, 0, sizeof svc.st);
    svc.faults = kestd_faults{};
    svc.state_path = state_path;
    kestd_default_config(svc.st.cfg);
    if (!state_path.empty()) {
        // One service per state file: a second one would overwrite the
        // first one's changes.
        svc.lock_fd = kestd_lock_state(state_path, why);
        if (svc.lock_fd < 0)
            return false;
        switch (kestd_load_config(state_path, svc.st.cfg, why)) {
        case kestd_load_result::damaged:
            why = "state file " + state_path + " is damaged (" + why + "); it is left as it is";
            return false;
        case kestd_load_result::unreadable:
            why = "cannot use state file: " + why;
            return false;
        case kestd_load_result::missing:
            if (!kestd_save_config(state_path, svc.st.cfg, why))
                return false;
            break;
        case kestd_load_result::loaded:
            break;
        }
    }
    kestd_reset_runtime(svc.st);
    return true;
}

kestd_answer kestd_request(kestd_service &svc, const kest_frame_header &h, const uint8_t *payload)
{
    kestd_answer a{};
    if (svc.faults.muted) {
        a.silent = true;
        return a;
    }
    a.delay_ms = svc.faults.delay_ms;
    const kestd_msg_row *row = kestd_find_row(h.msg_id);
    const int32_t status = !row                     ? KESTD_STATUS_UNKNOWN_MSG
                           : h.len != row->req_size ? KESTD_STATUS_BAD_LENGTH
                                                    : 0;
    if (status != 0) {
        a.response = kest_frame_bytes(KEST_FRAME_RESPONSE, h.txn, h.msg_id, status, nullptr, 0);
        return a;
    }
    std::vector<uint8_t> record(row->resp_size, 0);
    kestd_faults &f = svc.faults;
    const bool aimed = f.fail_count > 0 && (f.fail_msg == 0 || f.fail_msg == h.msg_id);
    if (aimed && f.fail_skip > 0)
        --f.fail_skip;
    else if (aimed) {
        --f.fail_count;
        record = refusal_record(row->resp_size, f.fail_error);
    } else {
        kestd_ctx ctx{svc.st};
        const uint16_t err =
            apply(svc, a.indications, [&] { return row->run(ctx, payload, record.data()); });
        if (err == KESTD_ERR_STORAGE)
            record = refusal_record(row->resp_size, err);
    }
    a.response =
        kest_frame_bytes(KEST_FRAME_RESPONSE, h.txn, h.msg_id, 0, record.data(), row->resp_size);
    return a;
}

kestd_control_answer kestd_control(kestd_service &svc, const kest_frame_header &h,
                                   const uint8_t *payload)
{
    const words args = split(std::string_view(reinterpret_cast<const char *>(payload), h.len));
    control_reply r;
    const control_row *found = nullptr;
    for (const control_row &c : controls)
        if (!args.empty() && args[0] == c.name)
            found = &c;
    if (!found)
        refuse(r, "unknown command; try help");
    else if (args.size() - 1 < found->min_args || args.size() - 1 > found->max_args)
        refuse(r, std::string("usage: ") + found->help);
    else
        found->run(svc, args, r);
    return {kest_frame_bytes(KEST_FRAME_CONTROL_RESPONSE, h.txn, h.msg_id, r.status, r.text.data(),
                             static_cast<uint32_t>(r.text.size())),
            std::move(r.indications), r.drop_others};
}
