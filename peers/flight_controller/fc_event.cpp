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
        case fc_event_kind::mode_changed:
            return "mode_changed";
        case fc_event_kind::took_off:
            return "took_off";
        case fc_event_kind::landed:
            return "landed";
        case fc_event_kind::takeoff_refused:
            return "takeoff_refused";
        case fc_event_kind::sweep_started:
            return "sweep_started";
        case fc_event_kind::sweep_ended:
            return "sweep_ended";
        case fc_event_kind::sticks_lost:
            return "sticks_lost";
    }
    return "unknown";
}

const char* mode_name(uint8_t mode)
{
    switch (mode) {
        case KCTRL_GPS_ATTI:
            return "hold";
        case KCTRL_AUTOTAKEOFF:
            return "take-off";
        case KCTRL_AUTOLANDING:
            return "landing";
        case KCTRL_NAVI_GOHOME:
            return "go home";
        case KCTRL_NAVI_JOYSTICK:
            return "external control";
        default:
            return "other";
    }
}

}  // namespace peers
