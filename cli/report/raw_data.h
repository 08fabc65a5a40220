// The rows of a flight as a table that a page carries.
#pragma once

#include <optional>
#include <string>

#include "report/flight_run.h"

namespace cli {

struct raw_data_t {
    std::string csv_gz;  // base64 of the compressed table, headings as `vela fc log --csv` writes them
    double rate_hz = 0;  // of its rows: not all of the record, so that the page stays small
};

raw_data_t raw_data_of(const flight_run_t& run);

}  // namespace cli
