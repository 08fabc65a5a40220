// What the airframes can do. AFQT tick only.
#pragma once

#include <cstdint>

#include "math_basic.h"

inline constexpr uint8_t CRAFT_TILT_POINTS = 13;

// Limits of one flight mode.
struct AfqtCraftModeItem {
    fp32 rc_scale;         // stick scale factor
    fp32 tilt_atti_range;  // degrees
    fp32 tilt_gyro_range;  // degrees/s
    fp32 tors_gyro_range;  // degrees/s, yaw
    fp32 vert_vel_up;      // m/s
    fp32 vert_vel_down;    // m/s, negative
    fp32 vert_acc_up;      // m/s2
    fp32 vert_acc_down;    // m/s2, negative
};

struct AfqtCraftCfgItem {
    fp32 tilt_vel_curve[CRAFT_TILT_POINTS];  // m/s reached at the tilt angles of ref_tilt
    AfqtCraftModeItem p_mode;                // normal
    AfqtCraftModeItem s_mode;                // sport
};

extern const fp32 ref_tilt[CRAFT_TILT_POINTS];  // degrees
extern const AfqtCraftCfgItem RV880_AFQT_CFG;
extern const AfqtCraftCfgItem QX520_AFQT_CFG;

// Asks the flight controller for its drone type, waiting for the answer, and selects that airframe's table. An unknown
// type or no answer leaves the selection as it was. 0.
uint8_t load_craft_cfg();

// `cfg` is kept, not copied; null is ignored.
void set_craft_cfg(const AfqtCraftCfgItem* cfg);

// Null until an airframe was selected.
const AfqtCraftCfgItem* get_craft_cfg();
