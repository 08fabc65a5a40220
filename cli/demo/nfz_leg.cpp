#include "demo/nfz_leg.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>

#include "bus_access.h"
#include "common/clock.h"
#include "console.h"
#include "nfz_file/nfz_file.h"
#include "read_run.h"
#include "units.h"
#include "upgrade_run.h"
#include "version_run.h"

namespace cli {
namespace {

constexpr peers::nfz_version_t NEWER = {2, 0, 0, 1};
constexpr peers::nfz_version_t OLDER = {1, 9, 0, 7};
constexpr uint64_t OLDER_SIZE = 64u << 10;
constexpr uint32_t CIRCLES = 100;
constexpr uint32_t ZONES = 20;
constexpr const char* MARKER = "/tmp/NFZ/nfz_disable_anti_rollback";
// A marker lies on a file system that is read-only between upgrades: a technician makes it writable first.
constexpr const char* MAKE_WRITABLE = "mount -o remount,rw /tmp/NFZ";
// An upgrade shorter than a few ticks of the service may be over before the motors are held.
constexpr uint64_t SHORT_UPGRADE_US = 1'500'000;

std::vector<uint8_t> database(const peers::nfz_version_t& version, uint64_t size)
{
    const uint64_t least = peers::nfz_tables_size(CIRCLES, ZONES);
    const uint64_t content = std::max(size, least + peers::NFZ_MIN_SIZE) - peers::NFZ_MIN_SIZE;
    return peers::build_nfz_file({version, CIRCLES, ZONES, peers::generate_nfz_content(version, content)});
}

double seconds_of(uint64_t microseconds)
{
    return static_cast<double>(microseconds) / 1e6;
}

bool make_marker(std::string& error)
{
    const int status = std::system(MAKE_WRITABLE);
    if (status != 0) {
        error = std::string("`") + MAKE_WRITABLE + "` failed";
        return false;
    }
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(MARKER, "w"), &std::fclose);
    if (!file) error = std::string(MARKER) + ": " + std::strerror(errno);
    return file != nullptr;
}

}  // namespace

NfzLeg::NfzLeg(Stage& stage)
    : stage_(stage), newer_(database(NEWER, stage.options().size)), older_(database(OLDER, OLDER_SIZE))
{
}

bool NfzLeg::run()
{
    const auto step = [this](const char* name, step_result_t (NfzLeg::*what)()) {
        return stage_.step(name, [this, what] { return (this->*what)(); });
    };
    return step("database before", &NfzLeg::see_version_before) && step("upgrade", &NfzLeg::upgrade) &&
           step("motors held meanwhile", &NfzLeg::see_motors_held) &&
           step("motors released after", &NfzLeg::see_motors_released) &&
           step("new version announced", &NfzLeg::see_announcement) &&
           step("read back by the controller", &NfzLeg::read_back) &&
           step("older database refused", &NfzLeg::older_is_refused) &&
           step("installed one untouched", &NfzLeg::installed_one_stays) &&
           step("older one, with the marker", &NfzLeg::older_is_accepted_with_marker) &&
           step("database at the end", &NfzLeg::see_version_at_the_end);
}

step_result_t NfzLeg::see_version_before()
{
    return held(database_text(stage_.database_at_start()));
}

peers::upgrade_result_t NfzLeg::send(const std::vector<uint8_t>& file, uint64_t rate, uint64_t* all_taken_us)
{
    ProgressBar bar("· upgrade", stage_.quiet());
    peers::upgrade_options_t options;
    options.bytes_per_second = rate;
    peers::upgrade_result_t result =
        run_upgrade(stage_.app().upgrade(), file, options, stage_.waiter(), bar, all_taken_us);
    if (result.outcome == peers::upgrade_outcome::cancelled) stage_.interrupt();
    return result;
}

step_result_t NfzLeg::upgrade()
{
    begin_us_ = peers::now_us();
    upgrade_ = send(newer_, stage_.options().rate, &all_taken_us_);
    if (upgrade_.outcome != peers::upgrade_outcome::done) return stage_.failed_see_log(upgrade_.what);
    const double seconds = seconds_of(upgrade_.elapsed_us);
    return held(peers::version_text(NEWER) + ": " + size_text(upgrade_.bytes) + " in " + duration_text(seconds) + ", " +
                rate_text(static_cast<double>(upgrade_.bytes) / seconds) +
                (stage_.options().rate > 0 ? " as over a phone's link" : ""));
}

step_result_t NfzLeg::see_motors_held()
{
    for (const peers::motor_change_t& change : stage_.controller().motors().changes()) {
        if (!change.held || change.time_us > all_taken_us_) continue;
        held_s_ = seconds_of(change.time_us - begin_us_);
        return held("from " + duration_text(held_s_) + " after its begin");
    }
    if (upgrade_.elapsed_us < SHORT_UPGRADE_US) {
        return failed("the upgrade was over before the service's tick could hold them",
                      "Give it more time: a lower --rate, or a larger --size.");
    }
    return stage_.failed_see_log("the motors were free during the whole upgrade");
}

step_result_t NfzLeg::see_motors_released()
{
    if (stage_.wait_for([this] { return !stage_.controller().motors().held(); }) != wake::notified)
        return stage_.failed_see_log("the motors are still held");
    const peers::motor_change_t last = stage_.controller().motors().changes().back();
    const uint64_t end = begin_us_ + upgrade_.elapsed_us;
    if (last.time_us < all_taken_us_) return stage_.failed_see_log("the motors were released too early");
    // The tick may come between the service's verdict and its arrival at the app.
    released_s_ = last.time_us > end ? seconds_of(last.time_us - end) : 0;
    return held(duration_text(released_s_) + " after its end");
}

step_result_t NfzLeg::see_announcement()
{
    const auto announced = [this] {
        const auto last = stage_.app().announcements().last();
        return last && last->version == NEWER;
    };
    if (stage_.wait_for(announced) == wake::notified) return held(peers::version_text(NEWER) + ", every half second");
    return stage_.failed_see_log("no announcement of " + peers::version_text(NEWER));
}

step_result_t NfzLeg::read_back()
{
    ProgressBar bar("· read back", stage_.quiet());
    read_ = run_read(stage_.controller().reader(), {}, newer_.size(), stage_.waiter(), bar);
    if (read_.outcome == peers::read_outcome::cancelled) stage_.interrupt();
    if (read_.outcome != peers::read_outcome::done) return stage_.failed_see_log(read_.what);
    const std::string size = size_text(read_.data.size());
    if (read_.data != newer_) return stage_.failed_see_log("what was read back is not what was sent (" + size + ")");
    return held(size + " in " + std::to_string(read_.requests) +
                " ranges, digest equal: " + peers::hex_text(peers::md5_of(read_.data)));
}

step_result_t NfzLeg::older_is_refused()
{
    const peers::upgrade_result_t result = send(older_, 0);
    const std::string version = peers::version_text(OLDER);
    if (result.outcome == peers::upgrade_outcome::done) return stage_.failed_see_log(version + " was accepted");
    if (result.outcome != peers::upgrade_outcome::refused_older) return stage_.failed_see_log(result.what);
    char code[16];
    std::snprintf(code, sizeof code, " (code 0x%02X)", result.code);
    return held(version + ": " + result.what + code);
}

step_result_t NfzLeg::see_version(const peers::nfz_version_t& wanted, const std::string& still)
{
    const peers::service_versions_t versions = stage_.ask(3);
    if (versions.result != 0) return stage_.failed_see_log(explain_no_answer(versions.result).what);
    if (versions.database == wanted) return held(still + database_text(wanted));
    return stage_.failed_see_log("it is " + database_text(versions.database) + ", wanted " + database_text(wanted));
}

step_result_t NfzLeg::installed_one_stays()
{
    return see_version(NEWER, "still ");
}

step_result_t NfzLeg::older_is_accepted_with_marker()
{
    std::string error;
    if (!make_marker(error)) return failed(error, "/tmp/NFZ has to be a file system of its own, and `mount` allowed.");
    const peers::upgrade_result_t result = send(older_, 0);
    if (result.outcome != peers::upgrade_outcome::done) return stage_.failed_see_log(result.what);
    return held(peers::version_text(OLDER) + " accepted: " + MARKER + " exists");
}

step_result_t NfzLeg::see_version_at_the_end()
{
    return see_version(OLDER, "");
}

// Every step held when this is asked for: what the aircraft answered is what was wanted.
json NfzLeg::summary_json() const
{
    const double seconds = seconds_of(upgrade_.elapsed_us);
    return {{"first_answer_seconds", stage_.first_answer_seconds()},
            {"database_before", database_text(stage_.database_at_start())},
            {"database_after", database_text(NEWER)},
            {"database_at_the_end", database_text(OLDER)},
            {"bytes", upgrade_.bytes},
            {"blocks", upgrade_.blocks},
            {"resends", upgrade_.resends},
            {"seconds", seconds},
            {"bytes_per_second", static_cast<double>(upgrade_.bytes) / seconds},
            {"motors_held_after_begin_seconds", held_s_},
            {"motors_released_after_end_seconds", released_s_},
            {"digest_read_back", peers::hex_text(peers::md5_of(read_.data))},
            {"older_refused", true},
            {"older_accepted_with_marker", true}};
}

void NfzLeg::print_summary() const
{
    const peers::nfz_version_t& before = stage_.database_at_start();
    std::printf("  The aircraft had %s. The app sent %s, %s in %s; the service verified and installed it.\n",
                before == peers::nfz_version_t{} ? "no database" : ("database " + database_text(before)).c_str(),
                ("database " + database_text(NEWER)).c_str(), size_text(upgrade_.bytes).c_str(),
                duration_text(seconds_of(upgrade_.elapsed_us)).c_str());
    std::printf("  The motors were held from %s after the begin until %s after the end.\n",
                duration_text(held_s_).c_str(), duration_text(released_s_).c_str());
    std::printf("  The flight controller read all of it back, byte for byte the same.\n");
    std::printf("  The older database %s was refused, and accepted once a technician allowed it.\n",
                database_text(OLDER).c_str());
}

}  // namespace cli
