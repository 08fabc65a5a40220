#include "flight_controller/aircraft_state.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "common/records.h"

namespace peers {
namespace {

// Where an item lies in the image of bag 0.
struct item_t {
    uint32_t uid;
    size_t offset;
    size_t size;
};

#define BAG_ITEM(number, member)                                                  \
    item_t                                                                        \
    {                                                                             \
        BAG1_UIDS[number], offsetof(db_bag1_t, member), sizeof(db_bag1_t::member) \
    }
constexpr item_t ITEMS[] = {
    BAG_ITEM(0, db_sys_navi_data),
    BAG_ITEM(1, db_gps_ctrl_level),
    BAG_ITEM(2, db_gps_data_with_level),
    BAG_ITEM(3, db_app_pos_time),
    BAG_ITEM(4, fc_fsm),
    BAG_ITEM(5, display_mode),
    BAG_ITEM(6, navi_data_raw),
    BAG_ITEM(7, atti_data),
};
#undef BAG_ITEM

const item_t* item_of(uint32_t uid)
{
    const auto found =
        std::find_if(std::begin(ITEMS), std::end(ITEMS), [uid](const item_t& one) { return one.uid == uid; });
    return found == std::end(ITEMS) ? nullptr : found;
}

// Receivers report positions in 1e-7 degrees. Not a number and what is out of range become 0.
int32_t degrees_e7(double radians)
{
    const double value = radians * (180.0 / std::numbers::pi) * 1e7;
    if (!(std::fabs(value) <= 2147483647.0)) return 0;
    return static_cast<int32_t>(value);
}

int32_t millimetres(float metres)
{
    const double value = static_cast<double>(metres) * 1000.0;
    if (!(std::fabs(value) <= 2147483647.0)) return 0;
    return static_cast<int32_t>(value);
}

void fill_gps(const aircraft_state_t& state, gps_data_with_level_t& gps)
{
    gps.Data = state.gps_date;
    gps.Time = state.gps_time;
    gps.lon = degrees_e7(state.longitude);
    gps.lat = degrees_e7(state.latitude);
    gps.Hmsl = millimetres(state.altitude);
    gps.Vel_N = state.velocity[0];
    gps.Vel_E = state.velocity[1];
    gps.Vel_D = state.velocity[2];
    gps.h_level = state.gps_level;
    gps.v_level = state.gps_level;
}

void fill_app(const aircraft_state_t& state, app_pos_time_t& app)
{
    app.app_pos[0] = state.app_latitude;
    app.app_pos[1] = state.app_longitude;
    app.unix_timestamp = state.app_unix_time;
    if (state.app_position_valid) app.flg |= APP_POS_VALID;
    if (state.app_unix_time != 0) app.flg |= APP_TIME_VALID;
}

}  // namespace

db_bag1_t bag_of(const aircraft_state_t& state, uint16_t count)
{
    db_bag1_t bag = {};
    bag.db_sys_navi_data.horiz_abs_pos[0] = state.latitude;
    bag.db_sys_navi_data.horiz_abs_pos[1] = state.longitude;
    bag.db_sys_navi_data.vert_abs_pos = state.altitude;
    bag.db_gps_ctrl_level.ctrl_level = state.gps_level;
    fill_gps(state, bag.db_gps_data_with_level);
    fill_app(state, bag.db_app_pos_time);
    bag.fc_fsm.fsm = state.fsm;
    bag.display_mode.display_mode = state.display_mode;
    bag.navi_data_raw.vn_x = state.velocity[0];
    bag.navi_data_raw.vn_y = state.velocity[1];
    bag.navi_data_raw.vn_z = state.velocity[2];
    bag.navi_data_raw.cnt = count;
    for (size_t i = 0; i < state.quaternion.size(); i++) {
        bag.navi_data_raw.q[i] = state.quaternion[i];
        bag.atti_data.q[i] = state.quaternion[i];
    }
    return bag;
}

std::optional<size_t> bag_size(const std::vector<uint32_t>& uids)
{
    size_t size = 0;
    for (const uint32_t uid : uids) {
        const item_t* item = item_of(uid);
        if (item == nullptr) return std::nullopt;
        size += item->size;
    }
    if (size + 1 > KEST_EVENT_MAX_PAYLOAD) return std::nullopt;
    return size;
}

std::vector<uint8_t> pack_bag(const db_bag1_t& bag, const std::vector<uint32_t>& uids)
{
    const bytes_view image = bytes_of(bag);
    std::vector<uint8_t> packed;
    for (const uint32_t uid : uids) {
        const item_t& item = *item_of(uid);
        const bytes_view bytes = image.subspan(item.offset, item.size);
        packed.insert(packed.end(), bytes.begin(), bytes.end());
    }
    return packed;
}

}  // namespace peers
