// What a list says about itself.
#include "motion_list/fields.h"
#include "motion_list/motion_rules.h"

namespace peers {
namespace {

constexpr const char* KEPT = "the value of the list that was loaded before is kept";
constexpr const char* EMPTY = "it counts as empty";
constexpr const char* ZERO = "it counts as 0";

constexpr field_t ATTRIBUTE_FIELDS[] = {
    {"motion_num", field_kind::small, severity::error, KEPT, ZERO},
    {"motion_list_uid", field_kind::wide, severity::warning, KEPT, ZERO},
    {"department", field_kind::text, severity::warning, KEPT, EMPTY},
    {"product_phase", field_kind::text, severity::warning, KEPT, EMPTY},
    {"archive_id", field_kind::text, severity::warning, KEPT, EMPTY},
    {"owner", field_kind::text, severity::warning, KEPT, EMPTY},
    {"creat_time", field_kind::text, severity::warning, KEPT, EMPTY},
    {"motion_lis_ver", field_kind::text, severity::warning, KEPT, EMPTY},
    {"drone_type", field_kind::text, severity::warning, KEPT, EMPTY},
};

}  // namespace

void check_attribute(const scope_t& scope)
{
    check_fields(scope, ATTRIBUTE_FIELDS);
    const list_node_t* number = last_number(scope.node, "motion_num");
    if (number != nullptr && number->number == 0)
        scope.at(severity::error, *number,
                 "no entry is read: the test stops on the ground; write the number of entries");
}

}  // namespace peers
