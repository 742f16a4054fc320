// vg-mgmt tests: the tool's entry point run in the test's process against a
// kestd of the test program's own, and the library beside it to read what
// the tool changed.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "e2e_support.h"
#include "vg_mgmt_cli.h"

namespace cli {

struct result {
    int status;
    std::string out;
    std::string err;
};

inline result run(std::vector<std::string> args)
{
    args.insert(args.begin(), "vg-mgmt");
    std::vector<char *> argv;
    for (auto &a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    char *out_buf = nullptr, *err_buf = nullptr;
    size_t out_len = 0, err_len = 0;
    FILE *out = open_memstream(&out_buf, &out_len);
    FILE *err = open_memstream(&err_buf, &err_len);
    const int status = vg_mgmt_cli_run(static_cast<int>(args.size()), argv.data(), out, err);
    std::fclose(out);
    std::fclose(err);
    result r{status, out_buf, err_buf};
    std::free(out_buf);
    std::free(err_buf);
    return r;
}

// The words of a command line written as one text: w("wifi mode get 1").
inline std::vector<std::string> w(const std::string &line)
{
    std::vector<std::string> words;
    for (size_t at = 0; at < line.size();) {
        const size_t end = std::min(line.find(' ', at), line.size());
        words.push_back(line.substr(at, end - at));
        at = end + 1;
    }
    return words;
}

inline std::vector<std::string> with(std::vector<std::string> a, const std::vector<std::string> &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// One kestd for the whole test program, its socket in VG_KEST_SOCKET, and a
// state folder of the program's own in VG_MGMT_STATE_DIR, so that what the
// config verbs keep (locks, journals, history) never lands in the machine's.
class Kestd : public ::testing::Environment {
public:
    void SetUp() override
    {
        ASSERT_TRUE(kestd().start());
        ::setenv(KEST_SOCKET_ENV, kestd().socket_path().c_str(), 1);
        char dir[] = "/tmp/vg-mgmt-test-state-XXXXXX";
        ASSERT_NE(::mkdtemp(dir), nullptr);
        state_dir_ = dir;
        ::setenv("VG_MGMT_STATE_DIR", dir, 1);
    }
    void TearDown() override
    {
        kestd().stop();
        std::filesystem::remove_all(state_dir_);
    }
    static e2e::kestd_process &kestd()
    {
        static e2e::kestd_process k;
        return k;
    }

private:
    std::string state_dir_;
};

// A handle of the library, for reading records behind the tool's back.
class Library {
public:
    Library() { EXPECT_EQ(0, vg_mgmt_client_open(&h_, nullptr)); }
    ~Library() { vg_mgmt_client_close(h_); }
    Library(const Library &) = delete;
    Library &operator=(const Library &) = delete;

    // The record of a get, with `prefix` as its first bytes (the instance).
    e2e::bytes get(uint32_t command, size_t size, e2e::bytes prefix)
    {
        prefix.resize(size, 0);
        EXPECT_EQ(0, e2e::call(h_, MGMT_OPT_GET, command, prefix)) << vg_mgmt_get_errno();
        return prefix;
    }

private:
    mgmt_client *h_ = nullptr;
};

} // namespace cli
