// What the service may answer and send, whatever it was told: checked after every step of fuzz_bus.
#pragma once

#include <optional>

#include "scripted_platform.h"

struct command_t {
    uint16_t host;
    uint8_t set, id;
    size_t reply_size;  // 0: never answered
};

inline constexpr size_t READ_REPLY = 275;  // of a range read that failed; one that succeeds has 5 bytes and the range

// The rows of both command tables.
inline constexpr command_t COMMANDS[] = {
    {0x1105, 0x00, 0x01, 61}, {0x1105, 0x03, 0xc1, 0},          {0x1106, 0x00, 0x01, 30}, {0x1106, 0x00, 0x07, 3},
    {0x1106, 0x00, 0x08, 71}, {0x1106, 0x00, 0x09, 5},          {0x1106, 0x00, 0x0a, 1},  {0x1106, 0x00, 0x0b, 1},
    {0x1106, 0x00, 0x0c, 6},  {0x1106, 0x1f, 0x11, READ_REPLY}, {0x1106, 0x03, 0xea, 0},  {0x1105, 0x03, 0xcd, 18},
    {0x1105, 0x22, 0x48, 0},
};

// The commands that got a record so far.
extern bool reached[std::size(COMMANDS)];

// A record went to the service, which took it or not.
void check_answer(const record_t& request, bool taken, const std::vector<record_t>& replies);

// The database file beside the session's record; and, at an input's end, that it is still the one of the start.
void check_file();
void check_file_stayed();
bool file_is_empty();

// What holds the motors: who asked for the upgrade, and whether the flight controller took the registration.
class MotorRules {
public:
    void forget() { *this = {}; }
    void sees(const record_t& request);
    // Timer ticks went by; `held` as it was before them.
    void check(bool held, size_t ticks, const std::vector<record_t>& sent) const;

private:
    bool asked_by_app_ = false;
    bool registered_ = false;
};

void check_heartbeats(const std::vector<record_t>& sent);
