#include "sky.h"

#include <fstream>

#include "world/private_files.h"

using peers::test_outcome;

static constexpr const char* LISTS = "/tmp/SD0/factory_test";

std::string motion(const std::string& id, const std::string& keys)
{
    return R"({"motion_id": ")" + id + R"(", "para_cfg": {)" + keys + "}}";
}

std::string list_of(const std::vector<std::string>& motions, const std::string& attributes)
{
    std::string list = R"({"attribute": {)" + attributes + R"("motion_num": )" + std::to_string(motions.size()) + "}";
    for (size_t i = 0; i < motions.size(); ++i)
        list += ", \"motion" + std::to_string(i) + "\": " + motions[i];
    return list + "}";
}

std::string hover(int seconds)
{
    return motion("kHover", "\"duration\": " + std::to_string(seconds));
}

std::string step(int loop, double amplitude)
{
    return motion("kStep", R"("repeat_times": 1, "intervals": 1, "loop_id": )" + std::to_string(loop) + R"(, "amp": )" +
                               std::to_string(amplitude));
}

void write_text(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

Sky::Sky() : platform(sim::rules_t{})
{
    std::string error;
    if (!service.open(VELA_FLIGHT_MODULE, error) || !sim::make_private_files(error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        std::abort();
    }
    write_text("/tmp/EMMC/AFQT_ENABLE.txt", "");
    write_text(std::string(LISTS) + "/afqt/latest", "7");
    platform.bus().hooks.on_send = [this](const sim::handed_over_t& record) -> std::optional<kest_result_t> {
        if (record.from.host != HOST_FLIGHT_SERVICE || record.kind == sim::send_kind::reply) return std::nullopt;
        const auto set = static_cast<uint8_t>(record.head.msg_id >> 16);
        const auto id = static_cast<uint8_t>(record.head.msg_id);
        const auto* bytes = static_cast<const uint8_t*>(record.payload);
        sent.push_back({platform.schedule().now_us(), set, id, {bytes, bytes + record.length}});
        if (lost_.contains({set, id})) return 0;
        return std::nullopt;
    };
    peers::bus_open_error_t error_of_station;
    station = peers::TestStation::open({"", "factory", "station"},
                                       {[this](uint16_t, const afqt_heart_beat_t& beat) { hears(beat); },
                                        [this](uint16_t, const afqt_on_off_cmd_t& notice) { hears(notice); }},
                                       error_of_station);
}

void Sky::aircraft_stands_ready(uint8_t gps_level, double mass, int8_t drone_type)
{
    peers::fc_identity_t identity;
    identity.drone_type = drone_type;
    peers::flight_options_t flight;
    flight.latitude = 0.84;
    flight.longitude = 0.2;
    // As in life: an aircraft that is back to the last bit is not seen to be home.
    flight.aircraft.noise = true;
    flight.aircraft.mass = mass;
    peers::bus_open_error_t error;
    controller = peers::FlightController::open_flying({"", "flight_controller", "fmu"}, identity, flight, {}, error);
    ASSERT_NE(controller, nullptr);
    controller->set_gps_level(gps_level);
}

void Sky::service_starts()
{
    platform.as(sim::SERVICE, [this] { service.launch(); });
    ASSERT_TRUE(until([this] { return controller->bags().counts().pushed > 10; }, 15));
}

void Sky::list(uint8_t index, const std::string& content)
{
    write_text(std::string(LISTS) + "/afqt_motion_cfg_" + std::to_string(index) + ".json", content);
}

void Sky::switches_on(uint8_t index)
{
    watch_.emplace(platform.schedule().now_us(), index);
    states.clear();
    EXPECT_EQ(station->switch_on(index), 0);
}

void Sky::passes(double seconds)
{
    platform.run_until(platform.schedule().now_us() + static_cast<uint64_t>(seconds * 1e6));
}

bool Sky::until(const std::function<bool()>& condition, double seconds)
{
    const double end = now() + seconds;
    while (!condition()) {
        if (now() >= end) return false;
        passes(0.02);
    }
    return true;
}

bool Sky::reaches(uint8_t state, double seconds)
{
    return until([&] { return !states.empty() && states.back() == state; }, seconds);
}

peers::test_report_t Sky::end_of_flight(double seconds)
{
    until(
        [this] {
            watch_->on_time(platform.schedule().now_us());
            return watch_->report().outcome != test_outcome::running;
        },
        seconds);
    return watch_->report();
}

peers::test_report_t Sky::flies(uint8_t index)
{
    switches_on(index);
    return end_of_flight();
}

// Whoever stands by lands what was left in the air.
void Sky::is_landed_by_hand()
{
    EXPECT_TRUE(until(
        [this] {
            if (!in_air()) return true;
            station->endpoint().send(HOST_FLIGHT_CONTROLLER, SET_FLIGHT_CONTROLLER, CMD_ID_BASIC_CMD,
                                     std::vector<uint8_t>{API_CMD_AUTO_LANDING});
            return false;
        },
        120));
}

size_t Sky::count_sent(uint8_t set, uint8_t id) const
{
    return static_cast<size_t>(
        std::count_if(sent.begin(), sent.end(), [=](const sent_t& one) { return one.set == set && one.id == id; }));
}

size_t Sky::mode_requests(uint8_t value) const
{
    return static_cast<size_t>(std::count_if(sent.begin(), sent.end(), [value](const sent_t& one) {
        return one.set == SET_FLIGHT_CONTROLLER && one.id == CMD_ID_MISSION_ONOFF && one.payload.at(0) == value;
    }));
}

void Sky::hears(const afqt_heart_beat_t& beat)
{
    if (states.empty() || states.back() != beat.afqt_state) states.push_back(beat.afqt_state);
    if (watch_) watch_->on_heartbeat(beat, platform.schedule().now_us());
}

void Sky::hears(const afqt_on_off_cmd_t& notice)
{
    if (watch_) watch_->on_notice(notice);
}
