// A flight record from anywhere.
#include "flight_record/flight_record.h"
#include "fuzz_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    peers::record_error_t error;
    const auto record = peers::FlightRecord::parse({data, size}, error);
    if (!record) {
        check(!error.reason.empty() && error.offset <= size, "a reason, and where");
        return 0;
    }
    for (const peers::record_topic_t& topic : record->topics) {
        for (const peers::record_column_t& column : topic.columns)
            check(column.values.size() == topic.times_us.size(), "a value for each time");
    }
    return 0;
}
