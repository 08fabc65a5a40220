// The frame of an aircraft that is to stay where it is.
#pragma once

#include "afqt/include/afqt_send.h"
#include "afqt/include/afqt_wire.h"

// Zero velocity, climb and yaw rate, stabilised. Result of the send.
inline uint8_t send_hold_still()
{
    return send_ctrl_data_packed(HORIZ_MODE_VEL, VERT_MODE_VEL, YAW_MODE_RATE, BODY_LEVEL, STAB_ENABLE, 0.0f, 0.0f,
                                 0.0f, 0.0f);
}
