// What the tests of the motion-list checker speak in: lists, and the service's motions flown one by one.
#pragma once

#include <string>
#include <vector>

#include "afqt/include/afqt_craft_cfg.h"
#include "afqt/include/afqt_motion_cfg.h"
#include "afqt_stand.h"

using numbers_t = std::vector<double>;
using sticks_t = api_ctrl_data_without_sensor_t;

inline constexpr int MOST_TICKS = 70000;  // longer than the longest step

// The samples, and one with every number that a line can have.
std::vector<std::string> motion_lists();

// Zeros for a record that is none.
sticks_t sticks_of(const record_t& record);

class MotionListStand : public AfqtStand {
protected:
    void SetUp() override { set_craft_cfg(&RV880_AFQT_CFG); }

    MotionListVec& reads(const std::string& text)
    {
        during([&] { extract_motion_json(text.c_str()); });
        return get_motion_list();
    }

    void starts_at(float altitude, float heading)
    {
        is_at(0, 0);
        db.altitude = altitude;
        db.atti_gnd[2] = heading;
        north = east = 0;
    }

    // Ticks until it is done, with what is said at each.
    template <typename Said>
    int flies(AfqtMotionBase& motion, const Said& said)
    {
        int ticks = 0;
        during([&] {
            motion.reset();
            motion.init(nullptr);
            do {
                clock.jumps(20ms);
                motion.run();
                for (const record_t& record : sent())
                    said(ticks, record);
            } while (++ticks < MOST_TICKS && motion.check_finish() != MOTION_DONE);
        });
        return ticks;
    }

    // An aircraft that does at once what it is told.
    void follows(const sticks_t& sticks)
    {
        north += double{sticks.roll_or_x} * 0.02;
        east += double{sticks.pitch_or_y} * 0.02;
        is_at(north, east);
        db.altitude = db.altitude + sticks.thr_z * 0.02f;
        db.atti_gnd[2] = db.atti_gnd[2] + sticks.yaw * 0.02f;
    }

    double north = 0, east = 0;
};
