#include "afqt/include/afqt_craft_cfg.h"

#include "afqt/include/afqt_debugger.h"
#include "afqt/include/afqt_send.h"
#include "afqt/include/afqt_wire.h"

const fp32 ref_tilt[CRAFT_TILT_POINTS] = {0.0f,  5.0f,  10.0f, 15.0f, 20.0f, 25.0f, 30.0f,
                                          35.0f, 40.0f, 45.0f, 50.0f, 55.0f, 60.0f};

const AfqtCraftCfgItem RV880_AFQT_CFG = {
    .tilt_vel_curve = {0.0f, 3.0f, 7.8f, 11.5f, 13.6f, 16.1f, 18.5f, 20.3f, 21.7f, 23.7f, 24.5f, 28.0f, 29.6f},
    .p_mode = {.rc_scale = 0.835f,
               .tilt_atti_range = 25.0f,
               .tilt_gyro_range = 300.0f,
               .tors_gyro_range = 75.0f,
               .vert_vel_up = 4.0f,
               .vert_vel_down = -3.0f,
               .vert_acc_up = 6.0f,
               .vert_acc_down = -5.0f},
    .s_mode = {.rc_scale = 1.0f,
               .tilt_atti_range = 35.0f,
               .tilt_gyro_range = 300.0f,
               .tors_gyro_range = 200.0f,
               .vert_vel_up = 5.0f,
               .vert_vel_down = -3.0f,
               .vert_acc_up = 8.0f,
               .vert_acc_down = -6.0f},
};

const AfqtCraftCfgItem QX520_AFQT_CFG = {
    .tilt_vel_curve = {0.0f, 2.0f, 5.7f, 7.9f, 10.5f, 12.0f, 14.2f, 14.6f, 15.0f, 15.5f, 15.5f, 15.5f, 15.5f},
    .p_mode = {.rc_scale = 0.75f,
               .tilt_atti_range = 20.0f,
               .tilt_gyro_range = 250.0f,
               .tors_gyro_range = 100.0f,
               .vert_vel_up = 2.0f,
               .vert_vel_down = -1.5f,
               .vert_acc_up = 6.0f,
               .vert_acc_down = -6.0f},
    .s_mode = {.rc_scale = 1.0f,
               .tilt_atti_range = 30.0f,
               .tilt_gyro_range = 250.0f,
               .tors_gyro_range = 150.0f,
               .vert_vel_up = 4.0f,
               .vert_vel_down = -3.0f,
               .vert_acc_up = 6.0f,
               .vert_acc_down = -6.0f},
};

static const AfqtCraftCfgItem* craft_cfg;

uint8_t load_craft_cfg()
{
    int8_t drone_type = 0;
    send_get_drone_type(&drone_type);
    if (drone_type == PRODUCT_RV880) set_craft_cfg(&RV880_AFQT_CFG);
    if (drone_type == PRODUCT_QX520) {
        set_craft_cfg(&QX520_AFQT_CFG);
        _afqt_log(__func__, "[afqt] set_cfg_qx520 \r\n");
    }
    return 0;
}

void set_craft_cfg(const AfqtCraftCfgItem* cfg)
{
    if (cfg != nullptr) craft_cfg = cfg;
}

const AfqtCraftCfgItem* get_craft_cfg()
{
    return craft_cfg;
}
