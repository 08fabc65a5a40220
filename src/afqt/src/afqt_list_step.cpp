// How the list runner goes from entry to entry.
#include <cstdio>

#include "afqt/include/afqt_debugger.h"
#include "afqt/include/afqt_motion_cfg.h"
#include "afqt/include/afqt_run_motion_list.h"
#include "afqt/include/afqt_wire.h"

namespace afqt {

// Null outside the list.
MotionInterface RunMotionList::entry(uint8_t index) const
{
    const MotionListVec& list = get_motion_list();
    return index < run_list_sta.motion_total && index < list.size() ? list[index] : nullptr;
}

bool RunMotionList::is_repeat(uint8_t index) const
{
    const AfqtMotionBase* motion = entry(index);
    return motion != nullptr && motion->motion_id == MOTION_REPEAT;
}

uint8_t RunMotionList::start_list()
{
    const auto list_size = static_cast<int>(get_motion_list().size());
    printf("[afqt]list size is %d\r\n", list_size);
    run_list_sta.motion_total = static_cast<uint8_t>(list_size);
    printf("table_len : %d \r\n", run_list_sta.motion_total);
    run_list_sta.curr_motion_num = 0;
    run_list_sta.repeat_stack.clear();
    run_list_sta.repeat_stack.push(0);
    if (run_list_sta.motion_total == 0) return CFG_TABLE_EMPTY;
    if (entry(0) == nullptr || is_repeat(0)) {
        puts("cur_motion_type is motion_repeat");
        return INIT_CURR_MOTION_NULL;
    }
    run_list_sta.curr_motion_ptr = entry(0);
    if (afqt_motion_check_valid() == MOTION_CFG_INVALID) return INIT_MOTION_INVALID;
    afqt_motion_reset();
    afqt_motion_init();  // it is prepared once more when the list starts in the air
    return ERROR_NONE;
}

uint8_t RunMotionList::step_list()
{
    afqt_motion_run();
    if (afqt_motion_check_finish() != MOTION_DONE) return ERROR_NONE;
    _afqt_log(__func__, "[afqt]Curr_motion_num %d\n", run_list_sta.curr_motion_num);
    return is_repeat(0) ? uint8_t{ERROR_NONE} : next_entry();
}

uint8_t RunMotionList::next_entry()
{
    const uint8_t index = ++run_list_sta.curr_motion_num;
    run_list_sta.repeat_stack.pop();
    run_list_sta.repeat_stack.push(index);
    AfqtMotionBase* candidate = entry(index);
    if (candidate == nullptr) return ERROR_NONE;
    printf("[afqt]temp_ptr motion_id %d\n", candidate->motion_id);
    _afqt_log(__func__, "[afqt]temp_ptr motion_id %d\n", candidate->motion_id);
    if (candidate->motion_id != MOTION_REPEAT) return fly(candidate);

    // What a repeat selects is not flown: the motion that has just finished gets one more tick, reports itself done
    // again, and the list goes on behind the repeat.
    candidate->init(nullptr);
    expand_repeat(index);
    return ERROR_NONE;
}

uint8_t RunMotionList::fly(MotionInterface motion)
{
    run_list_sta.curr_motion_ptr = motion;
    if (afqt_motion_check_valid() == MOTION_CFG_INVALID) return MOTION_CFG_FAIL;
    afqt_motion_reset();
    if (afqt_motion_init() != 1) return ERROR_NONE;
    afqt_motion_reset();
    _afqt_log(__func__, "[afqt]motion init fail: %d \r\n", run_list_sta.curr_motion_num);
    return MOTION_INIT_FAIL;
}

// `index` is on top of the stack and has been initialised. A repeat with repetitions left is stepped over, only one
// without asks for its entries: odd, but lists are written for it. Repeats may name each other in a circle, so there
// are at most as many steps as the list has entries.
void RunMotionList::expand_repeat(uint8_t index)
{
    for (unsigned steps_left = run_list_sta.motion_total; steps_left > 0; --steps_left) {
        AfqtMotionBase* repeat = entry(index);
        if (repeat->check_finish() == MOTION_DONE) {
            follow_repeat(repeat, steps_left);
            return;
        }
        repeat->reset();
        step_over_repeat();
        index = run_list_sta.repeat_stack.top();
        if (!is_repeat(index)) return;
        entry(index)->init(nullptr);
    }
}

void RunMotionList::step_over_repeat()
{
    run_list_sta.repeat_stack.pop();
    if (run_list_sta.repeat_stack.empty()) run_list_sta.repeat_stack.push(++run_list_sta.curr_motion_num);
}

// Goes down into the repeats that a repeat names, to the entry that is none. An index outside the list selects nothing.
void RunMotionList::follow_repeat(MotionInterface repeat, unsigned steps_left)
{
    uint8_t index = repeat->run();
    for (; is_repeat(index) && steps_left > 0; --steps_left) {
        run_list_sta.repeat_stack.push(index);
        entry(index)->init(nullptr);
        index = entry(index)->run();
    }
    if (entry(index) != nullptr && !is_repeat(index)) run_list_sta.repeat_num = index;
}

}  // namespace afqt
