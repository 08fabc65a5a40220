#include "afqt/include/afqt_tag_file.h"

#include <unistd.h>

#include <cstdlib>
#include <ctime>

#include "afqt/include/afqt_debugger.h"
#include "afqt/include/afqt_motion_cfg.h"
#include "afqt/include/afqt_send.h"
#include "afqt/include/afqt_text_file.h"
#include "afqt/include/afqt_wire.h"
#include "common/file_io.h"
#include "flight_db/flight_db.h"

static constexpr const char* LOG_DIR = "/tmp/blackbox/log/afqt";
static constexpr const char* LATEST = "/tmp/SD0/factory_test/afqt/latest";

// Number of the flight log. 30 digits are a number out of range here, not undefined; what cannot be read is 0.
static uint8_t read_flight_index(const char* function, uint16_t* index)
{
    if (access(LATEST, F_OK) != 0) {
        _afqt_log(function, "[afqt cfg] can't find latest!\r\n");
        return GET_FC_LOG_FAIL;
    }
    const scoped_fd file(file_open_read(LATEST));
    if (!file.is_open()) {
        _afqt_log(function, "[afqt cfg]FC Latest open error\n");
        return GET_FC_LOG_FAIL;
    }
    const text_t text = read_text_file(file.get());
    *index = text == nullptr ? uint16_t{0} : static_cast<uint16_t>(std::strtol(text.get(), nullptr, 10));
    return ERROR_NONE;
}

uint8_t creat_tag_file()
{
    if (access(LOG_DIR, F_OK) != 0) {
        _afqt_log(__func__, "[afqt cfg] can't find fly log!\r\n");
        return GET_FC_LOG_FAIL;
    }
    uint16_t index = 0;
    const uint8_t result = read_flight_index(__func__, &index);
    if (result != ERROR_NONE) return result;

    char name[64];
    std::snprintf(name, sizeof name, "/tmp/blackbox/log/afqt/afqttag_%03d.json", index);
    FILE* tag = std::fopen(name, "we");
    if (tag == nullptr) {
        _afqt_log(__func__, "creat afqt tag file failed!\r\n");
        return CREATE_TAGFILE_FAIL;
    }
    const uint8_t written = creat_tag_json(cJSON_CreateObject(), get_motion_list_attr(), tag);
    std::fclose(tag);
    return written;
}

// Takes `item`, also when memory is out.
static void add(cJSON* root, const char* key, cJSON* item)
{
    if (!cJSON_AddItemToObject(root, key, item)) cJSON_Delete(item);
}

static void add_text(cJSON* root, const char* key, const char* text)
{
    add(root, key, cJSON_CreateString(text));
}

static void add_drone_type(cJSON* root)
{
    int8_t drone_type = 0;
    send_get_drone_type(&drone_type);
    add(root, "drone_type", cJSON_CreateNumber(drone_type));
}

// All 16 bytes may be text: one more for the end.
static void add_drone_sn(cJSON* root)
{
    uint8_t sn[sizeof(sn_request_ack_t::sn) + 1] = {};
    send_get_drone_sn(sn);
    add_text(root, "drone_sn", reinterpret_cast<const char*>(sn));
}

// Local time, with the newline at the end.
static void add_date(cJSON* root)
{
    const flight_global_db_t& db = *flight_get_db();
    const uint32_t gps_time = db.gps_unix_timestamp;
    const auto date = static_cast<time_t>(gps_time != 0 ? gps_time : uint32_t{db.app_unix_timestamp});
    char text[32] = {};
    ctime_r(&date, text);
    add_text(root, "test_date", text);
}

static void add_location(cJSON* root)
{
    const flight_global_db_t& db = *flight_get_db();
    double location[2] = {};
    if (db.gps_ctrl_level > 2) {
        location[0] = db.drone_gps[0];
        location[1] = db.drone_gps[1];
    }
    add(root, "test_loc", cJSON_CreateDoubleArray(location, 2));
}

static void add_firmware(cJSON* root)
{
    char firmware[16] = {};  // "255.255.255.255" and the end
    send_get_version(firmware);
    add_text(root, "FCfirmware", firmware);
}

uint8_t creat_tag_json(cJSON* root, const AfqtMotionListAttrItem& attr, FILE* afqt_tag_index)
{
    add_text(root, "department", attr.department.c_str());
    add_drone_type(root);
    add_drone_sn(root);
    add_text(root, "product_phase", attr.product_phase.c_str());
    add_text(root, "archive_id", attr.archive_id.c_str());
    add_date(root);
    add_location(root);
    add_firmware(root);
    add(root, "motionlist_uid", cJSON_CreateNumber(attr.motionlist_uid));
    add(root, "sweep", cJSON_CreateNull());  // filled by whoever evaluates the flight
    add(root, "err_code", cJSON_CreateNull());

    const text_t text(cJSON_Print(root));
    if (afqt_tag_index != nullptr && text != nullptr) {
        std::fputs(text.get(), afqt_tag_index);
        std::fflush(afqt_tag_index);
    }
    cJSON_Delete(root);
    return 0;
}
