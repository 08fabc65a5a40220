// Processes, signals, threads, sockets: the machine and the host platform.
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "afqt_wire.h"
#include "on_bus.h"
#include "row.h"
#include "support/raw_peer.h"
#include "upgrade_hand.h"
#include "upgrade_wire.h"

namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

constexpr uint16_t SERVICES[] = {HOST_FLIGHT_SERVICE, HOST_NFZ_UPGRADE};

uint64_t counter(uint16_t host, uint32_t which)
{
    char path[40];
    std::snprintf(path, sizeof path, "/run/tarn/%04x.stats", host);
    const bytes_t bytes = file_bytes(path);
    tarn_stats_file_t stats = {};
    peers::read_record(bytes, stats);
    return stats.value[which];
}

// The service's side lags behind what a peer sees of it.
void expect_counter(Run& run, uint16_t host, uint32_t which, uint64_t wanted)
{
    run.expect(run.world.until([&] { return counter(host, which) == wanted; }, SECOND_US),
               std::string(tarn_counter_name(which)) + " is " + std::to_string(counter(host, which)) + " instead of " +
                   std::to_string(wanted));
}

std::string socket_of(uint16_t host)
{
    char path[40];
    std::snprintf(path, sizeof path, "/run/tarn/%04x.sock", host);
    return path;
}

bool answers(Run& run)
{
    return run.world.ask(STATION, HOST_NFZ_UPGRADE, SET_COMMON, ID_GET_VERSION, {}).size() == 30;
}

// --- framing and senders ---

bytes_t record(size_t payload, uint32_t claimed)
{
    bytes_t bytes(16 + payload);
    bytes[4] = 0x06;
    bytes[5] = 0x11;
    bytes[12] = static_cast<uint8_t>(claimed);
    bytes[13] = static_cast<uint8_t>(claimed >> 8);
    return bytes;
}

void bad_framing(Run& run)
{
    run.world.launch();
    const uint16_t host = SERVICES[run.below(2)];
    for (int i = 0; i < 120; i++) {
        const uint64_t kind = run.below(5);
        uint32_t which = TARN_CLOSED_BAD_HELLO;
        bytes_t sent =
            run.one_in(2) ? bytes_t{0x54, 0x02, 0x00, 0x02} : run.bytes(run.one_in(2) ? 3 : run.between(5, 1100));
        const auto length = static_cast<uint32_t>(run.below(1009));
        if (kind == 1) sent = run.bytes(run.between(1, 15)), which = TARN_CLOSED_SHORT;
        if (kind == 2) sent = record(run.between(1009, 1084), 1009), which = TARN_CLOSED_LONG;
        if (kind == 3) sent = record(length, length + 1), which = TARN_CLOSED_LENGTH;
        if (kind == 4) sent = record(length + 1, length), which = TARN_CLOSED_LENGTH;
        if (kind == 4 && length == 1008) continue;
        const uint64_t before = counter(host, which);
        RawPeer peer(socket_of(host));
        if (kind != 0) peer.hello(0x0200);
        run.expect(peer.sends(sent), "the socket takes nothing");
        run.inject();
        run.expect(peer.is_closed(), "the connection stays open after " + hex(sent));
        expect_counter(run, host, which, before + 1);
        run.count(tarn_counter_name(which));
        run.expect(answers(run), "a bystander is not answered");
    }
}

void spoofed_sender(Run& run)
{
    auto routes = nlohmann::json::parse(file_bytes(ROUTE_FILE));
    routes["allow"] = {{"0x0306", {{"uid", {4711}}}}, {"0x0200", {{"uid", {4711}}}}};
    std::ofstream(ROUTE_FILE) << routes;
    run.world.launch();
    const uint64_t before = counter(HOST_NFZ_UPGRADE, TARN_CLOSED_NOT_ALLOWED);
    constexpr uint64_t TRIES = 20;
    for (uint64_t i = 0; i < TRIES; i++) {
        RawPeer peer(socket_of(HOST_NFZ_UPGRADE));
        peer.hello(i % 2 == 0 ? 0x0306 : 0x0200);
        bytes_t entry = record(9, 9);
        entry[8] = ID_UPGRADE_ENTRY;
        peer.sends(entry);
        run.inject();
        run.expect(peer.is_closed(), "a stranger speaks for somebody");
    }
    expect_counter(run, HOST_NFZ_UPGRADE, TARN_CLOSED_NOT_ALLOWED, before + TRIES);
    run.count("refused", TRIES);
    const bytes_t read = run.world.ask(STATION, HOST_NFZ_UPGRADE, SET_FLYLIMIT, ID_NFZ_READ, read_payload(0, 0));
    run.expect(read.size() == 5, "an address without an entry is not served, or the state has changed");
}

// --- peers ---

void peers_come_and_go(Run& run)
{
    run.world.launch();
    run.world.controller();
    run.expect(answers(run), "it does not answer");
    const size_t files = run.world.open_files();
    const size_t threads = real(run).service().threads();
    const int times = run.is_full ? 10'000 : 500;
    for (int i = 0; i < times; i++) {
        RawPeer peer(socket_of(SERVICES[run.below(2)]));
        if (!run.one_in(3)) peer.hello(TABLET.host);
        if (run.one_in(4)) peer.sends(record(9, 9));
    }
    run.inject(static_cast<uint64_t>(times));
    for (int i = 0; i < 10; i++) {
        run.world.controller_leaves();
        run.world.pass(SECOND_US);
        run.world.controller();
        run.world.pass(SECOND_US);
    }
    run.expect(run.world.until([&] { return run.world.open_files() <= files + 2; }, 10 * SECOND_US),
               "files are left open");
    run.expect(real(run).service().threads() == threads, "threads are left");
    run.count("gone", static_cast<uint64_t>(times));
}

// One who floods, in a process of its own; the others are served.
void flood(Run& run)
{
    run.world.launch();
    run.world.controller();
    const int records = run.is_full ? 1'000'000 : 150'000;
    const pid_t flooder = fork();
    if (flooder == 0) {
        const RawPeer first(socket_of(SERVICES[0]), TABLET.host), second(socket_of(SERVICES[1]), TABLET.host);
        for (int i = 0; i < records; i++)
            (i % 2 == 0 ? first : second).sends(record(0, 0));
        _exit(0);
    }
    run.inject(static_cast<uint64_t>(records));
    const bytes_t sent = database(6);
    const uint8_t end = whole_upgrade(run, sent);
    const bool still_floods = waitpid(flooder, nullptr, WNOHANG) == 0;
    ::kill(flooder, SIGKILL);
    if (still_floods) waitpid(flooder, nullptr, 0);
    run.expect(end == UPGRADE_RET_OK, "in the flood the end is answered by " + hex(end));
    run.count(still_floods ? "served in the flood" : "flood was over");
}

// Receivers that never read: what is sent to them is refused, and never waited for.
void peers_that_never_read(Run& run)
{
    // Listening in their place, reading nothing.
    const pid_t deaf = fork();
    if (deaf == 0) {
        for (const uint16_t host : {FMU.host, TABLET.host}) {
            const sockaddr_un address = address_of(socket_of(host));
            const int listener = socket(AF_UNIX, SOCK_SEQPACKET, 0);
            if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) _exit(1);
            listen(listener, 10);
        }
        pause();
        _exit(0);
    }
    run.expect(run.world.until([] { return fs::exists(socket_of(TABLET.host)); }, SECOND_US), "no listener");
    run.world.launch();
    run.inject();
    upgrade_code(run, ID_UPGRADE_ENTRY, bytes_t(9));
    run.world.pass(400 * SECOND_US);
    run.expect(answers(run), "it waits for somebody who does not read");
    run.count("refused", counter(HOST_NFZ_UPGRADE, TARN_SEND_QUEUE_FULL));
    ::kill(deaf, SIGKILL);
    waitpid(deaf, nullptr, 0);
    for (const peer_name_t& peer : {FMU, TABLET})
        fs::remove(socket_of(peer.host));
}

void sockets_removed(Run& run)
{
    run.world.launch();
    run.world.controller();
    run.expect(answers(run), "it does not answer");
    fs::remove(socket_of(HOST_NFZ_UPGRADE));
    run.inject();
    run.expect(answers(run), "an open connection has gone");
    RawPeer late(socket_of(HOST_NFZ_UPGRADE));
    run.expect(!late.connected(), "somebody connects to nothing");
    run.count("refused connect");
    run.world.kill();
    run.world.launch();
}

// --- configuration, second instance ---

void bad_routes(Run& run)
{
    const std::string good = text_of(ROUTE_FILE);
    std::string bad = good;
    const uint64_t kind = (run.seed() - 1) % 4;
    if (kind == 1) bad = good.substr(0, run.between(0, good.size() - 2));
    if (kind == 2) bad.replace(bad.find("0x1106"), 6, "0x11zz");
    if (kind == 3) bad.replace(bad.find("flight_nfz_upgrade"), 18, "flight_nfz_other__");
    std::ofstream(ROUTE_FILE) << bad;
    if (kind == 0) fs::remove(ROUTE_FILE);
    real(run).service().start();
    run.inject();
    run.expect_log("upgrade create fc_fmu route table fail! result=0x");
    run.expect(run.world.until([&] { return real(run).service().is_up(); }, 10 * SECOND_US), "it does not come up");
    run.expect(run.world.runs(), "it does not stay up");
    run.count(kind == 0 ? "missing" : kind == 1 ? "cut" : kind == 2 ? "no number" : "no endpoint");
    std::ofstream(ROUTE_FILE) << good;
    run.world.kill();
    run.world.launch();
}

// The second one gets no address; its start-up check empties what the first has half received.
void second_instance(Run& run)
{
    UpgradeHand hand(run, {});
    const bytes_t sent = database(6);
    hand.begins(sent, 3);
    Service second;
    second.start();
    run.inject();
    run.expect(run.world.until([&] { return second.is_up(); }, 10 * SECOND_US), "the second does not come up");
    run.expect(second.log().find("upgrade create event fail!\n") != std::string::npos, "the second has the address");
    const uint8_t code = upgrade_code(run, ID_UPGRADE_DATA, block_payload_of(sent, 3));
    run.expect(code == UPGRADE_RET_NOT_WRITTEN, "a block is answered by " + hex(code));
    second.kill();
    run.count("0xf3");
}

// --- signals, threads, time ---

void missing_list_ends_it(Run& run)
{
    fs::create_directories("/tmp/SD0/factory_test/afqt");
    write_file("/tmp/EMMC/AFQT_ENABLE.txt", {});
    run.world.launch();
    run.world.controller();
    run.world.peer(STATION).send(HOST_FLIGHT_SERVICE, SET_AFQT, CMD_ID_AFQT_CMD, bytes_t{kAfqtOn, 0, 77});
    run.inject();
    run.expect(run.world.until([&] { return !run.world.runs(); }, 20 * SECOND_US), "it goes on without a list");
    const int status = real(run).service().end_status();
    run.expect(WIFEXITED(status) && WEXITSTATUS(status) == 0, "it ends with another status than 0");
    run.expect_log("[JSON]file open error");
    run.count("exit 0");
    run.world.kill();
    run.world.launch();
}

void stopped_in_an_upgrade(Run& run)
{
    UpgradeHand hand(run, {});
    const bytes_t sent = database(6);
    hand.begins(sent, 3);
    real(run).service().signal(SIGSTOP);
    run.world.pass(25 * SECOND_US);
    run.inject();
    real(run).service().signal(SIGCONT);
    if (run.one_in(2)) run.world.pass(SECOND_US);
    const uint8_t code = upgrade_code(run, ID_UPGRADE_DATA, block_payload_of(sent, 3));
    run.expect(code == UPGRADE_RET_OK || code == UPGRADE_RET_STATE, "a block is answered by " + hex(code));
    run.count(code == UPGRADE_RET_OK ? "request first" : "tick first");
    run.world.pass(SECOND_US);  // a tick that had begun before the request may still fail the upgrade
}

// Without one of its threads everything else runs.
void thread_refused(Run& run)
{
    const uint64_t nth = run.seed();
    write_file(DATABASE, database(5));
    real(run).service().start({"strace", "-D", "-f", "-qqq", "-o", "/dev/null", "-e", "trace=clone3", "-e",
                               "inject=clone3:error=EAGAIN:when=" + std::to_string(nth)});
    run.inject();
    run.expect(run.world.until([&] { return real(run).service().is_up(); }, 100 * SECOND_US), "it does not come up");
    run.world.pass(2 * SECOND_US);
    run.expect(run.world.runs(), "it does not stay up");
    // In the order in which they are started; the second watches the subscription, and is lost without a sign.
    static constexpr const char* SAYS[] = {"create event fail!\n", "", "upgrade create event fail!\n",
                                           "fail to create nfz_upgrade_timer\n", "fail to create nfz_upgrade_timer\n"};
    if (nth <= std::size(SAYS)) run.expect_log(SAYS[nth - 1]);
    run.count("comes up without thread " + std::to_string(nth));
    run.world.kill();
    run.world.launch();
}

// A machine that stands still now and then, under hogs: ticks are dropped, orders to the motors keep their time.
void cpu_taken(Run& run)
{
    run.world.launch();
    run.world.controller();
    std::vector<pid_t> hogs;
    for (unsigned i = 0; i < 2 * std::thread::hardware_concurrency(); i++) {
        const pid_t hog = fork();
        if (hog == 0) {
            alarm(20);
            for (volatile uint64_t turns = 0;;)
                turns = turns + 1;
        }
        hogs.push_back(hog);
    }
    upgrade_code(run, ID_UPGRADE_ENTRY, bytes_t(9));
    run.world.forget();
    for (int i = 0; i < 10; i++) {
        real(run).service().signal(SIGSTOP);
        std::this_thread::sleep_for(milliseconds(run.between(10, 100)));
        real(run).service().signal(SIGCONT);
        run.inject();
        std::this_thread::sleep_for(milliseconds(run.between(50, 150)));
    }
    for (const pid_t hog : hogs) {
        ::kill(hog, SIGKILL);
        waitpid(hog, nullptr, 0);
    }
    const auto orders = run.world.sent(HOST_NFZ_UPGRADE, SET_FLIGHT_CONTROLLER, ID_SET_MOTOR_ERR);
    run.expect(orders.size() > 3, "no orders to the motors");
    uint64_t longest = 0, shortest = UINT64_MAX;
    for (size_t i = 1; i < orders.size(); i++) {
        const uint64_t gap = orders[i].head.boot_time_us - orders[i - 1].head.boot_time_us;
        longest = std::max(longest, gap);
        shortest = std::min(shortest, gap);
    }
    run.count("orders", orders.size());
    run.count("longest gap " + std::to_string(longest / SECOND_US) + " s");
}

// Started and killed over and over: old sockets are replaced.
void start_kill_cycles(Run& run)
{
    const int cycles = run.is_full ? 125 : 10;
    for (int i = 0; i < cycles; i++) {
        real(run).service().start();
        std::this_thread::sleep_for(milliseconds(run.below(30)));
        run.world.kill();
        run.inject();
    }
    run.world.launch();
    run.count("cycles", static_cast<uint64_t>(cycles));
}

}  // namespace

std::span<const row_t> machine_rows()
{
    static constexpr row_t ROWS[] = {
        {"B1", "bad framing, bad hello", place_t::bus, 2, 10, bad_framing},
        {"A2", "motion list missing", place_t::bus, 1, 2, missing_list_ends_it},
        {"M1", "machine that stands still", place_t::bus, 0, 4, cpu_taken},
        {"M2", "stopped 25 s in an upgrade", place_t::bus, 2, 6, stopped_in_an_upgrade},
        {"M3", "a thread is refused", place_t::bus, 0, 8, thread_refused},
        {"M4", "start and kill cycles", place_t::bus, 1, 4, start_kill_cycles},
        {"P1", "listening socket removed", place_t::bus, 1, 2, sockets_removed},
        {"P2", "peers come, vanish, say nothing", place_t::bus, 1, 2, peers_come_and_go},
        {"P3", "one sender floods", place_t::bus, 1, 2, flood},
        {"P4", "peers that never read", place_t::bus, 0, 2, peers_that_never_read},
        {"P5", "spoofed sender", place_t::bus, 1, 2, spoofed_sender, false},
        {"P6", "route file missing or malformed", place_t::bus, 4, 8, bad_routes},
        {"P6s", "second instance", place_t::bus, 1, 2, second_instance},
    };
    return ROWS;
}
