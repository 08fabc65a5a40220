// The rules of a list, group by group. Each function looks at one object and tells what it finds.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "afqt_wire.h"
#include "motion_list/craft_table.h"
#include "motion_list/finding.h"

namespace peers {

// An entry as the service finds it.
struct list_entry_t {
    size_t number = 0;  // N of motionN
    motion_id_t motion = NONE;
    const list_node_t* member = nullptr;
    const list_node_t* para_cfg = nullptr;  // null when there is none
};

// The entries that the service reads; what is found goes to `findings`. `drones` are those that the list may be flown
// by.
std::vector<list_entry_t> check_structure(const list_node_t& root, drones_t drones, findings_t& findings);
void check_attribute(const scope_t& scope);

// Of one "para_cfg".
void check_hover(const scope_t& scope);
void check_step(const scope_t& scope, drones_t drones);
void check_sweep(const scope_t& scope);
void check_rtl(const scope_t& scope);
void check_line(const scope_t& scope, drones_t drones);
void check_repeat(const scope_t& scope);

// What concerns entries among each other.
void check_order(std::span<const list_entry_t> entries, findings_t& findings);

// The entries that are flown, in their order: not the repeats, and not what they skip.
std::vector<list_entry_t> flown_entries(std::span<const list_entry_t> entries);

}  // namespace peers
