#include "flight_db/flight_db.h"

static flight_global_db_t fc_global_obj;

flight_global_db_t* flight_get_db()
{
    return &fc_global_obj;
}

_drone_state fc_fsm2drone_fsm(uint8_t fsm)
{
    switch (fsm) {
        case 1:
            return DRONE_ON_GND;
        case 2:
            return DRONE_IN_AIR;
        default:
            return DRONE_MOTOR_OFF;
    }
}
