#include "factory_flight.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "common/clock.h"
#include "factory/test_station.h"
#include "factory/test_watch.h"
#include "flight_controller/flight_controller.h"
#include "start_up.h"

using namespace std::chrono_literals;
using wall_clock = std::chrono::steady_clock;

static constexpr const char* ROUTES = "/usr/local/tarn/vela.json";

[[noreturn]] static void give_up(const char* why)
{
    std::fprintf(stderr, "afqt_bench: %s\n", why);
    std::exit(EXIT_FAILURE);
}

static void write_text(const std::string& path, const std::string& text)
{
    if (!(std::ofstream(path) << text)) give_up("cannot write; run it by ./dev bench");
}

static void prepare_files(const std::string& list)
{
    for (const char* folder : {"/tmp/SD0/factory_test/afqt", "/tmp/blackbox/log/afqt"})
        std::filesystem::create_directories(folder);
    write_text("/tmp/SD0/factory_test/afqt_motion_cfg_0.json", list);
    write_text("/tmp/SD0/factory_test/afqt/latest", "1");
    write_text("/tmp/EMMC/AFQT_ENABLE.txt", "");
}

static pid_t start_service(tick_probe_t* probe)
{
    const pid_t pid = fork();
    if (pid != 0) return pid;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    watch_ticks(probe);
    vela_flight_start_up();
    for (;;)
        pause();
}

static std::unique_ptr<peers::FlightController> open_aircraft()
{
    peers::flight_options_t flight;
    flight.latitude = 0.84;
    flight.longitude = 0.2;
    flight.aircraft.noise = true;
    peers::bus_open_error_t error;
    auto controller = peers::FlightController::open_flying({ROUTES, "flight_controller", "fmu"}, {}, flight, {}, error);
    if (!controller) give_up("the flight controller's address is taken");
    return controller;
}

// What the station hears and the thread that waits asks for.
struct inbox_t {
    std::mutex mutex;
    std::optional<peers::TestWatch> watch;  // none before the switch
};

static std::unique_ptr<peers::TestStation> open_station(inbox_t& inbox)
{
    const auto beat = [&inbox](uint16_t, const afqt_heart_beat_t& heard) {
        const std::lock_guard lock(inbox.mutex);
        if (inbox.watch) inbox.watch->on_heartbeat(heard, peers::now_us());
    };
    const auto notice = [&inbox](uint16_t, const afqt_on_off_cmd_t& heard) {
        const std::lock_guard lock(inbox.mutex);
        if (inbox.watch) inbox.watch->on_notice(heard);
    };
    peers::bus_open_error_t error;
    auto station = peers::TestStation::open({ROUTES, "factory", "station"}, {beat, notice}, error);
    if (!station) give_up("the station's address is taken");
    return station;
}

static peers::test_outcome outcome_now(inbox_t& inbox)
{
    const std::lock_guard lock(inbox.mutex);
    inbox.watch->on_time(peers::now_us());
    return inbox.watch->report().outcome;
}

static flight_figures_t watch_flight()
{
    const auto controller = open_aircraft();
    inbox_t inbox;
    const auto station = open_station(inbox);
    while (controller->bags().counts().pushed < 10)  // the service has subscribed
        std::this_thread::sleep_for(1ms);
    const uint64_t begin_us = peers::now_us();
    const auto begin = wall_clock::now();
    {
        const std::lock_guard lock(inbox.mutex);
        inbox.watch.emplace(begin_us, 0);
    }
    if (station->switch_on(0) != 0) give_up("the service does not take the switch");
    peers::test_outcome outcome;
    while ((outcome = outcome_now(inbox)) == peers::test_outcome::running)
        std::this_thread::sleep_for(1ms);
    const double wall = std::chrono::duration<double>(wall_clock::now() - begin).count();
    return {peers::outcome_name(outcome), static_cast<double>(peers::now_us() - begin_us) / 1e6, wall};
}

flight_figures_t fly(const std::string& list, double scale, tick_probe_t* probe)
{
    prepare_files(list);
    setenv("TARN_TIME_SCALE", std::to_string(scale).c_str(), 1);  // read by each process when it starts
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) give_up("no pipe");
    const pid_t service = start_service(probe);
    const pid_t peers = fork();
    if (peers == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const flight_figures_t figures = watch_flight();
        dprintf(ends[1], "%s %.9g %.9g\n", figures.outcome.c_str(), figures.seconds, figures.wall_seconds);
        _exit(0);
    }
    close(ends[1]);
    char text[128] = "";
    const ssize_t length = read(ends[0], text, sizeof text - 1);
    close(ends[0]);
    waitpid(peers, nullptr, 0);
    kill(service, SIGKILL);
    waitpid(service, nullptr, 0);
    char outcome[32] = "nothing";
    flight_figures_t figures = {};
    // Written by our own child just above.
    // NOLINTNEXTLINE(cert-err34-c)
    if (length <= 0 || std::sscanf(text, "%31s %lf %lf", outcome, &figures.seconds, &figures.wall_seconds) != 3)
        give_up("the peers ended early");
    figures.outcome = outcome;
    return figures;
}
