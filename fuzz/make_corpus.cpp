// Writes the seed corpus of the three fuzzers: for every command and
// direction a record that reaches its handler with a good, a refused and a
// failed answer; the router's edges; each indication; and for kestd a
// request of every message id, control commands and broken streams.
// Usage: make_corpus DIR (DIR/commands, DIR/indications, DIR/kestd).
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "fuzz_input.h"
#include "fuzz_records.h"
#include "kest_frame.h"
#include "kestd_msg.h"

namespace {

using bytes = std::vector<uint8_t>;
namespace fs = std::filesystem;

template <class T>
void put(bytes &out, const T &v)
{
    const auto *p = reinterpret_cast<const uint8_t *>(&v);
    out.insert(out.end(), p, p + sizeof v);
}

void write(const fs::path &dir, const std::string &name, const bytes &b)
{
    fs::create_directories(dir);
    FILE *f = std::fopen((dir / name).c_str(), "wb");
    if (!f || std::fwrite(b.data(), 1, b.size(), f) != b.size() || std::fclose(f) != 0) {
        std::perror(name.c_str());
        std::exit(1);
    }
}

// ---------------------------------------------------------------------------
// Commands

struct answer_kind {
    const char *name;
    int8_t rc;
    resp_status status;
    bool written;
};
constexpr answer_kind kAnswers[] = {
    {"ok", 0, {0, 0}, false},
    {"refused", 0, {1, 5}, true},
    {"sendfail", -1, {0, 0}, false},
};

// A record that passes the range tests of most commands: interface,
// profile or instance in the first field, the rest zero.
bytes usual_record(uint32_t domain, uint32_t id, uint32_t size)
{
    bytes v(size, 0);
    uint32_t first = 1;
    if (domain == MGMT_DOMAIN_USB)
        first = 0;
    if (domain == MGMT_DOMAIN_WIFI && id == WIFI_CMD_STATION_STATUS)
        first = 3;
    if (size >= sizeof first)
        std::memcpy(v.data(), &first, sizeof first);
    return v;
}

bytes command_input(uint8_t domain, uint8_t id, uint8_t flag, uint8_t options, const bytes &value,
                    const answer_kind &a, int answers)
{
    fz::command_head hd{};
    hd.domain = domain;
    hd.id = id;
    hd.flag = flag;
    hd.options = options;
    hd.value_len = static_cast<uint16_t>(value.size());
    for (int i = 0; i < answers; ++i) {
        hd.rc[i] = a.rc;
        hd.answer_len[i] = a.written ? sizeof a.status : 0;
    }
    bytes out;
    put(out, hd);
    out.insert(out.end(), value.begin(), value.end());
    for (int i = 0; i < answers && a.written; ++i)
        put(out, a.status);
    return out;
}

// The inputs of one command: both directions, each with every kind of answer.
void command_inputs(const fs::path &dir, const kest_command &r)
{
    for (uint8_t flag : {MGMT_OPT_SET, MGMT_OPT_GET}) {
        bytes value = usual_record(r.domain, r.command, r.record_len);
        int answers = 1;
        if (r.domain == MGMT_DOMAIN_DATA_CALL && r.command == DATA_CALL_CMD_INFO) {
            const uint32_t both = DATA_CALL_IP_V4V6;
            std::memcpy(value.data() + offsetof(data_call_info_params, ip_type), &both,
                        sizeof both);
            answers = 2;
        }
        for (const answer_kind &a : kAnswers) {
            char name[64];
            std::snprintf(name, sizeof name, "d%u-id%u-flag%u-%s", r.domain, r.command, flag,
                          a.name);
            write(dir, name,
                  command_input(static_cast<uint8_t>(r.domain), static_cast<uint8_t>(r.command),
                                flag, 0, value, a, answers));
        }
    }
}

void commands(const fs::path &dir)
{
    for (const kest_command_table &t : kCommandTables) {
        for (size_t i = 0; i < t.count; ++i) {
            if (i > 0 && t.rows[i - 1].command == t.rows[i].command)
                continue; // the other direction of the command just done
            command_inputs(dir, t.rows[i]);
        }
    }
    // The router's and the dispatchers' edges.
    const bytes none;
    const struct {
        const char *name;
        uint8_t domain, id, flag, options;
    } edges[] = {
        {"domain0", 0, 1, 1, 0},
        {"domain2", 2, 1, 1, 0},
        {"domain4", 4, 7, 2, 0},
        {"domain5", 5, 9, 2, fz::kSizeWrong},
        {"domain8", 8, 1, 1, 0},
        {"domain-high", 0x99, 1, 2, 0},
        {"null-handle", 1, 1, 1, fz::kNullHandle},
        {"null-value", 3, 1, 1, fz::kNullValue | fz::kSizeZero},
        {"size-wrong", 1, 4, 1, fz::kSizeWrong},
        {"size-zero", 6, 4, 2, fz::kSizeZero},
        {"flag0", 1, 1, 0, 0},
        {"flag3", 7, 2, 3, 0},
        {"unknown-id", 3, 99, 1, 0},
        {"unknown-id-high", 1, 0xff, 2, fz::kIdHigh},
        {"null-dmz-del", 3, 2, 1, fz::kNullValue},
        {"null-usb-write", 7, 1, 1, fz::kNullValue},
    };
    for (const auto &e : edges)
        write(dir, e.name, command_input(e.domain, e.id, e.flag, e.options, none, kAnswers[0], 1));
}

// ---------------------------------------------------------------------------
// Indications

template <class Record>
bytes indication_input(uint8_t msg_id, uint8_t options, int8_t rc, const Record &rec)
{
    fz::indication_head hd{msg_id, options, rc, 0, sizeof rec, 4};
    bytes out;
    put(out, hd);
    put(out, rec);
    put(out, uint32_t{0x12345678});
    return out;
}

void indications(const fs::path &dir)
{
    wifi_sta_status_ind sta{};
    sta.index = 3;
    sta.status = 1;
    std::memcpy(sta.ssid, "vg-station", 10);
    write(dir, "sta-status", indication_input(KEST_WIFI_STA_STATUS_IND, 0, 0, sta));
    std::memset(sta.ssid, 'x', sizeof sta.ssid);
    write(dir, "sta-status-full-ssid", indication_input(KEST_WIFI_STA_STATUS_IND, 0, 0, sta));
    write(dir, "sta-status-no-cb",
          indication_input(KEST_WIFI_STA_STATUS_IND, fz::kNoEventCb, 0, sta));
    write(dir, "sta-status-decode-fails", indication_input(KEST_WIFI_STA_STATUS_IND, 0, -1, sta));

    wifi_ap_sta_ind ap{};
    ap.action = 1;
    ap.index = 1;
    std::memcpy(ap.mac, "\x00\x11\x22\x33\x44\x55", 6);
    write(dir, "ap-sta", indication_input(KEST_WIFI_AP_STA_IND, 0, 0, ap));
    write(dir, "ap-sta-null-data", indication_input(KEST_WIFI_AP_STA_IND, fz::kNullCbData, 0, ap));

    data_call_status_ind call{};
    call.index = 1;
    call.state = 1;
    std::memcpy(call.name, "internet", 8);
    std::memcpy(call.address_text[0], "10.0.0.2", 8);
    write(dir, "call-v4", indication_input(KEST_DATA_CALL_STATUS_IND, 0, 0, call));
    call.ip_family = DATA_CALL_IP_V6;
    std::memcpy(call.address_text[0], "2001:db8::2", 11);
    write(dir, "call-v6", indication_input(KEST_DATA_CALL_STATUS_IND, 0, 0, call));
    std::memset(call.name, 'n', sizeof call.name);
    std::memset(call.address_text, '1', sizeof call.address_text);
    write(dir, "call-full-texts", indication_input(KEST_DATA_CALL_STATUS_IND, 0, 0, call));
    call.state = 0;
    write(dir, "call-down", indication_input(KEST_DATA_CALL_STATUS_IND, 0, 0, call));
    write(dir, "other-id", indication_input(44, 0, 0, call));
}

// ---------------------------------------------------------------------------
// kestd

void request_op(bytes &out, uint8_t msg_id, uint16_t len, uint16_t cut = 0)
{
    out.push_back(fz::kRequest);
    put(out, msg_id);
    put(out, len);
    put(out, cut);
    if (len != 0xffff)
        out.insert(out.end(), len, 0);
}

void control_op(bytes &out, const std::string &text)
{
    out.push_back(fz::kControl);
    out.push_back(static_cast<uint8_t>(text.size()));
    out.insert(out.end(), text.begin(), text.end());
}

void raw_op(bytes &out, const bytes &raw)
{
    out.push_back(fz::kRaw);
    put(out, static_cast<uint16_t>(raw.size()));
    out.insert(out.end(), raw.begin(), raw.end());
}

void kestd(const fs::path &dir)
{
    for (uint32_t id = 0; id <= 75; ++id) {
        const kestd_msg_row *row = kestd_find_row(id);
        bytes b;
        request_op(b, static_cast<uint8_t>(id), row ? static_cast<uint16_t>(row->req_size) : 0);
        write(dir, "msg" + std::to_string(id), b);
        if (row && row->req_size != 0) {
            bytes bad;
            request_op(bad, static_cast<uint8_t>(id), static_cast<uint16_t>(row->req_size - 1));
            write(dir, "msg" + std::to_string(id) + "-short", bad);
        }
    }
    for (const char *text :
         {"help", "ping", "dump", "dump faults", "sta-join 1 00:11:22:33:44:55 phone",
          "sta-leave 00:11:22:33:44:55", "sta-status 1 home", "delay 0", "delay 50", "fail 103 2",
          "fail 103 1 9", "mute", "unmute", "clear", "drop", "nonsense"}) {
        bytes b;
        control_op(b, text);
        request_op(b, KEST_WIFI_WORK_MODE_GET, 0xffff);
        std::string name = std::string("ctl-") + text;
        for (char &ch : name)
            if (ch == ' ' || ch == ':')
                ch = '_';
        write(dir, name, b);
    }
    bytes split;
    request_op(split, KEST_WIFI_CHANNEL_SET, 0xffff, 5);
    request_op(split, KEST_WIFI_CHANNEL_GET, 0xffff, 30);
    write(dir, "split-frames", split);

    const auto header = [](uint32_t magic, uint16_t version, uint16_t kind, uint32_t len) {
        bytes b;
        put(b, kest_frame_header{magic, version, kind, 7, 2, len, 0, 0});
        return b;
    };
    bytes b;
    raw_op(b, header(kKestFrameMagic, kKestFrameVersion, KEST_FRAME_REQUEST,
                     kKestFrameMaxPayload + 1));
    write(dir, "oversized", b);
    b.clear();
    raw_op(b, header(0x4b455354, kKestFrameVersion, KEST_FRAME_REQUEST, 0));
    write(dir, "bad-magic", b);
    b.clear();
    raw_op(b, header(kKestFrameMagic, 2, KEST_FRAME_REQUEST, 0));
    write(dir, "bad-version", b);
    b.clear();
    raw_op(b, header(kKestFrameMagic, kKestFrameVersion, KEST_FRAME_RESPONSE, 0));
    write(dir, "bad-kind", b);
    b.clear();
    raw_op(b, header(kKestFrameMagic, kKestFrameVersion, KEST_FRAME_REQUEST, 100));
    write(dir, "truncated", b);
    b.clear();
    raw_op(b, bytes{'g', 'a', 'r', 'b', 'a', 'g', 'e'});
    write(dir, "garbage", b);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s DIR\n", argv[0]);
        return 2;
    }
    const fs::path root = argv[1];
    commands(root / "commands");
    indications(root / "indications");
    kestd(root / "kestd");
    return 0;
}
