// Every setting of the configuration document, made from the model, in one
// round trip through the tool's entry point against a kestd of its own: a value
// other than the factory one, taken from the field's own description, is set
// with the command line and read back with its get; then the whole export is
// applied to a fresh kestd and exported again, equal. A value the service
// refuses is followed by the next one (the module's rules narrow the
// description: interface 3 takes channel 0 only, WEP needs its default key);
// a setting the command line lacks (an unknown word or option), one without
// its get, one not in the export, or one none of whose values went round
// fails naming the setting.
#include "cli_support.h"
#include "setting_values.h"

#include "config_table.h"
#include "vg_mgmt_errors.h"

namespace {
[[maybe_unused]] const auto *const kEnv = ::testing::AddGlobalTestEnvironment(new cli::Kestd);
using namespace settings;
using json = nlohmann::json;
using vgm::field;

// A value the service refuses, or the tool by a rule narrower than the
// field's range (a WEP key's lengths); not a word or option it lacks.
bool refused(const cli::result &r)
{
    return r.status == vgm::EXIT_REFUSED ||
           (r.status == vgm::EXIT_USAGE && r.err.find("unknown") == std::string::npos);
}

// The instance words of a row: each Wi-Fi interface, or none.
std::vector<std::vector<std::string>> instances(const vgm::command &c)
{
    if (!vgcfg::per_interface(c))
        return {{}};
    std::vector<std::vector<std::string>> all;
    for (int i = 1; i <= vgcfg::kWifiInterfaces; ++i)
        all.push_back({std::to_string(i)});
    return all;
}

// One setting of one instance to change: a field of a set row, with the
// values of other fields that it is shown with (WEP's keys with WEP).
struct step {
    const vgm::command *set;
    std::vector<std::string> inst;
    const field *f;
    std::string object;   // the export's object holding it, or the list's path
    json entry = nullptr; // an entry of a keyed list: its instance keys
    json was = nullptr;   // and the value the entry was added with
    std::map<std::string, json> also = {};
};

class RoundTrip : public ::testing::Test {
protected:
    kestd_test::service svc;
    json factory;
    std::set<std::string> settings, covered;
    std::map<std::string, expected> expect; // by path (and entry)
    struct read_back {
        std::string setting;
        json value;
        bool secret;
    };
    // What each get must show after a pass, by its row and instance: read
    // once a pass, not once a value.
    std::map<std::pair<const vgm::command *, std::vector<std::string>>,
             std::map<std::string, read_back>>
        reads;

    void SetUp() override
    {
        ASSERT_TRUE(svc.start());
        factory = export_doc(svc.sock, true);
    }

    cli::result tool(const std::vector<std::string> &args, const std::string &sock = {})
    {
        return cli::run(cli::with({"--socket", sock.empty() ? svc.sock : sock}, args));
    }

    json export_doc(const std::string &sock, bool secrets)
    {
        const auto r =
            tool(secrets ? cli::w("config export --show-secrets") : cli::w("config export"), sock);
        EXPECT_EQ(0, r.status) << r.err;
        return json::parse(r.out, nullptr, false);
    }

    json get(const vgm::command &row, const std::vector<std::string> &inst, bool secrets = true)
    {
        std::vector<std::string> args = {"--json", row.domain_word, row.subject, row.verb};
        if (secrets)
            args.insert(args.begin(), "--show-secrets");
        const auto r = tool(cli::with(args, inst));
        EXPECT_EQ(0, r.status) << vgm::command_name(row) << ": " << r.err;
        return json::parse(r.out, nullptr, false);
    }

    void note(const std::string &setting, const step &s, const field &f, const json &v)
    {
        expected e{setting, s.object + "." + f.key, v, false, {}};
        std::string key = e.path;
        if (!s.entry.is_null()) {
            e.path = s.object;
            e.value = s.entry;
            e.value[f.key] = v;
            e.entry = true;
            key += s.entry.dump();
        }
        if (f.secret)
            e.secrets = {f.key};
        expect[key] = e;
        covered.insert(setting);
    }

    std::vector<std::map<std::string, json>> tries(const step &s) const;
    int try_step(const step &s);
    void check_reads();
    void add_entries(const vgcfg::list_desc &l, std::vector<step> &keyed);
    void run_pass(std::vector<step> steps);
    void check_export();
};

// The values a step tries in turn: each value of its field, or for a whole
// row (no field) one try with a value for every field that is always shown.
std::vector<std::map<std::string, json>> RoundTrip::tries(const step &s) const
{
    std::vector<std::map<std::string, json>> out;
    for (const field &f : s.set->fields) {
        if (s.f != nullptr ? &f != s.f : f.shown != nullptr)
            continue;
        const json *factory_value = at_path(factory, s.object + "." + f.key);
        const json before = !s.entry.is_null() ? s.was : factory_value ? *factory_value : json();
        const std::vector<json> values = candidates(f, before, factory);
        for (size_t k = 0; k < values.size() && (s.f != nullptr || k == 0); ++k) {
            if (out.size() <= k)
                out.push_back(s.also);
            out[k][f.key] = values[k];
        }
    }
    return out;
}

// 1: a value was taken, 0: the service refused every value, -1: failed.
int RoundTrip::try_step(const step &s)
{
    const std::string setting = s.f != nullptr ? name_of(*s.set, *s.f) : vgm::command_name(*s.set);
    for (const std::map<std::string, json> &given : tries(s)) {
        const auto r =
            tool(cli::with(cli::with({s.set->domain_word, s.set->subject, "set"}, s.inst),
                           value_words(*s.set, given)));
        if (refused(r))
            continue;
        if (r.status != 0) {
            ADD_FAILURE() << setting << " = " << json(given) << ": " << r.err;
            return -1;
        }
        for (const vgcfg::group &g : vgcfg::groups())
            for (const vgm::command &c : vgm::commands())
                if (g.row == s.set && g.commit_id != 0 && c.write_id == g.commit_id &&
                    c.domain == s.set->domain && c.k == vgm::kind::run) {
                    EXPECT_EQ(0, tool({c.domain_word, c.subject, c.verb}).status) << setting;
                }
        const vgm::command *get_row = row_of(*s.set, "get");
        if (get_row == nullptr) {
            ADD_FAILURE() << setting << ": the setting has no get";
            return -1;
        }
        for (const auto &[key, value] : given)
            for (const field &f : s.set->fields)
                if (key == f.key)
                    reads[{get_row, s.inst}][key] = {name_of(*s.set, f), value, f.secret};
        for (const auto &[key, value] : given)
            for (const field &f : s.set->fields)
                if (key == f.key)
                    note(name_of(*s.set, f), s, f, value);
        return 1;
    }
    return 0;
}

// Steps are tried again while any of them is taken: one may need another
// first (a WEP default key before its index, a function on before another off).
void RoundTrip::run_pass(std::vector<step> steps)
{
    for (bool progress = true; progress && !steps.empty();) {
        progress = false;
        std::erase_if(steps, [&](const step &s) {
            const int r = try_step(s);
            progress = progress || r != 0;
            return r != 0;
        });
    }
    check_reads();
}

void RoundTrip::check_reads()
{
    for (const auto &[at, want] : reads) {
        const json shown = get(*at.first, at.second);
        const bool secrets =
            std::any_of(want.begin(), want.end(), [](const auto &kv) { return kv.second.secret; });
        const json masked = secrets ? get(*at.first, at.second, false) : shown;
        for (const auto &[key, r] : want) {
            EXPECT_EQ(r.value, shown.value(key, json())) << r.setting;
            EXPECT_EQ(r.secret ? json(vgm::kMasked) : r.value, masked.value(key, json()))
                << r.setting << ": as shown without secrets";
        }
    }
    reads.clear();
}

// Exports, finds every value the pass set, and gives the export to a fresh
// kestd: its export is the same.
void RoundTrip::check_export()
{
    const json doc = export_doc(svc.sock, true), masked = export_doc(svc.sock, false);
    for (const auto &[key, e] : expect) {
        EXPECT_TRUE(holds(doc, e, false))
            << e.setting << ": the export does not hold " << e.value << " at " << e.path;
        EXPECT_TRUE(holds(masked, e, true)) << e.setting << ": masked at " << e.path;
    }
    expect.clear();
    kestd_test::service fresh;
    ASSERT_TRUE(fresh.start());
    const std::string file = fresh.dir + "/export.json";
    std::FILE *f = std::fopen(file.c_str(), "w");
    std::fputs(doc.dump().c_str(), f);
    std::fclose(f);
    const auto r = tool({"config", "apply", file}, fresh.sock);
    EXPECT_EQ(0, r.status) << r.out << r.err;
    EXPECT_EQ(json::diff(doc, export_doc(fresh.sock, true)), json::array())
        << "applied to a fresh service, the export reads back otherwise";
}

// Adds one entry to a list on each instance (the first the service takes),
// reads it back; an entry of a keyed list gets a step per field for its set.
void RoundTrip::add_entries(const vgcfg::list_desc &l, std::vector<step> &keyed)
{
    const vgm::command &add = *l.add;
    std::vector<std::vector<json>> values;
    size_t tries = 1;
    for (const field &f : add.fields) {
        settings.insert(name_of(add, f));
        values.push_back(candidates(f, json(), factory));
        tries = std::max(tries, values.back().size());
    }
    const auto pick = [](const std::vector<json> &v, size_t k) {
        return v.at(std::min(k, v.size() - 1));
    };
    const bool is_keyed = l.kind == vgcfg::list_kind::keyed;
    for (const auto &inst : is_keyed ? std::vector<std::vector<std::string>>{{}} : instances(add))
        for (size_t k = 0; k < tries; ++k) {
            std::vector<std::string> words = inst;
            json keys = json::object();
            for (const field &f : is_keyed ? vgm::axis_fields(add.inst) : std::vector<field>{}) {
                keys[f.key] = pick(candidates(f, json(), factory), k);
                words.push_back(word(keys[f.key]));
            }
            std::map<std::string, json> entry;
            for (size_t i = 0; i < add.fields.size(); ++i)
                entry[add.fields[i].key] = pick(values[i], k);
            const auto r =
                tool(cli::with(cli::with({"--json", add.domain_word, add.subject, add.verb}, words),
                               value_words(add, entry)));
            if (refused(r))
                continue;
            ASSERT_EQ(0, r.status) << vgm::command_name(add) << ": " << r.err;
            step s{&add, inst, nullptr, with_iface(l.object, inst) + "." + l.key};
            if (l.kind == vgcfg::list_kind::optional) {
                const json &v = entry.begin()->second;
                EXPECT_EQ(v, get(*l.read, inst).value(l.entry[0].key, json()));
                expect[s.object] = {name_of(add, add.fields[0]), s.object, v};
                covered.insert(name_of(add, add.fields[0]));
                break;
            }
            if (!is_keyed) {
                json e(entry);
                const json got = get(*l.read, inst).value(l.read->list->key, json::array());
                EXPECT_TRUE(holds({{"l", got}}, {"", "l", e, true}, false))
                    << vgm::command_name(add) << got;
                for (const field &f : add.fields)
                    covered.insert(name_of(add, f));
                expect[s.object + e.dump()] = {vgm::command_name(add), s.object,
                                               l.single() ? e.begin().value() : e, true};
                break;
            }
            keys[add.out.at(0).key] = json::parse(r.out).at(add.out.at(0).key);
            std::vector<std::string> at;
            for (const field &f : vgm::axis_fields(l.set->inst))
                at.push_back(word(keys.at(f.key)));
            const json got = get(*row_of(*l.set, "get"), at);
            for (const field &f : l.set->fields) {
                EXPECT_EQ(entry[f.key], got.value(f.key, json())) << name_of(add, f);
                keyed.push_back(step{l.set, at, &f, s.object, keys, entry[f.key]});
                note(name_of(add, f), keyed.back(), f, entry[f.key]);
            }
            break;
        }
}

TEST_F(RoundTrip, EverySettingThroughTheToolAndAFreshService)
{
    for (const vgm::command &c : vgm::commands()) {
        if (c.k != vgm::kind::set || row_of(c, "get") == nullptr)
            continue;
        EXPECT_TRUE(std::any_of(vgcfg::groups().begin(), vgcfg::groups().end(),
                                [&](const vgcfg::group &g) { return g.row == &c; }) ||
                    std::any_of(vgcfg::lists().begin(), vgcfg::lists().end(),
                                [&](const vgcfg::list_desc &l) { return l.set == &c; }))
            << vgm::command_name(c) << ": a setting the document leaves out";
    }
    std::vector<std::vector<step>> passes(1);
    for (const vgcfg::list_desc &l : vgcfg::lists())
        add_entries(l, passes[0]);
    // A row's fields in one set first; one by one where the service refuses that.
    for (const vgcfg::group &g : vgcfg::groups())
        for (const auto &inst : instances(*g.row)) {
            const bool whole = try_step({g.row, inst, nullptr, with_iface(g.object, inst)}) > 0;
            std::vector<std::string> shown_by; // a pass per value that shows other fields
            for (const field &f : g.row->fields) {
                settings.insert(name_of(*g.row, f));
                step s{g.row, inst, &f, with_iface(g.object, inst)};
                size_t pass = 0;
                if (f.shown != nullptr) {
                    auto [key, also] = shown_with(*g.row, f);
                    pass = std::find(shown_by.begin(), shown_by.end(), key) - shown_by.begin();
                    if (pass == shown_by.size())
                        shown_by.push_back(key);
                    s.also = also;
                } else if (whole) {
                    continue;
                }
                passes.resize(std::max(passes.size(), pass + 1));
                passes[pass].push_back(s);
            }
        }
    for (std::vector<step> &p : passes) {
        run_pass(p);
        check_export();
    }
    for (const std::string &s : settings)
        EXPECT_TRUE(covered.contains(s)) << s << ": no value of its description went round";
}

} // namespace
