// Reads captures of the bus back, also when another program has copied, cut or joined them. Believes no length in the
// file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/records.h"
#include "tarn_host.h"

namespace peers {

struct capture_packet_t {
    uint64_t time_ns;  // wall clock
    bytes_view bytes;  // within the file that was read
    size_t offset;     // of its block in there
};

struct capture_t {
    std::vector<capture_packet_t> packets;  // in the order of the file
    uint64_t lost = 0;                      // copies that the file says are missing
};

struct capture_error_t {
    size_t offset = 0;  // of the block that is wrong
    std::string reason;
};

// False with `error` filled; `capture` then has what stands before the error. `file` must outlive `capture`.
bool read_capture(bytes_view file, capture_t& capture, capture_error_t& error);

// The bytes of a packet are what the tap gave: its head and one record. False, with both untouched, when they are not
// exactly that.
bool read_tap_copy(bytes_view bytes, tarn_tap_head_t& head, kest_event_t& event);

}  // namespace peers
