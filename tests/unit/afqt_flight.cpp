#include "afqt_flight.h"

const std::string STEP = motion("kStep", R"("repeat_times": 1, "intervals": 1, "loop_id": 4, "amp": 3)");

texts_t times(size_t count, const texts_t& texts)
{
    texts_t all;
    for (size_t i = 0; i < count; ++i)
        all = all + texts;
    return all;
}

texts_t stepped()
{
    const char* const zero = "sticks 0a 0 0 0 0";
    return times(49, {zero}) + times(50, {"sticks 0a 3 0 0 0"}) + times(50, {"sticks 0a -3 0 0 0"}) + times(51, {zero});
}

AfqtFlight::AfqtFlight()
{
    has_list(list_of({hover(0.1), STEP}));
    is_at(0, 0);
    starts();
    told();
}

void AfqtFlight::on(uint8_t index)
{
    is_in(1);
    db.drone_fsm = DRONE_ON_GND;
    switched(1, index);
    tick(3);
}

void AfqtFlight::takes_off()
{
    is_in(11);
    tick(2);
    is_in(6);
    db.drone_fsm = DRONE_IN_AIR;
    tick();
}

void AfqtFlight::gives_control()
{
    is_in(17);
    tick();
}

void AfqtFlight::flies_home()
{
    is_at(-3, 4);
    tick(100 + 1);
    is_at(0.1, 0);
    tick(2);
}

void AfqtFlight::lands()
{
    tick(499 + 2);
    is_in(12);
    tick(2);
    db.drone_fsm = DRONE_MOTOR_OFF;
    tick(3);
}

void AfqtFlight::flies(int stations, uint8_t index)
{
    is_at(0, 0);
    on(index);
    if (stations > 1) takes_off();
    if (stations > 2) gives_control();
    if (stations > 3) flies_list();
    if (stations > 4) flies_home();
    if (stations > 5) lands();
}

texts_t AfqtFlight::whole_flight()
{
    return texts_t{TAKEOFF, TAKEOFF, TAKE_CONTROL} + times(8, {HOLD_STILL}) + stepped() + texts_t{SWEEP_STOP} +
           times(100, {HOLD_STILL}) + texts_t{"sticks 89 3 -4 0 0", "sticks 89 -0.1 0 0 0"} +
           times(500, {HOLD_STILL, NOTICE}) + times(3, {LAND}) + texts_t{GIVE_CONTROL};
}

texts_t AfqtFlight::flown()
{
    texts_t texts = told();
    std::erase_if(texts, [](const std::string& text) { return text.ends_with(": "); });
    return texts;
}

void AfqtFlight::expect_after(int ticks, uint8_t state, const texts_t& messages, const char* file, int line)
{
    const testing::ScopedTrace trace(file, line, "");
    tick(ticks);
    EXPECT_EQ(ext(), state);
    EXPECT_EQ(flown(), messages);
}
