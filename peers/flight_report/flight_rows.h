// The rows of a flight record as one table: all topics at the same times.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "flight_record/flight_record.h"

namespace peers {

// A column of bytes, in a record that may hold anything: 0 for what is no byte.
uint8_t byte_of(double value);

class FlightRows {
public:
    // None with `why` filled when the record is none of a flight: topics are missing or have different times, or the
    // times do not rise. The record must outlive the rows.
    static std::optional<FlightRows> of(const FlightRecord& record, std::string& why);

    std::span<const double> times() const { return times_; }  // s
    size_t size() const { return times_.size(); }

    // A field of flight_columns(), as many values as there are times.
    std::span<const double> column(std::string_view topic, std::string_view field) const;

    // The first row at or behind that time.
    size_t row_at(double time) const;

private:
    explicit FlightRows(const FlightRecord& record) : record_(&record) {}

    const FlightRecord* record_;
    std::vector<double> times_;
};

}  // namespace peers
