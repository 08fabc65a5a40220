// What the unit tests speak in: the service on the scripted platform, the peers around it, the private file system.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <utility>

#include "heap_count.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_session.h"
#include "scripted_platform.h"
#include "support/scratch.h"

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;
using std::chrono_literals::operator""us;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

inline constexpr const char* DATABASE = "/tmp/NFZ/nfz.bin";
inline constexpr const char* ROLLBACK_MARKER = "/tmp/NFZ/nfz_disable_anti_rollback";
inline constexpr uint16_t FLIGHT = 0x1105;   // address of the flight client
inline constexpr uint16_t UPGRADE = 0x1106;  // of the upgrade client
inline constexpr uint16_t WANTS_REPLY = 0x0040;
inline constexpr uint16_t IS_REPLY = 0x0080;

// Payloads are written down as bytes: bytes_t{0} + u32(size) + zeros(8).
bytes_t operator+(bytes_t left, const bytes_t& right);
bytes_t u16(uint32_t value);
bytes_t u32(uint32_t value);
bytes_t zeros(size_t count);
bytes_t part(const bytes_t& bytes, size_t from, size_t to);  // cut at the end of what is there

using texts_t = std::vector<std::string>;
texts_t operator+(texts_t left, const texts_t& right);

bytes_t md5_of(const bytes_t& bytes);
using version_numbers_t = std::array<uint32_t, 4>;
bytes_t database(const version_numbers_t& version, size_t size = 3000);  // with a valid digest at its end
bytes_t with_digest(const bytes_t& file);                                // last 16 bytes set anew

bool exists(const std::string& path);
void make_unopenable(const std::string& path);   // a socket: there, but open refuses it
void shell(const std::string& command);          // fails the test when the command fails
bool nfz_is_writable();                          // how /tmp/NFZ is mounted now
void stand_in_mount(const std::string& script);  // what the command `mount` does from now on

// "name: 500000 us, repeat 0, priority 19"
std::string text_of(const ScriptedClock::timer_t& timer);

// One peer, speaking by hand.
class Peer {
public:
    Peer(ScriptedBus& bus, uint16_t host) : bus_(bus), host_(host) {}

    // Sends a request; the reply's payload, empty without one.
    bytes_t asks(uint16_t to, uint8_t set, uint8_t id, const bytes_t& payload, uint16_t attrib = WANTS_REPLY);

private:
    ScriptedBus& bus_;
    uint16_t host_;
};

// The app's side of an upgrade. Each request returns the code of its reply.
class App : public Peer {
public:
    explicit App(ScriptedBus& bus, uint16_t host = 0x0200) : Peer(bus, host) {}

    void takes(bytes_t file) { file_ = std::move(file); }  // the database that it will send
    const bytes_t& file() const { return file_; }

    int sends_entry() { return code(0x07, zeros(9), 3); }
    int sends_start(size_t size) { return code(0x08, bytes_t{0} + u32(uint32_t(size)) + zeros(8), 71); }
    int sends_start() { return sends_start(file_.size()); }
    int sends_block(int32_t number, size_t block_size = 980);  // its part of the file, what is left of it
    int sends_data(int32_t number, const bytes_t& data);
    int sends_end(const bytes_t& md5) { return code(0x0a, bytes_t{0} + md5, 1); }
    int sends_end() { return sends_end(md5_of(file_)); }

    void sends_blocks(int32_t blocks);  // entry, start and so many blocks, all taken
    int sends_all();                    // the whole file; the code of the end request

    int32_t last_block() const { return last_block_; }  // from the last reply to a block

private:
    int code(uint8_t id, const bytes_t& payload, size_t reply_length);

    bytes_t file_ = database({1, 2, 3, 4});
    int32_t last_block_ = -2;
};

class FlightController : public Peer {
public:
    explicit FlightController(ScriptedBus& bus) : Peer(bus, 0x0306) {}

    bytes_t reads(uint32_t address, uint32_t length)
    {
        return asks(UPGRADE, 0x1f, 0x11, bytes_t{0} + u32(address) + u32(length));
    }
    void answers_registration(uint8_t result, uint32_t id, uint8_t code, uint16_t attrib = IS_REPLY);
    void pushes(const bytes_t& payload) { EXPECT_THAT(asks(FLIGHT, 0x03, 0xc1, payload), IsEmpty()); }
};

// Module state starts fresh only in a process of its own: one test per process, as ctest runs them.
class Aircraft : public testing::Test {
protected:
    Aircraft();

    void service_starts();                         // as the process does, without its main thread's sleep
    void upgrade_reaches(upgrade_state_t wanted);  // by requests
    upgrade_state_t state() const { return upgrade_get_state(get_upgrade_desc()); }
    std::vector<record_t> sent() { return std::exchange(bus.sent, {}); }  // by the service since the last call

    // Of the service, not of the platform's memory. Nothing under a sanitizer, which brings its own heap.
    template <typename Action>
    uint64_t heap_calls_of(const Action& action)
    {
        bus.remembers = false;
        const uint64_t before = heap_calls();
        action();
        const uint64_t calls = heap_calls() - before;
        bus.remembers = true;
        return heap_is_counted() ? calls : 0;
    }

    ScriptedPlatform platform;
    ScriptedClock& clock = platform.clock;
    ScriptedBus& bus = platform.bus;
    ScriptedLog& log = platform.log;
    App app{bus};
    FlightController fc{bus};
};
