#include "world/flight_run.h"

#include <fstream>
#include <memory>
#include <optional>

#include "factory/test_station.h"
#include "flight_controller/flight_controller.h"

namespace sim {
namespace {

constexpr uint64_t SERVICE_STARTS_US = 1'000'000;
constexpr uint64_t PATIENCE_US = 15'000'000;  // the service subscribes anew after ten seconds of silence
constexpr uint64_t LOOK_US = 100'000;
constexpr uint64_t MOTORS_OFF_US = 10'000'000;

bool write_text(const char* path, const std::string& text)
{
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    return file.good();
}

bool write_files(const std::string& list)
{
    // "latest" is the number of the flight controller's own log.
    return write_text("/tmp/SD0/factory_test/afqt_motion_cfg_0.json", list) &&
           write_text("/tmp/SD0/factory_test/afqt/latest", "1") && write_text("/tmp/EMMC/AFQT_ENABLE.txt", "");
}

// Everything happens in callbacks, and this thread lets them happen.
class FlightRun {
public:
    FlightRun(Platform& platform, const flight_plan_t& plan, const flight_hooks_t& hooks)
        : platform_(platform), plan_(plan), hooks_(hooks)
    {
    }

    bool open_peers()
    {
        peers::flight_options_t flight;
        flight.aircraft = plan_.aircraft;
        flight.latitude = plan_.latitude;
        flight.longitude = plan_.longitude;
        flight.observer = [this](const peers::flight_row_t& row) { take(row); };
        peers::bus_open_error_t error;
        controller_ = peers::FlightController::open_flying({"", "flight_controller", "fmu"}, {}, flight, {}, error);
        station_ = peers::TestStation::open({"", "factory", "station"},
                                            {[this](uint16_t, const afqt_heart_beat_t& beat) { hear(beat); },
                                             [this](uint16_t, const afqt_on_off_cmd_t& notice) { hear(notice); }},
                                            error);
        return controller_ && station_;
    }

    bool service_subscribes(ServiceModule& service)
    {
        platform_.run_until(SERVICE_STARTS_US);
        platform_.as(SERVICE, [&service] { service.launch(); });
        return until([this] { return controller_->bags().counts().pushed > 0; }, PATIENCE_US);
    }

    flight_end_t fly()
    {
        start_us_ = now();
        watch_.emplace(start_us_, uint8_t{0});
        station_->switch_on(0);
        until([this] { return is_over(); }, plan_.limit_us);
        flight_end_t end;
        end.report = watch_->report();
        if (end.report.outcome == peers::test_outcome::running) end.report = given_up(end.report);
        end.seconds = static_cast<double>(now() - start_us_) / 1e6;
        end.motors_off = until([this] { return controller_->bags().state().fsm == 0; }, MOTORS_OFF_US);
        end.figures = figures_.figures();
        end.events = platform_.schedule().events();
        return end;
    }

private:
    uint64_t now() const { return platform_.schedule().now_us(); }

    bool until(const std::function<bool()>& condition, uint64_t limit_us)
    {
        const uint64_t end_us = now() + limit_us;
        while (!condition()) {
            if (now() >= end_us) return false;
            platform_.run_until(now() + LOOK_US);
        }
        return true;
    }

    static peers::test_report_t given_up(peers::test_report_t report)
    {
        report.outcome = peers::test_outcome::failed;
        report.what = "it still flies after an hour";
        report.next =
            "Look at its record. Without sensor noise an aircraft that is back at its start is never seen there.";
        return report;
    }

    bool is_over()
    {
        watch_->on_time(now());
        return watch_->report().outcome != peers::test_outcome::running;
    }

    void take(const peers::flight_row_t& row)
    {
        figures_.take(row);
        if (hooks_.row) hooks_.row(row);
    }

    void hear(const afqt_heart_beat_t& beat)
    {
        figures_.hear(beat);
        if (hooks_.heartbeat) hooks_.heartbeat(beat);
        if (!watch_ || !watch_->on_heartbeat(beat, now()) || !hooks_.news) return;
        hooks_.news(beat, now() - start_us_);
    }

    void hear(const afqt_on_off_cmd_t& notice)
    {
        if (watch_) watch_->on_notice(notice);
    }

    Platform& platform_;
    const flight_plan_t& plan_;
    const flight_hooks_t& hooks_;
    FlightFigures figures_;
    uint64_t start_us_ = 0;
    std::optional<peers::TestWatch> watch_;  // from the switch on
    std::unique_ptr<peers::FlightController> controller_;
    std::unique_ptr<peers::TestStation> station_;
};

}  // namespace

flight_end_t fly(Platform& platform, ServiceModule& service, const flight_plan_t& plan, const flight_hooks_t& hooks,
                 std::string& error)
{
    FlightRun run(platform, plan, hooks);
    if (!write_files(plan.list))
        error = "the aircraft's files cannot be written";
    else if (!run.open_peers())
        error = "the peers cannot be opened";
    else if (!run.service_subscribes(service))
        error = "the service does not subscribe";
    return error.empty() ? run.fly() : flight_end_t{};
}

}  // namespace sim
