// What entries make of each other: a return or a repeat in the wrong place, and what a repeat skips.
#include <cmath>

#include "motion_list/fields.h"
#include "motion_list/motion_rules.h"

namespace peers {
namespace {

double number_in(const list_entry_t& entry, const char* key, double fallback)
{
    return entry.para_cfg == nullptr ? fallback : number_of(*entry.para_cfg, key, fallback);
}

bool skips(const list_entry_t& entry)
{
    return entry.motion == MOTION_REPEAT && number_in(entry, "repeat_times", 0) >= 1;
}

void check_named_entries(std::span<const list_entry_t> entries, const list_entry_t& repeat, findings_t& findings)
{
    const scope_t scope{*repeat.member, repeat.member->key, findings};
    const double from = number_in(repeat, "start_num", 1);
    const double to = number_in(repeat, "end_num", 1);
    const auto count = static_cast<double>(entries.size());
    if (!(from >= 1 && to >= 1 && from <= count && to <= count)) {
        scope.whole(severity::error, "it names an entry outside the list, which has " + number_words(count) +
                                         "; entries are counted from 1 here");
        return;
    }
    for (auto i = static_cast<size_t>(from); i <= static_cast<size_t>(to); i++) {
        if (entries[i - 1].motion != MOTION_REPEAT) continue;
        scope.whole(severity::error, "it names a repeat, " + entries[i - 1].member->key +
                                         ": later repeats may then skip nothing; name other entries");
        return;
    }
}

}  // namespace

void check_order(std::span<const list_entry_t> entries, findings_t& findings)
{
    if (entries.empty()) return;
    const scope_t first{*entries[0].member, entries[0].member->key, findings};
    if (entries[0].motion == MOTION_REPEAT)
        first.whole(severity::error, "the first entry must not be a repeat: the test stops on the ground");
    if (entries[0].motion == MOTION_RTL)
        first.whole(severity::error,
                    "a return as the first entry may head for latitude 0, longitude 0; put a hover before it");
    for (const list_entry_t& entry : entries) {
        if (entry.motion == MOTION_REPEAT) check_named_entries(entries, entry, findings);
    }
    for (size_t i = 1; i < entries.size(); i++) {
        if (entries[i].motion == MOTION_REPEAT || !skips(entries[i - 1])) continue;
        const scope_t skipped{*entries[i].member, entries[i].member->key, findings};
        skipped.whole(severity::warning, "it is skipped: the entry before it is a repeat");
    }
}

// A row of repeats skips one entry in all, and one with repeat_times 0 at its end skips nothing.
std::vector<list_entry_t> flown_entries(std::span<const list_entry_t> entries)
{
    std::vector<list_entry_t> flown;
    for (size_t i = 0; i < entries.size(); i++) {
        if (entries[i].motion == MOTION_REPEAT) continue;
        if (i > 0 && skips(entries[i - 1])) continue;
        flown.push_back(entries[i]);
    }
    return flown;
}

}  // namespace peers
