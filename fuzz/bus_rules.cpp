#include "bus_rules.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "afqt/include/afqt_wire.h"
#include "common/file_io.h"
#include "flight_v1/flight_v1_wire.h"
#include "fuzz_file.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_data_file.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_session.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_wire.h"
#include "nfz_tfr/tfr_module/src/tfr_file.h"
#include "nfz_tfr/tfr_module/src/tfr_module_get_pos.h"

static constexpr unsigned MOST_SILENCE = 40;  // half seconds

bool reached[std::size(COMMANDS)];

static const command_t* find(const record_t& request)
{
    const auto* found = std::find_if(std::begin(COMMANDS), std::end(COMMANDS), [&](const command_t& one) {
        return one.host == request.to && one.set == request.set && one.id == request.id;
    });
    if (found == std::end(COMMANDS)) return nullptr;
    reached[found - COMMANDS] = true;
    return found;
}

// The service only ever empties the database and appends to it, so that one descriptor sees all; a path costs four
// times as much to look at.
static int database_file()
{
    static const int file = file_open_read(NFZ_DATA_FILE);
    return file;
}

static bool has_exactly(int file, const bytes_t& wanted)
{
    static bytes_t found;
    found.resize(wanted.size() + 1);
    return pread(file, found.data(), found.size(), 0) == static_cast<ssize_t>(wanted.size()) &&
           std::equal(wanted.begin(), wanted.end(), found.begin());
}

// One that is missing is as good as an empty one.
static void check_areas(const bytes_t& wanted)
{
    const scoped_fd file(file_open_read(TFR_FILE));
    check(file.is_open() ? has_exactly(file.get(), wanted) : wanted.empty(), "the areas that were delivered");
}

void BusRules::check_answer(const record_t& request, bool taken, const std::vector<record_t>& replies)
{
    if (!taken) {
        check(request.set >= KEST_EVENT_SETS || request.id == 255, "only what no table can hold is dropped");
        check(replies.empty(), "what is dropped is not answered");
        return;
    }
    note(request);
    const uint32_t msg_id = static_cast<uint32_t>(request.set) << 16 | request.id;
    const auto modelled = model_.answer(request.to, request.from, msg_id, request.payload);
    const command_t* command = find(request);
    const bool wanted = ((request.attrib >> ATTRIB_NEED_ACK_SHIFT) & ATTRIB_NEED_ACK_MASK) != 0;
    const bool answers = command == nullptr || command->reply_size != 0;
    check(replies.size() == (wanted && answers ? 1u : 0u), "one reply to a request that wants one, none else");
    if (request.set == SET_FLIGHT_CONTROLLER && modelled) check_areas(model_.areas.file());
    if (replies.empty()) return;
    const bytes_t& reply = replies[0].payload;
    if (command == nullptr) {
        check(reply == bytes_t{REPLY_UNKNOWN_COMMAND}, "the refusal of an unknown command");
    } else if (command->reply_size == MODELLED) {
        check(reply == modelled, "the model's reply");
    } else {
        check(reply.size() == command->reply_size, "a reply of the command's size");
    }
}

void BusRules::note(const record_t& request)
{
    if (request.to != HOST_NFZ_UPGRADE) return;
    if (request.set == SET_COMMON && request.id >= ID_UPGRADE_ENTRY && request.id <= ID_UPGRADE_END)
        silent_half_seconds_ = 0;
    const bool answer = request.set == SET_FLIGHT_CONTROLLER && request.id == ID_REGISTER_MOTOR_ERR &&
                        (request.attrib & ATTRIB_REPLY) != 0;
    if (answer && request.payload.size() >= sizeof(vela_fc_set_register_motor_ext_err_rsp))
        registered_ = request.payload[0] == 0;
}

// Records come between two ticks, never beside one.
void BusRules::check_time(unsigned half_seconds, const std::vector<record_t>& sent)
{
    silent_half_seconds_ += half_seconds;
    if (model_.upgrade.is_running() && silent_half_seconds_ > MOST_SILENCE) model_.upgrade.falls_silent();
    check_motors(half_seconds, sent);
    // Areas are pushed in each tick of their timer, and read before that once there is a position to measure from.
    const bool pushed = std::any_of(sent.begin(), sent.end(), [](const record_t& record) {
        return record.set == SET_FLYLIMIT && record.id == ID_TFR_PUSH;
    });
    if (!pushed || !tfr_get_pos_info().pos_valid) return;
    model_.areas.is_read();
    check_areas(model_.areas.file());
}

void BusRules::check_motors(size_t ticks, const std::vector<record_t>& sent) const
{
    static constexpr size_t STATUS_AT =
        offsetof(vela_fc_set_set_motor_ext_err_req, motor_ext_err_status) + sizeof(uint8_t);
    const sim::UpgradeModel& upgrade = model_.upgrade;
    const bool held = upgrade.is_running() || upgrade.state() == sim::UpgradeModel::state_t::fail;
    size_t orders = 0;
    for (const record_t& record : sent) {
        if (record.set != SET_FLIGHT_CONTROLLER || record.id != ID_SET_MOTOR_ERR) continue;
        check(record.payload[STATUS_AT] == (held ? MOTOR_DISABLE : MOTOR_ENABLE), "the order that the state asks for");
        ++orders;
    }
    const bool ordered = held ? upgrade.holds_motors() : registered_;
    check(orders == (ordered ? ticks : 0), "one order a tick");
}

void BusRules::check_session() const
{
    check(upgrade_get_state(get_upgrade_desc()) == static_cast<uint32_t>(model_.upgrade.state()), "the model's state");
    check(has_exactly(database_file(), model_.upgrade.file()), "the model's database");
}

void check_file_stayed()
{
    struct stat named = {};
    struct stat open = {};
    check(stat(NFZ_DATA_FILE, &named) == 0 && fstat(database_file(), &open) == 0 && named.st_ino == open.st_ino,
          "the same file all the time");
}

void check_heartbeats(const std::vector<record_t>& sent)
{
    for (const record_t& record : sent) {
        if (record.set != SET_AFQT || record.id != CMD_ID_AFQT_MSG || record.payload[0] != MSG_ID_HEART_BEAT) continue;
        check(record.payload.size() == sizeof(afqt_heart_beat_msg_t), "a whole heartbeat");
        check(record.payload[1] <= kStaErrSta && record.payload[1] != 5, "a state that a heartbeat may name");
    }
}
