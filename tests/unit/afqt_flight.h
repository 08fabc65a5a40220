// Whole flights, station by station, and what is said on the way.
#pragma once

#include "afqt_stand.h"

inline constexpr const char* TAKEOFF = "0306 03/2a: 01";
inline constexpr const char* LAND = "0306 03/2a: 02";
inline constexpr const char* TAKE_CONTROL = "0306 03/80: 01 02";
inline constexpr const char* GIVE_CONTROL = "0306 03/80: 02 02";
inline constexpr const char* SWEEP_STOP = "0306 22/49: 02 03 00 00 00 00 00 00 00 00 00";
inline constexpr const char* NOTICE = "1103 22/48: 03 00 00";

texts_t times(size_t count, const texts_t& texts);

extern const std::string STEP;  // an entry of 200 ticks
texts_t stepped();              // its frames

// The list is a hover of 0.1 s and STEP. Each station leaves the aircraft where the next begins.
class AfqtFlight : public AfqtStand {
protected:
    AfqtFlight();
    void on(uint8_t index = 0);  // on the ground, list loaded, take-off asked for once
    void takes_off();
    void gives_control();
    void flies_list() { tick(6 + 200); }
    void flies_home();
    void lands();                                 // back to idle
    void flies(int stations, uint8_t index = 0);  // the first so many of the six
    static texts_t whole_flight();                // what flies(6) says

    texts_t flown();  // messages since the last call but heartbeats and the three questions for the tag file

    // So many ticks lead to this state, with these messages since the last look at them.
    void expect_after(int ticks, uint8_t state, const texts_t& messages, const char* file = __builtin_FILE(),
                      int line = __builtin_LINE());
};
