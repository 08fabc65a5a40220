// What is wrong or surprising in a motion list, and where.
#pragma once

#include <string>
#include <vector>

#include "motion_list/list_text.h"

namespace peers {

enum class severity {
    error,    // the service refuses it, leaves it out, or flies something else than the text says
    warning,  // it is flown as written, which may not be what is meant
    note,     // said for completeness
};

const char* severity_text(severity level);

struct finding_t {
    severity level = severity::error;
    text_place_t place;
    std::string path;   // "motion3.para_cfg.amp"; empty: the list as a whole
    std::string value;  // what stands there; may be empty
    std::string rule;   // what is wrong, what the service does, what to write
};

using findings_t = std::vector<finding_t>;

// One object of the list while it is looked through: its members, what it is called, and where findings go.
struct scope_t {
    const list_node_t& node;
    const std::string path;
    findings_t& findings;

    std::string path_of(const std::string& key) const { return path.empty() ? key : path + "." + key; }

    void at(severity level, const list_node_t& member, const std::string& rule) const;      // about a value
    void at_key(severity level, const list_node_t& member, const std::string& rule) const;  // about a key
    void missing(severity level, const std::string& key, const std::string& rule) const;    // told at the object
    void whole(severity level, const std::string& rule) const;                              // about the object
};

}  // namespace peers
