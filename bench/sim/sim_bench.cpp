// How much faster than real time the virtual clock is, and what its bus alone can do.
#include <sys/wait.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include <CLI/CLI.hpp>

#include "flight_v1_wire.h"
#include "fly/flight_text.h"
#include "fly/flying.h"
#include "kest_event.h"
#include "kest_mb.h"
#include "platform/platform.h"
#include "report.h"
#include "world/child.h"

static constexpr int FLIGHTS = 11;
static constexpr uint64_t ROUND_TRIPS = 1'000'000;
static constexpr size_t PAYLOAD = 200;

[[noreturn]] static void give_up(const char* why)
{
    std::fprintf(stderr, "sim_bench: %s\n", why);
    std::exit(EXIT_FAILURE);
}

template <typename Fn>
static double seconds_of(const Fn& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// --- the bus alone: two endpoints that answer each other ---

struct player_t {
    kest_event_client_t client = nullptr;
    uint16_t other = 0;
    uint64_t left = 0;
};

static kest_result_t hit_back(kest_event_client_t, const kest_event_t* event, void* userdata)
{
    auto& player = *static_cast<player_t*>(userdata);
    if (player.left == 0) return 0;
    player.left--;
    kest_event_t answer = *event;
    answer.peer_host = player.other;
    return kest_event_send(player.client, &answer);
}

static void open_player(const char* name, uint16_t other, player_t& player)
{
    static constexpr kest_event_cmd_desc_t descriptor = {hit_back, hit_back, 0};
    const kest_event_cmd_desc_t* tables[KEST_EVENT_SETS] = {&descriptor};
    const uint32_t counts[KEST_EVENT_SETS] = {1};
    kest_mb_route_table_t routes = {};
    uint16_t host = 0;
    player.other = other;
    player.left = ROUND_TRIPS;
    kest_mb_create_route_table("", "", name, &host, &routes);
    if (kest_event_create_client(&routes, host, tables, counts, &player, &player.client) != 0) give_up("no client");
    kest_event_start_client(player.client);
}

static double bus_events_per_second()
{
    sim::Platform platform({});
    player_t phone, fmu;
    open_player("phone", HOST_FLIGHT_CONTROLLER, phone);
    open_player("fmu", HOST_APP, fmu);
    kest_event_t first = {};
    first.peer_host = HOST_FLIGHT_CONTROLLER;
    first.msg_len = PAYLOAD;
    kest_event_send(phone.client, &first);
    const double seconds = seconds_of([&] { platform.run_until(UINT64_MAX / 2); });
    return static_cast<double>(platform.schedule().events()) / seconds;
}

// --- whole flights, one after another on one core ---

static cli::json fly_one(const cli::flying_t& flying, uint64_t seed, sim::ServiceModule& service)
{
    cli::json flight;
    sim::Children children;
    children.start(0, [&](const sim::Report& report) { return cli::fly_in_child(flying, seed, service, report); });
    while (children.running() > 0) {
        children.wait(
            -1, [&flight](size_t, const std::string& line) { flight = cli::json::parse(line, nullptr, false); },
            [](const sim::child_end_t&) {});
    }
    if (!flight.contains("outcome") || flight["outcome"] != "finished") give_up("a flight did not finish");
    return flight;
}

static void measure_flights(bench::report& report, const std::string& list)
{
    sim::ServiceModule service;
    std::string error;
    if (!service.open(VELA_FLIGHT_MODULE, error)) give_up(error.c_str());
    cli::flying_t flying;
    std::ifstream file(list, std::ios::binary);
    flying.list.assign(std::istreambuf_iterator<char>(file), {});
    std::vector<double> parts;
    std::vector<double> events;
    double flown = 0;
    for (uint64_t seed = 1; seed <= FLIGHTS; seed++) {
        cli::json flight;
        const double wall = seconds_of([&] { flight = fly_one(flying, seed, service); });
        flown = flight["seconds"];
        parts.push_back(wall / flown);
        events.push_back(flight["events"].get<double>() / wall);
    }
    const double part = bench::summarise(parts).median;
    report.add({"sim_flight", flown, "s", std::nullopt, std::nullopt});
    report.add({"sim_flight_wall_time", part * 1000, "s/1000 s", std::nullopt, 2.0});
    report.add({"sim_flight_events", bench::summarise(events).median, "1/s", std::nullopt, std::nullopt});
}

int main(int argc, char** argv)
{
    CLI::App app{"The virtual clock: whole flights beside real time, and the bus alone."};
    bool as_json = false;
    std::string list;
    app.add_flag("--json", as_json, "print the rows as JSON");
    app.add_option("--list", list, "motion list of the flights")->required();
    CLI11_PARSE(app, argc, argv);

    bench::report report;
    measure_flights(report, list);
    const double events = bus_events_per_second();
    report.add({"sim_bus_events", events, "1/s", std::nullopt, std::nullopt});
    report.add({"sim_bus_event_time", 1e6 / events, "us", std::nullopt, 1.0});
    report.print(as_json);
}
