#include "afqt/include/afqt_motion_repeat.h"

#include <cstdio>
#include <new>

#include "afqt/include/afqt_json.h"

// From an entry counted from 1 to one counted from 0; in 64 bits, since the smallest int has no predecessor.
static void json_entry(const cJSON& item, const char* key, int16_t& out)
{
    if (!json_has_key(item, key) || cJSON_IsNumber(&item) == 0) return;
    out = static_cast<int16_t>(int64_t{json_int(item)} - 1);
}

AfqtMotionBase* AfqtMotionRepeat::extract(const cJSON* para_cfg)
{
    std::puts("[JSON] in repeat  ");
    MotionRepeatCfgItem cfg = {};
    for (const cJSON* item = json_first(para_cfg); item != nullptr; item = item->next) {
        json_entry(*item, "start_num", cfg.start_num_);
        json_entry(*item, "end_num", cfg.end_num_);
        json_low8(*item, "repeat_times", cfg.repeat_times_);
    }
    return new (std::nothrow) AfqtMotionRepeat(cfg);
}

uint8_t AfqtMotionRepeat::init(void*)
{
    cur_repeat_times_ = 0;
    cur_motion_index_ = static_cast<int16_t>(motion_repeat_cfg_.start_num_ - 1);
    return 0;
}

uint8_t AfqtMotionRepeat::run()
{
    std::puts("afqt_motion repeat");
    cur_motion_index_ = static_cast<int16_t>(cur_motion_index_ + 1);
    if (cur_motion_index_ > motion_repeat_cfg_.end_num_) {
        cur_repeat_times_ = static_cast<uint8_t>(cur_repeat_times_ + 1);
        cur_motion_index_ = motion_repeat_cfg_.start_num_;
    }
    return static_cast<uint8_t>(cur_motion_index_);
}

uint8_t AfqtMotionRepeat::reset()
{
    return 0;
}

uint8_t AfqtMotionRepeat::check_finish()
{
    return cur_repeat_times_ < motion_repeat_cfg_.repeat_times_ ? MOTION_DOING : MOTION_DONE;
}

// The runner holds the index against the list.
uint8_t AfqtMotionRepeat::check_valid()
{
    return MOTION_CFG_VALID;
}
