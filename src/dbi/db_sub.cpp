#include "dbi/db_sub.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>

#include "common/shared_word.h"
#include "flight_db/flight_db.h"
#include "flight_log/flight_log.h"
#include "flight_timer/flight_timer.h"
#include "flight_v1/flight_v1.h"
#include "flight_v1/flight_v1_wire.h"
#include "math_rotation.h"
#include "math_vector.h"

static constexpr float DEGREES_PER_RADIAN = 57.29578f;
static constexpr uint32_t BAG1_FREQUENCY_HZ = 50;

static db_bag1_t db_bag1;

static const db_sub_t db_info[DB_BAG_SLOTS] = {
    {BAG1_FREQUENCY_HZ, BAG1_UIDS, std::size(BAG1_UIDS), reinterpret_cast<uint8_t*>(&db_bag1), sizeof db_bag1},
    {},
};

static shared_word<uint32_t> db_last_update_time_ms;  // flight client task writes, DBI timer reads
static shared_word<bool> need_print_db;               // debug console sets, flight client task clears

const db_sub_t* get_db_info()
{
    return db_info;
}

const db_bag1_t* get_db_bag1()
{
    return &db_bag1;
}

uint32_t db_get_last_update_time_ms()
{
    return db_last_update_time_ms;
}

static flight_result_t send_request(uint8_t cmd_id, const void* payload, uint32_t size)
{
    return flight_v1_send(SET_FLIGHT_CONTROLLER, cmd_id, HOST_FLIGHT_CONTROLLER, static_cast<const char*>(payload),
                          size);
}

flight_result_t fc_v1_db_bag_reset()
{
    const uint8_t all = 0;
    return send_request(ID_DB_BAG_RESET, &all, sizeof all);
}

flight_result_t fc_v1_db_bag_add(uint8_t index, uint16_t frequence, uint8_t data_num, const uint32_t* data_uid)
{
    if (data_num > DB_BAG_MAX_UIDS) return FLIGHT_ERR_TOO_BIG;
    const db_bag_add_req_t head = {index, frequence, 0, data_num};
    const size_t uids_size = data_num * sizeof *data_uid;
    uint8_t payload[sizeof head + DB_BAG_MAX_UIDS * sizeof *data_uid];
    std::memcpy(payload, &head, sizeof head);
    if (data_num > 0) std::memcpy(payload + sizeof head, data_uid, uids_size);
    return send_request(ID_DB_BAG_ADD, payload, static_cast<uint32_t>(sizeof head + uids_size));
}

flight_result_t fc_v1_db_bag_delete(uint8_t index)
{
    return send_request(ID_DB_BAG_DELETE, &index, sizeof index);
}

flight_result_t fc_v1_db_bag_update_freq(uint8_t index, uint16_t frequence)
{
    const db_bag_update_freq_req_t request = {index, frequence};
    return send_request(ID_DB_BAG_UPDATE_FREQ, &request, sizeof request);
}

flight_result_t fc_db_init()
{
    const flight_result_t result = fc_v1_db_bag_reset();
    if (result != FLIGHT_OK) {
        flight_log("fc_db_init", "fc_db_reset fail\n");
        return result;
    }
    for (uint8_t i = 0; i < DB_BAG_SLOTS && db_info[i].uid_num != 0; ++i) {
        const db_sub_t& sub = db_info[i];
        if (fc_v1_db_bag_add(i, static_cast<uint16_t>(sub.freq), sub.uid_num, sub.uid_list) != FLIGHT_OK) {
            flight_log("fc_db_init", "fc_db_start[%d] fail\n", i);
        }
    }
    return FLIGHT_OK;
}

static_assert(sizeof(time_t) == 8, "dates go up to 2106");

uint32_t gps_date_to_linux_timestamp(uint32_t date, uint32_t time)
{
    struct tm calendar = {};
    calendar.tm_year = static_cast<int>(date / 10000) - 1900;
    calendar.tm_mon = static_cast<int>(date / 100 % 100) - 1;
    calendar.tm_mday = static_cast<int>(date % 100);
    calendar.tm_hour = static_cast<int>(time / 10000);
    calendar.tm_min = static_cast<int>(time / 100 % 100);
    calendar.tm_sec = static_cast<int>(time % 100);
    return static_cast<uint32_t>(mktime(&calendar));
}

static void store_attitude(const sys_navi_data_q_cur_t& attitude, flight_global_db_t* db)
{
    float pushed[4];
    std::memcpy(pushed, attitude.q, sizeof pushed);  // packed: its floats may lie anywhere
    vec4f q = {};
    vec4f_copy(q, pushed);
    vec3f euler;  // yaw, pitch, roll
    quat_to_euler(euler, q);
    vec3f degrees = {euler[2], euler[1], euler[0]};
    vec3f_scale(degrees, DEGREES_PER_RADIAN);
    for (int i = 0; i < 3; ++i)
        db->atti_gnd[i] = degrees[i];
}

static void store_bag(const db_bag1_t& bag, flight_global_db_t* db)
{
    for (int i = 0; i < 2; ++i) {
        db->drone_gps[i] = bag.db_sys_navi_data.horiz_abs_pos[i];
        db->app_gps[i] = bag.db_app_pos_time.app_pos[i];
    }
    db->altitude = bag.db_sys_navi_data.vert_abs_pos;
    db->gps_ctrl_level = bag.db_gps_ctrl_level.ctrl_level;
    db->gps_unix_timestamp =
        gps_date_to_linux_timestamp(bag.db_gps_data_with_level.Data, bag.db_gps_data_with_level.Time);
    db->app_gps_valid = bag.db_app_pos_time.flg & APP_POS_VALID;
    db->app_unix_timestamp = bag.db_app_pos_time.unix_timestamp;
    db->drone_fsm = fc_fsm2drone_fsm(bag.fc_fsm.fsm);
    db->display_mode = bag.display_mode.display_mode;
    store_attitude(bag.atti_data, db);
}

size_t fc_event_cb_receive_fmu(flight_v1_pack_t* pack_info, char*, size_t)
{
    if (pack_info->p_data == nullptr || pack_info->data_len < 1) return 0;
    const uint8_t index = pack_info->p_data[0];
    if (index >= DB_BAG_SLOTS || pack_info->data_len - 1u < db_info[index].data_len) return 0;
    if (db_info[index].data != nullptr) {
        std::memcpy(db_info[index].data, pack_info->p_data + 1, db_info[index].data_len);
    }
    if (index != 0) return 0;

    db_last_update_time_ms = flight_get_boot_time_ms();
    store_bag(db_bag1, flight_get_db());
    check_print_db(&db_bag1);
    return 0;
}

int print_db_once(int, char**)
{
    need_print_db = true;
    return 0;
}

void check_print_db(const db_bag1_t* db)
{
    if (!need_print_db) return;
    need_print_db = false;
    puts("===============printf_recv_db bag 1===================\r");
    printf("drone:(%f,%f,%f)\r\n", db->db_sys_navi_data.horiz_abs_pos[0], db->db_sys_navi_data.horiz_abs_pos[1],
           static_cast<double>(db->db_sys_navi_data.vert_abs_pos));
    printf("Ctrl:%d\r\n", db->db_gps_ctrl_level.ctrl_level);
}
