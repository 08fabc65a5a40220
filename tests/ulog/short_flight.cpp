// A flight of some seconds with all that a record can hold, written to the file that is named.
#include "flight_controller/aircraft_model.h"
#include "flight_controller/flight_log.h"

namespace {

void fly(peers::AircraftModel& model, double seconds)
{
    for (const double end = model.time() + seconds; model.time() < end - 1e-9;)
        model.step();
}

// The motors are off at its end.
bool fly_all(peers::AircraftModel& model, peers::FlightLog& log)
{
    model.basic_command(API_CMD_AUTO_TAKEOFF, false);
    fly(model, 6);
    model.external_control(MIS_ON);
    fly(model, 0.5);
    log.hear({kStaMotionListRun, 0, MOTION_HOVER, 1, kLoopNull});
    fly(model, 0.5);
    log.hear({kStaMotionListRun, 0, MOTION_SWEEP, 2, kAttiX});
    model.sweep({MOTION_SWEEP, kSweepOn, 10, 50, 20, 2, kAttiX + 3});  // as the flight controller counts its loops
    fly(model, 3);
    log.hear({kStaLanding, 0, NONE, 0, kLoopNull});
    model.basic_command(API_CMD_AUTO_LANDING, false);
    fly(model, 6);
    return model.state() == peers::flight_state::motors_off;
}

}  // namespace

int main(int argc, char** argv)
{
    const peers::aircraft_config_t config = {.wind = {{3, -1}, 0.5}, .noise = true, .seed = 7};
    const auto log = argc == 2 ? peers::FlightLog::create(argv[1], config) : nullptr;
    peers::AircraftModel model(config);
    if (log) model.set_observer([&log](const peers::flight_row_t& row) { log->write(row); });
    return log && fly_all(model, *log) && log->close() ? 0 : 1;
}
