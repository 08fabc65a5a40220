#include "station/floor.h"

#include <chrono>
#include <nlohmann/json.hpp>

#include "afqt_run.h"

namespace cli {
namespace {

constexpr size_t FLIGHTS_KEPT = 10;
constexpr uint64_t SILENT_US = 5'000'000;  // five heartbeats

double seconds_between(uint64_t from_us, uint64_t to_us)
{
    return to_us > from_us ? static_cast<double>(to_us - from_us) / 1e6 : 0;
}

bool under_way(const std::optional<peers::TestWatch>& watch)
{
    return watch && watch->report().outcome == peers::test_outcome::running;
}

}  // namespace

void Floor::changed()
{
    ++number_;
    news_.notify_all();
}

// The watch of a flight begins with the first heartbeat that is not idle. The error state of a flight that has ended is
// not another one. The list's number is not in the heartbeats; the notice of its end has it.
void Floor::begin_flight_if_one_begins(aircraft_t& aircraft, const afqt_heart_beat_t& beat, uint64_t now_us)
{
    if (under_way(aircraft.watch) || beat.afqt_state == kStaMotionIdel || beat.afqt_state == kStaErrSta) return;
    aircraft.watch.emplace(now_us, std::nullopt);
    aircraft.flight_since_us = now_us;
}

void Floor::end_flight_if_one_ends(aircraft_t& aircraft, uint64_t now_us)
{
    if (!aircraft.watch || aircraft.flight_since_us == 0) return;
    const peers::test_report_t& report = aircraft.watch->report();
    if (report.outcome == peers::test_outcome::running) return;
    aircraft.flights.insert(aircraft.flights.begin(), {peers::outcome_name(report.outcome), report.what, report.next,
                                                       seconds_between(aircraft.flight_since_us, now_us)});
    if (aircraft.flights.size() > FLIGHTS_KEPT) aircraft.flights.pop_back();
    aircraft.flight_since_us = 0;
}

void Floor::on_heartbeat(aircraft_id_t from, const afqt_heart_beat_t& beat, uint64_t now_us)
{
    const std::lock_guard lock(mutex_);
    aircraft_t& aircraft = aircraft_[from];
    if (aircraft.heard_us == 0 || aircraft.beat.afqt_state != beat.afqt_state) aircraft.state_since_us = now_us;
    aircraft.beat = beat;
    aircraft.heard_us = now_us;
    aircraft.silent = false;
    begin_flight_if_one_begins(aircraft, beat, now_us);
    if (aircraft.watch) aircraft.watch->on_heartbeat(beat, now_us);
    end_flight_if_one_ends(aircraft, now_us);
    now_us_ = now_us;
    changed();
}

void Floor::on_notice(aircraft_id_t from, const afqt_on_off_cmd_t& notice)
{
    const std::lock_guard lock(mutex_);
    const auto known = aircraft_.find(from);
    if (known != aircraft_.end() && known->second.watch) known->second.watch->on_notice(notice);
}

void Floor::on_time(uint64_t now_us)
{
    const std::lock_guard lock(mutex_);
    now_us_ = now_us;
    for (auto& [id, aircraft] : aircraft_) {
        if (aircraft.silent || now_us < aircraft.heard_us + SILENT_US) continue;
        aircraft.silent = true;
        if (aircraft.watch) aircraft.watch->on_time(now_us);
        end_flight_if_one_ends(aircraft, now_us);
        changed();
    }
}

bool Floor::knows(aircraft_id_t id) const
{
    const std::lock_guard lock(mutex_);
    return aircraft_.contains(id);
}

json Floor::picture_of(aircraft_id_t id, const aircraft_t& aircraft, uint64_t now_us)
{
    json picture = beat_json(aircraft.beat);
    picture["bus"] = id.bus;
    picture["address"] = id.address;
    picture["silent"] = aircraft.silent;
    picture["flying"] = under_way(aircraft.watch);
    picture["state_seconds"] = seconds_between(aircraft.state_since_us, now_us);
    picture["heard_seconds_ago"] = seconds_between(aircraft.heard_us, now_us);
    picture["flights"] = json::array();
    for (const flight_t& flight : aircraft.flights) {
        picture["flights"].push_back(
            {{"outcome", flight.outcome}, {"what", flight.what}, {"next", flight.next}, {"seconds", flight.seconds}});
    }
    return picture;
}

std::optional<Floor::picture_t> Floor::wait_for_news(uint64_t seen, uint32_t patience_ms) const
{
    std::unique_lock lock(mutex_);
    news_.wait_for(lock, std::chrono::milliseconds(patience_ms), [&] { return closed_ || number_ != seen; });
    if (closed_) return std::nullopt;
    picture_t picture = {number_, json::array()};
    for (const auto& [id, aircraft] : aircraft_)
        picture.aircraft.push_back(picture_of(id, aircraft, now_us_));
    return picture;
}

void Floor::close()
{
    const std::lock_guard lock(mutex_);
    closed_ = true;
    news_.notify_all();
}

}  // namespace cli
