// What the service has to answer and to send, whatever it was told: checked after every step of fuzz_bus.
#pragma once

#include "model/service_model.h"
#include "scripted_platform.h"

struct command_t {
    uint16_t host;
    uint8_t set, id;
    size_t reply_size;  // 0: never answered
};

inline constexpr size_t MODELLED = SIZE_MAX;

// The rows of both command tables.
inline constexpr command_t COMMANDS[] = {
    {0x1105, 0x00, 0x01, 61},       {0x1105, 0x03, 0xc1, 0},        {0x1106, 0x00, 0x01, 30},
    {0x1106, 0x00, 0x07, MODELLED}, {0x1106, 0x00, 0x08, MODELLED}, {0x1106, 0x00, 0x09, MODELLED},
    {0x1106, 0x00, 0x0a, MODELLED}, {0x1106, 0x00, 0x0b, 1},        {0x1106, 0x00, 0x0c, 6},
    {0x1106, 0x1f, 0x11, MODELLED}, {0x1106, 0x03, 0xea, 0},        {0x1105, 0x03, 0xcd, MODELLED},
    {0x1105, 0x22, 0x48, 0},
};

// The commands that got a record so far.
extern bool reached[std::size(COMMANDS)];

class BusRules {
public:
    // Session, files and registration are gone.
    void forget() { *this = {}; }

    // A record went to the service, which took it or not.
    void check_answer(const record_t& request, bool taken, const std::vector<record_t>& replies);
    // Time went by, with a tick of the upgrade's timer in each half second.
    void check_time(unsigned half_seconds, const std::vector<record_t>& sent);
    // After every step.
    void check_session() const;

    const sim::ServiceModel& model() const { return model_; }

private:
    void note(const record_t& request);
    void check_motors(size_t ticks, const std::vector<record_t>& sent) const;

    sim::ServiceModel model_;
    unsigned silent_half_seconds_ = 0;  // since the upgrade's last request
    bool registered_ = false;           // the flight controller lets the service hold the motors
};

// At an input's end: the database file is still the one of the start.
void check_file_stayed();

void check_heartbeats(const std::vector<record_t>& sent);
