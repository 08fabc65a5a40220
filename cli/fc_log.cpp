#include "fc_log.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "console.h"
#include "files.h"
#include "flight_controller/flight_log.h"
#include "flight_record/flight_record.h"
#include "table.h"
#include "units.h"

namespace cli {
namespace {

struct options_t {
    std::string file;
    std::string csv;
};

std::string number_text(const char* format, double number)
{
    char text[48];
    std::snprintf(text, sizeof text, format, number);
    return text;
}

double seconds_of(uint64_t time_us)
{
    return static_cast<double>(time_us) / 1e6;
}

json topics_json(const peers::FlightRecord& record)
{
    json topics = json::array();
    for (const peers::record_topic_t& topic : record.topics) {
        json columns = json::array();
        for (const peers::record_column_t& column : topic.columns)
            columns.push_back(column.name);
        topics.push_back({{"name", topic.name},
                          {"instance", topic.instance},
                          {"rate_hz", topic.rate_hz()},
                          {"rows", topic.times_us.size()},
                          {"seconds", topic.seconds()},
                          {"columns", columns}});
    }
    return topics;
}

void print_as_json(const std::string& path, const peers::FlightRecord& record)
{
    json object = {{"file", path},
                   {"cut_at", record.cut_at ? json(*record.cut_at) : json()},
                   {"info", json::object()},
                   {"parameters", json::object()},
                   {"topics", topics_json(record)},
                   {"markers", json::array()}};
    for (const auto& [key, text] : record.info)
        object["info"][key] = text;
    for (const auto& [name, value] : record.parameters)
        object["parameters"][name] = value;
    for (const peers::record_marker_t& marker : record.markers)
        object["markers"].push_back({{"seconds", seconds_of(marker.time_us)}, {"text", marker.text}});
    print_result(object);
}

void print_as_text(const std::string& path, const peers::FlightRecord& record)
{
    std::printf("%s: %zu topics, %zu markers\n", path.c_str(), record.topics.size(), record.markers.size());
    if (record.cut_at) {
        const std::string where = std::to_string(*record.cut_at);
        std::printf("%s\n", styled(style::bad, "The record was cut: it ends within the message at " + where).c_str());
    }
    for (const auto& [key, text] : record.info)
        std::printf("  %-18s %s\n", key.c_str(), text.c_str());
    table_t topics = {{"topic", ">rate", ">rows", ">duration", ">columns"}};
    for (const peers::record_topic_t& topic : record.topics) {
        topics.push_back({topic.name, number_text("%.1f Hz", topic.rate_hz()), std::to_string(topic.times_us.size()),
                          number_text("%.3f s", topic.seconds()), std::to_string(topic.columns.size())});
    }
    std::printf("\n");
    print_table(topics);
    if (!record.markers.empty()) std::printf("\n");
    for (const peers::record_marker_t& marker : record.markers)
        std::printf("%10.3f s  %s\n", seconds_of(marker.time_us), marker.text.c_str());
}

// One column of the table in the record.
struct source_t {
    const peers::record_topic_t* topic;
    const peers::record_column_t* column;
};

// Empty with `missing` filled when the record is not one of the simulated aircraft.
std::vector<source_t> sources_of(const peers::FlightRecord& record, std::string& missing)
{
    std::vector<source_t> sources;
    for (const peers::flight_column_t& wanted : peers::flight_columns()) {
        const peers::record_topic_t* topic = record.topic(wanted.topic);
        const peers::record_column_t* column = topic != nullptr ? topic->column(wanted.field) : nullptr;
        if (column == nullptr) {
            missing = std::string(wanted.topic) + "." + wanted.field;
            return {};
        }
        sources.push_back({topic, column});
    }
    return sources;
}

// Topics of one row have one time; the last row of a record that was cut may be without some of them.
std::optional<std::string> csv_of(const std::vector<source_t>& sources)
{
    std::string csv = "time_s";
    for (const peers::flight_column_t& column : peers::flight_columns())
        csv += std::string(",") + column.heading;
    csv += '\n';
    size_t rows = SIZE_MAX;
    for (const source_t& source : sources)
        rows = std::min(rows, source.topic->times_us.size());
    for (size_t row = 0; row < rows; row++) {
        const uint64_t time_us = sources[0].topic->times_us[row];
        csv += number_text("%.9g", seconds_of(time_us));
        for (const source_t& source : sources) {
            if (source.topic->times_us[row] != time_us) return std::nullopt;
            const double value = source.column->values[row];
            csv += std::isfinite(value) ? number_text(",%.6g", value) : ",";
        }
        csv += '\n';
    }
    return csv;
}

exit_code write_csv(const context_t& context, const options_t& options, const peers::FlightRecord& record)
{
    std::string missing;
    const std::vector<source_t> sources = sources_of(record, missing);
    if (sources.empty())
        return report(context, {exit_code::bad_input, options.file + ": has no " + missing,
                                "Only records of the simulated aircraft can become a table."});
    const std::optional<std::string> csv = csv_of(sources);
    if (!csv) return report(context, {exit_code::bad_input, options.file + ": its topics have different times", ""});
    failure_t failure;
    const auto* bytes = reinterpret_cast<const uint8_t*>(csv->data());
    if (!write_file(options.csv, {bytes, csv->size()}, failure)) return report(context, failure);
    return exit_code::ok;
}

exit_code run(const context_t& context, const options_t& options)
{
    peers::record_error_t error;
    const std::optional<peers::FlightRecord> record = peers::FlightRecord::read(options.file, error);
    if (!record) {
        return report(context, {exit_code::bad_input,
                                options.file + ": at " + std::to_string(error.offset) + ": " + error.reason, ""});
    }
    if (!options.csv.empty()) return write_csv(context, options, *record);
    if (context.as_json) {
        print_as_json(options.file, *record);
    } else {
        print_as_text(options.file, *record);
    }
    return exit_code::ok;
}

}  // namespace

void add_fc_log(CLI::App& group, context_t& context)
{
    CLI::App* command = add_command(group, context, "log", "show a flight record, or make a table of it",
                                    "vela fc log flight.ulg --csv flight.csv");
    const auto options = std::make_shared<options_t>();
    command->add_option("file", options->file, "flight record (ULog)")->required();
    command->add_option("--csv", options->csv, "write its rows to this file, - for standard output")
        ->excludes(command->get_option("--json"));
    command->callback([&context, options] { context.result = run(context, *options); });
}

}  // namespace cli
