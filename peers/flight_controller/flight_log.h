// The flight record as a ULog file: every row of the record in its topics, and markers where something begins or ends.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "flight_controller/aircraft_model.h"
#include "flight_record/ulog_writer.h"

namespace peers {

// A value of a row: where it stands in the record, and what its column is called in a table.
struct flight_column_t {
    const char* topic;
    const char* field;
    const char* heading;
    bool whole;  // a byte, else single precision
    double (*value)(const flight_row_t& row);
};

// In the order of a table, whose first column is the time ("time_s"); the fields of a topic stand together.
std::span<const flight_column_t> flight_columns();

class FlightLog {
public:
    // Null, with errno telling why, when the file cannot be made. An old one is overwritten.
    static std::unique_ptr<FlightLog> create(const std::string& path, const aircraft_config_t& aircraft);
    FlightLog(const FlightLog&) = delete;
    FlightLog& operator=(const FlightLog&) = delete;

    // Both from any thread. Motions are marked where a heartbeat tells another one than the last: once a second.
    void write(const flight_row_t& row);
    void hear(const afqt_heart_beat_t& beat);

    // Writes out what is left. False when the disk did not take everything.
    bool close();

private:
    explicit FlightLog(std::unique_ptr<UlogWriter> writer) : writer_(std::move(writer)) {}
    void define(const aircraft_config_t& aircraft);
    void mark_changes(const flight_row_t& row, uint64_t time_us);
    void mark_sweep(const flight_row_t& row, uint64_t time_us);

    std::mutex mutex_;  // guards everything below
    const std::unique_ptr<UlogWriter> writer_;
    uint64_t time_us_ = 0;                // of the last row
    std::optional<flight_row_t> before_;  // the last row
    uint8_t motion_ = 0;                  // that is flown, from 1; 0: none
};

}  // namespace peers
