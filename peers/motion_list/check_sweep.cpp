// A frequency sweep on one loop.
#include "motion_list/fields.h"
#include "motion_list/motion_rules.h"

namespace peers {
namespace {

constexpr double LAST_LOOP = 18;
constexpr double MOST_LOOP = 27;     // 5 bits, in the flight controller's numbers
constexpr double LEAST_PERIODS = 5;  // of the lowest frequency: fewer tell no response there
constexpr double HIGHEST_FREQ = 25;  // Hz, half of the 50 reports a second

constexpr field_t SWEEP_FIELDS[] = {
    {"inj_loop", field_kind::small, severity::error, "the service takes 0, which is sent like 1: the rate about x"},
    {"inj_point", field_kind::small, severity::note, "0 is taken"},
    {"start_freq", field_kind::tenths, severity::error, "the service takes 0 Hz"},
    {"end_freq", field_kind::tenths, severity::error, "the service takes 0 Hz"},
    {"duration", field_kind::sent_seconds, severity::error, "the service takes 0 s"},
    {"amp", field_kind::tenths, severity::warning, "the service takes 0: nothing is excited"},
};

void check_where(const scope_t& scope)
{
    const list_node_t* loop = last_number(scope.node, "inj_loop");
    const list_node_t* point = last_number(scope.node, "inj_point");
    if (loop != nullptr) {
        if (loop->number == 0) scope.at(severity::warning, *loop, "it is sent like 1, the rate about x; write 1");
        if (loop->number > LAST_LOOP && loop->number <= MOST_LOOP)
            scope.at(severity::warning, *loop, "there is no such loop; write 1 to 18");
        if (loop->number > MOST_LOOP)
            scope.at(severity::error, *loop,
                     "it loses its upper bits in the message, another loop is excited; write 1 to 18");
    }
    if (point != nullptr && point->number > 1)
        scope.at(severity::error, *point, "the message has one bit for it; write 0 or 1");
}

void check_signal(const scope_t& scope)
{
    const list_node_t* from = last_number(scope.node, "start_freq");
    const list_node_t* to = last_number(scope.node, "end_freq");
    const list_node_t* duration = last_number(scope.node, "duration");
    const list_node_t* amp = last_number(scope.node, "amp");
    if (amp != nullptr && amp->number == 0) scope.at(severity::warning, *amp, "a sweep of no height excites nothing");
    if (duration != nullptr && duration->number == 0)
        scope.at(severity::warning, *duration, "a sweep of 0 s excites nothing");
    if (from == nullptr || to == nullptr || from->number < 0) return;
    if (from->number >= to->number) scope.at(severity::warning, *to, "end_freq should be above start_freq");
    if (to->number > HIGHEST_FREQ)
        scope.at(severity::warning, *to,
                 "above 25 Hz, half of the aircraft's 50 reports a second: they cannot show it");
    if (duration == nullptr || duration->number <= 0) return;
    const double periods = from->number * duration->number;
    if (periods >= LEAST_PERIODS) return;
    scope.at(severity::warning, *from,
             "only " + number_words(periods) +
                 " periods in the duration; below 5 the response at this frequency cannot be told");
}

}  // namespace

void check_sweep(const scope_t& scope)
{
    check_fields(scope, SWEEP_FIELDS);
    check_where(scope);
    check_signal(scope);
}

}  // namespace peers
