// The host transport against a scripted service.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "impostor.h"
#include "scripted_service.h"

namespace {
using namespace vg_test;

int probe(uint32_t *num_services = nullptr)
{
    return qmi_client_get_service_list(service_object(), nullptr, nullptr, num_services);
}

// ---------------------------------------------------------------------------
// Finding the service

struct AppearanceRow {
    const char *what;
    bool before_init;
    std::chrono::milliseconds start_after;
    std::chrono::milliseconds listen_after;
};

class NotifierAppearance : public ::testing::TestWithParam<AppearanceRow> {};

TEST_P(NotifierAppearance, SignalsOnceTheServiceTakesConnections)
{
    const AppearanceRow row = GetParam();
    std::unique_ptr<Service> service;
    if (row.before_init) {
        service = std::make_unique<Service>(answer_with(0));
        ASSERT_TRUE(service->wait_until([] { return probe() == 0; }));
    } else {
        uint32_t services = 7;
        EXPECT_NE(0, probe(&services));
        EXPECT_EQ(0u, services);
    }

    mgmt_os_signal sig;
    memset(&sig, 0xa5, sizeof sig);
    qmi_client_type notifier = nullptr;
    const auto t0 = steady::now();
    ASSERT_EQ(0, qmi_client_notifier_init(service_object(), &sig, &notifier));
    EXPECT_EQ(1u, sig.clock_id);
    std::thread starter([&] {
        if (row.before_init)
            return;
        std::this_thread::sleep_for(row.start_after);
        service = std::make_unique<Service>(answer_with(0), row.listen_after);
    });

    // Wait as the library does: under mutex, on cond, by the monotonic clock.
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += 5;
    pthread_mutex_lock(&sig.mutex);
    while (sig.signal_set == 0 &&
           pthread_cond_timedwait(&sig.cond, &sig.mutex, &deadline) != ETIMEDOUT) {
    }
    const uint32_t signalled = sig.signal_set;
    pthread_mutex_unlock(&sig.mutex);
    const long waited = ms_since(t0);
    starter.join();

    EXPECT_EQ(1u, signalled);
    const long ready_at = static_cast<long>((row.start_after + row.listen_after).count());
    EXPECT_GE(waited, ready_at - 20) << "signalled before the service took connections";
    EXPECT_LT(waited, ready_at + 1500);
    uint32_t services = 0;
    EXPECT_EQ(0, probe(&services));
    EXPECT_EQ(1u, services);
    EXPECT_EQ(0, qmi_client_release(notifier));
    EXPECT_TRUE(transport_threads_become(0));
}

INSTANTIATE_TEST_SUITE_P(Rows, NotifierAppearance,
                         ::testing::Values(AppearanceRow{"appears_later", false, 300ms, 0ms},
                                           AppearanceRow{"bound_listening_later", false, 300ms,
                                                         200ms},
                                           AppearanceRow{"there_already", true, 0ms, 0ms}),
                         RowName());

TEST(Notifier, ReleaseEndsTheWatcherOfAServiceThatNeverCame)
{
    mgmt_os_signal sig{};
    qmi_client_type notifier = nullptr;
    ASSERT_EQ(0, qmi_client_notifier_init(service_object(), &sig, &notifier));
    EXPECT_TRUE(transport_threads_become(1));
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(0u, sig.signal_set);
    EXPECT_EQ(0, qmi_client_release(notifier));
    EXPECT_TRUE(transport_threads_become(0));
}

TEST(Notifier, RefusesASocketInAMissingFolder)
{
    const std::string saved = g_socket;
    setenv(KEST_SOCKET_ENV, "/nonexistent-vg-folder/kest.sock", 1);
    mgmt_os_signal sig{};
    qmi_client_type notifier = nullptr;
    EXPECT_NE(0, qmi_client_notifier_init(service_object(), &sig, &notifier));
    EXPECT_EQ(nullptr, notifier);
    setenv(KEST_SOCKET_ENV, saved.c_str(), 1);
}

// A process of another user at the socket is not the service: the client
// is not made, and nothing is sent to it.
TEST(Init, RefusesAServiceOfAnotherUser)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root, to act as another user";
    char tmpl[] = "/tmp/vg-untrusted-XXXXXX";
    const std::string dir = mkdtemp(tmpl);
    ASSERT_EQ(0, chown(dir.c_str(), 65534, 65534));
    const std::string sock = dir + "/kest.sock";
    const pid_t child = impostor::start(sock, 65534);
    ASSERT_GT(child, 0);
    const std::string saved = g_socket;
    setenv(KEST_SOCKET_ENV, sock.c_str(), 1);
    qmi_service_info info{QMI_HOST_KEST_SERVICE_ID, 1, {0, 0, 0}};
    qmi_client_type client = nullptr;
    EXPECT_EQ(QMI_HOST_ERR_NO_SERVICE,
              qmi_client_init(&info, service_object(), nullptr, nullptr, nullptr, &client));
    EXPECT_EQ(nullptr, client);
    setenv(KEST_SOCKET_ENV, saved.c_str(), 1);
    EXPECT_EQ(0, impostor::outcome(child)) << "the transport sent something to the impostor";
    unlink(sock.c_str());
    rmdir(dir.c_str());
}

struct ListRow {
    const char *what;
    bool service_up;
    uint32_t room;
    bool ok;
    uint32_t entries_after;
};

class ServiceList : public ::testing::TestWithParam<ListRow> {};

TEST_P(ServiceList, FillsOneEntryWhenThereIsRoom)
{
    const ListRow row = GetParam();
    std::unique_ptr<Service> service;
    if (row.service_up)
        service = std::make_unique<Service>(answer_with(0));
    qmi_service_info list[4]{};
    uint32_t entries = row.room;
    uint32_t services = 9;
    const int rc = qmi_client_get_service_list(service_object(), list, &entries, &services);
    EXPECT_EQ(row.ok, rc == 0) << rc;
    EXPECT_EQ(row.entries_after, entries);
    EXPECT_EQ(row.service_up ? 1u : 0u, services);
    if (row.ok) {
        EXPECT_EQ(QMI_HOST_KEST_SERVICE_ID, list[0].service_id);
        EXPECT_EQ(0u, list[1].service_id) << "only one entry is written";
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, ServiceList,
                         ::testing::Values(ListRow{"no_service", false, 4, false, 0},
                                           ListRow{"no_room", true, 0, false, 0},
                                           ListRow{"room_for_one", true, 1, true, 1},
                                           ListRow{"room_for_four", true, 4, true, 1}),
                         RowName());

// ---------------------------------------------------------------------------
// Sends

TEST(Send, RequestGoesOutWholeAndTheAnswerIsCutToTheRecord)
{
    Frame seen{};
    Service service([&](Conn &c, const Frame &f) {
        seen = f;
        uint8_t resp[16];
        memset(resp, 0x5a, sizeof resp);
        c.answer(f, resp, sizeof resp);
    });
    qmi_client_type client = connect_client();
    const uint8_t req[6] = {1, 2, 3, 4, 5, 6};
    uint8_t resp[12];
    memset(resp, 0xee, sizeof resp);
    ASSERT_EQ(0, qmi_client_send_msg_sync(client, 17, req, sizeof req, resp, 8, 5000));
    EXPECT_EQ(KEST_FRAME_REQUEST, seen.h.kind);
    EXPECT_NE(0u, seen.h.txn);
    EXPECT_EQ(17u, seen.h.msg_id);
    EXPECT_EQ(8u, seen.h.aux);
    EXPECT_EQ(std::vector<uint8_t>(req, req + sizeof req), seen.payload);
    for (size_t i = 0; i < sizeof resp; ++i)
        EXPECT_EQ(i < 8 ? 0x5a : 0xee, resp[i]) << i;
    EXPECT_EQ(0, qmi_client_release(client));
}

TEST(Send, ConcurrentSendersEachGetTheirOwnAnswer)
{
    constexpr int kThreads = 8;
    constexpr int kRounds = 25;
    // The service holds the requests until all eight are in, then answers
    // them in reverse order, each with its own request's bytes.
    std::mutex m;
    std::vector<Frame> held;
    Service service([&](Conn &c, const Frame &f) {
        std::lock_guard<std::mutex> g(m);
        held.push_back(f);
        if (held.size() < kThreads)
            return;
        for (auto it = held.rbegin(); it != held.rend(); ++it)
            c.answer(*it, it->payload.data(), static_cast<uint32_t>(it->payload.size()));
        held.clear();
    });
    qmi_client_type client = connect_client();
    std::atomic<int> wrong{0};
    std::vector<std::thread> senders;
    for (uint32_t t = 0; t < kThreads; ++t) {
        senders.emplace_back([&, t] {
            for (uint32_t r = 0; r < kRounds; ++r) {
                const uint32_t req[2] = {t, r};
                uint32_t resp[2] = {~0u, ~0u};
                const int rc = qmi_client_send_msg_sync(client, 1 + t, req, sizeof req, resp,
                                                        sizeof resp, 5000);
                if (rc != 0 || resp[0] != t || resp[1] != r)
                    ++wrong;
            }
        });
    }
    for (auto &s : senders)
        s.join();
    EXPECT_EQ(0, wrong.load());
    EXPECT_EQ(kThreads * kRounds, service.requests());
    EXPECT_EQ(0, qmi_client_release(client));
}

TEST(Send, RefusedRequestFailsAndLeavesTheRecord)
{
    Service service([](Conn &c, const Frame &f) {
        const uint8_t resp[4] = {9, 9, 9, 9};
        c.answer(f, resp, sizeof resp, 1);
    });
    qmi_client_type client = connect_client();
    uint8_t resp[4] = {};
    EXPECT_EQ(QMI_HOST_ERR_REFUSED, qmi_client_send_msg_sync(client, 3, nullptr, 0, resp, 4, 5000));
    EXPECT_EQ(0, resp[0]);
    EXPECT_EQ(0, qmi_client_release(client));
}

TEST(Send, TimesOutAndALateAnswerIsDropped)
{
    std::mutex m;
    Frame dropped{};
    Conn *conn = nullptr;
    Service service([&](Conn &c, const Frame &f) {
        if (f.h.msg_id == 5) { // no answer for now
            std::lock_guard<std::mutex> g(m);
            dropped = f;
            conn = &c;
            return;
        }
        const uint8_t resp[8] = {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11};
        c.answer(f, resp, sizeof resp);
    });
    qmi_client_type client = connect_client();
    uint8_t first[8];
    memset(first, 0xee, sizeof first);
    const auto t0 = steady::now();
    EXPECT_EQ(QMI_HOST_ERR_TIMEOUT,
              qmi_client_send_msg_sync(client, 5, nullptr, 0, first, sizeof first, 300));
    const long waited = ms_since(t0);
    EXPECT_GE(waited, 295);
    EXPECT_LT(waited, 1500);

    {
        std::lock_guard<std::mutex> g(m);
        ASSERT_NE(nullptr, conn);
        const uint8_t late[8] = {0x77, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77};
        conn->answer(dropped, late, sizeof late);
    }
    // The late answer is read before this one, and reaches nobody.
    uint8_t second[8] = {};
    EXPECT_EQ(0, qmi_client_send_msg_sync(client, 6, nullptr, 0, second, sizeof second, 5000));
    EXPECT_EQ(0x11, second[0]);
    EXPECT_EQ(0xee, first[0]);
    EXPECT_EQ(0, qmi_client_release(client));
}

// A send waits on a service that holds its request; then `end` is called.
// The send must fail at once, and so must every later send.
void expect_waiting_send_fails_at_once(Service &service, qmi_client_type client,
                                       const std::function<void()> &end)
{
    std::atomic<int> rc{1};
    std::atomic<long> returned_at{0};
    const auto t0 = steady::now();
    std::thread sender([&] {
        uint8_t resp[4];
        rc = qmi_client_send_msg_sync(client, 7, nullptr, 0, resp, sizeof resp, 5000);
        returned_at = ms_since(t0);
    });
    ASSERT_TRUE(service.wait_until([&] { return service.requests() >= 1; }));
    const long ended_at = ms_since(t0);
    end();
    sender.join();
    EXPECT_EQ(QMI_HOST_ERR_CLOSED, rc.load());
    EXPECT_LT(returned_at.load() - ended_at, 1000) << "waited out its time-out";

    const auto t1 = steady::now();
    uint8_t resp[4];
    EXPECT_EQ(QMI_HOST_ERR_CLOSED,
              qmi_client_send_msg_sync(client, 7, nullptr, 0, resp, sizeof resp, 5000));
    EXPECT_LT(ms_since(t1), 1000) << "waited out its time-out";
}

Script hold_requests(std::atomic<Conn *> &conn)
{
    return [&conn](Conn &c, const Frame &) { conn = &c; };
}

TEST(Send, ServiceDeathFailsWaitingAndLaterSendsAtOnce)
{
    std::atomic<Conn *> conn{nullptr};
    Service service(hold_requests(conn));
    qmi_client_type client = connect_client();
    expect_waiting_send_fails_at_once(service, client, [&] { service.stop(); });
    EXPECT_EQ(0, qmi_client_release(client));
}

struct BadFrameRow {
    const char *what;
    kest_frame_header h;
};

class BadFrame : public ::testing::TestWithParam<BadFrameRow> {};

TEST_P(BadFrame, EndsTheConnection)
{
    std::atomic<Conn *> conn{nullptr};
    Service service(hold_requests(conn));
    qmi_client_type client = connect_client();
    const kest_frame_header bad = GetParam().h;
    expect_waiting_send_fails_at_once(service, client, [&] {
        const uint8_t junk[16] = {};
        conn.load()->send(bad, bad.len <= sizeof junk ? junk : nullptr);
    });
    EXPECT_TRUE(service.wait_until([&] { return conn.load()->closed_by_client.load(); }, 1000ms))
        << "the transport kept the connection";
    EXPECT_EQ(0, qmi_client_release(client));
}

kest_frame_header answer_header(uint32_t magic, uint16_t version, uint32_t len)
{
    kest_frame_header h = kest_frame_make(KEST_FRAME_RESPONSE, 1, 7, len);
    h.magic = magic;
    h.version = version;
    return h;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BadFrame,
    ::testing::Values(BadFrameRow{"magic", answer_header(0x4b455354u, kKestFrameVersion, 4)},
                      BadFrameRow{"version", answer_header(kKestFrameMagic, 2, 4)},
                      BadFrameRow{"length", answer_header(kKestFrameMagic, kKestFrameVersion,
                                                          kKestFrameMaxPayload + 1)}),
    RowName());

TEST(Send, RefusesBadArguments)
{
    Service service(answer_with(0));
    qmi_client_type client = connect_client();
    mgmt_os_signal sig{};
    qmi_client_type notifier = nullptr;
    ASSERT_EQ(0, qmi_client_notifier_init(service_object(), &sig, &notifier));
    uint8_t buf[8] = {};
    static uint8_t big[kKestFrameMaxPayload + 1];
    struct Row {
        qmi_client_type handle;
        const void *req;
        uint32_t req_len;
        void *resp;
        uint32_t resp_len;
    };
    const Row rows[] = {
        {nullptr, buf, 4, buf, 4},        // no client
        {notifier, buf, 4, buf, 4},       // a notifier is no client
        {client, nullptr, 4, buf, 4},     // request length without a request
        {client, buf, 4, nullptr, 4},     // response length without a response
        {client, big, sizeof big, buf, 4} // request longer than a frame
    };
    for (const Row &r : rows)
        EXPECT_EQ(QMI_HOST_ERR_ARGUMENT, qmi_client_send_msg_sync(r.handle, 1, r.req, r.req_len,
                                                                  r.resp, r.resp_len, 5000));
    EXPECT_EQ(0, service.requests());
    EXPECT_EQ(0, qmi_client_release(notifier));
    EXPECT_EQ(0, qmi_client_release(client));
}

// ---------------------------------------------------------------------------
// Indications

struct Delivery {
    std::thread::id thread;
    qmi_client_type client;
    uint32_t msg_id;
    uint32_t seq;
    uint32_t len;
    void *data;
};

struct Recorder {
    std::mutex m;
    std::vector<Delivery> got;
    std::atomic<int> inside{0};
    std::atomic<int> overlapped{0};
    std::atomic<bool> released{false};
    std::atomic<int> after_release{0};

    static void cb(qmi_client_type client, uint32_t msg_id, void *buf, uint32_t len, void *data)
    {
        auto &r = *static_cast<Recorder *>(data);
        if (r.inside++ != 0)
            ++r.overlapped;
        if (r.released)
            ++r.after_release;
        uint32_t seq = ~0u;
        if (len >= sizeof seq)
            memcpy(&seq, buf, sizeof seq);
        {
            std::lock_guard<std::mutex> g(r.m);
            r.got.push_back({std::this_thread::get_id(), client, msg_id, seq, len, data});
        }
        std::this_thread::sleep_for(std::chrono::microseconds(50));
        --r.inside;
    }
    size_t count()
    {
        std::lock_guard<std::mutex> g(m);
        return got.size();
    }
};

constexpr uint32_t kIndIds[] = {KEST_WIFI_STA_STATUS_IND, KEST_WIFI_AP_STA_IND,
                                KEST_DATA_CALL_STATUS_IND};

// On message 1: answers, then sends `count` indications numbered from 0,
// cycling through the indications' ids; count 0 sends until the client is gone.
Script indications_after_answer(uint32_t count)
{
    return [count](Conn &c, const Frame &f) {
        if (f.h.msg_id != 1) {
            c.answer(f, nullptr, 0);
            return;
        }
        c.answer(f, nullptr, 0);
        for (uint32_t seq = 0; count == 0 || seq < count; ++seq) {
            uint32_t payload[4] = {seq, 0, 0, 0};
            if (!c.indicate(kIndIds[seq % 3], payload, sizeof payload))
                return;
        }
    };
}

TEST(Indications, ArriveInOrderOneAtATimeOnOneThread)
{
    constexpr uint32_t kCount = 300;
    Service service(indications_after_answer(kCount));
    Recorder rec;
    qmi_client_type client = connect_client(Recorder::cb, &rec);
    ASSERT_EQ(0, qmi_client_send_msg_sync(client, 1, nullptr, 0, nullptr, 0, 5000));
    ASSERT_TRUE(service.wait_until([&] { return rec.count() == kCount; }));
    EXPECT_EQ(0, qmi_client_release(client));

    EXPECT_EQ(0, rec.overlapped.load());
    ASSERT_EQ(kCount, rec.got.size());
    for (uint32_t i = 0; i < kCount; ++i) {
        const Delivery &d = rec.got[i];
        EXPECT_EQ(i, d.seq);
        EXPECT_EQ(kIndIds[i % 3], d.msg_id);
        EXPECT_EQ(16u, d.len);
        EXPECT_EQ(client, d.client);
        EXPECT_EQ(&rec, d.data);
        EXPECT_EQ(rec.got[0].thread, d.thread);
    }
    EXPECT_NE(std::this_thread::get_id(), rec.got[0].thread);
}

TEST(Indications, NoneAfterReleaseAndNoThreadLeft)
{
    Service service(indications_after_answer(0));
    Recorder rec;
    qmi_client_type client = connect_client(Recorder::cb, &rec);
    EXPECT_TRUE(transport_threads_become(2));
    ASSERT_EQ(0, qmi_client_send_msg_sync(client, 1, nullptr, 0, nullptr, 0, 5000));
    ASSERT_TRUE(service.wait_until([&] { return rec.count() >= 50; }));
    EXPECT_EQ(0, qmi_client_release(client));
    rec.released = true;
    EXPECT_TRUE(transport_threads_become(0));
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(0, rec.after_release.load());
}

// The callback sends on its own client and gets its answer; releasing the
// client from there is refused instead of waiting for itself.
struct Reentrant {
    qmi_client_type client = nullptr;
    std::atomic<int> send_rc{1};
    std::atomic<int> release_rc{0};
    uint8_t resp[4] = {};
    std::atomic<bool> done{false};

    static void cb(qmi_client_type client, uint32_t, void *, uint32_t, void *data)
    {
        auto &r = *static_cast<Reentrant *>(data);
        r.send_rc = qmi_client_send_msg_sync(client, 2, nullptr, 0, r.resp, sizeof r.resp, 5000);
        r.release_rc = qmi_client_release(client);
        r.done = true;
    }
};

TEST(Indications, CallbackMaySendOnItsClientButNotReleaseIt)
{
    Service service([](Conn &c, const Frame &f) {
        const uint8_t resp[4] = {0x42, 0, 0, 0};
        c.answer(f, resp, sizeof resp);
        if (f.h.msg_id == 1)
            c.indicate(KEST_WIFI_STA_STATUS_IND, resp, sizeof resp);
    });
    Reentrant r;
    r.client = connect_client(Reentrant::cb, &r);
    ASSERT_EQ(0, qmi_client_send_msg_sync(r.client, 1, nullptr, 0, nullptr, 0, 5000));
    ASSERT_TRUE(service.wait_until([&] { return r.done.load(); }));
    EXPECT_EQ(0, r.send_rc.load());
    EXPECT_EQ(0x42, r.resp[0]);
    EXPECT_EQ(QMI_HOST_ERR_THREAD, r.release_rc.load());
    EXPECT_EQ(0, qmi_client_release(r.client));
}

// ---------------------------------------------------------------------------
// Decode

struct DecodeRow {
    const char *what;
    int kind;
    uint32_t src_len;
    uint32_t dst_len;
    bool ok;
};

class Decode : public ::testing::TestWithParam<DecodeRow> {};

TEST_P(Decode, CopiesAnIndicationThatFits)
{
    const DecodeRow row = GetParam();
    uint8_t src[32];
    for (size_t i = 0; i < sizeof src; ++i)
        src[i] = static_cast<uint8_t>(i + 1);
    uint8_t dst[32];
    memset(dst, 0xcd, sizeof dst);
    const int rc =
        qmi_client_message_decode(nullptr, row.kind, 32, src, row.src_len, dst, row.dst_len);
    EXPECT_EQ(row.ok, rc == 0);
    const uint32_t copied = row.ok ? row.src_len : 0;
    for (uint32_t i = 0; i < sizeof dst; ++i)
        EXPECT_EQ(i < copied ? src[i] : 0xcd, dst[i]) << i;
}

INSTANTIATE_TEST_SUITE_P(Rows, Decode,
                         ::testing::Values(DecodeRow{"shorter", QMI_IDL_INDICATION, 8, 16, true},
                                           DecodeRow{"exact", QMI_IDL_INDICATION, 16, 16, true},
                                           DecodeRow{"empty", QMI_IDL_INDICATION, 0, 16, true},
                                           DecodeRow{"longer", QMI_IDL_INDICATION, 17, 16, false},
                                           DecodeRow{"response", QMI_IDL_RESPONSE, 8, 16, false},
                                           DecodeRow{"request", QMI_IDL_REQUEST, 8, 16, false}),
                         RowName());
} // namespace

int main(int argc, char **argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    const vg_test::SocketFolder folder;
    return RUN_ALL_TESTS();
}
