#include "bus_request.h"

#include <cstring>

#include "common/digest.h"
#include "dbi/db_bag_wire.h"
#include "flight_v1/flight_v1_wire.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_wire.h"
#include "nfz_tfr/tfr_module/src/tfr_wire.h"

// The byte behind the command: what is odd about the record.
static constexpr uint8_t FROM_FLIGHT_CONTROLLER = 1, OTHER_COMMAND = 2, WELL_MADE = 4, LONGER = 8;

template <typename T>
static bytes_t bytes_of(const T& record, const bytes_t& behind = {})
{
    bytes_t bytes(sizeof record + behind.size());
    std::memcpy(bytes.data(), &record, sizeof record);
    std::copy(behind.begin(), behind.end(), bytes.begin() + sizeof record);
    return bytes;
}

static bytes_t start_request(Input& input)
{
    upgrade_request_receive_req_t request = {};
    request.firmware_size = input.byte() * 4u;
    return bytes_of(request);
}

// The last 16 bytes of a database are the digest of those before.
static void seal(bytes_t& block, const sim::UpgradeModel& model)
{
    if (block.size() < NFZ_MD5_SIZE) return;
    bytes_t whole = model.last_block() < 0 ? bytes_t() : model.file();
    whole.insert(whole.end(), block.begin(), block.end() - NFZ_MD5_SIZE);
    const auto digest = peers::md5_of(whole);
    std::copy(digest.begin(), digest.end(), block.end() - NFZ_MD5_SIZE);
}

static bytes_t next_block(Input& input, uint8_t how, const sim::UpgradeModel& model)
{
    bytes_t data = input.bytes(64 + (how >> 3) * 16u);
    if (data.size() >= model.missing()) {
        data.resize(model.missing());
        seal(data, model);
    }
    upgrade_data_transfer_req_t request = {};
    request.block_number = model.last_block() + 1;
    request.block_size = static_cast<uint16_t>(data.size());
    return bytes_of(request, data);
}

static bytes_t end_request(const sim::UpgradeModel& model)
{
    const auto digest = peers::md5_of(model.file());
    return bytes_of(uint8_t{0}, {digest.begin(), digest.end()});
}

static bytes_t read_request(Input& input)
{
    upgrade_profile_read_file_req_t request = {};
    request.read_addr = input.byte() * 4u;
    request.read_len = input.byte();
    return bytes_of(request);
}

static bytes_t motor_answer(Input& input)
{
    vela_fc_set_register_motor_ext_err_rsp answer = {};
    answer.result = input.byte() & 1;
    answer.requester_id = input.byte();
    answer.motor_ext_err_code = input.byte();
    return bytes_of(answer);
}

// An aircraft within 80 m of a place.
static bytes_t bag_push(Input& input)
{
    db_bag1_t bag = {};
    const double north = input.byte() * 5e-8, east = input.byte() * 5e-8;
    bag.db_sys_navi_data.horiz_abs_pos[0] = 0.84 + north;
    bag.db_sys_navi_data.horiz_abs_pos[1] = 0.2 + east;
    bag.db_gps_ctrl_level.ctrl_level = input.byte();
    bag.fc_fsm.fsm = input.byte();
    bag.display_mode.display_mode = input.byte();
    bag.atti_data.q[0] = 1;
    return bytes_of(uint8_t{0}, bytes_of(bag));
}

static bytes_t next_fragment(Input& input, const sim::AreasModel& model)
{
    update_tfr_req_t request = {};
    request.type = input.byte() & 3;
    request.pkg_seq = model.expected();
    request.pkg_size = input.byte();
    const bytes_t data = input.bytes(input.byte());
    request.data_size = static_cast<uint8_t>(data.size());
    return bytes_of(request, data);
}

static bytes_t well_made(Input& input, const record_t& record, uint8_t how, const sim::ServiceModel& model)
{
    switch (record.set << 8 | record.id) {
        case SET_COMMON << 8 | ID_UPGRADE_ENTRY:
            return bytes_t(UPGRADE_ENTRY_REQ_SIZE);
        case SET_COMMON << 8 | ID_UPGRADE_START:
            return start_request(input);
        case SET_COMMON << 8 | ID_UPGRADE_DATA:
            return next_block(input, how, model.upgrade);
        case SET_COMMON << 8 | ID_UPGRADE_END:
            return end_request(model.upgrade);
        case SET_FLYLIMIT << 8 | ID_NFZ_READ:
            return read_request(input);
        case SET_FLIGHT_CONTROLLER << 8 | ID_REGISTER_MOTOR_ERR:
            return motor_answer(input);
        case SET_FLIGHT_CONTROLLER << 8 | ID_DB_BAG_PUSH:
            return bag_push(input);
        case SET_FLIGHT_CONTROLLER << 8 | ID_TFR_UPDATE:
            return next_fragment(input, model.areas);
        default:
            return input.bytes(3);
    }
}

record_t take_record(Input& input, const command_t& command, const sim::ServiceModel& model)
{
    record_t record = {HOST_APP, command.host, command.set, command.id};
    const uint8_t how = input.byte();
    if ((how & FROM_FLIGHT_CONTROLLER) != 0) record.from = HOST_FLIGHT_CONTROLLER;
    // Asks for a reply unless both bits are set.
    const unsigned need_ack = ((how >> 5) & 3u) ^ 3u;
    record.attrib = static_cast<uint16_t>((how & ATTRIB_REPLY) | need_ack << ATTRIB_NEED_ACK_SHIFT);
    if ((how & OTHER_COMMAND) != 0) {
        record.set = input.byte();
        record.id = input.byte();
    }
    if ((how & WELL_MADE) != 0) {
        record.payload = well_made(input, record, how, model);
    } else {
        const size_t length = size_t{input.byte()} * ((how & LONGER) != 0 ? 4u : 1u);
        record.payload = input.bytes(std::min<size_t>(length, KEST_EVENT_MAX_PAYLOAD));
    }
    return record;
}
