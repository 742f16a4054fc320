// vg-mgmt events against kestd: --count and --timeout decide the status; a
// service that goes away is reported, and the tool listens again when it is
// back (or exits with its own status).
#include "cli_support.h"

#include <csignal>
#include <future>
#include <sstream>
#include <thread>

#include <unistd.h>

#include "vg_mgmt_errors.h"

namespace {
using json = nlohmann::json;

[[maybe_unused]] const auto *const kEnv = ::testing::AddGlobalTestEnvironment(new cli::Kestd);

// A file that the tool writes and the test reads while it runs.
struct sink {
    FILE *f = std::tmpfile();
    ~sink() { std::fclose(f); }
    // What the tool wrote so far. Read with pread, which leaves the stream's
    // position alone: moving it would make the tool's next line overwrite
    // what it wrote before.
    std::string text() const
    {
        std::fflush(f);
        std::string s;
        char buf[4096];
        ssize_t n;
        while ((n = ::pread(fileno(f), buf, sizeof buf, static_cast<off_t>(s.size()))) > 0)
            s.append(buf, static_cast<size_t>(n));
        return s;
    }
};

// vg-mgmt events in a thread of its own, writing to two files.
class EventsRun {
public:
    explicit EventsRun(std::vector<std::string> args) : args_(std::move(args))
    {
        args_.insert(args_.begin(), "vg-mgmt");
        done_ = std::async(std::launch::async, [this] {
            std::vector<char *> argv;
            for (auto &a : args_)
                argv.push_back(a.data());
            argv.push_back(nullptr);
            return vg_mgmt_cli_run(static_cast<int>(args_.size()), argv.data(), out.f, err.f);
        });
    }
    ~EventsRun()
    {
        if (done_.valid())
            done_.wait();
    }
    bool finished()
    {
        return done_.wait_for(std::chrono::milliseconds(0)) == std::future_status::ready;
    }
    int status() { return done_.get(); }

    sink out, err;

private:
    std::vector<std::string> args_;
    std::future<int> done_;
};

// Repeats `step` until `until` holds (at most 10 s); whether it held.
template <class Step, class Until>
bool keep_doing(Step step, Until until)
{
    const auto t0 = std::chrono::steady_clock::now();
    while (cli::ms_since(t0) < 10000) {
        if (until())
            return true;
        step();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return until();
}

// A station joins and leaves: two events each time.
void station_comes_and_goes()
{
    cli::Kestd::control("sta-join 1 02:00:00:00:00:41 tablet");
    cli::Kestd::control("sta-leave 02:00:00:00:00:41");
}

TEST(Events, CountReachedIsStatusZero)
{
    EventsRun ev({"--json", "events", "--count", "2", "--timeout", "20"});
    EXPECT_TRUE(keep_doing(station_comes_and_goes, [&] { return ev.finished(); }));
    EXPECT_EQ(vgm::EXIT_DONE, ev.status());
    // The tool may have connected after a join and before its leave, so the
    // two events need not start with a join; each line is one JSON object.
    std::istringstream lines(ev.out.text());
    size_t joined = 0, count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        const json event = json::parse(line);
        EXPECT_EQ("wifi-ap-station", event["event"]) << line;
        joined += event["action"] == "joined";
    }
    EXPECT_EQ(2u, count);
    EXPECT_GE(joined, 1u);
}

// The station's SSID in an event's text line cannot forge a line.
TEST(Events, TextShowsAForgedSsidEscaped)
{
    EventsRun ev({"events", "--count", "1", "--timeout", "20"});
    int n = 0;
    const auto set_ssid = [&] {
        cli::run({"wifi", "ssid", "set", "3",
                  std::string("\x1b]0;pwn\x07\nx") + static_cast<char>('a' + n++ % 2)});
    };
    EXPECT_TRUE(keep_doing(set_ssid, [&] { return ev.finished(); }));
    EXPECT_EQ(vgm::EXIT_DONE, ev.status());
    const std::string text = ev.out.text();
    EXPECT_NE(std::string::npos, text.find("\\x1b]0;pwn\\x07\\x0ax")) << text;
    EXPECT_EQ(std::string::npos, text.find('\x1b')) << text;
}

// Too few events before the time-out is a failure that says so, as text or
// as the error object of --json.
TEST(Events, TimeoutIsSuccessOnlyWithoutACount)
{
    EventsRun text(cli::w("events --count 1000 --timeout 1")),
        js(cli::w("--json events --count 1000 --timeout 1"));
    EXPECT_EQ(vgm::EXIT_NO_ANSWER, text.status());
    EXPECT_NE(text.err.text().find("of 1000 event(s) came before it stopped"), std::string::npos)
        << text.err.text();
    EXPECT_EQ(vgm::EXIT_NO_ANSWER, js.status());
    EXPECT_NE(js.out.text().find("\"TOO_FEW_EVENTS\""), std::string::npos) << js.out.text();
    EXPECT_EQ(vgm::EXIT_DONE, EventsRun(cli::w("events --timeout 1")).status());
}

// The service goes away while the tool listens: it says so and listens
// again when it is back, or with --exit-on-loss exits with its own status.
TEST(Events, LostServiceIsReportedThenRejoinedOrTheEnd)
{
    for (const bool exit_on_loss : {false, true}) {
        EventsRun ev(
            cli::w(exit_on_loss ? "events --exit-on-loss --timeout 60" : "events --timeout 60"));
        const auto said = [&](const std::string &what) {
            return keep_doing([] {}, [&] { return ev.err.text().find(what) != std::string::npos; });
        };
        ASSERT_TRUE(keep_doing(station_comes_and_goes, [&] { return !ev.out.text().empty(); }));
        cli::Kestd::kestd().stop();
        ASSERT_TRUE(said("lost the service at " + cli::Kestd::kestd().sock)) << ev.err.text();
        if (exit_on_loss) {
            EXPECT_EQ(vgm::EXIT_LOST, ev.status());
        }
        ASSERT_TRUE(cli::Kestd::kestd().start());
        if (exit_on_loss)
            continue;
        ASSERT_TRUE(said("is back")) << ev.err.text();
        const size_t before = ev.out.text().size();
        EXPECT_TRUE(
            keep_doing(station_comes_and_goes, [&] { return ev.out.text().size() > before; }));
        std::raise(SIGINT);
        EXPECT_EQ(vgm::EXIT_DONE, ev.status());
    }
}

} // namespace
