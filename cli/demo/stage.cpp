#include "demo/stage.h"

#include <cerrno>
#include <cstdio>
#include <numbers>

#include "bus_access.h"
#include "common/clock.h"
#include "console.h"
#include "units.h"
#include "version_run.h"

namespace cli {
namespace {

// The service acts on ticks of half a second and of a second; what it does by itself has come after a few of them.
constexpr auto PATIENCE = std::chrono::seconds(8);

constexpr double RADIANS = std::numbers::pi / 180;

// The middle of Munich, where the sample areas lie.
peers::aircraft_state_t on_the_ground()
{
    peers::aircraft_state_t state;
    state.latitude = 48.137154 * RADIANS;
    state.longitude = 11.576124 * RADIANS;
    state.altitude = 519;
    return state;
}

step_result_t failed_because(const failure_t& why)
{
    return failed(why.what, why.next);
}

}  // namespace

Stage::Stage(const context_t& context, const demo_options_t& options, peers::station_events_t events)
    : context_(context),
      options_(options),
      steps_(context.as_json),
      events_(std::move(events)),
      aircraft_(on_the_ground())
{
}

Stage::~Stage()
{
    if (station_) station_->endpoint().stop();
    if (controller_) controller_->stop();
}

bool Stage::quiet() const
{
    return context_.as_json || !on_terminal();
}

bool Stage::open()
{
    return step("peers on the bus", [this] { return start_peers(); }) &&
           step("service started", [this] { return start_service(); }) &&
           step("flight data subscribed", [this] { return see_subscription(); });
}

bool Stage::close()
{
    return steps_.run("service ran until the end", [this] { return stop_service(); });
}

bool Stage::step(const std::string& name, const std::function<step_result_t()>& what)
{
    return steps_.run(name, [&]() -> step_result_t {
        step_result_t result = what();
        if (interrupted_) return failed("stopped by a signal", "");
        if (const auto ended = service_.ended(); ended && service_.pid() > 0)
            return failed_see_log("the service " + *ended);
        return result;
    });
}

step_result_t Stage::start_peers()
{
    const peers::bus_name_t fc_name = {context_.route, "flight_controller", "fmu"};
    const peers::bus_name_t app_name = {context_.route, "app", "phone"};
    peers::bus_open_error_t error;
    controller_ = open_controller(fc_name, error);
    if (!controller_) return failed_because(explain_open_error(fc_name, error));
    app_ = peers::AppPeer::open(app_name, {}, error);
    if (!app_) return failed_because(explain_open_error(app_name, error));
    const peers::bus_name_t station_name = {context_.route, "factory", "station"};
    station_ = peers::TestStation::open(station_name, recorded_events(), error);
    if (!station_) return failed_because(explain_open_error(station_name, error));
    return held("flight controller, app and factory station, simulated");
}

// The station hears which motion is flown, and its record gets that from here.
peers::station_events_t Stage::recorded_events() const
{
    peers::station_events_t events = events_;
    if (!flight_log_) return events;
    events.heartbeat = [log = flight_log_.get(), told = events_.heartbeat](uint16_t from,
                                                                           const afqt_heart_beat_t& beat) {
        log->hear(beat);
        if (told) told(from, beat);
    };
    return events;
}

std::unique_ptr<peers::FlightController> Stage::open_controller(const peers::bus_name_t& name,
                                                                peers::bus_open_error_t& error)
{
    if (options_.list.empty()) {
        auto standing = peers::FlightController::open(name, {}, {}, error);
        if (standing) standing->bags().set_state(aircraft_);
        return standing;
    }
    peers::flight_options_t flight;
    flight.latitude = aircraft_.latitude;
    flight.longitude = aircraft_.longitude;
    flight.aircraft.ground_altitude = static_cast<double>(aircraft_.altitude);
    flight.aircraft.noise = true;
    flight_log_ = peers::FlightLog::create(options_.flight_log, flight.aircraft);
    if (flight_log_) flight.observer = [log = flight_log_.get()](const peers::flight_row_t& row) { log->write(row); };
    return peers::FlightController::open_flying(name, {}, flight, {}, error);
}

step_result_t Stage::start_service()
{
    std::string error;
    const uint64_t start = peers::now_us();
    if (!service_.start(options_.service, options_.log, error)) return failed(error, "Build it: `./dev run` does.");
    peers::service_versions_t answer = {};
    const auto answered = [&] {
        answer = ask(1);
        return answer.result == 0 || interrupted_ || service_.ended().has_value();
    };
    const wake woken = wait_for(answered, std::chrono::milliseconds(1));
    if (woken == wake::timeout) return failed_see_log("it does not answer");
    first_answer_s_ = static_cast<double>(peers::now_us() - start) / 1e6;
    database_at_start_ = answer.database;
    return held("version " + peers::version_text(answer.service) + ", answers " + duration_text(first_answer_s_) +
                " after its start");
}

// An endpoint of a service that is just coming up refuses the question: asked again by the caller.
peers::service_versions_t Stage::ask(uint32_t tries)
{
    const peers::service_versions_t answer = ask_versions(station_->endpoint(), 1'000'000, tries, waiter_);
    if (answer.result == -EINTR) interrupted_ = true;
    return answer;
}

wake Stage::wait_for(const std::function<bool()>& condition, std::chrono::milliseconds step)
{
    const wake woken = waiter_.wait_until(condition, PATIENCE, step);
    if (woken == wake::interrupted) interrupted_ = true;
    return woken;
}

step_result_t Stage::see_subscription()
{
    if (wait_for([this] { return controller_->bags().counts().pushed >= 1; }) != wake::notified)
        return failed_see_log("the service did not subscribe");
    const uint64_t before = controller_->bags().counts().pushed;
    const uint64_t start = peers::now_us();
    waiter_.wait_until([] { return false; }, std::chrono::milliseconds(500));
    const double seconds = static_cast<double>(peers::now_us() - start) / 1e6;
    const double rate = static_cast<double>(controller_->bags().counts().pushed - before) / seconds;
    char text[80];
    std::snprintf(text, sizeof text, "position, GPS, attitude and mode pushed %.0f times a second", rate);
    return rate > 0 ? held(text) : failed_see_log("the pushes stopped");
}

step_result_t Stage::stop_service()
{
    if (const auto ended = service_.ended()) return failed_see_log("the service " + *ended);
    if (!service_.stop()) return failed_see_log("the service does not end");
    return held("ended by us");
}

step_result_t Stage::failed_see_log(const std::string& text) const
{
    return failed(text, "The service's log is " + options_.log + ", its last lines:\n" + service_.log_tail(20));
}

}  // namespace cli
