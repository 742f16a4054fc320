// kestd never accepts a change after which it refuses its own state: after
// any sequence of network sets (random, seeded), kestd starts again on the
// state file it wrote, and vg-mgmt's export of it applies to a fresh kestd
// with no refusal, ending equal. (The rule's refusals at set time are rows
// of test_kestd's refusals.)
#include "kestd_test_support.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>

#include "vg_mgmt_cli.h"

namespace {

using namespace kestd_test;

struct tool_result {
    int status;
    std::string out, err;
};

// vg-mgmt config ARGS in this process, against the service at `sock`.
tool_result vg_config(const std::string &sock, std::vector<std::string> args)
{
    ::setenv("VG_KEST_SOCKET", sock.c_str(), 1);
    args.insert(args.begin(), {"vg-mgmt", "config"});
    std::vector<char *> argv;
    for (std::string &a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    char *ob = nullptr, *eb = nullptr;
    size_t ol = 0, el = 0;
    FILE *out = ::open_memstream(&ob, &ol), *err = ::open_memstream(&eb, &el);
    const int status = vg_mgmt_cli_run(static_cast<int>(args.size()), argv.data(), out, err);
    std::fclose(out);
    std::fclose(err);
    tool_result r{status, ob, eb};
    std::free(ob);
    std::free(eb);
    return r;
}

// Random network sets over a few subnets that overlap and do not, so that
// LAN moves meet the DMZ host and SNAT rules inside and outside them.
class network_sets {
public:
    explicit network_sets(uint32_t seed) : rng_(seed) {}

    uint32_t pick(uint32_t n) { return std::uniform_int_distribution<uint32_t>(0, n - 1)(rng_); }

    uint32_t address()
    {
        static const uint8_t nets[][3] = {{192, 168, 225}, {10, 0, 0}, {10, 0, 1}, {192, 168, 1}};
        const uint8_t *n = nets[pick(4)];
        return ipv4(n[0], n[1], n[2], static_cast<uint8_t>(pick(70)));
    }

    network_lan_config_block lan()
    {
        static const uint8_t masks[][4] = {
            {255, 255, 255, 0}, {255, 255, 0, 0}, {255, 255, 254, 0}};
        network_lan_config_block b{};
        const uint8_t *m = masks[pick(3)];
        const uint32_t gw = address();
        uint8_t g[4];
        std::memcpy(g, &gw, 4);
        b.lan_word_a = ipv4(g[0], g[1], g[2], static_cast<uint8_t>(1 + pick(3)));
        b.lan_word_b = ipv4(m[0], m[1], m[2], m[3]);
        b.lan_byte = static_cast<uint8_t>(pick(4) != 0);
        b.lan_word_c = ipv4(g[0], g[1], g[2], static_cast<uint8_t>(10 + pick(20)));
        b.lan_word_d = ipv4(g[0], g[1], g[2], static_cast<uint8_t>(30 + pick(40)));
        b.lan_word_e = pick(8) == 0 ? 60 : 3600;
        return b;
    }

    network_snat_rule snat()
    {
        static const uint8_t protocols[] = {6, 17, 253, 5};
        network_snat_rule r{};
        r.private_ip = address();
        r.private_port = static_cast<uint16_t>(pick(4));
        r.global_port = static_cast<uint16_t>(1 + pick(40));
        r.protocol = protocols[pick(4)];
        return r;
    }

    // One set; true when the service took it.
    bool one(client &c)
    {
        switch (pick(6)) {
        case 0:
        case 1:
            return c.error_of(KEST_NETWORK_LAN_CONFIG_SET, raw(lan())) == 0;
        case 2:
            return c.error_of(KEST_NETWORK_DMZ_ADD_SET, raw(network_dmz_add_set_req{address()})) ==
                   0;
        case 3:
            return c.error_of(KEST_NETWORK_DMZ_DEL_SET, {}) == 0;
        case 4: {
            const network_snat_rule r = snat();
            const bool took = c.error_of(KEST_NETWORK_SNAT_ADD_SET, raw(r)) == 0;
            if (took)
                rules_.push_back(r);
            return took;
        }
        default:
            if (rules_.empty())
                return false;
            const size_t i = pick(static_cast<uint32_t>(rules_.size()));
            const bool took = c.error_of(KEST_NETWORK_SNAT_DEL_SET, raw(rules_[i])) == 0;
            rules_.erase(rules_.begin() + static_cast<long>(i));
            return took;
        }
    }

private:
    std::mt19937 rng_;
    std::vector<network_snat_rule> rules_;
};

// The state on a memory file system where there is one: every accepted set
// is synced to it.
std::string fast_state_dir()
{
    char tmpl[] = "/dev/shm/kestd-lan-XXXXXX";
    if (::mkdtemp(tmpl) != nullptr)
        return tmpl;
    char other[] = "/tmp/kestd-lan-XXXXXX";
    return ::mkdtemp(other) != nullptr ? other : "";
}

TEST(KestdLanRule, EveryAcceptedSequenceRestartsAndItsExportApplies)
{
    constexpr uint32_t kSeeds[] = {20, 21, 22};
    for (const uint32_t seed : kSeeds) {
        SCOPED_TRACE(seed);
        const std::string dir = fast_state_dir();
        ASSERT_FALSE(dir.empty());
        ::setenv("VG_MGMT_STATE_DIR", (dir + "/vg-mgmt").c_str(), 1);
        service s;
        s.state = dir + "/state";
        ASSERT_TRUE(s.start(true));
        network_sets sets(seed);
        int accepted = 0;
        {
            client c(s.sock);
            for (int i = 0; i < 1500; ++i)
                accepted += sets.one(c);
        }
        EXPECT_GT(accepted, 400);
        const tool_result before = vg_config(s.sock, {"export", "--show-secrets"});
        ASSERT_EQ(before.status, 0) << before.err;
        EXPECT_EQ(s.stop(), 0);
        ASSERT_TRUE(s.start(true)) << "kestd refused the state it wrote: " << s.err_text;
        const tool_result again = vg_config(s.sock, {"export", "--show-secrets"});
        EXPECT_EQ(again.out, before.out);
        EXPECT_EQ(s.stop(), 0);

        service fresh;
        ASSERT_TRUE(fresh.start());
        const std::string doc = dir + "/doc.json";
        std::ofstream(doc) << before.out;
        const tool_result applied = vg_config(fresh.sock, {"apply", doc});
        EXPECT_EQ(applied.status, 0) << applied.err;
        EXPECT_EQ(vg_config(fresh.sock, {"export", "--show-secrets"}).out, before.out);
        EXPECT_EQ(fresh.stop(), 0);
        EXPECT_EQ(std::system(("rm -rf '" + dir + "'").c_str()), 0);
    }
}

} // namespace
