#include "report/flight_run.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <numbers>

#include "afqt_run.h"
#include "flight_controller/aircraft_model.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

std::string text_of(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The file of that kind written last; empty when there is none.
fs::path newest(const fs::path& folder, const std::function<bool(const fs::path&)>& wanted)
{
    fs::path found;
    fs::file_time_type found_at;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        const fs::file_time_type at = entry.last_write_time(error);
        if (!entry.is_regular_file(error) || !wanted(entry.path()) || (!found.empty() && at <= found_at)) continue;
        found = entry.path();
        found_at = at;
    }
    return found;
}

bool is_named(const fs::path& path, const char* begin, const char* end)
{
    const std::string name = path.filename().string();
    return name.starts_with(begin) && name.ends_with(end);
}

std::optional<std::string> find_record(const std::string& path, failure_t& failure)
{
    std::error_code error;
    if (!fs::is_directory(path, error)) return path;
    const fs::path found = newest(path, [](const fs::path& one) { return one.extension() == ".ulg"; });
    if (!found.empty()) return found.string();
    failure = {exit_code::bad_input, path + ": no flight record (.ulg) in this folder",
               "`vela fly LIST.json --log flight.ulg` writes one, the aircraft's own stands beside its log."};
    return std::nullopt;
}

void read_beside(const fs::path& folder, flight_run_t& run, std::optional<size_t>& list_motions)
{
    const fs::path log = newest(folder, [](const fs::path& one) { return is_named(one, "afqt_log_", ""); });
    if (log.empty())
        run.missing.emplace_back("the service's log (afqt_log_*): its states and errors are not told");
    else
        run.log = peers::service_log_t::parse(text_of(log));
    const fs::path tag = newest(folder, [](const fs::path& one) { return is_named(one, "afqttag_", ".json"); });
    if (!tag.empty()) run.tag = json::parse(text_of(tag), nullptr, false);
    if (!run.tag.is_object()) {
        run.tag = json();
        run.missing.emplace_back("the tag file (afqttag_*.json): place and serial number are not told");
    }
    const fs::path list = newest(folder, [](const fs::path& one) {
        return one.extension() == ".json" && !is_named(one, "afqttag_", "") && motions_of(one.string());
    });
    if (list.empty())
        run.missing.emplace_back("the motion list (*.json): how many motions it has is not told");
    else
        list_motions = motions_of(list.string());
}

std::optional<double> number_at(const json& list, size_t index)
{
    if (!list.is_array() || list.size() <= index || !list[index].is_number()) return std::nullopt;
    return list[index].get<double>();
}

}  // namespace

double flight_run_t::take_off_s() const
{
    const auto state = rows->column("mode", "flight_state");
    const auto in_air = static_cast<double>(peers::flight_state::in_air);
    const auto found = std::find(state.begin(), state.end(), in_air);
    if (rows->size() == 0) return 0;
    return rows->times()[found == state.end() ? 0 : static_cast<size_t>(found - state.begin())];
}

std::optional<flight_run_t> read_flight(const std::string& path, failure_t& failure)
{
    const std::optional<std::string> file = find_record(path, failure);
    if (!file) return std::nullopt;
    peers::record_error_t error;
    std::optional<peers::FlightRecord> record = peers::FlightRecord::read(*file, error);
    if (!record) {
        failure = {exit_code::bad_input, *file + ": at " + std::to_string(error.offset) + ": " + error.reason,
                   "A flight record is a ULog file, as `vela fly --log` and `vela fc --fly --log` write it."};
        return std::nullopt;
    }
    flight_run_t run;
    run.path = *file;
    run.record = std::make_unique<const peers::FlightRecord>(std::move(*record));
    std::string why;
    run.rows = peers::FlightRows::of(*run.record, why);
    if (!run.rows || run.rows->size() == 0) {
        failure = {exit_code::bad_input, *file + ": no record of a flight: " + (run.rows ? "it has no row" : why),
                   "`vela fc log " + *file + "` shows what it holds."};
        return std::nullopt;
    }
    std::optional<size_t> list_motions;
    read_beside(fs::absolute(*file).parent_path(), run, list_motions);
    run.story = peers::tell_flight(*run.record, *run.rows, run.log ? &*run.log : nullptr, list_motions);
    run.steps = peers::measure_step_motions(*run.rows, run.story.motions);
    run.sweeps = peers::measure_sweeps(*run.rows);
    return run;
}

std::optional<start_point_t> start_of(const json& tag)
{
    if (!tag.is_object() || !tag.contains("test_loc")) return std::nullopt;
    const std::optional<double> latitude = number_at(tag["test_loc"], 0);
    const std::optional<double> longitude = number_at(tag["test_loc"], 1);
    if (!latitude || !longitude || (*latitude == 0 && *longitude == 0)) return std::nullopt;
    constexpr double DEGREES = 180 / std::numbers::pi;
    if (std::fabs(*latitude) > std::numbers::pi / 2 || std::fabs(*longitude) > std::numbers::pi) return std::nullopt;
    return start_point_t{*latitude * DEGREES, *longitude * DEGREES};
}

}  // namespace cli
