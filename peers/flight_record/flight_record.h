// A flight record read back: any ULog file whose topics hold plain numbers and arrays of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/records.h"

namespace peers {

struct record_column_t {
    std::string name;  // of an array's element with its index: "motor[2]"
    std::vector<double> values;
};

struct record_topic_t {
    std::string name;
    uint8_t instance = 0;
    std::vector<uint64_t> times_us;
    std::vector<record_column_t> columns;  // each with as many values as there are times

    const record_column_t* column(std::string_view name) const;  // null: there is none
    double seconds() const;                                      // from the first row to the last
    double rate_hz() const;                                      // 0 with fewer than two rows
};

struct record_marker_t {
    uint64_t time_us;
    std::string text;
};

struct record_error_t {
    uint64_t offset = 0;  // of the message that is wrong
    std::string reason;
};

struct FlightRecord {
    // None with `error` filled. A file that ends within a message is read up to there.
    static std::optional<FlightRecord> read(const std::string& path, record_error_t& error);
    static std::optional<FlightRecord> parse(bytes_view file, record_error_t& error);

    const record_topic_t* topic(std::string_view name) const;  // its first instance; null: there is none

    uint64_t start_us = 0;
    std::vector<std::pair<std::string, std::string>> info;  // as text; arrays of numbers are left out
    std::vector<std::pair<std::string, double>> parameters;
    std::vector<record_topic_t> topics;
    std::vector<record_marker_t> markers;
    std::optional<uint64_t> cut_at;  // offset of the message that did not come whole
};

}  // namespace peers
