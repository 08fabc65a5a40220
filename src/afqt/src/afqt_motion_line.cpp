#include "afqt/include/afqt_motion_line.h"

#include <new>

#include "afqt/include/afqt_hold_still.h"

AfqtMotionBase* AfqtMotionLine::extract(const cJSON*)
{
    return new (std::nothrow) AfqtMotionLine();
}

uint8_t AfqtMotionLine::init(void*)
{
    return 1;
}

uint8_t AfqtMotionLine::run()
{
    send_hold_still();
    return 0;
}

uint8_t AfqtMotionLine::reset()
{
    return 0;
}

uint8_t AfqtMotionLine::check_finish()
{
    return MOTION_DONE;
}

uint8_t AfqtMotionLine::check_valid()
{
    return MOTION_CFG_INVALID;
}
