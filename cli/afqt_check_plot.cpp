// The picture of a motion list: its commands over time, and where they lead on paper.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "afqt_check.h"
#include "gnuplot.h"

namespace cli {
namespace {

constexpr double POINTS = 4000;  // of a curve that changes with every tick, about

enum column_t { TIME, TILT_X, TILT_Y, FORWARD, RIGHT, CLIMB, TURN, HEIGHT, HEADING, SWEEP, NORTH, EAST, COLUMNS };

struct panel_t {
    const char* title;
    column_t first;
    const char* first_legend;
    column_t second;
    const char* second_legend;
};

constexpr panel_t PANELS[] = {
    {"Tilt (degrees)", TILT_X, "about x, or of a line", TILT_Y, "about y"},
    {"Speed (m/s)", FORWARD, "forward", RIGHT, "to the right"},
    {"Climb and height from the start", CLIMB, "climb (m/s)", HEIGHT, "height (m)"},
    {"Turn and heading from the start", TURN, "turn (degrees/s)", HEADING, "heading (degrees)"},
    {"Sweep, whose signal the flight controller makes", SWEEP, "amplitude", SWEEP, ""},
};

struct curves_t {
    std::string rows;
    std::array<double, COLUMNS> most = {};  // of what is drawn, without sign

    void add(const std::array<double, COLUMNS>& row);
};

void curves_t::add(const std::array<double, COLUMNS>& row)
{
    char number[32];
    for (size_t i = 0; i < row.size(); i++) {
        most[i] = std::max(most[i], std::fabs(row[i]));
        std::snprintf(number, sizeof number, i + 1 == row.size() ? "%.6g\n" : "%.6g ", row[i]);
        rows += number;
    }
}

// Commands that last are drawn with both ends; those of single ticks are thinned.
curves_t curves_of(const peers::list_check_t& check, const peers::drone_prediction_t& prediction)
{
    curves_t curves;
    const double step = prediction.flight.seconds / POINTS;
    double last = -1;
    peers::predict(peers::flown_entries(check.entries), *prediction.craft, [&](const peers::paper_point_t& point) {
        if (point.ticks == 1 && point.seconds - last < step) return;
        last = point.seconds;
        const peers::command_t& command = point.command;
        curves.add({point.seconds, command.tilt[0], command.tilt[1], command.speed[0], command.speed[1], command.climb,
                    command.turn, point.place.height, point.place.heading, command.excited, point.place.ahead,
                    point.place.right});
    });
    return curves;
}

// A thin line where an entry begins, with its number.
std::string entry_marks(const peers::drone_prediction_t& prediction)
{
    std::string commands;
    double seconds = 0;
    for (const peers::flown_entry_t& flown : prediction.flight.entries) {
        const std::string at = std::to_string(seconds);
        commands.append("set arrow from ").append(at).append(", graph 0 to ").append(at);
        commands.append(", graph 1 nohead linecolor 'gray' dashtype 3\nset label '");
        commands.append(std::to_string(flown.entry.number)).append("' at ").append(at);
        commands.append(", graph 0.93 offset 0.4 font ',9'\n");
        seconds += flown.seconds.value_or(0);
    }
    return commands;
}

std::string curve_text(column_t column, const char* legend, const char* dashes)
{
    return "$commands using 1:" + std::to_string(column + 1) + " with lines linewidth 2 dashtype " + dashes +
           " title '" + legend + "'";
}

std::string panels_text(const curves_t& curves, size_t& count)
{
    std::string commands;
    for (const panel_t& panel : PANELS) {
        if (curves.most[panel.first] == 0 && curves.most[panel.second] == 0) continue;
        count++;
        commands +=
            std::string("set title '") + panel.title + "'\nplot " + curve_text(panel.first, panel.first_legend, "1");
        if (panel.second != panel.first) commands += ", " + curve_text(panel.second, panel.second_legend, "2");
        commands += "\n";
    }
    if (curves.most[NORTH] == 0 && curves.most[EAST] == 0) return commands;
    count++;
    return commands +
           "unset arrow\nunset label\nset xrange [*:*]\nset offsets graph 0.1, graph 0.1, graph 0.1, graph 0.1\n"
           "set size ratio -1\nset xlabel 'm to the right'\nset title 'Path from above (m ahead), without tilt'\n"
           "plot $commands using 12:11 with lines linewidth 2 notitle\n";
}

}  // namespace

std::string commands_picture(const peers::list_check_t& check, const std::string& title, const std::string& file)
{
    const peers::drone_prediction_t& prediction = check.predictions.front();
    const std::string drone = check.predictions.size() > 1 ? std::string(" by the ") + prediction.craft->name : "";
    const curves_t curves = curves_of(check, prediction);
    size_t count = 0;
    std::string panels = panels_text(curves, count);
    if (count == 0) {
        panels =
            "set title 'It holds still'\nset yrange [-1:1]\nplot " + curve_text(FORWARD, "forward (m/s)", "1") + "\n";
        count = 1;
    }
    return "$commands << EOD\n" + curves.rows + "EOD\nset terminal svg size 1200, " + std::to_string(240 * count + 60) +
           " font 'sans-serif,13' background 'white'\nset output " + gnuplot_quoted(file) + "\nset multiplot layout " +
           std::to_string(count) + ", 1 title " + gnuplot_quoted(title + drone) +
           " noenhanced\nset grid\nset lmargin 9\nset rmargin 4\nset key at graph 1, 1.06 right bottom horizontal\n"
           "set offsets graph 0, graph 0, graph 0.1, graph 0.1\nset xlabel 's' offset 0, 0.8\nset xrange [0:" +
           std::to_string(std::max(prediction.flight.seconds, 0.02)) + "]\n" + entry_marks(prediction) + panels +
           "unset multiplot\n";
}

}  // namespace cli
