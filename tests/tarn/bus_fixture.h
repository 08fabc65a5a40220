// What the tests speak in: a bus of their own, endpoints with a mailbox, and what was printed.
#pragma once

#include <gmock/gmock.h>
#include <kest_event.h>
#include <kest_mb.h>
#include <tarn_host.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "support/raw_peer.h"
#include "support/scratch.h"

constexpr uint16_t SERVICE = 0x1105;
constexpr uint16_t APP = 0x0200;
constexpr uint16_t CONTROLLER = 0x0306;
constexpr uint16_t STRANGER = 0x4242;  // in no route configuration

constexpr uint16_t NEED_ACK = 0x0040;
constexpr uint16_t REPLY = 0x0080;

constexpr uint32_t message(uint32_t set, uint32_t id)
{
    return set << 16 | id;
}

// A record with `size` payload bytes of `fill`.
kest_event_t record(uint16_t to, uint32_t msg_id, uint32_t size = 0, uint8_t fill = 0xaa, uint16_t seq_id = 1,
                    uint16_t attrib = NEED_ACK);

// Runs `work` in as many threads at once, numbered from 0, until all are done.
void in_threads(uint16_t count, const std::function<void(uint16_t thread)>& work);

tarn_stats_file_t stats_in(const std::string& path);

// Standard error until this object goes.
class captured_stderr {
public:
    captured_stderr();
    ~captured_stderr();
    captured_stderr(const captured_stderr&) = delete;
    captured_stderr& operator=(const captured_stderr&) = delete;
    std::string text() const;
    int64_t lines() const;

private:
    int memory_;
    int before_;
};

// A bus in a scratch directory with the three endpoints above; `extra` goes into its configuration.
class bus {
public:
    explicit bus(const std::string& extra = "");
    std::string config() const { return config_; }
    std::string dir() const { return directory_ / "bus"; }
    std::string socket_of(uint16_t host) const;
    std::string tap_path() const { return directory_ / "tap"; }

private:
    scratch directory_;
    std::string config_;
};

// A client whose callbacks put everything into a mailbox. Sets 0 to 2 have 255 commands, set 3 has ten; in each of them
// command 9 has no callbacks.
class endpoint {
public:
    using handler = std::function<void(kest_event_client_t, const kest_event_t&)>;

    endpoint(const bus& on, uint16_t host, bool starts = true);
    ~endpoint() { close(); }
    endpoint(const endpoint&) = delete;
    endpoint& operator=(const endpoint&) = delete;

    kest_event_client_t get() const { return client_; }
    kest_result_t created() const { return created_; }  // what creating gave
    kest_result_t start() { return kest_event_start_client(client_); }
    void close();
    void serve(handler requests);
    kest_result_t send(const kest_event_t& event) const { return kest_event_send(client_, &event); }

    // The next record of the mailbox; fails the test when none comes.
    kest_event_t take();
    size_t waiting();
    uint64_t counter(uint32_t which) const;  // as others read it from the file

    std::atomic<bool> keeps_mail = true;  // the mailbox takes heap

private:
    static kest_result_t on_record(kest_event_client_t client, const kest_event_t* event, void* self);

    kest_event_cmd_desc_t descriptors_[255];
    std::string stats_;
    kest_event_client_t client_ = nullptr;
    kest_result_t created_ = 0;
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<kest_event_t> mail_;
    handler serves_;
};

// Service and app on one bus.
class TwoEnds : public testing::Test {
protected:
    explicit TwoEnds(const std::string& config = "") : on(config) {}

    // Both have a connection from here on.
    void meet()
    {
        app.send(record(SERVICE, message(0, 1)));
        service.take();
    }

    const bus on;
    endpoint service{on, SERVICE};
    endpoint app{on, APP};
};
