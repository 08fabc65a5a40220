// Factory flights: a station switches, the service flies a list on the simulated aircraft. Time runs twenty times
// faster.
#include <algorithm>
#include <filesystem>
#include <mutex>

#include "afqt_wire.h"
#include "common/clock.h"
#include "factory/test_station.h"
#include "factory/test_watch.h"
#include "stage.h"

using peers::test_outcome;
using testing::Contains;
using testing::HasSubstr;

static bytes_t text(const std::string& characters)
{
    return bytes_t(characters.begin(), characters.end());
}

static std::string motion(const std::string& id, const std::string& keys)
{
    return R"({"motion_id": ")" + id + R"(", "para_cfg": {)" + keys + "}}";
}

static std::string list_of(const std::vector<std::string>& motions, const std::string& attributes)
{
    std::string list = R"({"attribute": {)" + attributes + R"("motion_num": )" + std::to_string(motions.size()) + "}";
    for (size_t i = 0; i < motions.size(); ++i)
        list += ", \"motion" + std::to_string(i) + "\": " + motions[i];
    return list + "}";
}

static size_t count(const std::string& text, const std::string& wanted)
{
    size_t found = 0;
    for (size_t at = text.find(wanted); at != std::string::npos; at = text.find(wanted, at + wanted.size()))
        ++found;
    return found;
}

class FactoryFlight : public Stage {
protected:
    FactoryFlight() : Stage(20)
    {
        for (const char* directory : {"/tmp/SD0/factory_test/afqt", "/tmp/blackbox/log/afqt"})
            std::filesystem::create_directories(directory);
        write_file("/tmp/EMMC/AFQT_ENABLE.txt", {});
        write_file("/tmp/SD0/factory_test/afqt/latest", text("7"));
        peers::bus_open_error_t error;
        station_ = peers::TestStation::open({"/usr/local/tarn/vela.json", "factory", "station"},
                                            {[this](uint16_t, const afqt_heart_beat_t& beat) { hears(beat); },
                                             [this](uint16_t, const afqt_on_off_cmd_t& notice) { hears(notice); }},
                                            error);
    }

    // The station tells until it is gone, and what it tells to goes before the members above it.
    ~FactoryFlight() override { station_.reset(); }

    void aircraft_stands_ready()
    {
        peers::flight_options_t flight;
        flight.latitude = 0.84;
        flight.longitude = 0.2;
        // As in life: an aircraft that is back to the last bit is not seen to be home.
        flight.aircraft.noise = true;
        peers::bus_open_error_t error;
        controller = peers::FlightController::open_flying({"/usr/local/tarn/vela.json", "flight_controller", "fmu"}, {},
                                                          flight, {}, error);
        ASSERT_NE(controller, nullptr);
    }

    // The station's own address is the probe's: any other endpoint would do to see that the service is up.
    void service_starts()
    {
        service.start();
        ASSERT_TRUE(within(20s, [&] { return service.output().find("tfr_init\n") != std::string::npos; }));
        ASSERT_TRUE(within(10s, [&] { return controller->bags().counts().pushed > 10; })) << service.log();
    }

    test_outcome flies(uint8_t index)
    {
        {
            const std::lock_guard lock(mutex_);
            watch_ = std::make_unique<peers::TestWatch>(peers::now_us(), index);
            states_.clear();
        }
        EXPECT_EQ(station_->switch_on(index), 0);
        within(60s, [this] { return outcome() != test_outcome::running; });
        return outcome();
    }

    size_t mode_requests(uint8_t value) const
    {
        return tap
            ->all([value](const seen_t& seen) {
                return seen.head.from == HOST_FLIGHT_SERVICE && seen.head.direction == 0 && seen.set == 0x03 &&
                       seen.id == CMD_ID_MISSION_ONOFF && seen.payload.at(0) == value;
            })
            .size();
    }

    std::vector<uint8_t> states()
    {
        const std::lock_guard lock(mutex_);
        return states_;
    }

    std::unique_ptr<peers::FlightController> controller;
    std::unique_ptr<peers::TestStation> station_;

private:
    void hears(const afqt_heart_beat_t& beat)
    {
        const std::lock_guard lock(mutex_);
        if (states_.empty() || states_.back() != beat.afqt_state) states_.push_back(beat.afqt_state);
        if (watch_) watch_->on_heartbeat(beat, peers::now_us());
    }

    void hears(const afqt_on_off_cmd_t& notice)
    {
        const std::lock_guard lock(mutex_);
        if (watch_) watch_->on_notice(notice);
    }

    test_outcome outcome()
    {
        const std::lock_guard lock(mutex_);
        watch_->on_time(peers::now_us());
        return watch_->report().outcome;
    }

    std::mutex mutex_;
    std::unique_ptr<peers::TestWatch> watch_;
    std::vector<uint8_t> states_;
};

static std::string step(int loop, double amplitude)
{
    return motion("kStep", R"("repeat_times": 1, "intervals": 1, "loop_id": )" + std::to_string(loop) + R"(, "amp": )" +
                               std::to_string(amplitude));
}

// Take-off, hover, steps on every loop that a step excites, a sweep, the way home, the landing; and the same again.
TEST_F(FactoryFlight, WholeListIsFlownTwice)
{
    aircraft_stands_ready();
    service_starts();
    write_file("/tmp/SD0/factory_test/afqt_motion_cfg_3.json",
               text(list_of(
                   {motion("kHover", R"("duration": 2)"), step(kAttiX, 5), step(kAttiY, 5), step(kAttiZ, 20),
                    step(kVelX, 1), step(kVelY, 1), step(kVertPos, 1), step(kAttiStbX, 5),
                    motion("kSweepChirpZ", R"("start_freq": 1, "end_freq": 5, "duration": 2, "amp": 1, "inj_loop": 4)"),
                    motion("kRtl", R"("pos_flag": false, "alt_flag": false, "yaw_flag": false)")},
                   R"("department": "line 4", )")));
    for (int flight = 1; flight <= 2; ++flight) {
        SCOPED_TRACE(flight);
        EXPECT_EQ(flies(3), test_outcome::finished) << service.log();
        EXPECT_EQ(controller->bags().state().fsm, 0) << "landed, motors off";
        EXPECT_EQ(mode_requests(MIS_OFF), size_t(flight));
        const std::vector<uint8_t> seen = states();
        for (const uint8_t state : {kStaTakeoff, kStaMotionListRun, kStaRtl, kStaLanding})
            EXPECT_THAT(seen, Contains(state));
        // A heartbeat on the one tick between landed and idle says error: known, and no error.
        const auto landing = std::find(seen.begin(), seen.end(), kStaLanding);
        EXPECT_EQ(std::count(seen.begin(), landing, kStaErrSta), 0) << service.log();
    }
    // The notice goes out at each of the 500 ticks that the service waits before it asks for the landing.
    EXPECT_EQ(count(service.output(), "[afqt]sen_msg success\r\n"), 1000u);
    const bytes_t tag = file_bytes("/tmp/blackbox/log/afqt/afqttag_007.json");
    const std::string tag_text(tag.begin(), tag.end());
    EXPECT_THAT(tag_text, HasSubstr("\"department\":\t\"line 4\""));
    EXPECT_THAT(tag_text, HasSubstr("\"drone_sn\":\t\"SIM0000000000001\""));
    EXPECT_THAT(tag_text, HasSubstr("\"drone_type\":\t53"));
}
