// The motion list: read anew from its file at every on command. docs/motion-lists.md describes the file. All but
// set_motion_cfg_file_index on the AFQT tick only.
#pragma once

#include <cjson/cJSON.h>

#include <cstdint>
#include <string>

#include "afqt/include/afqt_motion_base.h"

// What a file says about itself. A key that a file does not have keeps the value of an earlier file.
struct AfqtMotionListAttrItem {
    std::string owner;
    std::string creat_time;
    std::string motion_lis_ver;
    std::string drone_type;  // for people; the flight controller's answer selects the craft table
    std::string department;
    std::string product_phase;
    std::string archive_id;
    uint32_t motionlist_uid = 0;  // from "motion_list_uid"; in the tag file "motionlist_uid"
    uint8_t motion_num = 0;       // entries: motion0 to motion(N - 1)
};

// Which file the next load takes; 0 at start. Any thread.
void set_motion_cfg_file_index(uint8_t index);
uint8_t get_motion_cfg_file_index();

// Fills the list from /tmp/SD0/factory_test/afqt_motion_cfg_<index>.json; blocks on the disk and allocates. 0: a text
// that does not parse leaves an empty list, which the runner refuses. Without the file the whole process ends, status
// 0.
uint8_t get_motion_cfg();

// The same from the file's text; null counts as a text that does not parse. 0.
int extract_motion_json(const char* json_string);

// Takes the known keys of the "attribute" object, null for none; a value of the wrong kind counts as empty or 0. 0.
uint8_t extract_attr(const cJSON* attribute, AfqtMotionListAttrItem& attr);

// Appends the motion that one "motion<n>" object describes; nothing for an unknown kind.
void extract_motion(const cJSON* motion, MotionListVec& list);

MotionListVec& get_motion_list();
const AfqtMotionListAttrItem& get_motion_list_attr();

// Empties the list; its motions stay allocated, because the runner may hold one.
void clear_motion_list();
