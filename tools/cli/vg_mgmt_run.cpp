// The handlers of the four kinds of rows, and the connection to the service.
#include "vg_mgmt_run.h"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

#include "config_apply.h"
#include "kest_socket_path.h"
#include "vg_mgmt_docs.h"

namespace vgm {
namespace {

using buffer = std::vector<uint8_t>;

struct call {
    mgmt_client *h;
    const request &r;
    const output &o;
    const command &c;
};

// Parses the given words (or the fields' defaults) into a record.
std::optional<std::string> fill(const std::vector<field> &fields, const std::vector<word> &words,
                                uint8_t *rec, bool defaults)
{
    for (size_t i = 0; i < fields.size() && i < words.size(); ++i) {
        const word w =
            words[i] ? words[i] : (defaults && fields[i].def ? word(fields[i].def) : word());
        if (!w)
            continue;
        if (auto e = parse_field(fields[i], *w, rec))
            return e;
    }
    return std::nullopt;
}

buffer instance_record(const request &r)
{
    buffer b(value_size(r.cmd->domain), 0);
    fill(axis_fields(r.cmd->inst), r.inst, b.data(), false);
    axis_fixed(r.cmd->inst, b.data());
    return b;
}

std::optional<failure> lib(const call &k, uint32_t flag, uint16_t id, buffer &b)
{
    const uint32_t code = MGMT_COMMAND(k.c.domain, id);
    const auto size = static_cast<uint32_t>(b.size());
    const int32_t rc = flag == MGMT_OPT_SET ? vg_mgmt_client_set(k.h, code, b.data(), size)
                                            : vg_mgmt_client_get(k.h, code, b.data(), size);
    if (rc == 0)
        return std::nullopt;
    return service_failure(vg_mgmt_get_errno());
}

int fail(const call &k, failure f)
{
    if (f.status == EXIT_REFUSED && k.c.when_refused != nullptr)
        f.message += "; " + std::string(k.c.when_refused);
    return print_failure(k.o, command_name(k.c), f);
}

// "ok" (in JSON {"ok": true}), and the fields the call wrote back.
int done(const call &k, const buffer *rec)
{
    json obj = json::object();
    if (k.o.json)
        obj["ok"] = true;
    else
        std::fprintf(k.o.out, "ok\n");
    if (rec != nullptr)
        obj.update(record_json(k.c.out, rec->data(), k.o.show_secrets));
    if (!obj.empty())
        print_object(k.o, obj);
    return EXIT_DONE;
}

// The service answers a call's record for any profile number; one that names
// no profile of type 0 is refused here, so that a mistyped number is not
// taken for a call that is down.
std::optional<failure> missing_profile(const call &k, const buffer &inst)
{
    if (k.c.inst != axis::profile)
        return std::nullopt;
    buffer b(value_size(MGMT_DOMAIN_DATA_CALL), 0); // profile type 0
    if (vg_mgmt_client_get(k.h, MGMT_COMMAND(MGMT_DOMAIN_DATA_CALL, DATA_CALL_CMD_APN_LIST),
                           b.data(), static_cast<uint32_t>(b.size())) != 0)
        return call_failure(vg_mgmt_get_errno());
    data_call_apn_list_params l;
    std::memcpy(&l, b.data(), sizeof l);
    if (std::find(l.index_list, l.index_list + l.length, inst[0]) != l.index_list + l.length)
        return std::nullopt;
    return failure{EXIT_REFUSED, 0, "NO_SUCH_PROFILE",
                   "there is no profile " + std::to_string(inst[0]) +
                       " ('datacall apn list 0' lists them)"};
}

// The rules that config validate applies, as it words them: "usage" and
// nothing sent.
std::optional<failure> problems_failure(const std::vector<std::string> &problems)
{
    if (problems.empty())
        return std::nullopt;
    std::string all;
    for (const std::string &p : problems)
        all += (all.empty() ? "" : "; ") + p;
    return usage_failure(all);
}

uint32_t iface_of(const call &k, const buffer &rec)
{
    uint32_t iface = 0;
    if (k.c.inst == axis::iface)
        std::memcpy(&iface, rec.data(), sizeof iface);
    return iface;
}

int h_get(const call &k)
{
    buffer b = instance_record(k.r);
    if (auto f = missing_profile(k, b))
        return fail(k, *f);
    fill(k.c.query, k.r.query, b.data(), true);
    if (auto f = lib(k, MGMT_OPT_GET, k.c.read_id, b))
        return fail(k, *f);
    const std::vector<field> &shown = k.o.raw && !k.c.raw.empty() ? k.c.raw : k.c.fields;
    print_object(k.o, record_json(shown, b.data(), k.o.show_secrets));
    return EXIT_DONE;
}

int h_list(const call &k)
{
    buffer b = instance_record(k.r);
    if (auto f = lib(k, MGMT_OPT_GET, k.c.read_id, b))
        return fail(k, *f);
    print_object(k.o, list_json(*k.c.list, b.data(), k.o.show_secrets, k.o.raw));
    return EXIT_DONE;
}

// Read the record, carry every field over, change the given ones, write.
int h_set(const call &k)
{
    buffer r = instance_record(k.r), w = instance_record(k.r);
    if (k.c.read_id != 0)
        if (auto f = lib(k, MGMT_OPT_GET, k.c.read_id, r))
            return fail(k, *f);
    for (const field &f : k.c.fields)
        carry_field(f, r.data(), w.data());
    fill(k.c.fields, k.r.values, w.data(), false);
    if (k.c.prepare != nullptr) {
        k.c.prepare(r.data(), w.data());
        fill(k.c.fields, k.r.values, w.data(), false);
    }
    for (size_t i = 0; i < k.c.fields.size(); ++i)
        if (k.r.values[i] && k.c.fields[i].shown != nullptr && !k.c.fields[i].shown(w.data()))
            return fail(k, usage_failure(std::string(k.c.fields[i].key) +
                                         " does not apply here: " + k.c.fields[i].help));
    // The rules that config validate applies to the same values.
    if (auto f = problems_failure(
            vgcfg::setting_problems(k.c, static_cast<int>(iface_of(k, w)), r.data(), w.data())))
        return fail(k, *f);
    if (auto f = lib(k, MGMT_OPT_SET, k.c.write_id, w))
        return fail(k, *f);
    return done(k, nullptr);
}

// An entry that its list's rules refuse (the limit, one already there, a
// rule it meets), read against the list the service holds.
std::optional<failure> list_refusal(const call &k, const buffer &w)
{
    const vgcfg::list_desc *l = vgcfg::exact_list_of(k.c);
    if (l == nullptr)
        return std::nullopt;
    buffer list = instance_record(k.r);
    if (auto f = lib(k, MGMT_OPT_GET, l->read->read_id, list))
        return f;
    return problems_failure(
        vgcfg::entry_problems(*l, static_cast<int>(iface_of(k, w)), list.data(), w.data()));
}

int h_run(const call &k)
{
    buffer w = instance_record(k.r);
    fill(k.c.fields, k.r.values, w.data(), true);
    if (auto f = list_refusal(k, w))
        return fail(k, *f);
    if (auto f = lib(k, MGMT_OPT_SET, k.c.write_id, w))
        return fail(k, *f);
    return done(k, k.c.out.empty() ? nullptr : &w);
}

// Everything a command line gives is checked before anything is sent.
std::optional<std::string> check(const request &r)
{
    const command &c = *r.cmd;
    buffer scratch(value_size(c.domain), 0);
    if (auto e = fill(axis_fields(c.inst), r.inst, scratch.data(), false))
        return e;
    if (auto e = fill(c.query, r.query, scratch.data(), false))
        return e;
    if (auto e = fill(c.fields, r.values, scratch.data(), false))
        return e;
    bool any = false;
    for (size_t i = 0; i < c.fields.size(); ++i) {
        any = any || r.values[i].has_value();
        if (c.k == kind::run && !r.values[i] && c.fields[i].def == nullptr)
            return std::string(c.fields[i].key) + " must be given";
    }
    if (c.k == kind::set && !any)
        return std::string("nothing to change: give at least one value (see --help)");
    return std::nullopt;
}

} // namespace

std::optional<failure> connect(mgmt_client **h, mgmt_event_cb cb, double wait_s)
{
    const std::string path = socket_path();
    const auto until = std::chrono::steady_clock::now() +
                       std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                           std::chrono::duration<double>(wait_s));
    struct stat st;
    while (::stat(path.c_str(), &st) != 0) {
        if (std::chrono::steady_clock::now() >= until)
            return no_service("no service: " + path +
                              " does not exist (is the service running? "
                              "VG_KEST_SOCKET or --socket names another socket)");
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    if (auto f = probe_service(path, 0))
        return f;
    *h = nullptr;
    if (vg_mgmt_client_open(h, cb) == 0)
        return std::nullopt;
    failure f = service_failure(vg_mgmt_get_errno());
    if (f.status == EXIT_NO_SERVICE)
        f.message =
            "no service answers at " + path + " (VG_KEST_SOCKET or --socket names the socket)";
    return f;
}

int run_request(const output &o, const request &r, double wait_s)
{
    if (auto e = check(r)) {
        const int status = print_failure(o, command_name(*r.cmd), usage_failure(*e));
        std::fprintf(o.err, "usage: %s\n", usage_line(*r.cmd).c_str());
        return status;
    }
    mgmt_client *h = nullptr;
    if (auto f = connect(&h, nullptr, wait_s))
        return print_failure(o, command_name(*r.cmd), *f);
    const call k{h, r, o, *r.cmd};
    int status = EXIT_DONE;
    switch (r.cmd->k) {
    case kind::get:
        status = h_get(k);
        break;
    case kind::list:
        status = h_list(k);
        break;
    case kind::set:
        status = h_set(k);
        break;
    case kind::run:
        status = h_run(k);
        break;
    }
    vg_mgmt_client_close(h);
    return status;
}

} // namespace vgm
