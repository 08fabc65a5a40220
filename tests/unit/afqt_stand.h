// What the flight-test tests speak in: motion lists written down, the station's switch, the aircraft's modes, ticks,
// and everything the module said meanwhile, as texts.
#pragma once

#include "aircraft.h"
#include "flight_db/flight_db.h"
#include "support/motion_lists.h"

inline constexpr const char* AFQT_LOGS = "/tmp/blackbox/log/afqt";
inline constexpr const char* AFQT_FILES = "/tmp/SD0/factory_test";
inline constexpr uint16_t STATION = 0x1103;
inline constexpr const char* HOLD_STILL = "sticks 4b 0 0 0 0";

bytes_t f32(float value);
std::string hex(const bytes_t& bytes);         // "01 ab"
std::string text_at(const std::string& path);  // what the file holds

// "sticks FLAG x y vertical yaw" and "pro FLAG BYTE | sticks | vel | acc | vert" for the two stick frames, in the order
// of their bytes; "DEVICE SET/ID: BYTES" for all else.
std::string text_of(const record_t& record);

class AfqtStand : public Aircraft {
protected:
    AfqtStand();  // the link is up and the directories are there; the module does not run yet

    void starts();  // the module, until its first tick has passed
    void has_list(const std::string& json, int index = 0);
    void switched(uint8_t command, uint8_t index = 0);
    void tick(int count = 1);  // 20 ms each
    uint8_t ext() const;       // the state that the heartbeat reports
    uint8_t ext_after(int ticks)
    {
        tick(ticks);
        return ext();
    }

    void is_in(uint8_t display_mode) { db.display_mode = display_mode; }
    void is_at(double north, double east);  // metres from home, with a usable fix

    template <typename Action>
    std::string during(const Action& action)  // what went to standard output
    {
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    }

    texts_t told(bool with_heartbeats = false);                    // messages since the last call, as texts
    std::string printed() { return std::exchange(printed_, {}); }  // by the ticks since the last call
    texts_t logged();                                              // "function: text" since the last call
    std::string log_name = std::string(AFQT_LOGS) + "/afqt_log_qx520_0";

    flight_global_db_t& db = *flight_get_db();

private:
    std::string printed_;
    size_t log_seen_ = 0;
};
