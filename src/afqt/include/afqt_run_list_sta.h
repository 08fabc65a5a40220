// Where a run of the motion list stands. A motion's init gets a pointer to this record.
#pragma once

#include <cstddef>
#include <cstdint>

#include "math_vector.h"

class AfqtMotionBase;

namespace afqt {

// Indices of list entries. Taking apart one repeat pushes at most one index per list entry, and a run does that at most
// once per entry, so the room is enough for any list; no heap, since the 20 ms tick pushes.
class RepeatStack {
public:
    bool empty() const { return size_ == 0; }
    size_t size() const { return size_; }
    uint8_t top() const { return empty() ? uint8_t{0} : indices_[size_ - 1]; }
    void pop() { size_ -= empty() ? 0 : 1; }
    void clear() { size_ = 0; }
    void push(uint8_t index)
    {
        if (size_ < CAPACITY) indices_[size_++] = index;
    }

private:
    static constexpr size_t CAPACITY = size_t{256} * 255;
    size_t size_ = 0;
    uint8_t indices_[CAPACITY];  // not cleared: pages that no list needs stay untouched
};

}  // namespace afqt

// Touched by the AFQT timer only.
struct run_list_sta_t {
    AfqtMotionBase* curr_motion_ptr = nullptr;  // being flown; the list owns it
    vec2 init_gps_pos = {};                     // start point: latitude, longitude, radians
    fp32 init_alt = 0;                          // metres
    fp32 init_yaw = 0;                          // degrees
    afqt::RepeatStack repeat_stack;             // entries that are being taken apart, innermost on top
    uint8_t init_pos_valid_flag = 0;            // 1: the start point was taken with a usable fix
    uint8_t motion_total = 0;                   // entries of the list
    uint8_t error_code = 0;                     // AfqtErrCodeEnum
    uint8_t curr_motion_num = 0;                // outermost entry being worked on, from 0
    uint8_t repeat_num = 0;                     // entry that the last repeat selected
    uint8_t curr_sta = 0;
};
