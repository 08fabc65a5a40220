// Bus records to both command tables with the real handlers, time passing in between. The input is a sequence of
// steps: a byte that says what happens, then what it needs. Cheap invariants hold after every step.
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "api/api.h"
#include "dbi/dbi.h"
#include "flight_log/flight_log.h"
#include "flight_timer/flight_timer.h"
#include "flight_v1/flight_v1.h"
#include "flight_v1/flight_v1_wire.h"
#include "fuzz_file.h"
#include "nfz_data_upgrade/nfz_data_upgrade.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_data_file.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_session.h"
#include "nfz_tfr/nfz_tfr.h"
#include "scripted_platform.h"

// The mount command would cost a process per step and decides nothing here.
extern "C" int system(const char*)
{
    return 0;
}

static ScriptedPlatform* platform;

// Bytes of the input, until there are none.
class Input {
public:
    Input(const uint8_t* data, size_t size) : data_(data), left_(size) {}
    bool empty() const { return left_ == 0; }
    uint8_t byte()
    {
        if (left_ == 0) return 0;
        --left_;
        return *data_++;
    }
    bytes_t bytes(size_t count)
    {
        count = std::min(count, left_);
        const bytes_t taken(data_, data_ + count);
        data_ += count;
        left_ -= count;
        return taken;
    }

private:
    const uint8_t* data_;
    size_t left_;
};

static void check_file()
{
    struct stat info = {};
    check(stat(NFZ_DATA_FILE, &info) == 0, "the data file is there");
    const upgrade_desc_t* desc = get_upgrade_desc();
    check(desc->saved_firmware_size_ <= desc->firmware_size_, "no more saved than announced");
    const upgrade_state_t state = upgrade_get_state(desc);
    check(state <= UPGRADE_STATE_SUCCESS, "a known state");
    if (state == UPGRADE_STATE_DATA || state == UPGRADE_STATE_END) {
        check(info.st_size == desc->saved_firmware_size_, "the file has what was counted");
    }
    if (state == UPGRADE_STATE_FAIL) check(info.st_size == 0, "nothing is left of a failed upgrade");
}

// What the service may answer: the replies of its commands, and the refusal of others.
static void check_replies()
{
    check(platform->bus.replies.size() <= 1, "one reply at most");
    for (const record_t& reply : platform->bus.replies) {
        const size_t size = reply.payload.size();
        const bool known = size == 61 || size == 30 || size == 3 || size == 71 || size == 5 || size == 1 || size == 6 ||
                           size == 18 || size == 275 || (size > 5 && size <= 275);
        check(known, "a reply of a known size");
    }
    platform->bus.replies.clear();
    platform->bus.sent.clear();
    platform->log.lines.clear();
}

static void deliver(Input& input, uint8_t kind)
{
    static constexpr struct {
        uint16_t host;
        uint8_t set, id;
    } commands[] = {
        {0x1105, 0x00, 0x01}, {0x1105, 0x03, 0xc1}, {0x1106, 0x00, 0x01}, {0x1106, 0x00, 0x07}, {0x1106, 0x00, 0x08},
        {0x1106, 0x00, 0x09}, {0x1106, 0x00, 0x0a}, {0x1106, 0x00, 0x0b}, {0x1106, 0x00, 0x0c}, {0x1106, 0x1f, 0x11},
        {0x1106, 0x03, 0xea}, {0x1105, 0x03, 0xcd}, {0x1105, 0x22, 0x48},
    };
    const auto& command = commands[kind % std::size(commands)];
    record_t record = {0x0200, command.host, command.set, command.id};
    const uint8_t how = input.byte();
    if ((how & 1) != 0) record.from = 0x0306;
    record.attrib = static_cast<uint16_t>(0x0040 | (how & 0x80));
    if ((how & 2) != 0) {
        record.set = input.byte();
        record.id = input.byte();
    }
    // Whole blocks with their size filled in now and then, or the fuzzer would hardly get past it.
    if (record.id == ID_UPGRADE_DATA && (how & 4) != 0) {
        const int32_t number = get_upgrade_desc()->last_package_index_ + 1;
        const bytes_t data = input.bytes(64 + (how >> 3) * 16u);
        record.payload.assign(7, 0);
        std::memcpy(record.payload.data() + 1, &number, sizeof number);
        const auto size = static_cast<uint16_t>(data.size());
        std::memcpy(record.payload.data() + 5, &size, sizeof size);
        record.payload.insert(record.payload.end(), data.begin(), data.end());
    } else {
        const size_t length = input.byte() * ((how & 8) != 0 ? 4u : 1u);
        record.payload = input.bytes(std::min<size_t>(length, KEST_EVENT_MAX_PAYLOAD));
    }
    platform->bus.delivers(record);
}

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    platform = new ScriptedPlatform;
    flight_time_init();
    flight_log_init();
    flight_v1_init();
    api_init();
    dbi_init();
    upgrade_init();
    tfr_init();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // The session of the last input is given up, so that a finding repeats.
    record_t entry = {0x0200, 0x1106, SET_COMMON, ID_UPGRADE_ENTRY, 0x0040};
    entry.payload.assign(9, 0);
    platform->bus.delivers(entry);
    upgrade_delete_data();
    check_replies();

    Input input(data, size);
    while (!input.empty()) {
        const uint8_t kind = input.byte();
        if (kind >= 0xf0) {
            platform->clock.passes(std::chrono::milliseconds(500 * (kind - 0xef)));
            platform->bus.replies.clear();
        } else {
            deliver(input, kind);
        }
        check_file();
        check_replies();
    }
    return 0;
}
