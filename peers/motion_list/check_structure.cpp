// What of a list the service finds: the attributes, and the entries.
#include <strings.h>
#include <algorithm>
#include <cctype>

#include "motion_list/fields.h"
#include "motion_list/motion_rules.h"
#include "motion_list/near_word.h"

namespace peers {
namespace {

struct motion_kind_t {
    std::string_view name;
    motion_id_t motion;
};

constexpr motion_kind_t KINDS[] = {
    {"kHover", MOTION_HOVER}, {"kStep", MOTION_STEP}, {"kSweepChirpZ", MOTION_SWEEP},
    {"kLine", MOTION_LINE},   {"kRtl", MOTION_RTL},   {"kRepeat", MOTION_REPEAT},
};

constexpr std::string_view MOTION = "motion";

std::string motion_key(size_t number)
{
    return std::string(MOTION) + std::to_string(number);
}

// N of motionN, as it is written in a list: no zero in front.
std::optional<size_t> entry_number(std::string_view key)
{
    if (!key.starts_with(MOTION) || key.size() > MOTION.size() + 6) return std::nullopt;
    const std::string digits(key.substr(MOTION.size()));
    if (digits.empty() || !std::all_of(digits.begin(), digits.end(), [](unsigned char c) { return std::isdigit(c); }))
        return std::nullopt;
    const size_t number = std::stoul(digits);
    return motion_key(number) == key ? std::optional(number) : std::nullopt;
}

// Looked for without regard to upper and lower case, and the first one counts.
const list_node_t* first_of_any_case(const scope_t& scope, const char* key)
{
    const list_node_t* found = nullptr;
    for (const list_node_t& member : scope.node.children) {
        if (strcasecmp(member.key.c_str(), key) != 0) continue;
        if (found != nullptr)
            scope.at_key(severity::warning, member,
                         std::string("there is a \"") + key + "\" before, and the first one counts");
        if (member.key != key)
            scope.at_key(severity::warning, member, std::string("it is read; write \"") + key + "\"");
        if (found == nullptr) found = &member;
    }
    return found;
}

motion_id_t kind_of(const scope_t& scope, const list_node_t* id)
{
    if (id == nullptr) {
        scope.missing(severity::error, "motion_id", "missing: the entry is left out, those behind it move up");
        return NONE;
    }
    const auto kind = std::find_if(std::begin(KINDS), std::end(KINDS),
                                   [&](const motion_kind_t& one) { return one.name == id->text; });
    if (id->kind == node_kind::text && kind != std::end(KINDS)) return kind->motion;
    std::vector<std::string_view> names;
    for (const motion_kind_t& one : KINDS)
        names.push_back(one.name);
    const std::string near(near_word(id->text, names));
    scope.at(severity::error, *id,
             "unknown: the entry is left out, those behind it move up; write " +
                 (near.empty() ? "kHover, kStep, kSweepChirpZ, kLine, kRtl or kRepeat" : near));
    return NONE;
}

void check_parameters(const list_entry_t& entry, const scope_t& scope, drones_t drones)
{
    switch (entry.motion) {
        case MOTION_HOVER:
            return check_hover(scope);
        case MOTION_STEP:
            return check_step(scope, drones);
        case MOTION_SWEEP:
            return check_sweep(scope);
        case MOTION_LINE:
            return check_line(scope, drones);
        case MOTION_RTL:
            return check_rtl(scope);
        default:
            return check_repeat(scope);
    }
}

void check_entry_keys(const scope_t& scope)
{
    constexpr std::string_view KEYS[] = {"motion_id", "para_cfg"};
    for (const list_node_t& member : scope.node.children) {
        const bool known = std::any_of(std::begin(KEYS), std::end(KEYS), [&](std::string_view key) {
            return strcasecmp(member.key.c_str(), std::string(key).c_str()) == 0;
        });
        if (known) continue;
        const std::string near(near_word(member.key, KEYS));
        scope.at_key(near.empty() ? severity::warning : severity::error, member,
                     near.empty()
                         ? "the key is unknown here, the service ignores it; parameters belong into para_cfg"
                         : "the key is unknown, the service ignores it; write \"" + near + "\" if that is meant");
    }
}

void check_entry(list_entry_t& entry, drones_t drones, findings_t& findings)
{
    const scope_t scope{*entry.member, entry.member->key, findings};
    if (scope.node.kind != node_kind::object) {
        scope.whole(severity::error, "an entry has to be an object: it is left out, those behind it move up");
        return;
    }
    check_entry_keys(scope);
    entry.motion = kind_of(scope, first_of_any_case(scope, "motion_id"));
    entry.para_cfg = first_of_any_case(scope, "para_cfg");
    if (entry.para_cfg == nullptr)
        scope.missing(severity::error, "para_cfg", "missing: all parameters have their defaults");
    if (entry.para_cfg == nullptr || entry.motion == NONE) return;
    if (entry.para_cfg->kind != node_kind::object) {
        scope.at(severity::error, *entry.para_cfg, "it has to be an object: all parameters have their defaults");
        return;
    }
    check_parameters(entry, {*entry.para_cfg, scope.path_of("para_cfg"), findings}, drones);
}

// The first member whose name contains motionN.
const list_node_t* find_entry(const scope_t& root, size_t number)
{
    const std::string key = motion_key(number);
    const auto& members = root.node.children;
    const auto found = std::find_if(members.begin(), members.end(),
                                    [&](const list_node_t& one) { return one.key.find(key) != std::string::npos; });
    if (found == members.end()) {
        root.missing(severity::error, key,
                     "missing, but motion_num counts it: it is left out, those behind it move up");
        return nullptr;
    }
    if (found->key != key) {
        root.at_key(
            severity::error, *found,
            "its name contains \"" + key + "\", the service takes it for that; write the entries in ascending order");
    }
    return &*found;
}

// "Motion1", "motion01", "moton1".
bool nearly_an_entry(const std::string& key)
{
    const size_t end = key.find_last_not_of("0123456789");
    const std::string_view words[] = {MOTION};
    return end != std::string::npos && end + 1 < key.size() && !near_word(key.substr(0, end + 1), words).empty();
}

void check_known_key(const scope_t& root, const list_node_t& member, std::optional<size_t> number, size_t motion_num)
{
    if (number && *number >= motion_num && motion_num > 0) {
        root.at_key(severity::error, member, "it is not read: motion_num is " + std::to_string(motion_num));
        return;
    }
    if (root.node.first(member.key) == &member) return;
    root.at_key(severity::warning, member, "the key stands in the list already, and the first one counts");
}

void check_root_key(const scope_t& root, const list_node_t& member, size_t motion_num)
{
    constexpr std::string_view ATTRIBUTE[] = {"attribute"};
    const std::string unknown = "the key is unknown, the service ignores it";
    const std::optional<size_t> number = entry_number(member.key);
    if (number || member.key == ATTRIBUTE[0]) {
        check_known_key(root, member, number, motion_num);
    } else if (!near_word(member.key, ATTRIBUTE).empty()) {
        root.at_key(severity::error, member, unknown + "; write \"attribute\" if that is meant");
    } else if (nearly_an_entry(member.key)) {
        root.at_key(severity::error, member, unknown + "; write motion and the number, from motion0 on");
    } else {
        root.at_key(severity::warning, member, unknown);
    }
}

// How many entries the service looks for.
size_t check_attributes(const scope_t& root)
{
    const list_node_t* attribute = root.node.first("attribute");
    if (attribute == nullptr) {
        root.missing(severity::error, "attribute",
                     "missing: motion_num and all else of the list that was loaded before is kept");
        return 0;
    }
    const scope_t scope{*attribute, "attribute", root.findings};
    if (attribute->kind != node_kind::object) {
        scope.whole(severity::error,
                    "it has to be an object: motion_num and all else of the list that was loaded before is kept");
        return 0;
    }
    check_attribute(scope);
    return static_cast<size_t>(taken_number(field_kind::small, number_of(*attribute, "motion_num")));
}

}  // namespace

std::vector<list_entry_t> check_structure(const list_node_t& root, drones_t drones, findings_t& findings)
{
    std::vector<list_entry_t> entries;
    const scope_t scope{root, "", findings};
    if (root.kind != node_kind::object) {
        scope.whole(severity::error, "a motion list has to be one object: the service takes it for an empty list");
        return entries;
    }
    const size_t motion_num = check_attributes(scope);
    for (const list_node_t& member : root.children)
        check_root_key(scope, member, motion_num);
    for (size_t number = 0; number < motion_num; number++) {
        const list_node_t* member = find_entry(scope, number);
        if (member == nullptr) continue;
        list_entry_t entry{number, NONE, member, nullptr};
        check_entry(entry, drones, findings);
        if (entry.motion != NONE) entries.push_back(entry);
    }
    return entries;
}

}  // namespace peers
