// vg-mgmt tests: the tool's entry point run in the test's process against a
// kestd of the test program's own, or the built vg-mgmt run as a program.
#pragma once

#include "kestd_test_support.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "exec_program.h"
#include "row_name.h"
#include "kest_proto.h"
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
    result r{status, std::string(out_buf, out_len), std::string(err_buf, err_len)};
    std::free(out_buf);
    std::free(err_buf);
    return r;
}

// The built vg-mgmt (VG_MGMT_PATH) as a program of its own (through the
// emulator of a cross build).
inline result run_program(const std::vector<std::string> &args)
{
    FILE *out = std::tmpfile(), *err = std::tmpfile();
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(fileno(out), 1);
        ::dup2(fileno(err), 2);
        exec_program(VG_MGMT_PATH, args);
    }
    int status = -1;
    ::waitpid(pid, &status, 0);
    result r{WIFEXITED(status) ? WEXITSTATUS(status) : -1, {}, {}};
    for (auto [f, text] : {std::pair{out, &r.out}, std::pair{err, &r.err}}) {
        std::rewind(f);
        *text = kestd_test::read_all(fileno(f));
        std::fclose(f);
    }
    return r;
}

inline long ms_since(std::chrono::steady_clock::time_point t0)
{
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - t0)
            .count());
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
        ::setenv(KEST_SOCKET_ENV, kestd().sock.c_str(), 1);
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
    static kestd_test::service &kestd()
    {
        static kestd_test::service k;
        return k;
    }
    // A control command of the service (sta-join, fail, clear ...).
    static void control(const std::string &cmd) { kestd_test::client(kestd().sock).control(cmd); }

private:
    std::string state_dir_;
};

} // namespace cli
