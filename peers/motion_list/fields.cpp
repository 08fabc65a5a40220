#include "motion_list/fields.h"

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>

#include "motion_list/near_word.h"

namespace peers {
namespace {

struct kind_words_t {
    field_kind kind;
    const char* wanted;
};

constexpr kind_words_t WANTED[] = {
    {field_kind::number, "a number"},
    {field_kind::small, "a whole number from 0 to 255"},
    {field_kind::entry, "a whole number from 1 to 255"},
    {field_kind::wide, "a whole number from 0 to 4294967295"},
    {field_kind::whole_seconds, "whole seconds from 1 to 255"},
    {field_kind::tenths, "a number from 0 to 6553.5 with one digit behind the point"},
    {field_kind::sent_seconds, "whole seconds from 0 to 255"},
    {field_kind::flag, "false to set the flag, or leave it out"},
    {field_kind::text, "a text"},
    {field_kind::list, "a list of objects"},
};

std::string wanted(field_kind kind)
{
    const auto row =
        std::find_if(std::begin(WANTED), std::end(WANTED), [&](const auto& one) { return one.kind == kind; });
    return std::string("write ") + row->wanted;
}

bool has_kind(const list_node_t& node, field_kind kind)
{
    switch (kind) {
        case field_kind::flag:
            return node.kind == node_kind::no;
        case field_kind::text:
            return node.kind == node_kind::text;
        case field_kind::list:
            return node.kind == node_kind::list;
        default:
            return node.is_number();
    }
}

// As the service narrows: cut, and held at the ends.
int32_t cut(double number)
{
    return static_cast<int32_t>(std::clamp(number, double{INT32_MIN}, double{INT32_MAX}));
}

uint32_t cut_positive(float number)
{
    if (!(number > 0)) return 0;
    return number >= 4294967296.0f ? UINT32_MAX : static_cast<uint32_t>(number);
}

float single(double number)
{
    if (std::fabs(number) > double{FLT_MAX}) return std::copysign(HUGE_VALF, static_cast<float>(number > 0 ? 1 : -1));
    return static_cast<float>(number);
}

// Single precision keeps six digits for sure; the whole numbers here all fit exactly.
bool same(field_kind kind, double taken, double written)
{
    const bool rounds = kind == field_kind::number || kind == field_kind::tenths;
    if (!rounds || std::isinf(taken)) return taken == written;
    return std::fabs(taken - written) <= 1e-6 * std::fabs(written);
}

// A number that is only rounded on its way, not turned into another one.
bool loses_digits_only(field_kind kind, double written, double taken)
{
    if (kind == field_kind::tenths) return written > 0 && taken <= written && written - taken < 0.1001;
    return kind == field_kind::sent_seconds && written > 0 && taken <= written && written - taken < 1;
}

void check_number(const scope_t& scope, const list_node_t& member, const field_t& field)
{
    const double taken = taken_number(field.kind, member.number);
    if (same(field.kind, taken, member.number)) return;
    const bool sent = field.kind == field_kind::tenths || field.kind == field_kind::sent_seconds;
    const bool digits = loses_digits_only(field.kind, member.number, taken);
    scope.at(digits ? severity::warning : severity::error, member,
             std::string(sent ? "the flight controller is told " : "the service takes ") + number_words(taken) + "; " +
                 wanted(field.kind));
}

void check_kind(const scope_t& scope, const list_node_t& member, const field_t& field)
{
    const std::string effect = field.wrong != nullptr ? field.wrong : field.without;
    if (field.kind == field_kind::flag)
        scope.at(severity::error, member, "only the literal false sets a flag, it is NOT set; " + wanted(field.kind));
    else
        scope.at(severity::error, member, "the wrong kind, " + effect + "; " + wanted(field.kind));
}

void check_unknown(const scope_t& scope, const list_node_t& member, std::span<const field_t> fields)
{
    std::vector<std::string_view> words;
    for (const field_t& field : fields)
        words.emplace_back(field.key);
    const std::string near(near_word(member.key, words));
    if (near.empty())
        scope.at_key(severity::warning, member, "the key is unknown here, the service ignores it");
    else
        scope.at_key(severity::error, member,
                     "the key is unknown, the service ignores it; write \"" + near + "\" if that is meant");
}

void check_member(const scope_t& scope, const list_node_t& member, std::span<const field_t> fields)
{
    const auto field =
        std::find_if(fields.begin(), fields.end(), [&](const field_t& one) { return member.key == one.key; });
    if (field == fields.end()) {
        check_unknown(scope, member, fields);
        return;
    }
    const list_node_t* first = scope.node.first(member.key);
    if (first != &member) {
        scope.at_key(
            severity::warning, member,
            "the key stands in line " + std::to_string(first->key_place.line) + " already; the last one counts");
    }
    if (!has_kind(member, field->kind))
        check_kind(scope, member, *field);
    else if (member.is_number())
        check_number(scope, member, *field);
}

}  // namespace

void check_fields(const scope_t& scope, std::span<const field_t> fields)
{
    for (const list_node_t& member : scope.node.children)
        check_member(scope, member, fields);
    for (const field_t& field : fields) {
        if (!field.missing || scope.node.first(field.key) != nullptr) continue;
        scope.missing(*field.missing, field.key, std::string("missing: ") + field.without);
    }
}

double taken_number(field_kind kind, double written)
{
    switch (kind) {
        case field_kind::small:
            return static_cast<uint8_t>(cut(written));
        case field_kind::entry:
            return static_cast<int16_t>(int64_t{cut(written)} - 1) + 1;
        case field_kind::wide:
            return static_cast<uint32_t>(
                static_cast<int64_t>(std::clamp(written, double{INT32_MIN}, double{UINT32_MAX})));
        case field_kind::whole_seconds:
        case field_kind::sent_seconds:
            return static_cast<uint8_t>(cut_positive(single(written)));
        case field_kind::tenths:
            return static_cast<uint16_t>(cut_positive(single(written) * 10.0f)) / 10.0;
        default:
            return double{single(written)};
    }
}

const list_node_t* last_number(const list_node_t& object, std::string_view key)
{
    const list_node_t* member = object.last(key);
    return member != nullptr && member->is_number() ? member : nullptr;
}

double number_of(const list_node_t& object, std::string_view key, double fallback)
{
    double number = fallback;
    if (object.kind != node_kind::object) return number;
    for (const list_node_t& member : object.children) {
        if (member.key == key && member.is_number()) number = member.number;
    }
    return number;
}

bool flag_set(const list_node_t& object, std::string_view key)
{
    const list_node_t* member = object.last(key);
    return member != nullptr && member->kind == node_kind::no;
}

std::string number_words(double number)
{
    if (std::isinf(number)) return number > 0 ? "infinity" : "minus infinity";
    constexpr double WHOLE = 1e15;
    char text[48];
    const bool whole = std::fabs(number) < WHOLE && number == std::floor(number);
    std::snprintf(text, sizeof text, whole ? "%.0f" : "%.7g", number);
    return text;
}

}  // namespace peers
