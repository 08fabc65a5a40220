#include "fly/spread.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <set>

namespace cli {
namespace {

constexpr int POINTS = 100;  // of each curve of the picture

struct figure_t {
    const char* name;
    const char* text;
    int decimals;
};

constexpr figure_t FIGURES[] = {
    {"seconds", "duration, s", 1},           {"path_m", "path, m", 1},
    {"highest_m", "highest, m", 2},          {"farthest_m", "farthest, m", 2},
    {"landed_m", "landed from start, m", 2}, {"worst_tilt_deg", "worst tilt, degrees", 1},
};

bool finished(const json& flight)
{
    return flight["outcome"] == "finished";
}

std::string number_text(double number, int decimals)
{
    char text[48];
    std::snprintf(text, sizeof text, "%.*f", decimals, number);
    return text;
}

void add(std::vector<spread_t>& spreads, const spread_t& kind, double value)
{
    auto found =
        std::find_if(spreads.begin(), spreads.end(), [&](const spread_t& one) { return one.name == kind.name; });
    if (found == spreads.end()) found = spreads.insert(spreads.end(), kind);
    found->values.push_back(value);
}

void add_steps(std::vector<spread_t>& spreads, const json& steps)
{
    for (const json& step : steps) {
        const std::string loop = step["loop"];
        if (!step["rise_s"].is_null())
            add(spreads, {"rise_s " + loop, "rise of " + loop + ", s", 1, 3, {}}, step["rise_s"]);
        add(spreads, {"overshoot " + loop, "overshoot of " + loop + ", %", 100, 1, {}}, step["overshoot"]);
    }
}

std::set<std::string> loops_of(const std::vector<json>& flights)
{
    std::set<std::string> loops;
    for (const json& flight : flights)
        for (const json& step : flight["steps"])
            loops.insert(step["loop"].get<std::string>());
    return loops;
}

std::string cell_of(const json& value)
{
    if (value.is_null()) return "";
    return value.is_string() ? value.get<std::string>() : value.dump();
}

// Two cells; empty where the flight did not step the loop.
std::string step_cells(const json& steps, const std::string& loop)
{
    for (const json& step : steps)
        if (step["loop"] == loop) return "," + cell_of(step["rise_s"]) + "," + cell_of(step["overshoot"]);
    return ",,";
}

}  // namespace

double spread_t::at(double part) const
{
    if (values.empty()) return 0;
    const double place = part * static_cast<double>(values.size() - 1);
    const auto below = static_cast<size_t>(place);
    const size_t above = std::min(below + 1, values.size() - 1);
    return factor * (values[below] + (values[above] - values[below]) * (place - std::floor(place)));
}

std::vector<spread_t> spreads_of(const std::vector<json>& flights)
{
    std::vector<spread_t> spreads;
    for (const json& flight : flights) {
        if (!finished(flight)) continue;
        for (const figure_t& figure : FIGURES)
            add(spreads, {figure.name, figure.text, 1, figure.decimals, {}}, flight[figure.name]);
        add_steps(spreads, flight["steps"]);
    }
    for (spread_t& spread : spreads)
        std::sort(spread.values.begin(), spread.values.end());
    return spreads;
}

std::map<std::string, size_t> outcomes_of(const std::vector<json>& flights)
{
    std::map<std::string, size_t> outcomes;
    for (const json& flight : flights)
        outcomes[flight["outcome"]]++;
    return outcomes;
}

table_t spread_table(const std::vector<spread_t>& spreads)
{
    table_t table = {{"", ">least", ">median", ">95 %", ">most"}};
    for (const spread_t& spread : spreads) {
        std::vector<std::string> row = {spread.text};
        for (const double part : {0.0, 0.5, 0.95, 1.0})
            row.push_back(number_text(spread.at(part), spread.decimals));
        table.push_back(row);
    }
    return table;
}

json spread_json(const std::vector<spread_t>& spreads)
{
    json rows = json::array();
    for (const spread_t& spread : spreads) {
        rows.push_back({{"name", spread.name},
                        {"flights", spread.values.size()},
                        {"least", spread.at(0) / spread.factor},
                        {"median", spread.at(0.5) / spread.factor},
                        {"p95", spread.at(0.95) / spread.factor},
                        {"most", spread.at(1) / spread.factor}});
    }
    return rows;
}

const json& worst_of(const std::vector<json>& flights)
{
    return *std::max_element(flights.begin(), flights.end(), [](const json& one, const json& other) {
        if (finished(one) != finished(other)) return finished(one);
        return one["landed_m"] < other["landed_m"];
    });
}

std::string flights_csv(const std::vector<json>& flights)
{
    static constexpr const char* COLUMNS[] = {"seed",          "outcome",    "seconds",  "motors_off",    "wind_m_s",
                                              "wind_from_deg", "gusts_m_s",  "mass",     "gain",          "path_m",
                                              "highest_m",     "farthest_m", "landed_m", "worst_tilt_deg"};
    std::string csv;
    for (const char* column : COLUMNS)
        csv += std::string(csv.empty() ? "" : ",") + column;
    const std::set<std::string> loops = loops_of(flights);
    for (const std::string& loop : loops)
        csv.append(",rise_s ").append(loop).append(",overshoot ").append(loop);
    for (const json& flight : flights) {
        std::string row;
        for (const char* column : COLUMNS)
            row += (row.empty() ? "\n" : ",") + cell_of(flight[column]);
        for (const std::string& loop : loops)
            row += step_cells(flight["steps"], loop);
        csv += row;
    }
    return csv + '\n';
}

// A figure that is the same in all flights has no range of its own.
static std::string x_range(const spread_t& spread)
{
    if (spread.at(1) > spread.at(0)) return "set xrange [*:*]\n";
    return "set xrange [" + number_text(spread.at(0) - 1, 3) + ":" + number_text(spread.at(0) + 1, 3) + "]\n";
}

// Each figure as the part of the flights that stay below a value.
std::string spread_picture(const std::vector<spread_t>& spreads, const std::string& title, const std::string& file)
{
    const size_t columns = 3;
    const size_t rows = (spreads.size() + columns - 1) / columns;
    std::string commands;
    for (size_t i = 0; i < spreads.size(); i++) {
        commands += "$figure" + std::to_string(i) + " << EOD\n";
        for (int k = 0; k <= POINTS; k++) {
            const double part = static_cast<double>(k) / POINTS;
            commands += number_text(spreads[i].at(part), 6) + " " + number_text(100 * part, 1) + "\n";
        }
        commands += "EOD\n";
    }
    commands += "set terminal svg size 1200, " + std::to_string(220 * rows + 40) +
                " font 'sans-serif,12' background 'white'\nset output '" + file + "'\nset multiplot layout " +
                std::to_string(rows) + ", " + std::to_string(columns) + " title '" + title +
                "'\nset xtics font ',9'\nset ytics 50\nset yrange [0:100]\nset ylabel '% of flights below'\n";
    for (size_t i = 0; i < spreads.size(); i++)
        commands += x_range(spreads[i]) + "set xlabel '" + spreads[i].text + "'\nplot $figure" + std::to_string(i) +
                    " using 1:2 with steps linewidth 2 notitle\n";
    return commands + "unset multiplot\n";
}

}  // namespace cli
