#include "flight_controller/fc_event.h"

namespace peers {

const char* event_name(fc_event_kind kind)
{
    switch (kind) {
        case fc_event_kind::motor_error_registered:
            return "motor_error_registered";
        case fc_event_kind::motor_error_refused:
            return "motor_error_refused";
        case fc_event_kind::motor_set_ignored:
            return "motor_set_ignored";
        case fc_event_kind::motors_held:
            return "motors_held";
        case fc_event_kind::motors_released:
            return "motors_released";
        case fc_event_kind::bags_reset:
            return "bags_reset";
        case fc_event_kind::bag_added:
            return "bag_added";
        case fc_event_kind::bag_deleted:
            return "bag_deleted";
        case fc_event_kind::bag_rate_changed:
            return "bag_rate_changed";
        case fc_event_kind::bag_refused:
            return "bag_refused";
        case fc_event_kind::announcement:
            return "announcement";
        case fc_event_kind::restriction:
            return "restriction";
    }
    return "unknown";
}

}  // namespace peers
