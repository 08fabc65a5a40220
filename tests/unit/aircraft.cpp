#include "aircraft.h"

#include <md5.h>
#include <sys/socket.h>
#include <sys/statvfs.h>
#include <sys/un.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "api/api.h"
#include "dbi/dbi.h"
#include "flight_log/flight_log.h"
#include "flight_timer/flight_timer.h"
#include "flight_v1/flight_v1.h"
#include "nfz_data_upgrade/nfz_data_upgrade.h"

bytes_t operator+(bytes_t left, const bytes_t& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

texts_t operator+(texts_t left, const texts_t& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

bytes_t u16(uint32_t value)
{
    return {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8)};
}

bytes_t u32(uint32_t value)
{
    return u16(value) + u16(value >> 16);
}

bytes_t zeros(size_t count)
{
    return bytes_t(count);
}

bytes_t part(const bytes_t& bytes, size_t from, size_t to)
{
    const uint8_t* const first = bytes.data();
    return bytes_t(first + std::min(from, bytes.size()), first + std::min(to, bytes.size()));
}

bytes_t md5_of(const bytes_t& bytes)
{
    MD5_CTX context;
    bytes_t digest(16);
    MD5Init(&context);
    MD5Update(&context, bytes.data(), bytes.size());
    MD5Final(digest.data(), &context);
    return digest;
}

bytes_t with_digest(const bytes_t& file)
{
    const bytes_t content = part(file, 0, file.size() - 16);
    return content + md5_of(content);
}

bytes_t database(const version_numbers_t& version, size_t size)
{
    bytes_t file(64, 0x5a);
    for (const uint32_t number : version)
        file = file + u32(number);
    for (size_t i = file.size(); i < size; ++i)
        file.push_back(static_cast<uint8_t>(i * 7 + version[3]));
    return with_digest(file);
}

bool exists(const std::string& path)
{
    return std::filesystem::exists(path);
}

void make_unopenable(const std::string& path)
{
    sockaddr_un address = {AF_UNIX, {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(socket(AF_UNIX, SOCK_STREAM, 0), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
}

void shell(const std::string& command)
{
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

bool nfz_is_writable()
{
    struct statvfs info = {};
    return statvfs("/tmp/NFZ", &info) == 0 && (info.f_flag & ST_RDONLY) == 0;
}

void stand_in_mount(const std::string& script)
{
    std::filesystem::create_directory("/tmp/bin");
    std::ofstream("/tmp/bin/mount") << "#!/bin/sh\n" << script << "\n";
    std::filesystem::permissions("/tmp/bin/mount", std::filesystem::perms::owner_all);
    setenv("PATH", "/tmp/bin", 1);
}

std::string text_of(const ScriptedClock::timer_t& timer)
{
    return timer.name + ": " + std::to_string(timer.attrib.timeout_us) + " us, repeat " +
           std::to_string(timer.attrib.repeat_times) + ", priority " + std::to_string(timer.attrib.priority);
}

bytes_t Peer::asks(uint16_t to, uint8_t set, uint8_t id, const bytes_t& payload, uint16_t attrib)
{
    const size_t before = bus_.replies.size();
    EXPECT_TRUE(bus_.delivers({host_, to, set, id, attrib, 77, payload}));
    if (bus_.replies.size() == before) return {};
    const record_t& reply = bus_.replies.back();
    EXPECT_EQ(reply, (record_t{to, host_, set, id, attrib, 77, reply.payload}));
    return reply.payload;
}

int App::code(uint8_t id, const bytes_t& payload, size_t reply_length)
{
    const bytes_t reply = asks(UPGRADE, 0x00, id, payload);
    EXPECT_EQ(reply.size(), reply_length) << "id " << int{id};
    if (reply.size() == 5)
        last_block_ = static_cast<int32_t>(reply[1] | reply[2] << 8 | reply[3] << 16 | reply[4] << 24);
    return reply.empty() ? -1 : reply[0];
}

int App::sends_block(int32_t number, size_t block_size)
{
    const size_t from = static_cast<size_t>(number) * block_size;
    return sends_data(number, part(file_, from, from + block_size));
}

int App::sends_data(int32_t number, const bytes_t& data)
{
    return code(0x09, bytes_t{0} + u32(uint32_t(number)) + u16(uint32_t(data.size())) + data, 5);
}

void App::sends_blocks(int32_t blocks)
{
    ASSERT_EQ(sends_entry(), 0);
    ASSERT_EQ(sends_start(), 0);
    for (int32_t number = 0; number < blocks; ++number)
        ASSERT_EQ(sends_block(number), 0) << number;
}

int App::sends_all()
{
    sends_blocks(static_cast<int32_t>((file_.size() + 979) / 980));
    return sends_end();
}

void FlightController::answers_registration(uint8_t result, uint32_t id, uint8_t code, uint16_t attrib)
{
    EXPECT_THAT(asks(UPGRADE, 0x03, 0xea, bytes_t{result} + u32(id) + bytes_t{0x5f, code, 9}, attrib), IsEmpty());
}

Aircraft::Aircraft()
{
    static bool used = false;
    if (used) ADD_FAILURE() << "A process takes one test: run them with ctest, or one with --gtest_filter.";
    used = true;
    clock.jumps(100s);
    flight_time_init();
}

void Aircraft::service_starts()
{
    flight_log_init();
    flight_v1_init();
    api_init();
    dbi_init();
    upgrade_init();
}

void Aircraft::upgrade_reaches(upgrade_state_t wanted)
{
    if (wanted == UPGRADE_STATE_IDLE || wanted == UPGRADE_STATE_START) app.sends_blocks(0);
    if (wanted == UPGRADE_STATE_IDLE) app.sends_data(0, zeros(63));
    if (wanted == UPGRADE_STATE_INIT) app.sends_entry();
    if (wanted == UPGRADE_STATE_DATA) app.sends_blocks(1);
    if (wanted == UPGRADE_STATE_END) app.sends_blocks(4);
    if (wanted == UPGRADE_STATE_FAIL) app.sends_end(zeros(16));
    if (wanted == UPGRADE_STATE_SUCCESS) app.sends_all();
    ASSERT_EQ(state(), wanted);
}
