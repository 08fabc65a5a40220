// The flight record as a file of comma-separated values, one row of the record a line.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "flight_controller/aircraft_model.h"

namespace peers {

class FlightLog {
public:
    // Null, with errno telling why, when the file cannot be made. An old one is overwritten.
    static std::unique_ptr<FlightLog> create(const std::string& path);
    ~FlightLog();
    FlightLog(const FlightLog&) = delete;
    FlightLog& operator=(const FlightLog&) = delete;

    void write(const flight_row_t& row);

    // Writes out what is left. False when the disk did not take everything.
    bool close();

private:
    explicit FlightLog(std::FILE* file) : file_(file) {}

    std::FILE* file_;
    bool complete_ = true;
};

}  // namespace peers
