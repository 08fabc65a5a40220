// Captures of the bus for commands: what the head of a new one says, and what is in one that is there.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bus_access.h"
#include "capture/capture_writer.h"
#include "tap_socket.h"

namespace cli {

// This tool, this machine, the tap, and the names of the addresses.
peers::capture_about_t about_capture(const route_config_t& config);

struct captured_t {
    tap_record_t record;
    uint64_t wall_ns;
    size_t offset;  // of its block in the file
};

struct loaded_capture_t {
    std::vector<captured_t> records;  // in the order of the file
    uint64_t lost = 0;                // copies that the file says are missing
};

// False with `failure` filled when the file is unreadable or no whole capture of the bus; `capture` then has what
// stands before the error.
bool load_capture(const std::string& path, loaded_capture_t& capture, failure_t& failure);

// The route configuration, or no names when the default one is not on this machine: a capture can be read anywhere.
// None with `failure` filled when another one was named and cannot be read.
std::optional<route_config_t> names_for_capture(const context_t& context, failure_t& failure);

}  // namespace cli
