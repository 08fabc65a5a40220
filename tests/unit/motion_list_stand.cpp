#include "motion_list_stand.h"

#include <cstring>
#include <filesystem>
#include <fstream>

// Every number that a line can have, each stick in two modes.
static const char* const LINES =
    R"({"attribute": {"owner": "o", "creat_time": "c", "motion_lis_ver": "v", "drone_type": "d",
  "department": "d", "product_phase": "p", "archive_id": "a", "motion_list_uid": 7, "motion_num": 3},
 "motion0": {"motion_id": "kHover", "para_cfg": {"duration": 0.5}},
 "motion1": {"motion_id": "kLine", "para_cfg": {"flight_mode": 1, "height_min": -2, "height_max": 3, "vert_vel": 1.5,
  "vert_pos": 2, "yaw_rate": 40, "yaw_angle": 60, "flight_yaw": 20,
  "stick_tilt": [{"time": 2, "stick_value": 40}, {"time": 1.5, "stick_value": -20}],
  "stick_vert": [{"time": 2, "stick_value": 50, "vert_mode": 0}, {"time": 2, "stick_value": -80, "vert_mode": 1},
                 {"time": 1, "stick_value": 10, "vert_mode": 2}],
  "stick_yaw": [{"time": 2, "stick_value": 50, "yaw_mode": 1}, {"time": 3, "stick_value": -90, "yaw_mode": 0}]}},
 "motion2": {"motion_id": "kLine", "para_cfg": {"flight_mode": 0, "flight_dis": 5, "flight_yaw": -100,
  "stick_tilt": [{"time": 9, "stick_value": 30}]}}})";

std::vector<std::string> motion_lists()
{
    std::vector<std::string> texts = {LINES};
    for (const auto& entry : std::filesystem::directory_iterator(MOTION_LISTS)) {
        std::ifstream file(entry.path());
        texts.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return texts;
}

sticks_t sticks_of(const record_t& record)
{
    sticks_t sticks = {};
    if (record.payload.size() == sizeof sticks) std::memcpy(&sticks, record.payload.data(), sizeof sticks);
    return sticks;
}
