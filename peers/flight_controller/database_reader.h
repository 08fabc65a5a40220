// Reads the installed no-fly-zone database back through the service, in ranges of at most 270 bytes, one after another.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "common/bus_endpoint.h"
#include "flight_v1_wire.h"
#include "upgrade_wire.h"

namespace peers {

enum class read_outcome {
    done,
    unreachable,  // the bus does not reach the service
    no_answer,
    no_database,  // none on the aircraft, or an empty one
    busy,         // an upgrade is under way
    failed,       // the last upgrade failed: nothing is served
    past_end,     // the range reaches beyond the end of the file
    far_disk,     // the aircraft cannot read its file
    unexpected,   // an answer outside the protocol
    cancelled,
};

const char* outcome_name(read_outcome outcome);  // for example "past_end"

struct read_result_t {
    read_outcome outcome = read_outcome::done;
    uint8_t code = 0;           // result code of the last answer
    std::string what;           // one sentence; empty when done
    std::string next;           // what to do; empty when done
    std::vector<uint8_t> data;  // what was read, also before a failure
    bool whole_file = false;    // read from 0 to the end of the file
    uint32_t requests = 0;      // answered
    uint32_t resends = 0;
    uint64_t elapsed_us = 0;
};

struct read_job_t {
    uint16_t target = HOST_NFZ_UPGRADE;
    uint32_t reply_timeout_us = 1'000'000;
    uint32_t tries = 5;  // sends of one request
    uint32_t offset = 0;
    std::optional<uint32_t> length;                  // none: up to the end, which is found on the way
    std::function<void(uint64_t bytes)> progress;    // after each range; may be empty
    std::function<void(const read_result_t&)> done;  // exactly once
};

// `progress` and `done` run without a lock, on the endpoint's task or its timer's thread; `done` also within begin().
class DatabaseReader {
public:
    explicit DatabaseReader(BusEndpoint& endpoint) : endpoint_(endpoint) {}
    DatabaseReader(const DatabaseReader&) = delete;
    DatabaseReader& operator=(const DatabaseReader&) = delete;

    // 0, or without any callback -EALREADY.
    kest_result_t begin(read_job_t job);

    // Ends the reading under way, if any, as "cancelled".
    void cancel();

private:
    using lock_t = std::unique_lock<std::mutex>;

    void ask(lock_t& lock);
    void answered(uint64_t run, const reply_t& reply);
    void on_range(lock_t& lock, bytes_view payload);
    void on_refusal(lock_t& lock, uint8_t code);
    void keep(lock_t& lock, bytes_view range);
    uint32_t next_length() const;
    void fail(lock_t& lock, read_outcome outcome, const char* what, const char* next);
    void fail_silent(lock_t& lock, kest_result_t result);
    void finish(lock_t& lock);

    BusEndpoint& endpoint_;
    std::mutex mutex_;
    // Everything below is guarded by the mutex.
    std::shared_ptr<const read_job_t> job_;  // null: nothing under way
    uint64_t run_ = 0;
    uint64_t start_us_ = 0;
    uint32_t asked_ = 0;        // bytes of the request under way
    uint32_t known_short_ = 0;  // this many bytes from here reach beyond the end; 0: the end is not in sight
    read_result_t result_;
};

}  // namespace peers
