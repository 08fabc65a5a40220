#include "motion_list/finding.h"

namespace peers {

const char* severity_text(severity level)
{
    switch (level) {
        case severity::error:
            return "error";
        case severity::warning:
            return "warning";
        default:
            return "note";
    }
}

void scope_t::at(severity level, const list_node_t& member, const std::string& rule) const
{
    findings.push_back({level, member.place, path_of(member.key), member.shown(), rule});
}

void scope_t::at_key(severity level, const list_node_t& member, const std::string& rule) const
{
    findings.push_back({level, member.key_place, path_of(member.key), member.shown(), rule});
}

void scope_t::missing(severity level, const std::string& key, const std::string& rule) const
{
    findings.push_back({level, node.place, path_of(key), "", rule});
}

void scope_t::whole(severity level, const std::string& rule) const
{
    findings.push_back({level, node.place, path, "", rule});
}

}  // namespace peers
