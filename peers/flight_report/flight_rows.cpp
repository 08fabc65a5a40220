#include "flight_report/flight_rows.h"

#include <algorithm>

#include "flight_controller/flight_log.h"

namespace peers {
namespace {

const record_column_t* find(const FlightRecord& record, std::string_view topic, std::string_view field)
{
    const record_topic_t* found = record.topic(topic);
    return found == nullptr ? nullptr : found->column(field);
}

// Rows that every topic has: a record that was cut ends within a row.
size_t common_rows(const FlightRecord& record)
{
    size_t rows = SIZE_MAX;
    for (const flight_column_t& wanted : flight_columns())
        rows = std::min(rows, record.topic(wanted.topic)->times_us.size());
    return rows;
}

bool same_times(const FlightRecord& record, size_t rows)
{
    const std::vector<uint64_t>& times = record.topic(flight_columns().front().topic)->times_us;
    return std::all_of(flight_columns().begin(), flight_columns().end(), [&](const flight_column_t& one) {
        return std::equal(times.begin(), times.begin() + static_cast<ptrdiff_t>(rows),
                          record.topic(one.topic)->times_us.begin());
    });
}

}  // namespace

uint8_t byte_of(double value)
{
    return value >= 0 && value <= UINT8_MAX ? static_cast<uint8_t>(value) : uint8_t{0};
}

std::optional<FlightRows> FlightRows::of(const FlightRecord& record, std::string& why)
{
    for (const flight_column_t& wanted : flight_columns()) {
        if (find(record, wanted.topic, wanted.field) != nullptr) continue;
        why = std::string("it has no ") + wanted.topic + "." + wanted.field;
        return std::nullopt;
    }
    const size_t count = common_rows(record);
    why = "its topics have different times";
    if (!same_times(record, count)) return std::nullopt;
    FlightRows rows(record);
    for (size_t i = 0; i < count; i++)
        rows.times_.push_back(static_cast<double>(record.topic(flight_columns().front().topic)->times_us[i]) / 1e6);
    why = "its times do not rise";
    const auto not_rising = [](double left, double right) { return !(left < right); };
    if (std::adjacent_find(rows.times_.begin(), rows.times_.end(), not_rising) != rows.times_.end())
        return std::nullopt;
    why.clear();
    return rows;
}

std::span<const double> FlightRows::column(std::string_view topic, std::string_view field) const
{
    const record_column_t* found = find(*record_, topic, field);
    if (found == nullptr) return {};
    return std::span<const double>(found->values).first(times_.size());
}

size_t FlightRows::row_at(double time) const
{
    return static_cast<size_t>(std::lower_bound(times_.begin(), times_.end(), time) - times_.begin());
}

}  // namespace peers
