// Two processes that play ping-pong over one kind of transport.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

inline constexpr size_t PAYLOAD = 200;
inline constexpr size_t RECORD = 16 + PAYLOAD;  // with the bus's record head

using clock_type = std::chrono::steady_clock;

inline double us_since(clock_type::time_point begin)
{
    return std::chrono::duration<double, std::micro>(clock_type::now() - begin).count();
}

class pair {
public:
    virtual ~pair() = default;
    // Connects this process; the child answers already or will do so soon.
    virtual void open() = 0;
    // Times of `count` round trips of a request and an answer of PAYLOAD bytes, in microseconds.
    virtual std::vector<double> ping(size_t count) = 0;
};

// Their constructors fork the answering process: make all before the first open(), which may start threads.
// Blocking send and recv on a SEQPACKET socket pair: what the kernel alone asks for.
std::unique_ptr<pair> make_bare_pair();
// REQ and REP over ipc:// in `directory`.
std::unique_ptr<pair> make_zmq_pair(const std::string& directory);
// From the app's send over the service's handler back into the app's reply callback, which sends the next request; or,
// `waiting`, with kest_event_send_sync. Each pair has its own bus in `directory`.
std::unique_ptr<pair> make_tarn_pair(const std::string& directory, bool waiting);
// The same between two route files, whatever joins their buses; app 0x0200 and service 0x1105 of service "bench".
std::unique_ptr<pair> make_tarn_pair_between(const std::string& app_config, const std::string& service_config,
                                             bool waiting);
// A route file for it, beside the directory of its bus.
std::string write_tarn_config(const std::string& bus_dir);

// Ends the benchmark with a line on standard error.
[[noreturn]] void fail(const char* what);
