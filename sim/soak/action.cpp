#include "soak/action.h"

#include <algorithm>
#include <cstdio>

#include "platform/random.h"

namespace sim {
namespace {

constexpr uint64_t ACTION_NUMBERS = 0xac7104;
constexpr uint64_t SECOND_US = 1'000'000;
constexpr uint64_t BEGIN_US = 2 * SECOND_US;  // the service is up
constexpr uint32_t MOST_ACTIONS = 24;

// How often each kind comes up, in parts of the sum.
constexpr uint8_t WEIGHTS[ACTION_KINDS] = {8, 1, 6, 1, 5, 3, 3, 4, 2, 2, 1, 3, 3, 6};

action_kind draw_kind(Random& random)
{
    uint64_t sum = 0;
    for (const uint8_t weight : WEIGHTS)
        sum += weight;
    uint64_t place = random.below(sum);
    uint8_t kind = 0;
    while (place >= WEIGHTS[kind])
        place -= WEIGHTS[kind++];
    return static_cast<action_kind>(kind);
}

uint64_t draw_detail(action_kind kind, Random& random)
{
    switch (kind) {
        case action_kind::upgrade:
            return random.one_in(2) ? 0 : random.below(UPGRADE_FAULTS);
        case action_kind::deliver_areas:
            return 1 + random.below(8);
        case action_kind::refuse_sends:
        case action_kind::lose_records:
            return 2 + random.below(20);
        default:
            return random.next();
    }
}

const char* fault_text(uint64_t fault)
{
    static constexpr const char* TEXTS[UPGRADE_FAULTS] = {"sound", "older", "with a flipped bit", "too short"};
    return TEXTS[fault % UPGRADE_FAULTS];
}

std::string text_of(const char* format, unsigned long long number)
{
    char text[96];
    std::snprintf(text, sizeof text, format, number);
    return text;
}

std::string what_happens(const action_t& action)
{
    switch (action.kind) {
        case action_kind::upgrade:
            return std::string("the app sends a database, ") + fault_text(action.detail);
        case action_kind::cancel_upgrade:
            return "the app gives its database up";
        case action_kind::deliver_areas:
            return text_of("the app delivers %llu areas", action.detail);
        case action_kind::cancel_delivery:
            return "the app gives its delivery up";
        case action_kind::test_on:
            return "the test is switched on";
        case action_kind::test_off:
            return "the test is switched off";
        case action_kind::read_database:
            return "the flight controller reads the database";
        case action_kind::kill_service:
            return "the service is killed";
        case action_kind::lose_controller:
            return "the flight controller dies";
        case action_kind::lose_app:
            return "the app dies";
        case action_kind::lose_station:
            return "the station dies";
        case action_kind::refuse_sends:
            return text_of("one send in %llu is refused", action.detail);
        case action_kind::lose_records:
            return text_of("one record in %llu is lost", action.detail);
        case action_kind::hostile_record:
            return text_of("a hostile record comes, number %016llx", action.detail);
    }
    return "";
}

bool has_length(action_kind kind)
{
    return kind >= action_kind::kill_service && kind <= action_kind::lose_records;
}

}  // namespace

std::vector<action_t> make_actions(uint64_t seed)
{
    Random random(seed ^ ACTION_NUMBERS);
    std::vector<action_t> actions(1 + static_cast<size_t>(random.below(MOST_ACTIONS)));
    const uint64_t span_us = (5 + random.below(56)) * SECOND_US;
    for (action_t& action : actions) {
        action.time_us = BEGIN_US + random.below(span_us);
        action.kind = draw_kind(random);
        action.detail = draw_detail(action.kind, random);
        action.length_us = has_length(action.kind) ? 1000 + random.below(5 * SECOND_US) : 0;
    }
    std::sort(actions.begin(), actions.end(),
              [](const action_t& one, const action_t& other) { return one.time_us < other.time_us; });
    return actions;
}

std::string action_text(const action_t& action)
{
    char time[32];
    std::snprintf(time, sizeof time, "%10.6f s  ", static_cast<double>(action.time_us) / 1e6);
    std::string text = time + what_happens(action);
    if (!has_length(action.kind)) return text;
    char length[48];
    std::snprintf(length, sizeof length, ", for %.6f s", static_cast<double>(action.length_us) / 1e6);
    return text + length;
}

}  // namespace sim
