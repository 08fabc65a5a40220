// The flight test and its motion lists.
#include <sys/mount.h>
#include <sys/stat.h>

#include <cmath>
#include <limits>

#include "afqt_wire.h"
#include "row.h"
#include "stage/flight_stand.h"

using peers::test_outcome;

namespace {

constexpr const char* LOGS = "/tmp/blackbox/log/afqt";

// The next good list is flown from end to end.
void expect_next_flies(Run& run, FlightStand& flight)
{
    flight.is_switched_off();
    flight.is_landed_by_hand();
    FlightStand::write_list(list_of({hover(1)}));
    run.expect(flight.flies() == test_outcome::finished && !flight.in_air(), "the next list is not flown");
}

// Ready to be switched on.
class TestFlight : public FlightStand {
public:
    explicit TestFlight(Run& run) : FlightStand(run.world) { launch(); }
};

// --- lists ---

std::string mutated(Run& run, std::string list)
{
    static const std::vector<std::string> WORDS = {"1e999", "NaN",   "-1",  "null",       "true",       "[]",
                                                   "{}",    "\"x\"", "256", "4294967296", "\"\\u0000\""};
    switch (run.below(6)) {
        case 0:
            return list.substr(0, run.below(list.size()));
        case 1:
            return std::string(run.between(1, 100'000), '[');
        case 2: {  // a value of another kind
            const size_t colon = list.find(": ", run.below(list.size()));
            const size_t ends = list.find_first_of(",}", colon);
            return colon == std::string::npos
                       ? ""
                       : list.replace(colon + 2, ends - colon - 2, WORDS[run.below(WORDS.size())]);
        }
        case 3:
            list[run.below(list.size())] = static_cast<char>(run.below(256));
            return list;
        case 4:
            return list + list;
        default:
            return list.insert(run.below(list.size()), WORDS[run.below(WORDS.size())]);
    }
}

void malformed_list(Run& run)
{
    TestFlight flight(run);
    FlightStand::write_list(mutated(run, list_of({hover(1), step(4, 5)})));
    run.inject();
    const test_outcome end = flight.flies();
    // A number may have become endless.
    const bool flies_on = end == test_outcome::running && flight.state() == kStaMotionListRun;
    run.expect(end == test_outcome::failed || end == test_outcome::finished || flies_on, peers::outcome_name(end));
    run.count(peers::outcome_name(end));
    expect_next_flies(run, flight);
}

// What a list may say that nobody would want to fly: each ends, or hovers until it is switched off.
void hostile_values(Run& run)
{
    const auto repeat = [](int from, int to, int times) {
        return motion("kRepeat", R"("start_num": )" + std::to_string(from) + R"(, "end_num": )" + std::to_string(to) +
                                     R"(, "repeat_times": )" + std::to_string(times));
    };
    const struct {
        const char* name;
        std::vector<std::string> motions;
        test_outcome end;
    } lists[] = {
        {"repeat first", {repeat(1, 1, 2), hover(1)}, test_outcome::failed},
        {"no hover first", {motion("kHover", R"("duration": 0)")}, test_outcome::failed},
        {"repeats itself", {hover(1), repeat(2, 2, 3), hover(1)}, test_outcome::finished},
        {"repeats name each other", {hover(1), repeat(3, 3, 2), repeat(2, 2, 2), hover(1)}, test_outcome::finished},
        {"repeats nothing", {hover(1), repeat(200, 300, 2), hover(1)}, test_outcome::finished},
        {"255 entries",
         std::vector<std::string>(255, motion("kStep", R"("repeat_times": 1, "intervals": 0, "loop_id": 4)")),
         test_outcome::finished},
        {"no intervals",
         {hover(1), motion("kStep", R"("repeat_times": 255, "intervals": 0, "loop_id": 4)")},
         test_outcome::finished},
        {"count 256",
         {hover(1), motion("kStep", R"("repeat_times": 256, "intervals": 1, "loop_id": 4)")},
         test_outcome::finished},
        {"negative", {motion("kHover", R"("duration": -5)"), hover(1)}, test_outcome::finished},
        {"no table", {hover(1), motion("kLine", R"("flight_dis": 5)")}, test_outcome::failed},
    };
    const auto& list = lists[(run.seed() - 1) % std::size(lists)];
    TestFlight flight(run);
    FlightStand::write_list(list_of(list.motions));
    run.inject();
    const test_outcome end = flight.flies();
    run.expect(end == list.end, std::string(list.name) + ": " + peers::outcome_name(end));
    run.count(list.name);
    expect_next_flies(run, flight);
}

void endless_hover(Run& run)
{
    TestFlight flight(run);
    FlightStand::write_list(list_of({motion("kHover", R"("duration": 1e999)")}));
    flight.switches(kAfqtOn);
    run.expect(flight.reaches(kStaMotionListRun), "it is not flown");
    run.inject();
    run.world.pass(run.between(10, 300) * SECOND_US);
    run.expect(flight.state() == kStaMotionListRun, "it ends");
    run.count("hovers");
    expect_next_flies(run, flight);
}

// --- the flight controller ---

void deaf_controller(Run& run)
{
    TestFlight flight(run);
    const bool takes_off = run.one_in(2);
    const uint8_t lost = takes_off ? CMD_ID_MISSION_ONOFF : CMD_ID_BASIC_CMD;
    run.world.loses = [lost](const seen_t& seen) { return seen.set == SET_FLIGHT_CONTROLLER && seen.id == lost; };
    run.world.forget();
    run.inject();
    run.expect(flight.flies() == test_outcome::failed, "it does not give up");
    // 500 ticks ask in vain; the first of them is the one that enters the state.
    const size_t asked = takes_off ? flight.mode_requests(MIS_ON) : flight.count(CMD_ID_BASIC_CMD);
    run.expect(asked == 500, "asked " + std::to_string(asked) + " times");
    run.count(takes_off ? "no external control" : "no take-off");
    flight.expect_no_commands(5 * SECOND_US, "after it gave up");
    run.world.loses = {};
    run.world.forget();
    flight.is_switched_off();
    run.expect(flight.mode_requests(MIS_OFF) == 1, "external control is not given back once");
    expect_next_flies(run, flight);
}

// A place to come back to needs a fix before the list; in it, the aircraft flies by its own sensors.
void lost_fix(Run& run)
{
    TestFlight flight(run);
    if (run.one_in(2)) {
        run.world.controller().set_gps_level(2);
        FlightStand::write_list(list_of({hover(1), motion("kRtl", R"("land_flag": true)")}));
        run.world.pass(SECOND_US);
        run.expect(flight.flies() == test_outcome::failed, "a return without a start is flown");
        run.count("return refused");
    } else {
        FlightStand::write_list(list_of({hover(1), step(4, 5), hover(1)}));
        flight.switches(kAfqtOn);
        run.expect(flight.reaches(kStaMotionListRun), "it is not flown");
        run.world.controller().set_gps_level(1);
        run.expect(flight.reaches(kStaMotionIdel), "the flight does not end");
        run.count("flown on");
    }
    run.inject();
    run.world.controller().set_gps_level(5);
    run.world.pass(SECOND_US);
    expect_next_flies(run, flight);
}

// The landing command goes out until the aircraft obeys; one that is taken away is commanded on.
void landing_lost_or_taken_away(Run& run)
{
    TestFlight flight(run);
    if (run.one_in(2)) {
        flight.switches(kAfqtOn);
        run.expect(flight.reaches(kStaRtl) || flight.reaches(kStaLanding), "it does not come home");
        run.world.loses = [](const seen_t& seen) {
            return seen.id == CMD_ID_BASIC_CMD && !seen.payload.empty() && seen.payload[0] == API_CMD_AUTO_LANDING;
        };
        run.inject();
        run.world.pass(60 * SECOND_US);
        run.expect(flight.state() == kStaLanding && flight.in_air(), "it gives up the landing");
        run.world.loses = {};
        run.expect(flight.reaches(kStaMotionIdel) && !flight.in_air(), "it does not land");
        run.count("landed late");
    } else {
        FlightStand::write_list(list_of({motion("kHover", R"("duration": 60)")}));
        flight.switches(kAfqtOn);
        run.expect(flight.reaches(kStaMotionListRun), "it is not flown");
        run.world.peer(STATION).send(FMU.host, SET_FLIGHT_CONTROLLER, CMD_ID_MISSION_ONOFF, bytes_t{MIS_OFF, 0});
        run.inject();
        run.world.pass(SECOND_US);
        run.world.forget();
        run.world.pass(5 * SECOND_US);
        run.expect(flight.count(CMD_ID_CTRL_DATA) > 200, "the frames end");
        run.count("frames go on");
    }
    expect_next_flies(run, flight);
}

// --- the rest ---

void log_directory(Run& run)
{
    const uint64_t kind = run.below(4);
    FlightStand flight(run.world);
    if (kind == 0) {
        run.expect(mount("tmpfs", "/tmp/blackbox/log", "tmpfs", 0, "size=4k") == 0, "no mount");
        if (run.one_in(2)) mkdir(LOGS, 0777);  // or it is missing
        write_file("/tmp/blackbox/log/full", bytes_t(4096));
    } else if (kind == 1) {
        run.expect(mount("tmpfs", "/tmp/blackbox/log", "tmpfs", MS_RDONLY, "size=4k") == 0, "no mount");
    } else {
        static const std::string LATEST[] = {"", "-1", "2147483647", "999999999999999999999999999999", "x", "007"};
        const std::string& text = LATEST[run.below(std::size(LATEST))];
        write_file("/tmp/SD0/factory_test/afqt/latest", bytes_t(text.begin(), text.end()));
    }
    flight.launch();
    run.inject();
    run.expect(flight.flies() == test_outcome::finished, "the flight is disturbed");
    static constexpr const char* NAMES[] = {"full", "read-only", "odd index", "odd index"};
    run.count(NAMES[kind]);
    flight.is_switched_off();
}

void storm_of_switches(Run& run)
{
    TestFlight flight(run);
    FlightStand::write_list(list_of({hover(1), hover(1)}));
    const int switches = run.is_full ? 3000 : 800;
    for (int i = 0; i < switches; i++) {
        // Always of the list that is there: without its file the process would end.
        bytes_t payload = {static_cast<uint8_t>(run.one_in(3) ? run.below(256) : run.below(4)), 0, 0};
        payload.resize(run.one_in(3) ? run.below(4) : 3);
        flight.sends(payload);
        run.world.pass(SECOND_US / 100);
    }
    run.inject(static_cast<uint64_t>(switches));
    flight.is_switched_off();
    flight.expect_no_commands(5 * SECOND_US, "in idle");
    flight.is_landed_by_hand();
    flight.switches(kAfqtOff);  // one that waited in idle is taken by the next run
    run.world.pass(SECOND_US);
    run.expect(flight.flies() == test_outcome::finished, "the next list is not flown");
    run.count("flown after");
}

void killed_in_flight(Run& run)
{
    TestFlight flight(run);
    FlightStand::write_list(list_of({motion("kHover", R"("duration": 15)"), step(4, 5)}));
    flight.switches(kAfqtOn);
    run.world.pass(run.below(25 * SECOND_US));
    run.world.kill();
    run.inject();
    run.world.pass(run.below(2 * SECOND_US));
    flight.launch();
    flight.expect_no_commands(10 * SECOND_US, "after the restart");
    run.expect(flight.state() == kStaMotionIdel, "it is not idle");
    run.count("idle");
    expect_next_flies(run, flight);
}

}  // namespace

std::span<const row_t> flight_rows()
{
    static constexpr row_t ROWS[] = {
        {"A1", "malformed motion list", place_t::clock, 60, 600, malformed_list},
        {"A3", "hostile values in a list", place_t::clock, 10, 10, hostile_values},
        {"A3e", "a hover without end", place_t::clock, 0, 5, endless_hover},
        {"A4", "flight controller does not follow", place_t::clock, 4, 20, deaf_controller},
        {"A5", "position lost", place_t::clock, 4, 20, lost_fix},
        {"A6", "landing lost, control taken away", place_t::clock, 4, 20, landing_lost_or_taken_away},
        {"A7", "log directory full, read-only, odd index", place_t::clock, 8, 24, log_directory},
        {"A8", "storm of switches", place_t::both, 8, 60, storm_of_switches},
        {"A9", "killed in flight", place_t::both, 8, 100, killed_in_flight},
    };
    return ROWS;
}
