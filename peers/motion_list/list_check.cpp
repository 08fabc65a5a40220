#include "motion_list/list_check.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "motion_list/fields.h"

namespace peers {
namespace {

void tell_distance(const drone_prediction_t& prediction, findings_t& findings)
{
    for (const flown_entry_t& flown : prediction.flight.entries) {
        const double wanted = flown.entry.motion == MOTION_LINE ? number_of(*flown.entry.para_cfg, "flight_dis") : 0;
        if (wanted == 0 || flown.end.distance) continue;
        const scope_t scope{*flown.entry.para_cfg, flown.entry.member->key + ".para_cfg", findings};
        scope.at(severity::warning, *flown.entry.para_cfg->last("flight_dis"),
                 std::string("the sticks end before: the ") + prediction.craft->name + " has flown " +
                     number_words(std::round(flown.end.distance_m * 10) / 10) + " m then");
    }
}

// Only lines depend on the airframe.
void predict_all(list_check_t& check, drones_t drones)
{
    const std::vector<list_entry_t> flown = flown_entries(check.entries);
    const bool alike =
        std::none_of(flown.begin(), flown.end(), [](const list_entry_t& entry) { return entry.motion == MOTION_LINE; });
    for (const craft_t& craft : alike ? drones.first(1) : drones) {
        check.predictions.push_back({&craft, predict(flown, craft)});
        tell_distance(check.predictions.back(), check.findings);
    }
}

void sort_by_place(findings_t& findings)
{
    std::stable_sort(findings.begin(), findings.end(), [](const finding_t& one, const finding_t& other) {
        return std::tie(one.place.line, one.place.column) < std::tie(other.place.line, other.place.column);
    });
}

}  // namespace

size_t list_check_t::count(severity level) const
{
    return static_cast<size_t>(
        std::count_if(findings.begin(), findings.end(), [level](const finding_t& one) { return one.level == level; }));
}

list_check_t check_motion_list(std::string_view text, drones_t drones)
{
    list_check_t check;
    check.text = std::make_unique<list_text_t>(read_list_text(text));
    if (const auto& problem = check.text->problem) {
        check.findings.push_back({severity::error, problem->place, "", "", problem->reason});
        return check;
    }
    check.entries = check_structure(check.text->root, drones, check.findings);
    check_order(check.entries, check.findings);
    if (check.count(severity::error) == 0) predict_all(check, drones);
    sort_by_place(check.findings);
    return check;
}

}  // namespace peers
