#include "soak/soak_run.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>

#include "afqt_wire.h"
#include "app/app_peer.h"
#include "factory/test_station.h"
#include "flight_controller/flight_controller.h"
#include "flight_v1_wire.h"
#include "platform/platform.h"
#include "soak/judge.h"
#include "soak/soak_files.h"
#include "soak/watch.h"

namespace sim {
namespace {

constexpr uint64_t SECOND_US = 1'000'000;
constexpr uint64_t SERVICE_STARTS_US = 500'000;
constexpr uint64_t LOOK_US = 100'000;
constexpr uint64_t SETTLING_US = 30 * SECOND_US;  // longer than the upgrade's silence
constexpr uint64_t SILENCE_US = 22 * SECOND_US;   // in which the upgrade's silence is noticed
constexpr uint64_t HALF_WAY_US = 1'000;           // of an upgrade, on most machines
constexpr uint64_t PATIENCE_US = 60 * SECOND_US;
constexpr uint64_t DESCRIPTORS_OF_A_SERVICE = 4;
// FNV-1a, 64 bits, of everything that passed.
class Trace {
public:
    void add(const void* data, size_t size)
    {
        for (const auto* byte = static_cast<const uint8_t*>(data); size > 0; size--)
            value_ = (value_ ^ *byte++) * 0x100000001b3;
    }
    uint64_t value() const { return value_; }

private:
    uint64_t value_ = 0xcbf29ce484222325;
};

class SoakRun {
public:
    SoakRun(uint64_t seed, ServiceModule& service)
        : platform_(rules_of(seed)), faults_(seed ^ 0xfa017), service_(service), base_descriptors_(open_descriptors())
    {
        platform_.bus().hooks.on_send = [this](const handed_over_t& record) { return decide(record); };
        platform_.bus().hooks.on_tap = [this](const tarn_tap_head_t& head, const kest_event_t& event) {
            trace_.add(&head, sizeof head);
            trace_.add(&event, KEST_EVENT_HEAD_SIZE + event.msg_len);
            if (head.direction == 0) return;
            watch_.on_received(head.to, event);
            judge_.on_received(head.to, event, now());
        };
        platform_.log.on_line = [this](int32_t, int32_t, const char*, const char*, va_list args) {
            va_arg(args, double);       // seconds
            va_arg(args, const char*);  // tag
            judge_.on_log_line(va_arg(args, const char*), now());
        };
    }

    soak_end_t run(const std::vector<action_t>& actions)
    {
        write_aircraft_files();
        open_controller();
        open_app();
        open_station();
        platform_.call_at(SERVICE_STARTS_US, [this] { launch(); });
        uint64_t last_us = SERVICE_STARTS_US;
        for (const action_t& action : actions) {
            platform_.call_at(action.time_us, [this, action] { act(action); });
            last_us = std::max(last_us, action.time_us + action.length_us);
        }
        run_until(last_us + SECOND_US);
        recover();
        return end();
    }

private:
    static rules_t rules_of(uint64_t seed)
    {
        rules_t rules;
        rules.seed = seed;
        // Now and then a slow machine.
        if (seed % 5 == 0) rules.latency_most_us = 20'000;
        if (seed % 7 == 0) rules.tick_late_most_us = 15'000;
        return rules;
    }

    uint64_t now() { return platform_.schedule().now_us(); }

    void run_until(uint64_t until_us)
    {
        while (end_.broken.empty() && platform_.step(until_us))
            look();
    }

    bool until(const std::function<bool()>& condition, uint64_t limit_us)
    {
        const uint64_t until_us = now() + limit_us;
        while (end_.broken.empty() && !condition()) {
            if (now() >= until_us) return false;
            run_until(now() + LOOK_US);
        }
        return true;
    }

    void look()
    {
        watch_.on_event(now());
        judge_.on_event(now());
        if (!watch_.broken().empty()) breaks(watch_.broken());
        if (!judge_.broken().empty()) breaks(judge_.broken());
    }

    void breaks(const std::string& what)
    {
        if (!end_.broken.empty()) return;
        end_.broken = what;
        end_.broken_at = static_cast<double>(now()) / 1e6;
    }

    // --- parties ---

    void open_controller()
    {
        peers::flight_options_t flight;
        flight.latitude = 0.84;
        flight.longitude = 0.2;
        flight.aircraft.noise = true;
        flight.aircraft.seed = platform_.schedule().rules().seed;
        peers::bus_open_error_t error;
        controller_ = peers::FlightController::open_flying(
            {"", "flight_controller", "fmu"}, {}, flight,
            [this](const peers::fc_event_t& event) {
                if (event.kind == peers::fc_event_kind::took_off) counts_.take_offs++;
            },
            error);
    }

    void open_app()
    {
        peers::bus_open_error_t error;
        app_ = peers::AppPeer::open({"", "app", "phone"}, {}, error);
    }

    void open_station()
    {
        peers::bus_open_error_t error;
        station_ = peers::TestStation::open(
            {"", "factory", "station"}, {[this](uint16_t, const afqt_heart_beat_t& beat) { beat_ = beat; }, {}}, error);
    }

    void launch()
    {
        if (service_.runs()) return;
        platform_.as(SERVICE, [this] { service_.launch(); });
        watch_.on_service_launched(now());
        judge_.on_service_launched();
        counts_.launches++;
    }

    // A service that waits for an answer dies when it has it: 5 ms at most.
    void kill(uint64_t back_after_us)
    {
        if (platform_.parties().runs(SERVICE)) {
            platform_.call_at(now() + 500, [this, back_after_us] { kill(back_after_us); });
            return;
        }
        if (!service_.runs()) return;
        platform_.end(SERVICE);
        service_.kill();
        watch_.on_service_killed();
        judge_.on_service_killed();
        platform_.call_at(now() + back_after_us, [this] { launch(); });
    }

    template <class Peer>
    void lose(std::unique_ptr<Peer>& peer, uint64_t back_after_us, void (SoakRun::*open)())
    {
        if (!peer) return;
        peer.reset();
        platform_.call_at(now() + back_after_us, [this, open, &peer] {
            if (!peer) (this->*open)();
        });
    }

    // --- work and faults ---

    void act(const action_t& action)
    {
        switch (action.kind) {
            case action_kind::upgrade:
                return upgrade(action);
            case action_kind::cancel_upgrade:
                if (app_) app_->upgrade().cancel();
                return;
            case action_kind::deliver_areas:
                return deliver(action.detail);
            case action_kind::cancel_delivery:
                if (app_) app_->restrictions().cancel();
                return;
            case action_kind::test_on:
                counts_.tests_on++;
                if (station_) station_->switch_on(0);
                return;
            case action_kind::test_off:
                if (station_) station_->switch_off(0);
                return;
            case action_kind::read_database:
                return read_back();
            case action_kind::kill_service:
                return kill(action.length_us);
            case action_kind::lose_controller:
                return lose(controller_, action.length_us, &SoakRun::open_controller);
            case action_kind::lose_app:
                return lose(app_, action.length_us, &SoakRun::open_app);
            case action_kind::lose_station:
                return lose(station_, action.length_us, &SoakRun::open_station);
            case action_kind::refuse_sends:
                refused_one_in_ = action.detail;
                refused_until_us_ = now() + action.length_us;
                return;
            case action_kind::lose_records:
                lost_one_in_ = action.detail;
                lost_until_us_ = now() + action.length_us;
                return;
            case action_kind::hostile_record:
                return send_nonsense(action.detail);
        }
    }

    void upgrade(const action_t& action)
    {
        if (!app_) return;
        const auto fault = static_cast<upgrade_fault>(action.detail);
        std::vector<uint8_t> database = database_of(fault == upgrade_fault::older ? 1 : ++version_, action.time_us);
        if (fault == upgrade_fault::too_short) database.resize(40);
        if (fault == upgrade_fault::bit_flipped) database[database.size() / 2] ^= 4;
        begin_upgrade(std::move(database));
    }

    kest_result_t begin_upgrade(std::vector<uint8_t> database)
    {
        judge_.expect_database(database);
        peers::upgrade_job_t job;
        job.database = std::move(database);
        job.done = [this](const peers::upgrade_result_t& result) {
            const bool done = result.outcome == peers::transfer_outcome::done;
            (done ? counts_.upgrades_done : counts_.upgrades_failed)++;
            last_upgrade_ = done;
        };
        return app_->upgrade().begin(std::move(job));
    }

    void deliver(uint64_t areas)
    {
        if (!app_) return;
        peers::tfr_job_t job;
        job.file = areas_of(areas);
        job.done = [this](const peers::transfer_result_t& result) {
            const bool done = result.outcome == peers::transfer_outcome::done;
            (done ? counts_.deliveries_done : counts_.deliveries_failed)++;
            last_delivery_ = done;
        };
        app_->restrictions().begin(std::move(job));
    }

    // What it answers is compared with the file byte for byte, whoever asks.
    void read_back()
    {
        if (!controller_) return;
        peers::read_job_t job;
        job.done = [this](const peers::read_result_t& result) { counts_.bytes_read += result.data.size(); };
        controller_->reader().begin(std::move(job));
    }

    // Anything but what would rightly change the database, the areas or the test.
    void send_nonsense(uint64_t number)
    {
        if (!station_) return;
        Random random(number);
        const auto set = static_cast<uint8_t>(random.one_in(2) ? random.below(256) : SET_COMMON);
        const auto id = static_cast<uint8_t>(random.below(256));
        const bool works = (set == SET_COMMON && id >= ID_UPGRADE_ENTRY && id <= ID_UPGRADE_REBOOT) ||
                           (set == SET_FLIGHT_CONTROLLER && id == ID_TFR_UPDATE) || set == SET_AFQT;
        if (works) return;
        std::vector<uint8_t> payload(static_cast<size_t>(random.below(KEST_EVENT_MAX_PAYLOAD + 1)));
        for (uint8_t& byte : payload)
            byte = static_cast<uint8_t>(random.next());
        const uint16_t to = random.one_in(2) ? HOST_FLIGHT_SERVICE : HOST_NFZ_UPGRADE;
        if (random.one_in(2))
            station_->endpoint().send(to, set, id, payload);
        else
            station_->endpoint().request({to, set, id, payload}, [](const peers::reply_t&) {});
    }

    std::optional<kest_result_t> decide(const handed_over_t& record)
    {
        watch_.on_handed_over(record, now());
        judge_.on_handed_over(record);
        if (now() < refused_until_us_ && faults_.one_in(refused_one_in_)) {
            counts_.refused++;
            return -EAGAIN;
        }
        if (now() < lost_until_us_ && faults_.one_in(lost_one_in_)) {
            counts_.lost++;
            return 0;
        }
        return std::nullopt;
    }

    // --- afterwards ---

    // Left alone, the system works: I5.
    void recover()
    {
        refused_until_us_ = lost_until_us_ = 0;
        const auto complete = [this] { return controller_ && app_ && station_ && service_.runs(); };
        if (!until(complete, SETTLING_US)) breaks("not everybody came back");
        if (!end_.broken.empty()) return;
        app_->upgrade().cancel();
        app_->restrictions().cancel();
        station_->switch_off(0);
        run_until(now() + SECOND_US);
        // It takes half as long as a run does: not in each.
        if (platform_.schedule().rules().seed % 9 == 2) leaves_an_upgrade();
        if (!end_.broken.empty()) return;
        sees_an_upgrade();
        sees_a_delivery();
        sees_the_test_idle();
        if (open_descriptors() > base_descriptors_ + DESCRIPTORS_OF_A_SERVICE)
            breaks("I8: " + std::to_string(open_descriptors() - base_descriptors_) + " descriptors are left open");
    }

    // Half-way and for good, as chance hardly ever does: the service gives it up.
    void leaves_an_upgrade()
    {
        begin_upgrade(database_of(1'000'000, 9'000));
        run_until(now() + HALF_WAY_US);
        app_->upgrade().cancel();
        run_until(now() + SILENCE_US);
    }

    void sees_an_upgrade()
    {
        last_upgrade_.reset();
        begin_upgrade(database_of(1'000'000, 5'000));
        if (!until([this] { return last_upgrade_.has_value(); }, PATIENCE_US))
            return breaks("I5: the last upgrade does not end");
        if (end_.broken.empty() && !*last_upgrade_) breaks("I5: the last upgrade fails");
        const auto released = [this] { return !controller_->motors().held(); };
        if (!until(released, PATIENCE_US)) breaks("I5: the motors stay held after a success");
    }

    void sees_a_delivery()
    {
        last_delivery_.reset();
        deliver(3);
        if (!until([this] { return last_delivery_.has_value(); }, PATIENCE_US))
            return breaks("I5: the last delivery does not end");
        if (end_.broken.empty() && !*last_delivery_) breaks("I5: the last delivery fails");
        const auto pushed = [this] {
            const peers::restrictions_t known = controller_->restrictions().now();
            return known.count == 3 && known.complete();
        };
        if (!until(pushed, PATIENCE_US)) breaks("I5: the areas are not pushed");
    }

    // The off command has come; heartbeats are sent while the test is enabled.
    void sees_the_test_idle()
    {
        station_->switch_off(0);
        beat_.reset();
        const auto idle = [this] { return beat_ && beat_->afqt_state == kStaMotionIdel; };
        if (!until(idle, PATIENCE_US)) breaks("I5: the test does not come back to idle");
        if (watch_.external_control()) breaks("the test is idle and external control is not given back");
    }

    soak_end_t end()
    {
        const bus_counts_t& bus = platform_.bus().counts();
        counts_.events = platform_.schedule().events();
        counts_.absent = bus.peer_absent;
        counts_.seconds = static_cast<double>(now()) / 1e6;
        end_.counts = counts_;
        end_.trace = trace_.value();
        return end_;
    }

    Platform platform_;
    Random faults_;
    ServiceModule& service_;
    Watch watch_;
    Judge judge_;
    Trace trace_;
    soak_end_t end_;
    soak_counts_t counts_;
    const uint64_t base_descriptors_;
    uint32_t version_ = 1;
    uint64_t refused_one_in_ = 1, refused_until_us_ = 0;
    uint64_t lost_one_in_ = 1, lost_until_us_ = 0;
    std::optional<bool> last_upgrade_;
    std::optional<bool> last_delivery_;
    std::optional<afqt_heart_beat_t> beat_;
    std::unique_ptr<peers::FlightController> controller_;
    std::unique_ptr<peers::AppPeer> app_;
    std::unique_ptr<peers::TestStation> station_;
};

}  // namespace

soak_end_t soak(uint64_t seed, const std::vector<action_t>& actions, ServiceModule& service)
{
    SoakRun run(seed, service);
    return run.run(actions);
}

}  // namespace sim
