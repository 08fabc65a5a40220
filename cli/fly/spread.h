// How the figures of many flights are spread.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "failure.h"
#include "table.h"

namespace cli {

// One figure of all flights.
struct spread_t {
    std::string name;   // as in --json, for example "landed_m"
    std::string text;   // for people, with its unit
    double factor = 1;  // from the value to what the text says
    int decimals = 2;
    std::vector<double> values;    // sorted
    double at(double part) const;  // 0.5: the median
};

// Of those flights that finished; steps by loop.
std::vector<spread_t> spreads_of(const std::vector<json>& flights);
std::map<std::string, size_t> outcomes_of(const std::vector<json>& flights);

table_t spread_table(const std::vector<spread_t>& spreads);
json spread_json(const std::vector<spread_t>& spreads);

// The flight to look at first: one that did not finish, else the one that landed farthest from its start.
const json& worst_of(const std::vector<json>& flights);

// A table of all flights, one each.
std::string flights_csv(const std::vector<json>& flights);

// gnuplot's commands for a picture of the spreads.
std::string spread_picture(const std::vector<spread_t>& spreads, const std::string& title, const std::string& file);

}  // namespace cli
