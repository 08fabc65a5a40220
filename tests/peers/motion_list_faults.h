// A motion list, and faults to put into it one at a time.
#pragma once

#include <string>

// One of each, without a fault.
inline const std::string GOOD = R"({
  "attribute": {
    "owner": "o", "creat_time": "c", "motion_lis_ver": "v", "drone_type": "RV880",
    "department": "d", "product_phase": "p", "archive_id": "a",
    "motion_list_uid": 7, "motion_num": 6
  },
  "motion0": {"motion_id": "kHover", "para_cfg": {"duration": 3}},
  "motion1": {"motion_id": "kStep", "para_cfg": {
    "loop_id": 7, "amp": 2, "intervals": 4, "repeat_times": 2, "reset_flag": false}},
  "motion2": {"motion_id": "kSweepChirpZ", "para_cfg": {
    "inj_loop": 12, "inj_point": 0, "start_freq": 0.5, "end_freq": 5, "duration": 30, "amp": 1.5}},
  "motion3": {"motion_id": "kLine", "para_cfg": {
    "flight_dis": 10, "height_min": -1, "height_max": 2, "vert_pos": 1, "yaw_rate": 20,
    "stick_tilt": [{"time": 20, "stick_value": 40}],
    "stick_vert": [{"time": 8, "stick_value": 90, "vert_mode": 1}],
    "stick_yaw": [{"time": 5, "stick_value": 70, "yaw_mode": 1}]}},
  "motion4": {"motion_id": "kRtl", "para_cfg": {"pos_flag": false, "alt_flag": false, "yaw_flag": false}},
  "motion5": {"motion_id": "kHover", "para_cfg": {"duration": 6}}
}
)";

struct list_fault_t {
    std::string from;            // the first such piece of the list ...
    std::string to;              // ... replaced by this
    const char* place;           // without the "para_cfg" between a motion and its parameter
    const char* rule;            // a piece of it
    bool beyond_schema = false;  // a schema cannot say it
};

inline const std::string RTL = R"("kRtl", "para_cfg": {"pos_flag": false, "alt_flag": false, "yaw_flag": false})";
inline const std::string TILT = R"([{"time": 20, "stick_value": 40}])";

inline std::string many_items()
{
    std::string items = R"({"time": 1})";
    for (int i = 0; i < 32; i++)
        items += R"(, {"time": 1})";
    return "[" + items + "]";
}

inline const list_fault_t FAULTS[] = {
    {R"("motion_num": 6)", R"("motion_num": 7)", "1:1 error motion6", "missing, but motion_num counts it", true},
    {R"("motion_num": 6)", R"("motion_num": 5)", "18:3 error motion5", "not read: motion_num is 5", true},
    {R"("motion_num": 6)", R"("motion_num": 0)", "5:41 error attribute.motion_num", "no entry is read"},
    {R"("motion_num": 6)", R"("motion_num": 262)", "5:41 error attribute.motion_num", "the service takes 6"},
    {R"("motion_num": 6)", R"("motion_num": "6")", "5:41 error attribute.motion_num", "counts as 0"},
    {R"("motion_num": 6)", R"("motion_nun": 6)", "5:27 error attribute.motion_nun", R"(write "motion_num")"},
    {R"("motion_list_uid": 7)", R"("motion_list_uid": 4294967296)", "5:24 error attribute.motion_list_uid",
     "takes 4294967295"},
    {R"("owner": "o", )", "", "2:16 warning attribute.owner", "before is kept"},
    {R"("owner": "o")", R"("owner": 5)", "3:14 error attribute.owner", "counts as empty"},
    {R"("department": "d")", R"("departement": "d")", "4:5 error attribute.departement", R"(write "department")"},
    {R"("archive_id": "a")", R"("archive_id": "a", "archive_id": "b")", "4:65 warning attribute.archive_id",
     "the last one counts"},
    {R"("attribute": {)", R"("attributes": {)", "2:3 error attributes", R"(write "attribute")"},
    {"\"attribute\": {\n", "\"attribute\": 5, \"was\": {\n", "2:16 error attribute", "has to be an object"},
    {R"("motion0": {)", R"("motion10": {}, "motion0": {)", "7:3 error motion10", R"(contains "motion1")"},
    {R"("motion0": {)", R"("old_motion1": {"motion_id": "kHover"}, "motion0": {)", "7:3 error old_motion1",
     R"(contains "motion1")"},
    {R"("motion1": {)", R"("Motion1": {)", "8:3 error Motion1", "write motion and the number"},
    {R"("motion1": {)", R"("motion01": {)", "8:3 error motion01", "write motion and the number"},
    {R"("motion5": {)", R"("motion4": {)", "18:3 warning motion4", "the first one counts"},
    {R"("motion0": {)", R"("remark": "x", "motion0": {)", "7:3 warning remark", "unknown"},
    {R"("kHover", "para_cfg": {"duration": 3})", R"("khover", "para_cfg": {"duration": 3})",
     "7:28 error motion0.motion_id", "write kHover"},
    {R"("kStep")", R"("kSpin")", "8:28 error motion1.motion_id", "left out"},
    {R"("motion_id": "kRtl")", R"("motion_id": 6)", "17:28 error motion4.motion_id", "left out"},
    {R"("motion_id": "kRtl", )", "", "17:14 error motion4.motion_id", "left out"},
    {R"("motion_id": "kRtl")", R"("Motion_Id": "kRtl")", "17:15 warning motion4.Motion_Id", R"(write "motion_id")"},
    {R"("para_cfg": {"duration": 3})", R"("para_cgf": {"duration": 3})", "7:38 error motion0.para_cgf",
     R"(write "para_cfg")"},
    {R"("para_cfg": {"duration": 3})", R"("para_cfg": 3)", "7:50 error motion0.para_cfg", "their defaults"},
    {R"({"motion_id": "kHover", "para_cfg": {"duration": 3}})", R"("kHover")", "7:14 error motion0",
     "has to be an object"},
    {R"("kHover", "para_cfg": {"duration": 3})", RTL, "7:14 error motion0", "latitude 0"},
    {R"("motion_id": "kHover", "para_cfg": {"duration": 3})",
     R"("motion_id": "kRepeat", "para_cfg": {"start_num": 2, "end_num": 2, "repeat_times": 1})", "7:14 error motion0",
     "must not be a repeat"},
    {RTL, R"("kRepeat", "para_cfg": {"start_num": 1, "end_num": 2, "repeat_times": 1})", "18:14 warning motion5",
     "it is skipped"},
    {RTL, R"("kRepeat", "para_cfg": {"start_num": 5, "end_num": 5, "repeat_times": 0})", "17:14 error motion4",
     "names a repeat, motion4", true},
    {RTL, R"("kRepeat", "para_cfg": {"start_num": 0, "end_num": 1, "repeat_times": 1})", "17:14 error motion4",
     "outside the list, which has 6"},
    {R"("duration": 3})", R"("duration": 0})", "7:63 error motion0.duration", "refuses a hover of 0 s"},
    {R"("duration": 3})", R"("duration": -3})", "7:63 error motion0.duration", "first tick"},
    {R"("duration": 3})", R"("duration": "3"})", "7:63 error motion0.duration", "takes 0 and refuses"},
    {R"("duration": 3})", R"("duraton": 3})", "7:51 error motion0.duraton", R"(write "duration")"},
    {R"("duration": 3})", R"("duration": 30000})", "7:63 warning motion0.duration", "the unit is the second"},
    {R"("duration": 3})", R"("duration": 1e999})", "7:63 error ", "takes it for infinite"},
    {R"("duration": 3})", R"("duration": 3, "duration": 4})", "7:66 warning motion0.duration", "line 7 already"},
    {R"("duration": 3})", R"("Duration": 3})", "7:51 error motion0.Duration", R"(write "duration")"},
    {R"("loop_id": 7)", R"("loop_id": 263)", "9:16 error motion1.loop_id", "the service takes 7"},
    {R"("loop_id": 7)", R"("loop_id": 9)", "9:16 warning motion1.loop_id", "holds still"},
    {R"("loop_id": 7)", R"("loop_id": 7.5)", "9:16 error motion1.loop_id", "the service takes 7"},
    {R"("intervals": 4)", R"("intervals": 0.5)", "9:42 error motion1.intervals", "the service takes 0"},
    {R"("intervals": 4)", R"("intervals": 2.5)", "9:42 error motion1.intervals", "the service takes 2"},
    {R"("repeat_times": 2)", R"("repeat_times": 128)", "9:61 error motion1.repeat_times", "127 steps"},
    {R"("repeat_times": 2, "reset_flag": false)", R"("repeat_times": 253)", "9:61 error motion1.repeat_times",
     "252 steps"},
    {R"("repeat_times": 2)", R"("repeat_times": 0)", "9:61 warning motion1.repeat_times", "no step at all"},
    {R"("reset_flag": false)", R"("reset_flag": true)", "9:78 error motion1.reset_flag", "NOT set"},
    {R"("reset_flag": false)", R"("reset_flag": 1)", "9:78 error motion1.reset_flag", "NOT set"},
    {R"(, "reset_flag": false)", "", "8:49 warning motion1.reset_flag", "one step more"},
    {R"("amp": 2,)", R"("amp": 0,)", "9:26 warning motion1.amp", "excites nothing"},
    {R"("amp": 2,)", R"("amp": 40,)", "9:26 warning motion1.amp", "ends at 14.2 m/s"},
    {R"("amp": 2,)", R"("amp": 2, "tilt_dir": 1,)", "9:41 note motion1.tilt_dir", "no command uses it"},
    {R"("inj_loop": 12)", R"("inj_loop": 28)", "11:17 error motion2.inj_loop", "upper bits"},
    {R"("inj_loop": 12)", R"("inj_loop": 19)", "11:17 warning motion2.inj_loop", "no such loop"},
    {R"("inj_point": 0)", R"("inj_point": 2)", "11:34 error motion2.inj_point", "one bit"},
    {R"("start_freq": 0.5)", R"("start_freq": 0.55)", "11:51 warning motion2.start_freq", "is told 0.5"},
    {R"("start_freq": 0.5)", R"("start_freq": 0.1)", "11:51 warning motion2.start_freq", "only 3 periods"},
    {R"("start_freq": 0.5)", R"("start_freq": -1)", "11:51 error motion2.start_freq", "is told 0;"},
    {R"("end_freq": 5)", R"("end_freq": 0.5)", "11:68 warning motion2.end_freq", "above start_freq"},
    {R"("end_freq": 5)", R"("end_freq": 40)", "11:68 warning motion2.end_freq", "above 25 Hz"},
    {R"("duration": 30)", R"("duration": 30.5)", "11:83 warning motion2.duration", "is told 30"},
    {R"("duration": 30)", R"("duration": 300)", "11:83 error motion2.duration", "is told 44"},
    {R"("duration": 30)", R"("duration": 0)", "11:83 warning motion2.duration", "a sweep of 0 s"},
    {R"("amp": 1.5)", R"("amp": 0.05)", "11:94 warning motion2.amp", "is told 0;"},
    {R"("amp": 1.5)", R"("amp": 7000)", "11:94 error motion2.amp", "is told 446.4"},
    {R"("pos_flag": false)", R"("pos_flag": true)", "17:61 error motion4.pos_flag", "NOT set"},
    {R"("pos_flag": false, "alt_flag": false, "yaw_flag": false)", "", "17:48 warning motion4.para_cfg",
     "ends at once"},
    {R"("flight_dis": 10)", R"("flight_dis": -10)", "13:19 error motion3.flight_dis", "write 0 or more"},
    {R"("flight_dis": 10)", R"("flight_dis": 1000)", "13:19 warning motion3.flight_dis", "QX520 has flown 53.8 m"},
    {R"("height_min": -1)", R"("height_min": 3)", "12:49 error motion3.para_cfg", "above height_max 2", true},
    {R"("height_min": -1, "height_max": 2, )", "", "15:19 warning motion3.stick_vert", "neither climbs nor sinks"},
    {R"("vert_pos": 1)", R"("vert_pos": 3)", "15:19 warning motion3.stick_vert", "height 2.7 m"},
    {R"("vert_pos": 1, )", R"("vert_vel": 9, )", "12:49 warning motion3.vert_pos", "height of the start is held"},
    {R"("yaw_rate": 20)", R"("yaw_rate": 90)", "13:85 warning motion3.yaw_rate", "RV880 is bounded at 75"},
    {R"("flight_dis": 10)", R"("flight_mode": 2)", "13:20 error motion3.flight_mode", "write 0 (normal)"},
    {TILT, R"({"time": 20, "stick_value": 40})", "14:19 error motion3.stick_tilt", "write a list"},
    {TILT, "[20]", "14:20 error motion3.stick_tilt[0]", "has to be an object"},
    {TILT, many_items(), "14:19 error motion3.stick_tilt", "33 items"},
    {R"("time": 20,)", R"("time": 601,)", "14:29 error motion3.stick_tilt[0].time", "up to 600"},
    {R"("time": 20,)", R"("time": 0,)", "14:29 error motion3.stick_tilt[0].time", "up to 600"},
    {R"("time": 20, )", "", "14:20 error motion3.stick_tilt[0].time", "refuses the line"},
    {R"("time": 20,)", R"("time": 20.01,)", "14:29 warning motion3.stick_tilt[0].time", "20.02 s"},
    {R"("stick_value": 40)", R"("stick_value": 140)", "14:48 error motion3.stick_tilt[0].stick_value", "-100 to 100"},
    {R"("stick_value": 40)", R"("stick": 40)", "14:20 warning motion3.stick_tilt[0].stick_value", "0 is taken"},
    {R"("vert_mode": 1)", R"("vert_mode": 3)", "15:64 error motion3.stick_vert[0].vert_mode", "write 0 to 2"},
    {R"(, "vert_mode": 1)", "", "15:20 note motion3.stick_vert[0].vert_mode", "climb"},
    {R"("yaw_mode": 1)", R"("yaw_mode": 2)", "16:62 error motion3.stick_yaw[0].yaw_mode", "write 0 to 1"},
    {"\"kLine\", \"para_cfg\": {\n    \"flight_dis\": 10",
     "\"kLine\", \"para_cfg\": {}, \"x\": {\n    \"flight_dis\": 10", "12:49 error motion3.para_cfg",
     "no stick has an item"},
    {R"("motion5")", "\"mo\\u0000tion5\"", "18:3 error ", "up to there only"},
    {"\"duration\": 6}}\n}", "\"duration\": 6}}\n", "20:1 error ", "no JSON", true},
    {"\"duration\": 6}}\n}", "\"duration\": 6}}\n} // end", "19:3 error ", "no JSON", true},
    {R"("duration": 3})", "\"duration\": 3." + std::string(70, '0') + "}", "7:63 error ", "63 at most", true},
    {R"("duration": 3})", R"("duration": 03})", "7:64 error ", "no JSON", true},
};
