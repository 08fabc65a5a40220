// A line by timed sticks.
#include <algorithm>
#include <cmath>

#include "motion_list/fields.h"
#include "motion_list/motion_rules.h"

namespace peers {
namespace {

constexpr size_t MOST_ITEMS = 32;
constexpr double MOST_SECONDS = 600;  // of an item
constexpr float TICKS_PER_SECOND = 50;
constexpr const char* REFUSED = "the service refuses the line when its turn comes, in the air";

constexpr field_t LINE_FIELDS[] = {
    {"flight_mode", field_kind::small, std::nullopt, "0 is taken"},
    {"stick_tilt", field_kind::list, std::nullopt, REFUSED},
    {"stick_vert", field_kind::list, std::nullopt, REFUSED},
    {"stick_yaw", field_kind::list, std::nullopt, REFUSED},
    {"flight_yaw", field_kind::number, std::nullopt, "0 is taken"},
    {"flight_dis", field_kind::number, std::nullopt, "0 is taken: no end by distance"},
    {"height_min", field_kind::number, std::nullopt, "0 is taken: no sinking"},
    {"height_max", field_kind::number, std::nullopt, "0 is taken: no climbing"},
    {"vert_vel", field_kind::number, std::nullopt, "the craft table's climb is taken"},
    {"vert_pos", field_kind::number, std::nullopt, "0 is taken"},
    {"yaw_rate", field_kind::number, std::nullopt, "the craft table's rate is taken"},
    {"yaw_angle", field_kind::number, std::nullopt, "0 is taken"},
};

constexpr const char* NOT_NEGATIVE[] = {"flight_dis", "vert_vel", "yaw_rate"};

constexpr field_t TIME_FIELD = {"time", field_kind::number, severity::error, REFUSED};
constexpr field_t VALUE_FIELD = {"stick_value", field_kind::number, severity::warning, "0 is taken"};

constexpr field_t TILT_ITEM[] = {TIME_FIELD, VALUE_FIELD};
constexpr field_t VERT_ITEM[] = {
    TIME_FIELD, VALUE_FIELD, {"vert_mode", field_kind::small, severity::note, "0 is taken: climb"}};
constexpr field_t YAW_ITEM[] = {
    TIME_FIELD, VALUE_FIELD, {"yaw_mode", field_kind::small, severity::note, "0 is taken: heading"}};

struct stick_t {
    const char* key;
    std::span<const field_t> item;
    const char* mode;  // key of an item's mode, or null
    double most_mode;
};

constexpr stick_t STICKS[] = {
    {"stick_tilt", TILT_ITEM, nullptr, 0},
    {"stick_vert", VERT_ITEM, "vert_mode", 2},
    {"stick_yaw", YAW_ITEM, "yaw_mode", 1},
};

void refuse(const scope_t& scope, const list_node_t& member, const std::string& wanted)
{
    scope.at(severity::error, member, std::string(REFUSED) + "; write " + wanted);
}

void check_time(const scope_t& item)
{
    const list_node_t* time = last_number(item.node, "time");
    if (time == nullptr) return;
    if (!(static_cast<float>(time->number) > 0 && static_cast<float>(time->number) <= MOST_SECONDS)) {
        refuse(item, *time, "seconds, above 0 and up to 600");
        return;
    }
    const long ticks = std::max(std::lround(static_cast<float>(time->number) * TICKS_PER_SECOND), 1L);
    const double flown = static_cast<double>(ticks) / double{TICKS_PER_SECOND};
    if (std::fabs(flown - time->number) > 1e-6 * time->number)
        item.at(severity::warning, *time, "flown for " + number_words(flown) + " s, a whole number of ticks of 0.02 s");
}

void check_item(const scope_t& item, const stick_t& stick)
{
    check_fields(item, stick.item);
    check_time(item);
    const list_node_t* value = last_number(item.node, "stick_value");
    if (value != nullptr && std::fabs(value->number) > 100) refuse(item, *value, "-100 to 100");
    const list_node_t* mode = stick.mode == nullptr ? nullptr : last_number(item.node, stick.mode);
    if (mode != nullptr && taken_number(field_kind::small, mode->number) > stick.most_mode)
        refuse(item, *mode, "0 to " + number_words(stick.most_mode));
}

void check_stick(const scope_t& scope, const list_node_t& items, const stick_t& stick)
{
    if (items.kind != node_kind::list) return;
    if (items.children.size() > MOST_ITEMS)
        scope.at(severity::error, items,
                 std::to_string(items.children.size()) + " items: " + REFUSED + "; 32 are allowed");
    for (size_t i = 0; i < items.children.size(); i++) {
        const scope_t item{items.children[i], scope.path_of(items.key) + "[" + std::to_string(i) + "]", scope.findings};
        if (item.node.kind == node_kind::object)
            check_item(item, stick);
        else
            item.whole(severity::error, std::string("an item has to be an object: ") + REFUSED);
    }
}

// Items of that stick in that mode, of the array that counts.
std::vector<const list_node_t*> items_in_mode(const list_node_t& line, const stick_t& stick, double mode)
{
    std::vector<const list_node_t*> found;
    const list_node_t* items = line.last(stick.key);
    if (items == nullptr || items->kind != node_kind::list) return found;
    for (const list_node_t& item : items->children) {
        if (stick.mode == nullptr || number_of(item, stick.mode) == mode) found.push_back(&item);
    }
    return found;
}

bool has_items(const list_node_t& line)
{
    return std::any_of(std::begin(STICKS), std::end(STICKS), [&](const stick_t& stick) {
        const list_node_t* items = line.last(stick.key);
        return items != nullptr && items->kind == node_kind::list && !items->children.empty();
    });
}

void check_refusals(const scope_t& scope)
{
    if (!has_items(scope.node))
        scope.whole(severity::error,
                    std::string("no stick has an item: ") + REFUSED + "; write stick_tilt, stick_vert or stick_yaw");
    for (const char* key : NOT_NEGATIVE) {
        const list_node_t* member = last_number(scope.node, key);
        if (member != nullptr && member->number < 0) refuse(scope, *member, "0 or more");
    }
    const list_node_t* mode = last_number(scope.node, "flight_mode");
    if (mode != nullptr && taken_number(field_kind::small, mode->number) > 1)
        refuse(scope, *mode, "0 (normal) or 1 (sport)");
    const double least = number_of(scope.node, "height_min");
    const double most = number_of(scope.node, "height_max");
    if (least <= most) return;
    scope.whole(severity::error, "height_min " + number_words(least) + " is above height_max " + number_words(most) +
                                     (scope.node.last("height_max") == nullptr ? ", which is 0 when missing: " : ": ") +
                                     REFUSED);
}

// A number counts in one mode of one stick only.
struct mode_number_t {
    const char* key;
    const stick_t& stick;
    double mode;
    const char* without;  // what the mode does without the number; null: the craft table's number
};

constexpr mode_number_t MODE_NUMBERS[] = {
    {"vert_vel", STICKS[1], 0, nullptr},
    {"vert_pos", STICKS[1], 1, "the height of the start is held"},
    {"yaw_angle", STICKS[2], 0, "the heading of the start is held"},
    {"yaw_rate", STICKS[2], 1, nullptr},
};

void check_modes(const scope_t& scope)
{
    for (const mode_number_t& number : MODE_NUMBERS) {
        const bool given = number_of(scope.node, number.key) != 0;
        const bool used = !items_in_mode(scope.node, number.stick, number.mode).empty();
        const std::string where =
            std::string(number.stick.key) + " with " + number.stick.mode + " " + number_words(number.mode);
        if (given && !used)
            scope.at(severity::warning, *scope.node.last(number.key), "without effect: there is no " + where);
        if (!given && used && number.without != nullptr)
            scope.missing(severity::warning, number.key,
                          "is 0 or missing, but there is a " + where + ": " + number.without);
    }
}

void check_heights(const scope_t& scope)
{
    const double least = number_of(scope.node, "height_min");
    const double most = number_of(scope.node, "height_max");
    const list_node_t* vertical = scope.node.last("stick_vert");
    if (vertical == nullptr || vertical->children.empty() || least > most) return;
    if (least == 0 && most == 0) {
        scope.at(severity::warning, *vertical,
                 "height_min and height_max are 0 or missing: the line neither climbs nor sinks");
        return;
    }
    if (least > 0 || most < 0)
        scope.at(severity::warning, *vertical, "the height of the start, 0, is not between height_min and height_max");
    const double full = number_of(scope.node, "vert_pos");
    for (const list_node_t* item : items_in_mode(scope.node, STICKS[1], 1)) {
        const double height = full * number_of(*item, "stick_value") / 100;
        if (height >= least && height <= most) continue;
        scope.at(severity::warning, *vertical,
                 "height " + number_words(height) + " m is asked for, which is beyond height_min or height_max");
        return;
    }
}

void check_bound(const scope_t& scope, const char* key, const craft_t& craft, fp32 most, const char* unit)
{
    const list_node_t* member = last_number(scope.node, key);
    if (member == nullptr || static_cast<fp32>(member->number) <= most) return;
    scope.at(severity::warning, *member,
             std::string("the ") + craft.name + " is bounded at " + number_words(most) + " " + unit);
}

void check_bounds(const scope_t& scope, drones_t drones)
{
    const size_t mode = number_of(scope.node, "flight_mode") == 1 ? 1 : 0;
    for (const craft_t& craft : drones) {
        check_bound(scope, "vert_vel", craft, std::min(craft.modes[mode].climb, -craft.modes[mode].sink), "m/s");
        check_bound(scope, "yaw_rate", craft, craft.modes[mode].yaw_rate, "degrees/s");
    }
}

}  // namespace

void check_line(const scope_t& scope, drones_t drones)
{
    check_fields(scope, LINE_FIELDS);
    for (const list_node_t& member : scope.node.children) {
        for (const stick_t& stick : STICKS) {
            if (member.key == stick.key) check_stick(scope, member, stick);
        }
    }
    check_refusals(scope);
    check_modes(scope);
    check_heights(scope);
    check_bounds(scope, drones);
}

}  // namespace peers
