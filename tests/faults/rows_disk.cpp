// Disks that are full, read-only, slow, broken or lying, under real processes.
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "on_bus.h"
#include "row.h"
#include "tfr_file/tfr_file.h"
#include "upgrade_hand.h"
#include "upgrade_wire.h"

namespace {

namespace fs = std::filesystem;

void shell(const std::string& command)
{
    if (std::system(command.c_str()) != 0) throw std::runtime_error("the command failed: " + command);
}

// An empty file system in place of the one at that folder.
void mounts(const std::string& folder, const std::string& options)
{
    shell("umount " + folder + " 2>/dev/null; echo 'tmpfs " + folder + " tmpfs " + options +
          " 0 0' >/etc/fstab && mount " + folder);
}

// The same one, with other options.
void remounts(const std::string& options)
{
    shell("echo 'tmpfs /tmp/NFZ tmpfs " + options + " 0 0' >/etc/fstab && mount -o remount,rw /tmp/NFZ");
}

uint8_t code(Run& run, uint8_t id, const bytes_t& payload)
{
    const uint8_t answer = upgrade_code(run, id, payload);
    run.count(hex(answer));
    return answer;
}

void begins(Run& run, const bytes_t& sent)
{
    code(run, ID_UPGRADE_ENTRY, bytes_t(9));
    code(run, ID_UPGRADE_START, start_payload(static_cast<uint32_t>(sent.size())));
}

// A success means that the database is there, to the last byte; any other end leaves nothing, unless nothing could be
// emptied.
void expect_honest_end(Run& run, uint8_t end, const bytes_t& sent, bool can_empty = true)
{
    const std::string left = on_disk(sent);
    if (end == UPGRADE_RET_OK) return run.expect(left == "NEW", "a success, and the disk has " + left);
    run.expect(!can_empty || left == "EMPTY", "ends with " + hex(end) + ", and the disk has " + left);
}

void starts_anew(Run& run, const bytes_t& sent)
{
    RealWorld& world = real(run);
    world.kill();
    remounts("size=64m");
    world.launch();
    const std::string left = on_disk(sent);
    run.expect(left == "OLD" || left == "EMPTY" || left == "NEW", "after a restart the disk has " + left);
    run.count("restart " + left);
}

// --- full ---

void disk_full(Run& run)
{
    mounts("/tmp/NFZ", "size=" + std::to_string(4 * run.between(1, 5)) + "k");
    write_file(DATABASE, old_database());
    run.world.launch();
    const bytes_t sent = database(6, 30'000);
    begins(run, sent);
    int32_t number = 0;
    while (code(run, ID_UPGRADE_DATA, block_payload_of(sent, number)) == UPGRADE_RET_OK)
        number++;
    run.inject();
    const bytes_t reply =
        run.world.ask(PHONE, HOST_NFZ_UPGRADE, SET_COMMON, ID_UPGRADE_DATA, block_payload_of(sent, number));
    run.expect(reply.size() == 5 && reply[0] == UPGRADE_RET_NOT_WRITTEN && reply[1] == static_cast<uint8_t>(number - 1),
               "a block that does not fit is answered by " + hex(reply));
    if (run.one_in(2)) {
        const uint8_t end = code(run, ID_UPGRADE_END, end_payload(sent));
        run.expect(end == UPGRADE_RET_STATE, "the end is answered by " + hex(end));
        expect_honest_end(run, end, sent);
    } else {
        remounts("size=1m");
        for (; number < static_cast<int32_t>(blocks_of(sent)); number++)
            run.expect(code(run, ID_UPGRADE_DATA, block_payload_of(sent, number)) == 0, "no room after room was made");
        expect_honest_end(run, code(run, ID_UPGRADE_END, end_payload(sent)), sent);
    }
    remounts("size=64m");
}

void no_inode(Run& run)
{
    const bool present = run.seed() % 2 == 0;
    mounts("/tmp/NFZ", "size=1m,nr_inodes=" + std::string(present ? "2" : "1"));
    run.world.launch();
    run.inject();
    const bytes_t sent = database(6, 5000);
    const uint8_t end = whole_upgrade(run, sent, 2);
    run.expect((end == UPGRADE_RET_OK) == present, "the end is answered by " + hex(end));
    if (!present) run.expect_log("error: upgrade delete data fail!\n");
    run.count(present ? "file there" : "no inode for it");
    remounts("size=64m,nr_inodes=100");
}

// --- read-only, and a mount command that does not do it ---

void read_only_on_the_way(Run& run)
{
    UpgradeHand hand(run, old_database());
    const bytes_t sent = database(6);
    hand.begins(sent, run.between(1, 5));
    shell("mount -o remount,ro /tmp/NFZ");
    run.inject();
    const int32_t next = hand.model().last_block() + 1;
    run.expect(code(run, ID_UPGRADE_DATA, block_payload_of(sent, next)) == UPGRADE_RET_NOT_WRITTEN, "it is written");
    run.expect_log("ERROR: Read-only file system\n");
}

// In place of the mount command: a script of that text, or nothing.
void mounts_by(const std::string& script)
{
    fs::create_directories("/tmp/stand-in");
    for (const char* name : {"sleep", "kill"})
        fs::create_symlink(std::string("/usr/bin/") + name, std::string("/tmp/stand-in/") + name);
    if (!script.empty()) {
        std::ofstream("/tmp/stand-in/mount") << "#!/bin/sh\n" << script << "\n";
        fs::permissions("/tmp/stand-in/mount", fs::perms::all);
    }
}

std::vector<std::string> with_stand_in()
{
    return {"/usr/bin/env", "PATH=/tmp/stand-in"};
}

void mount_command_fails(Run& run)
{
    static const struct {
        const char* name;
        const char* script;
    } KINDS[] = {{"exits 32", "exit 32"}, {"missing", ""}, {"killed", "kill -9 $$"}};
    const auto& kind = KINDS[(run.seed() - 1) % 3];
    mounts_by(kind.script);
    write_file(DATABASE, old_database());
    const bool read_only = run.seed() > 3;
    if (read_only) shell("mount -o remount,ro /tmp/NFZ");
    real(run).launch_under(with_stand_in());
    run.inject();
    run.count(std::string(kind.name) + (read_only ? ", read-only" : ""));
    const bytes_t sent = database(6);
    const uint8_t end = whole_upgrade(run, sent, 2);
    // Where it cannot be written nothing is lost; where nothing can be emptied the digest finds it.
    if (read_only) {
        run.expect(end == UPGRADE_RET_STATE && on_disk(sent) == "OLD", "written to a read-only file system");
    } else {
        const bool emptied = run.world.log().find("remount fail, cannot delete\n") == std::string::npos;
        expect_honest_end(run, end, sent, emptied);
        run.count(emptied ? "emptied" : "not emptied");
    }
    starts_anew(run, sent);
}

// --- broken and lying calls ---

// The service under strace, which does that to its N-th call of the database.
void launches_injected(Run& run, const std::string& call, const std::string& injection, uint64_t nth)
{
    real(run).launch_under({"strace", "-D", "-f", "-qqq", "-o", "/dev/null", "-P", DATABASE, "-e", "trace=" + call,
                            "-e", "inject=" + call + ":" + injection + ":when=" + std::to_string(nth)});
    run.inject();
}

constexpr const char* CALLS[] = {"openat", "write", "read", "close", "lseek"};

// Killed before each file call of an upgrade, and launched again.
void killed_at_each_call(Run& run)
{
    write_file(DATABASE, old_database());
    const std::string call = CALLS[(run.seed() - 1) % 4];
    const uint64_t nth = (run.seed() - 1) / 4 + 1;
    const bytes_t sent = database(6);
    try {
        launches_injected(run, call, "signal=SIGKILL", nth);
        whole_upgrade(run, sent);
    } catch (const broken_t&) {
        // Killed while it came up.
    }
    const bool survived = run.world.runs();
    const std::string left = on_disk(sent);
    run.expect(left != "mixed", "killed before " + call + " " + std::to_string(nth) + " the disk has a mix");
    run.count(call + (survived ? " survived" : " " + left));
    starts_anew(run, sent);
}

void broken_call(Run& run)
{
    write_file(DATABASE, old_database());
    const std::string call = CALLS[(run.seed() - 1) % 5];
    const uint64_t nth = (run.seed() - 1) / 5 + 1;
    const bytes_t sent = database(6);
    launches_injected(run, call, std::string("error=") + (call == "openat" ? "EMFILE" : "EIO"), nth);
    const uint8_t end = whole_upgrade(run, sent, 3);
    // A file that could not be emptied has the old database in front of the new one, or behind the end.
    const bool can_empty = call != "openat";
    expect_honest_end(run, end, sent, can_empty);
    if (end != UPGRADE_RET_OK) {
        const bytes_t answer = run.world.ask(STATION, HOST_NFZ_UPGRADE, SET_FLYLIMIT, ID_NFZ_READ, read_payload(0, 16));
        run.expect(!answer.empty() && answer[0] == PROFILE_RET_FAILED, "it is served after a refused end");
    }
    run.count("end " + hex(end) + " " + on_disk(sent));
    starts_anew(run, sent);
}

void lying_write(Run& run)
{
    write_file(DATABASE, old_database());
    const uint64_t nth = (run.seed() + 1) / 2;
    launches_injected(run, "write", run.seed() % 2 == 0 ? "retval=980" : "retval=100", nth);
    const bytes_t sent = database(6);
    const uint8_t end = whole_upgrade(run, sent);
    // The last block is shorter than what the lie claims.
    run.expect(end == UPGRADE_RET_FILE_MD5 || nth > blocks_of(sent) - 1,
               "bytes are missing and the end is " + hex(end));
    expect_honest_end(run, end, sent);
    run.count("end " + hex(end));
    starts_anew(run, sent);
}

// An upgrade that the app leaves after a block, until the service has given it up: its tick mounts twice.
void is_given_up(Run& run, const bytes_t& sent)
{
    begins(run, sent);
    code(run, ID_UPGRADE_DATA, block_payload_of(sent, 0));
    run.world.pass(21 * SECOND_US);
    const auto is_over = [&run] { return run.world.log().find("set state from 0 to 5\n") != std::string::npos; };
    run.expect(run.world.until(is_over, 100 * SECOND_US), "it is not given up");
    run.world.pass(10 * SECOND_US);
}

// Orders to the motors keep their time while a handler waits for the disk, and stand still with a mount in the tick.
void slow_disk(Run& run)
{
    write_file(DATABASE, old_database());
    const uint64_t kind = run.seed() % 3;
    run.world.controller();
    if (kind == 0) {
        launches_injected(run, "write", "delay_enter=50000", 1);
    } else {
        mounts_by("sleep 0.4; exec /usr/bin/mount \"$@\"");  // 8 s of the service's time
        real(run).launch_under(with_stand_in());
    }
    const bytes_t sent = database(6);
    if (kind == 2) {
        is_given_up(run, sent);
    } else {
        const uint8_t end = whole_upgrade(run, sent);
        expect_honest_end(run, end, sent);
        run.expect(end == UPGRADE_RET_OK, "the end is answered by " + hex(end));
    }
    const auto orders = run.world.sent(HOST_NFZ_UPGRADE, SET_FLIGHT_CONTROLLER, ID_SET_MOTOR_ERR);
    uint64_t longest_us = 0;
    for (size_t i = 1; i < orders.size(); i++)
        longest_us = std::max(longest_us, orders[i].head.boot_time_us - orders[i - 1].head.boot_time_us);
    run.count("longest gap " + std::to_string(longest_us / SECOND_US) + " s");
    const uint64_t most_s = kind == 2 ? 25 : 8;
    run.expect(longest_us < most_s * SECOND_US, "no order for " + std::to_string(longest_us / SECOND_US) + " s");
    run.inject();
    starts_anew(run, sent);
}

// --- odd files ---

void odd_files(Run& run)
{
    const uint64_t kind = (run.seed() - 1) % 4;
    const auto reads = [&run] {
        const bytes_t answer = run.world.ask(STATION, HOST_NFZ_UPGRADE, SET_FLYLIMIT, ID_NFZ_READ, read_payload(0, 10));
        return answer.empty() ? NO_ANSWER : answer[0];
    };
    run.inject();
    if (kind == 0) {
        fs::create_directory(DATABASE);
        run.world.launch();
        run.expect_log("error: upgrade delete data fail!\n");
        run.expect(reads() == PROFILE_RET_SHORT, "a directory is served");
        begins(run, old_database());
        run.expect(code(run, ID_UPGRADE_DATA, block_payload_of(old_database(), 0)) == UPGRADE_RET_NOT_WRITTEN,
                   "written");
        fs::remove(DATABASE);
        run.count("directory");
    } else if (kind == 1) {
        shell("umount /tmp/NFZ && rmdir /tmp/NFZ");
        run.world.launch();
        run.expect_log("create upgrade data directory successfully!\r\n");
        fs::remove_all("/tmp/NFZ");
        run.expect(reads() == PROFILE_RET_NO_FILE, "what is gone is served");
        begins(run, old_database());
        run.expect(code(run, ID_UPGRADE_DATA, block_payload_of(old_database(), 0)) == UPGRADE_RET_NOT_WRITTEN,
                   "written");
        fs::create_directory("/tmp/NFZ");
        run.count("no folder");
    } else if (kind == 2) {
        UpgradeHand hand(run, {});
        hand.sends(old_database());
        shell("mount -o remount,rw /tmp/NFZ");
        fs::resize_file(DATABASE, 5);
        run.expect(reads() == PROFILE_RET_SHORT, "more is served than is there");
        write_file(DATABASE, database(9));
        run.expect(reads() == PROFILE_RET_OK, "what replaced it is not served");
        run.count("shortened, replaced");
    } else {
        write_file("/tmp/elsewhere", old_database());
        fs::create_symlink("/tmp/elsewhere", DATABASE);
        run.world.launch();
        run.expect(reads() == PROFILE_RET_OK, "a link is not followed");
        run.count("link followed");
    }
}

// --- memory, descriptors, log ---

void calls_refused(Run& run)
{
    static constexpr const char* KINDS[] = {"openat:error=EMFILE", "accept4:error=EMFILE", "mmap:error=ENOMEM",
                                            "brk:error=ENOMEM"};
    const std::string kind = KINDS[(run.seed() - 1) % 4];
    write_file(DATABASE, old_database());
    // Once it is up: every second call of the kind.
    run.world.launch();
    const std::string tracer = "/tmp/tracer.pid";
    shell("strace -f -qqq -o /dev/null -p " + std::to_string(real(run).service().pid()) + " -e trace=" +
          kind.substr(0, kind.find(':')) + " -e inject=" + kind + ":when=1+2 & echo $! >" + tracer + "; sleep 0.3");
    run.inject();
    const bytes_t sent = database(6);
    whole_upgrade(run, sent, 3);
    for (int i = 0; i < 20; i++)
        run.world.ask(STATION, HOST_NFZ_UPGRADE, SET_FLYLIMIT, ID_NFZ_READ, read_payload(0, 16));
    run.expect(run.world.runs(), "it does not run any more");
    shell("kill $(cat " + tracer + "); sleep 0.2");
    run.count(kind);
    starts_anew(run, sent);
}

void log_sink_fails(Run& run)
{
    const bool full = run.seed() % 2 == 0;
    if (full)
        real(run).service().start({"/bin/sh", "-c", "exec \"$0\" >/dev/full 2>/dev/full"});
    else
        real(run).service().start_unread();
    run.inject();
    const auto answers = [&run] {
        return run.world.ask(STATION, HOST_NFZ_UPGRADE, SET_COMMON, ID_GET_VERSION, {}).size() == 30;
    };
    run.expect(run.world.until(answers, 400 * SECOND_US), "it does not come up");
    run.world.pass(5 * SECOND_US);
    const bytes_t sent = database(6);
    const auto taken = [&] { return whole_upgrade(run, sent, 2) == UPGRADE_RET_OK; };
    run.expect(run.world.until(taken, 60 * SECOND_US), "no upgrade without a log");
    run.count(full ? "full" : "no reader");
    run.world.kill();
    run.world.launch();
}

// --- the areas' file ---

void areas_disk_full(Run& run)
{
    static constexpr size_t FRAGMENT = 200;
    const uint64_t kind = (run.seed() - 1) % 3;
    mounts("/tmp/EMMC", kind == 0 ? "size=4k" : kind == 1 ? "size=1m,nr_inodes=1" : "size=1m");
    if (kind == 2) shell("mount -o remount,ro /tmp/EMMC");
    run.world.launch();
    peers::tfr_recipe_t recipe;
    recipe.areas.resize(300);
    const bytes_t file = peers::build_tfr_file(recipe);
    uint8_t ack = 0;
    uint16_t number = 0;
    for (; ack == 0 && number * FRAGMENT < file.size(); number++) {
        const size_t size = std::min(FRAGMENT, file.size() - number * FRAGMENT);
        const update_tfr_req_t head = {UPDATE_DATA, number, static_cast<uint32_t>(file.size()),
                                       static_cast<uint8_t>(size)};
        const bytes_t reply =
            run.world.ask(PHONE, HOST_FLIGHT_SERVICE, SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE,
                          joined(peers::bytes_of(head), peers::bytes_view(file).subspan(number * FRAGMENT, size)));
        ack = reply.empty() ? NO_ANSWER : reply[0];
    }
    run.inject();
    run.expect(ack == TFR_UPDATE_SAVE_DATA_FAIL, "a fragment that does not fit has ack " + std::to_string(ack));
    if (kind != 0) run.expect_log("error: open tfr file to clear it failed");
    run.count(std::string(kind == 0   ? "full after "
                          : kind == 1 ? "no inode after "
                                      : "read-only after ") +
              std::to_string(number) + " fragments");
    shell("umount /tmp/EMMC");
}

}  // namespace

std::span<const row_t> disk_rows()
{
    static constexpr row_t ROWS[] = {
        {"N2", "killed at each file call", place_t::bus, 0, 60, killed_at_each_call},
        {"D1", "disk full at any size", place_t::bus, 4, 20, disk_full},
        {"D2", "no inode left", place_t::bus, 0, 2, no_inode},
        {"D3", "read-only on the way", place_t::bus, 2, 5, read_only_on_the_way},
        {"D3m", "mount command fails, dies, is missing", place_t::bus, 3, 6, mount_command_fails},
        {"D4", "a file call fails", place_t::bus, 10, 75, broken_call},
        {"D5", "a write lies", place_t::bus, 0, 16, lying_write},
        {"D6", "slow disk, hanging mount", place_t::bus, 0, 6, slow_disk},
        {"D7", "odd files in place of the database", place_t::bus, 4, 4, odd_files},
        {"D8", "memory or descriptors refused", place_t::bus, 0, 8, calls_refused},
        {"D9", "log sinks fail", place_t::bus, 2, 4, log_sink_fails},
        {"T6", "no room for areas", place_t::bus, 3, 6, areas_disk_full},
    };
    return ROWS;
}
