#include "afqt/include/afqt_motion_cfg.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "afqt/include/afqt_debugger.h"
#include "afqt/include/afqt_json.h"
#include "afqt/include/afqt_motion_hover.h"
#include "afqt/include/afqt_motion_line.h"
#include "afqt/include/afqt_motion_repeat.h"
#include "afqt/include/afqt_motion_rtl.h"
#include "afqt/include/afqt_motion_step.h"
#include "afqt/include/afqt_motion_sweep.h"
#include "afqt/include/afqt_text_file.h"
#include "common/file_io.h"
#include "common/shared_word.h"

static constexpr size_t MAX_MOTIONS = 255;  // motion_num has 8 bits

// With room for every list from the start: a growing vector has no way to say that memory is out.
static MotionListVec empty_list()
{
    MotionListVec list;
    list.reserve(MAX_MOTIONS);
    return list;
}

static MotionListVec g_motion_list = empty_list();
static AfqtMotionListAttrItem afqt_motion_list_attr;
static shared_word<uint8_t> afqt_cfg_file_index;  // flight client task writes

void set_motion_cfg_file_index(uint8_t index)
{
    afqt_cfg_file_index = index;
}

uint8_t get_motion_cfg_file_index()
{
    return afqt_cfg_file_index;
}

MotionListVec& get_motion_list()
{
    return g_motion_list;
}

const AfqtMotionListAttrItem& get_motion_list_attr()
{
    return afqt_motion_list_attr;
}

void clear_motion_list()
{
    g_motion_list.clear();
}

// On purpose: an aircraft that was told to fly a list that it does not have must not fly another one. Not std::exit,
// whose static destructors would run under the other threads.
[[noreturn]] static void end_process()
{
    std::fflush(nullptr);
    std::_Exit(EXIT_SUCCESS);
}

uint8_t get_motion_cfg()
{
    const int index = afqt_cfg_file_index;
    char filename[64];
    std::snprintf(filename, sizeof filename, "/tmp/SD0/factory_test/afqt_motion_cfg_%d.json", index);
    _afqt_log(__func__, "Current Json file is %d \r\n", index);
    _afqt_log(__func__, "[afqt]filename is %s \r\n", filename);
    std::printf("Current Json file is %d\n", index);
    std::printf("[afqt]filename is %s\n", filename);

    const scoped_fd file(file_open_read(filename));
    if (!file.is_open()) {
        std::puts("[JSON]file open error");
        _afqt_log(__func__, "[JSON]file open error\n");
        end_process();
    }
    std::puts("[JSON]file open success");
    _afqt_log(__func__, "[JSON]file open success \r\n");
    return static_cast<uint8_t>(extract_motion_json(read_text_file(file.get()).get()));
}

// The tree, shown on standard output; null for a text that does not parse.
static cJSON* parse_and_show(const char* json_string)
{
    cJSON* root = json_string == nullptr ? nullptr : cJSON_Parse(json_string);
    if (root == nullptr) return nullptr;
    const text_t rendering(cJSON_Print(root));
    if (rendering != nullptr) std::printf("%s", rendering.get());
    return root;
}

static const cJSON* find_attribute(const cJSON* root)
{
    for (const cJSON* item = json_first(root); item != nullptr; item = item->next) {
        if (json_has_key(*item, "attribute")) return item;
    }
    return nullptr;
}

// The first member whose key contains `key`. So motion10 before motion1 is taken for motion1; files list their motions
// in ascending order.
static const cJSON* find_motion(const cJSON* root, const char* key)
{
    for (const cJSON* item = json_first(root); item != nullptr; item = item->next) {
        if (item->string != nullptr && std::strstr(item->string, key) != nullptr) return item;
    }
    return nullptr;
}

static void fill_list(const cJSON* root)
{
    for (int n = 0; n < afqt_motion_list_attr.motion_num; ++n) {
        char key[24];
        std::snprintf(key, sizeof key, "motion%d", n);
        const cJSON* motion = find_motion(root, key);
        if (motion != nullptr) extract_motion(motion, g_motion_list);
    }
}

int extract_motion_json(const char* json_string)
{
    std::puts("start extract_motion_json");
    _afqt_log(__func__, "[afqt] start extract_motion_json\r\n");
    cJSON* root = parse_and_show(json_string);
    const cJSON* attribute = find_attribute(root);
    if (attribute != nullptr) extract_attr(attribute, afqt_motion_list_attr);
    clear_motion_list();
    fill_list(root);
    const int length = static_cast<int>(g_motion_list.size());
    std::printf("[Json CFG] motion len : %d \r\n", length);
    _afqt_log(__func__, "[Json CFG] motion len : %d \r\n", length);
    cJSON_Delete(root);
    return 0;
}

static constexpr struct {
    const char* key;
    std::string AfqtMotionListAttrItem::*field;
} attr_texts[] = {
    {"owner", &AfqtMotionListAttrItem::owner},
    {"creat_time", &AfqtMotionListAttrItem::creat_time},
    {"motion_lis_ver", &AfqtMotionListAttrItem::motion_lis_ver},
    {"drone_type", &AfqtMotionListAttrItem::drone_type},
    {"department", &AfqtMotionListAttrItem::department},
    {"product_phase", &AfqtMotionListAttrItem::product_phase},
    {"archive_id", &AfqtMotionListAttrItem::archive_id},
};

static void take_attr(const cJSON& item, AfqtMotionListAttrItem& attr)
{
    for (const auto& text : attr_texts) {
        if (!json_has_key(item, text.key)) continue;
        const char* value = cJSON_GetStringValue(&item);
        attr.*text.field = value == nullptr ? "" : value;
    }
    if (json_has_key(item, "motion_list_uid")) attr.motionlist_uid = json_uint32(item);
    if (json_has_key(item, "motion_num")) attr.motion_num = static_cast<uint8_t>(json_int(item));
}

uint8_t extract_attr(const cJSON* attribute, AfqtMotionListAttrItem& attr)
{
    std::puts("[Json CFG] extract attr \r");
    _afqt_log(__func__, "[Json CFG] extract attr \r\n");
    for (const cJSON* item = json_first(attribute); item != nullptr; item = item->next) {
        take_attr(*item, attr);
    }
    return 0;
}

static constexpr struct {
    const char* name;
    AfqtMotionBase* (*extract)(const cJSON* para_cfg);
} motion_kinds[] = {
    {"kHover", AfqtMotionHover::extract},       {"kStep", AfqtMotionStep::extract},
    {"kSweepChirpZ", AfqtMotionSweep::extract}, {"kLine", AfqtMotionLine::extract},
    {"kRtl", AfqtMotionRtl::extract},           {"kRepeat", AfqtMotionRepeat::extract},
};

void extract_motion(const cJSON* motion, MotionListVec& list)
{
    const char* name = cJSON_GetStringValue(cJSON_GetObjectItem(motion, "motion_id"));
    const cJSON* para_cfg = cJSON_GetObjectItem(motion, "para_cfg");
    std::puts("[Json CFG] extract motion \r");
    _afqt_log(__func__, "[Json CFG] extract motion \r\n");
    if (name == nullptr) return;
    for (const auto& kind : motion_kinds) {
        if (std::strcmp(name, kind.name) != 0) continue;
        AfqtMotionBase* made = kind.extract(para_cfg);
        if (made != nullptr) list.push_back(made);
        return;
    }
}
