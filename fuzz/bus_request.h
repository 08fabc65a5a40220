// Records for fuzz_bus out of the bytes of an input.
#pragma once

#include <algorithm>
#include <cstdint>

#include "bus_rules.h"

// Bytes of the input, until there are none; then zeros.
class Input {
public:
    Input(const uint8_t* data, size_t size) : data_(data), left_(size) {}
    bool empty() const { return left_ == 0; }
    uint8_t byte()
    {
        if (left_ == 0) return 0;
        --left_;
        return *data_++;
    }
    bytes_t bytes(size_t count)
    {
        count = std::min(count, left_);
        bytes_t taken(data_, data_ + count);
        data_ += count;
        left_ -= count;
        return taken;
    }

private:
    const uint8_t* data_;
    size_t left_;
};

// A record for that command or, when the input says so, for any. Its payload is any bytes or one that the command
// would take in the model's state: chance alone hardly ever gets past numbers, lengths and digests.
record_t take_record(Input& input, const command_t& command, const sim::ServiceModel& model);
