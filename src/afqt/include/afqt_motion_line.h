// A straight line, flown as a pilot would: tilt, vertical and yaw stick, each moved by a timed list, through what the
// craft table makes of a stick. docs/motion-lists.md has the picture.
#pragma once

#include <cjson/cJSON.h>

#include "afqt/include/afqt_craft_cfg.h"
#include "afqt/include/afqt_line_cfg.h"
#include "afqt/include/afqt_motion_base.h"
#include "math_vector.h"

// How far a line is, in `cur_state`.
enum line_state_t : uint8_t { LINE_BEGIN = 0, LINE_FLY = 1, LINE_DONE = 2 };

class AfqtMotionLine : public AfqtMotionBase {
public:
    explicit AfqtMotionLine(const MotionLineCfgItem& cfg) : AfqtMotionBase(MOTION_LINE), cfg_(cfg) {}

    // Null when memory is out; `para_cfg` may be null or of any kind.
    static AfqtMotionBase* extract(const cJSON* para_cfg);

    // 1 if the line ends at a distance and there is no fix to measure it by.
    uint8_t init(void* arg) override;

    // The first tick takes height, heading and position of the aircraft as the start. The last one, when the items have
    // ended or the distance is flown, holds still. A fix that is lost on a line with a distance ends it too.
    uint8_t run() override;
    uint8_t reset() override;
    uint8_t check_finish() override;

    // MOTION_CFG_INVALID without a craft table, or when what the file says makes no sense.
    uint8_t check_valid() override;

private:
    void begin();
    const char* reason_to_end() const;
    bool distance_flown() const;
    void fly();
    void end(const char* reason);
    void tilt();
    void climb(fp32 height);
    fp32 wanted_climb(const MotionLineItem& item, fp32 height) const;
    fp32 yaw_rate(fp32 yaw) const;

    const MotionLineCfgItem cfg_;

    // Of one flight.
    const AfqtCraftCfgItem* craft_ = nullptr;
    const AfqtCraftModeItem* mode_ = nullptr;
    uint32_t tick_ = 0;      // since the start
    vec2 start_pos_ = {};    // latitude, longitude, radians
    fp32 start_alt_ = 0.0f;  // m
    fp32 start_yaw_ = 0.0f;  // degrees
    fp32 tilt_ = 0.0f;       // degrees, commanded
    fp32 speed_ = 0.0f;      // m/s along the line, commanded
    fp32 climb_ = 0.0f;      // m/s, commanded
};
