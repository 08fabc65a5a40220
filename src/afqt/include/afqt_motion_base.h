// A motion: one manoeuvre of a flight test. The list runner drives it, 20 ms tick by tick: check_valid, reset, init,
// then run and check_finish until it is done. A motion may be flown several times, so what belongs to one flight is set
// in reset or init, never in the constructor alone. AFQT tick only; no operation blocks or allocates but `extract`.
#pragma once

#include <cstdint>
#include <vector>

#include "afqt/include/afqt_wire.h"

enum motion_run_sta_t : uint8_t { MOTION_DONE = 0, MOTION_DOING = 1, MOTION_WAITING = 2 };
enum motion_cfg_valid_t : uint8_t { MOTION_CFG_VALID = 0, MOTION_CFG_INVALID = 1 };

class AfqtMotionBase {
public:
    explicit AfqtMotionBase(uint8_t id) : motion_id(id) {}
    virtual ~AfqtMotionBase() = default;
    AfqtMotionBase(const AfqtMotionBase&) = delete;
    AfqtMotionBase& operator=(const AfqtMotionBase&) = delete;

    // Prepares one flight; `arg` is the runner's run_list_sta_t, or null for a repeat. 0, or 1 if it cannot start.
    virtual uint8_t init(void* arg) = 0;

    // One tick. 0; for a repeat the index of the list entry that comes next.
    virtual uint8_t run() = 0;

    // Back to how it was before `init`. 0.
    virtual uint8_t reset() = 0;

    // motion_run_sta_t
    virtual uint8_t check_finish() = 0;

    // motion_cfg_valid_t: whether what the file says can be flown.
    virtual uint8_t check_valid() = 0;

    // AfqtCtrlLoopEnum: the loop that the motion excites.
    virtual uint8_t get_loop() { return kLoopNull; }

    uint8_t get_motion_cur_state() const { return cur_state; }
    void set_motion_cur_state(uint8_t state) { cur_state = state; }

    const uint8_t motion_id;  // motion_id_t

protected:
    uint8_t cur_state = 0;  // how far the motion is; every kind has its own numbers
};

using MotionInterface = AfqtMotionBase*;

// In file order, from 0. Owns nothing.
using MotionListVec = std::vector<MotionInterface>;

class AfqtMotionFactory {
public:
    // Destroys a motion that `extract` made; null is ignored. A reload does not call it: the runner may still hold a
    // motion of the list before.
    static void afqt_motion_class_clear(AfqtMotionBase* motion) { delete motion; }
};
