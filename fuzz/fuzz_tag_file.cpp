// The tag file beside a flight record: where the flight began.
#include <cmath>
#include <nlohmann/json.hpp>

#include "fuzz_file.h"
#include "report/flight_run.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const auto start = cli::start_of(cli::json::parse(text_of({data, size}), nullptr, false));
    if (!start) return 0;
    check(std::fabs(start->latitude) <= 90 && std::fabs(start->longitude) <= 180, "a place on earth");
    return 0;
}
