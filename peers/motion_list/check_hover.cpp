// Holding still, and the repeat that repeats nothing.
#include <cmath>

#include "motion_list/fields.h"
#include "motion_list/motion_rules.h"

namespace peers {
namespace {

constexpr double NEAR_ZERO = 1e-17;  // s; the service's bound
constexpr double LONG_HOVER = 3600;  // s

constexpr field_t HOVER_FIELDS[] = {
    {"duration", field_kind::number, severity::error, "the service takes 0 and refuses the entry when its turn comes"},
};

constexpr field_t REPEAT_FIELDS[] = {
    {"start_num", field_kind::entry, severity::note, "entry 1 is taken"},
    {"end_num", field_kind::entry, severity::note, "entry 1 is taken"},
    {"repeat_times", field_kind::small, severity::warning, "0 is taken: the repeat does nothing"},
};

}  // namespace

void check_hover(const scope_t& scope)
{
    check_fields(scope, HOVER_FIELDS);
    const list_node_t* duration = last_number(scope.node, "duration");
    if (duration == nullptr) return;
    if (std::fabs(duration->number) <= NEAR_ZERO) {
        scope.at(severity::error, *duration,
                 "the service refuses a hover of 0 s when its turn comes, in the air; write the seconds");
    } else if (duration->number < 0) {
        scope.at(severity::error, *duration, "it ends with its first tick of 20 ms; write the seconds, more than 0");
    } else if (duration->number > LONG_HOVER) {
        scope.at(severity::warning, *duration, "more than an hour; the unit is the second");
    }
}

void check_repeat(const scope_t& scope)
{
    check_fields(scope, REPEAT_FIELDS);
    const double from = number_of(scope.node, "start_num", 1);
    const double to = number_of(scope.node, "end_num", 1);
    const double times = number_of(scope.node, "repeat_times");
    scope.whole(severity::warning, times > 0
                                       ? "a repeat repeats nothing: the entry behind it is skipped; to fly something "
                                         "twice, write it twice"
                                       : "a repeat with repeat_times 0 does nothing");
    if (from > to) scope.whole(severity::warning, "start_num is behind end_num");
}

}  // namespace peers
