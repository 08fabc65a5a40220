// The way back to the start.
#include "motion_list/fields.h"
#include "motion_list/motion_rules.h"

namespace peers {
namespace {

constexpr field_t RTL_FIELDS[] = {
    {"pos_flag", field_kind::flag, severity::warning, "it does not fly back to the position; false sets the flag"},
    {"alt_flag", field_kind::flag, severity::warning, "it does not go back to the height; false sets the flag"},
    {"yaw_flag", field_kind::flag, severity::warning, "it does not turn back to the heading; false sets the flag"},
    {"land_flag", field_kind::flag},
};

}  // namespace

void check_rtl(const scope_t& scope)
{
    check_fields(scope, RTL_FIELDS);
    if (!flag_set(scope.node, "pos_flag") && !flag_set(scope.node, "alt_flag") && !flag_set(scope.node, "yaw_flag"))
        scope.whole(severity::warning, "no flag is set: the return ends at once");
}

}  // namespace peers
