// What a motion list does, entry by entry, how long it takes and how far it goes.
#include <cstdio>
#include <nlohmann/json.hpp>

#include "afqt_check.h"
#include "factory/test_watch.h"
#include "motion_list/fields.h"
#include "table.h"
#include "units.h"

namespace cli {
namespace {

using peers::drone_prediction_t;
using peers::flown_entry_t;
using peers::list_check_t;
using peers::list_entry_t;

struct figure_t {
    const char* key;
    const char* what;
    const char* unit;
    double peers::envelope_t::*value;
};

constexpr figure_t FIGURES[] = {
    {"tilt_deg", "tilt", "°", &peers::envelope_t::tilt},
    {"speed_m_s", "speed over ground", " m/s", &peers::envelope_t::speed},
    {"climb_m_s", "climb", " m/s", &peers::envelope_t::climb},
    {"sink_m_s", "sink", " m/s", &peers::envelope_t::sink},
    {"turn_deg_s", "turn", "°/s", &peers::envelope_t::turn},
    {"heading_deg", "heading, from that at the start", "°", &peers::envelope_t::heading},
    {"highest_m", "highest, from the height at the start", " m", &peers::envelope_t::highest},
    {"lowest_m", "lowest", " m", &peers::envelope_t::lowest},
    {"farthest_m", "farthest from the start", " m", &peers::envelope_t::farthest},
};

std::string rounded(double value, const char* unit)
{
    char text[48];
    std::snprintf(text, sizeof text, "%.1f%s", value == 0 ? 0.0 : value, unit);
    return text;
}

const flown_entry_t* flown_of(const drone_prediction_t& prediction, const list_entry_t& entry)
{
    for (const flown_entry_t& flown : prediction.flight.entries) {
        if (flown.entry.number == entry.number) return &flown;
    }
    return nullptr;
}

std::string time_text(const drone_prediction_t& prediction, const list_entry_t& entry)
{
    const flown_entry_t* flown = flown_of(prediction, entry);
    if (entry.motion == MOTION_REPEAT) return "";
    if (flown == nullptr) return "skipped";
    return flown->seconds ? rounded(*flown->seconds, " s") : "?";
}

// One column for each airframe that matters, without a name when it does not.
void add_drones(const list_check_t& check, const char* alone, std::vector<std::string>& headings)
{
    for (const drone_prediction_t& prediction : check.predictions)
        headings.push_back(std::string(">") + (check.predictions.size() > 1 ? prediction.craft->name : alone));
}

table_t entry_table(const list_check_t& check)
{
    table_t table = {{"", "motion", "what it does"}};
    add_drones(check, "takes", table[0]);
    for (const list_entry_t& entry : check.entries) {
        table.push_back({entry.member->key, peers::motion_text(entry.motion), entry_words(entry)});
        for (const drone_prediction_t& prediction : check.predictions)
            table.back().push_back(time_text(prediction, entry));
    }
    table.push_back({"", "", "all of it"});
    for (const drone_prediction_t& prediction : check.predictions)
        table.back().push_back((prediction.flight.complete ? "" : "over ") + rounded(prediction.flight.seconds, " s"));
    return table;
}

// Without what is not commanded at all.
table_t figure_table(const list_check_t& check)
{
    table_t table = {{"commanded at most"}};
    add_drones(check, "", table[0]);
    for (const figure_t& figure : FIGURES) {
        bool commanded = false;
        std::vector<std::string> row = {figure.what};
        for (const drone_prediction_t& prediction : check.predictions) {
            const double value = prediction.flight.envelope.*figure.value;
            commanded = commanded || value != 0;
            row.push_back(rounded(value, figure.unit));
        }
        if (commanded) table.push_back(row);
    }
    return table;
}

json entry_json(const list_check_t& check, const list_entry_t& entry)
{
    json object = {
        {"entry", entry.member->key}, {"motion", peers::motion_text(entry.motion)}, {"does", entry_words(entry)}};
    json seconds = json::array();
    for (const drone_prediction_t& prediction : check.predictions) {
        const flown_entry_t* flown = flown_of(prediction, entry);
        object["flown"] = flown != nullptr;
        seconds.push_back(flown != nullptr && flown->seconds ? json(*flown->seconds) : json());
    }
    object["seconds"] = seconds;
    return object;
}

}  // namespace

void print_predictions(const list_check_t& check)
{
    if (check.predictions.empty()) return;
    print_table(entry_table(check));
    std::printf("\n");
    const table_t figures = figure_table(check);
    if (figures.size() > 1) print_table(figures);
    std::printf("  Take-off, the return at the end and landing are not in it.\n");
}

json predictions_json(const list_check_t& check)
{
    json entries = json::array();
    json predictions = json::array();
    if (check.predictions.empty()) return {{"entries", entries}, {"predictions", predictions}};
    for (const list_entry_t& entry : check.entries)
        entries.push_back(entry_json(check, entry));
    for (const drone_prediction_t& prediction : check.predictions) {
        json object = {{"drone", check.predictions.size() > 1 ? json(prediction.craft->name) : json()},
                       {"seconds", prediction.flight.seconds},
                       {"complete", prediction.flight.complete}};
        for (const figure_t& figure : FIGURES)
            object["at_most"][figure.key] = prediction.flight.envelope.*figure.value;
        predictions.push_back(object);
    }
    return {{"entries", entries}, {"predictions", predictions}};
}

}  // namespace cli
