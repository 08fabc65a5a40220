// The service's promises in figures: an upgrade beside its bare parts, the start-up check beside md5sum, memory and the
// time to the first answer. Contenders take turns, so that whatever else the machine does meets both alike.
#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <condition_variable>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <thread>

#include "app/app_peer.h"
#include "bare_upgrade.h"
#include "flight_v1_wire.h"
#include "nfz_file/nfz_file.h"
#include "report.h"
#include "service_run.h"

static constexpr const char* ROUTES = "/usr/local/tarn/vela.json";
static constexpr const char* DATABASE = "/tmp/NFZ/nfz.bin";
static constexpr const char* SCRATCH = "/tmp/NFZ/bare.bin";
static constexpr size_t UPGRADE_SIZE = 16u << 20;
static constexpr size_t CHECKED_SIZE = 256u << 20;

[[noreturn]] static void give_up(const std::string& what)
{
    std::fprintf(stderr, "upgrade_bench: %s\n", what.c_str());
    std::exit(EXIT_FAILURE);
}

static void shell(const std::string& command)
{
    if (std::system(command.c_str()) != 0) give_up(command + " failed");
}

static std::vector<uint8_t> make_database(size_t size)
{
    const peers::nfz_version_t version = {1, 0, 0, 1};
    return peers::build_nfz_file({version, 1, 1, peers::generate_nfz_content(version, size - peers::NFZ_MIN_SIZE)});
}

static double send_database(peers::AppPeer& app, const std::vector<uint8_t>& database)
{
    std::mutex mutex;
    std::condition_variable changed;
    std::optional<peers::upgrade_result_t> result;
    const auto done = [&](const peers::upgrade_result_t& ended) {
        const std::lock_guard lock(mutex);
        result = ended;
        changed.notify_one();
    };
    if (app.upgrade().begin({database, {}, {}, done}) != 0) give_up("the upgrade was not begun");
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return result.has_value(); });
    if (result->outcome != peers::upgrade_outcome::done) give_up(result->what);
    return static_cast<double>(result->elapsed_us) / 1e6;
}

static std::unique_ptr<peers::AppPeer> open_app()
{
    peers::bus_open_error_t error;
    auto app = peers::AppPeer::open({ROUTES, "app", "phone"}, {}, error);
    if (app == nullptr) give_up("the app has no address");
    return app;
}

static void measure_upgrade(bench::report& report, const std::string& service, size_t rounds)
{
    const std::vector<uint8_t> database = make_database(UPGRADE_SIZE);
    const size_t blocks = (UPGRADE_SIZE + UPGRADE_FRAG_LENGTH - 1) / UPGRADE_FRAG_LENGTH;
    service_run run(service);
    run.wait_until_up();
    const auto app = open_app();
    std::vector<double> bare, upgrade, ratio;
    for (size_t i = 0; i < rounds; ++i) {
        shell(std::string("mount -o remount,rw /tmp/NFZ && touch ") + SCRATCH);
        bare.push_back(bare_upgrade(blocks, UPGRADE_FRAG_LENGTH, SCRATCH));
        upgrade.push_back(send_database(*app, database));
        ratio.push_back(upgrade.back() / bare.back());
    }
    shell(std::string("mount -o remount,rw /tmp/NFZ && rm ") + SCRATCH);
    report.add({"upgrade_16mib_bare_parts", bench::summarise(bare).median, "s", {}, {}});
    report.add({"upgrade_16mib", bench::summarise(upgrade).median, "s", bench::summarise(ratio).median, 1.6});
    report.add({"service_resident_after_upgrade", run.resident_kib() / 1024, "MiB", {}, 8.0});
}

static double run_md5sum()
{
    const auto begin = std::chrono::steady_clock::now();
    shell(std::string("md5sum ") + DATABASE + " >/dev/null");
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

static void measure_check(bench::report& report, const std::string& service, size_t rounds)
{
    const std::vector<uint8_t> database = make_database(CHECKED_SIZE);
    shell("mount -o remount,rw /tmp/NFZ");
    std::ofstream(DATABASE, std::ios::binary)
        .write(reinterpret_cast<const char*>(database.data()), static_cast<std::streamsize>(database.size()));
    std::vector<double> check, md5sum, ratio;
    for (size_t i = 0; i < rounds; ++i) {
        md5sum.push_back(run_md5sum());
        check.push_back(service_run(service).wait_until_up());
        ratio.push_back(check.back() / md5sum.back());
    }
    struct stat info = {};
    if (stat(DATABASE, &info) != 0 || info.st_size != CHECKED_SIZE) give_up("the check did not keep the database");
    report.add({"md5sum_256mib", bench::summarise(md5sum).median, "s", {}, {}});
    report.add({"start_up_with_256mib", bench::summarise(check).median, "s", bench::summarise(ratio).median, 1.15});
    std::remove(DATABASE);
}

// Asks for the version until the first answer is there.
static double first_answer(peers::BusEndpoint& endpoint, const std::string& service)
{
    std::mutex mutex;
    std::condition_variable changed;
    bool answered = false;
    service_run run(service);
    const auto done = [&](const peers::reply_t&) {
        const std::lock_guard lock(mutex);
        answered = true;
        changed.notify_one();
    };
    const peers::request_t question = {HOST_FLIGHT_SERVICE, SET_COMMON, ID_GET_VERSION, {}};
    while (endpoint.request(question, done) != 0)
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return answered; });
    const double took = run.since_start();
    run.wait_until_up();  // killed earlier, a mount command of its start-up would hold its sockets open for a moment
    return took;
}

static void measure_start(bench::report& report, const std::string& service, size_t rounds)
{
    const auto app = open_app();
    std::vector<double> times;
    for (size_t i = 0; i < 5 * rounds; ++i)
        times.push_back(1000 * first_answer(app->endpoint(), service));
    const auto [median, p99] = bench::summarise(times);
    report.add({"start_to_first_answer_median", median, "ms", {}, 50.0});
    report.add({"start_to_first_answer_p99", p99, "ms", {}, {}});
}

int main(int argc, char** argv)
{
    CLI::App program("The service beside its bare parts. Example: upgrade_bench --service vela_flight --json");
    bool as_json = false;
    std::string service;
    size_t rounds = 5;
    program.add_flag("--json", as_json, "print JSON instead of a table");
    program.add_option("--service", service, "the service's program")->required()->check(CLI::ExistingFile);
    program.add_option("--rounds", rounds, "turns of each contender")->check(CLI::Range(1, 100))->capture_default_str();
    CLI11_PARSE(program, argc, argv);

    bench::report report;
    measure_upgrade(report, service, rounds);
    measure_check(report, service, rounds);
    measure_start(report, service, rounds);
    report.print(as_json);
    return EXIT_SUCCESS;
}
