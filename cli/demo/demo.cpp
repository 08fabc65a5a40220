#include "demo/demo.h"

#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "bus_access.h"
#include "common/clock.h"
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
// The service acts on a tick of half a second; everything it does by itself has come after a few.
constexpr uint64_t SHORT_UPGRADE_US = 1'500'000;
constexpr auto PATIENCE = std::chrono::seconds(5);

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

Demo::Demo(const context_t& context, const demo_options_t& options)
    : context_(context),
      options_(options),
      steps_(context.as_json),
      newer_(database(NEWER, options.size)),
      older_(database(OLDER, OLDER_SIZE))
{
}

Demo::~Demo()
{
    if (station_) station_->stop();
}

exit_code Demo::run()
{
    if (!context_.as_json) {
        std::printf("%s\n\n", styled(style::bold, "A no-fly-zone database travels to a simulated aircraft").c_str());
    }
    if (!all_steps()) return report_failure();
    if (context_.as_json) {
        print_result({{"summary", summary_json()}, {"steps", steps_.as_json()}});
    } else {
        print_summary();
    }
    return exit_code::ok;
}

bool Demo::all_steps()
{
    return step("peers on the bus", &Demo::start_peers) && step("service started", &Demo::start_service) &&
           step("flight data subscribed", &Demo::see_subscription) &&
           step("database before", &Demo::see_version_before) && step("upgrade", &Demo::upgrade) &&
           step("motors held meanwhile", &Demo::see_motors_held) &&
           step("motors released after", &Demo::see_motors_released) &&
           step("new version announced", &Demo::see_announcement) &&
           step("read back by the controller", &Demo::read_back) &&
           step("older database refused", &Demo::older_is_refused) &&
           step("installed one untouched", &Demo::installed_one_stays) &&
           step("older one, with the marker", &Demo::older_is_accepted_with_marker) &&
           step("database at the end", &Demo::see_version_at_the_end) &&
           steps_.run("service ran until the end", [this] { return stop_service(); });
}

bool Demo::step(const std::string& name, step_result_t (Demo::*what)())
{
    return steps_.run(name, [&]() -> step_result_t {
        step_result_t result = (this->*what)();
        if (interrupted_) return failed("stopped by a signal", "");
        if (const auto ended = service_.ended(); ended && service_.pid() > 0) {
            return failed("the service " + *ended, look_at_log());
        }
        return result;
    });
}

step_result_t Demo::start_peers()
{
    const std::string& route = context_.route;
    const peers::bus_name_t fc_name = {route, "flight_controller", "fmu"};
    const peers::bus_name_t app_name = {route, "app", "phone"};
    peers::bus_open_error_t error;
    controller_ = peers::FlightController::open(fc_name, {}, {}, error);
    if (!controller_) {
        const failure_t why = explain_open_error(fc_name, error);
        return failed(why.what, why.next);
    }
    app_ = peers::AppPeer::open(app_name, {}, error);
    if (!app_) {
        const failure_t why = explain_open_error(app_name, error);
        return failed(why.what, why.next);
    }
    failure_t failure;
    station_ = open_endpoint(context_, "factory/station", failure);
    if (!station_) return failed(failure.what, failure.next);
    return held("flight controller, app and factory station, simulated");
}

step_result_t Demo::start_service()
{
    std::string error;
    const uint64_t start = peers::now_us();
    if (!service_.start(options_.service, options_.log, error)) return failed(error, "Build it: `./dev run` does.");
    peers::service_versions_t answer = {};
    const auto answered = [&] {
        answer = ask(1);
        return answer.result == 0 || interrupted_ || service_.ended().has_value();
    };
    const wake woken = wait_for(answered, std::chrono::milliseconds(1));
    if (woken == wake::timeout) return failed("no answer within five seconds", look_at_log());
    seen_.first_answer_s = seconds_of(peers::now_us() - start);
    installed_.before = answer.database;
    return held("version " + peers::version_text(answer.service) + ", answers " + duration_text(seen_.first_answer_s) +
                " after its start");
}

// An endpoint of a service that is just coming up refuses the question: asked again by the caller.
peers::service_versions_t Demo::ask(uint32_t tries)
{
    const peers::service_versions_t answer = ask_versions(*station_, 1'000'000, tries, waiter_);
    if (answer.result == -EINTR) interrupted_ = true;
    return answer;
}

wake Demo::wait_for(const std::function<bool()>& condition, std::chrono::milliseconds step)
{
    const wake woken = waiter_.wait_until(condition, PATIENCE, step);
    if (woken == wake::interrupted) interrupted_ = true;
    return woken;
}

step_result_t Demo::see_subscription()
{
    if (wait_for([this] { return controller_->bags().counts().pushed >= 1; }) != wake::notified) {
        return failed("the service did not subscribe", look_at_log());
    }
    const uint64_t before = controller_->bags().counts().pushed;
    const uint64_t start = peers::now_us();
    waiter_.wait_until([] { return false; }, std::chrono::milliseconds(500));
    const double rate =
        static_cast<double>(controller_->bags().counts().pushed - before) / seconds_of(peers::now_us() - start);
    char text[80];
    std::snprintf(text, sizeof text, "position, GPS, attitude and mode pushed %.0f times a second", rate);
    return rate > 0 ? held(text) : failed("the pushes stopped", look_at_log());
}

step_result_t Demo::see_version_before()
{
    return held(database_text(installed_.before));
}

peers::upgrade_result_t Demo::send(const std::vector<uint8_t>& file, uint64_t rate, uint64_t* all_taken_us)
{
    ProgressBar bar("· upgrade", context_.as_json || !on_terminal());
    peers::upgrade_options_t options;
    options.bytes_per_second = rate;
    peers::upgrade_result_t result = run_upgrade(app_->upgrade(), file, options, waiter_, bar, all_taken_us);
    if (result.outcome == peers::upgrade_outcome::cancelled) interrupted_ = true;
    return result;
}

step_result_t Demo::upgrade()
{
    seen_.upgrade_begin_us = peers::now_us();
    seen_.upgrade = send(newer_, options_.rate, &seen_.upgrade_all_taken_us);
    if (seen_.upgrade.outcome != peers::upgrade_outcome::done) return failed(seen_.upgrade.what, look_at_log());
    const double seconds = seconds_of(seen_.upgrade.elapsed_us);
    return held(peers::version_text(NEWER) + ": " + size_text(seen_.upgrade.bytes) + " in " + duration_text(seconds) +
                ", " + rate_text(static_cast<double>(seen_.upgrade.bytes) / seconds) +
                (options_.rate > 0 ? " as over a phone's link" : ""));
}

step_result_t Demo::see_motors_held()
{
    for (const peers::motor_change_t& change : controller_->motors().changes()) {
        if (!change.held || change.time_us > seen_.upgrade_all_taken_us) continue;
        seen_.held_s = seconds_of(change.time_us - seen_.upgrade_begin_us);
        return held("from " + duration_text(seen_.held_s) + " after its begin");
    }
    if (seen_.upgrade.elapsed_us < SHORT_UPGRADE_US) {
        return failed("the upgrade was over before the service's tick could hold them",
                      "Give it more time: a lower --rate, or a larger --size.");
    }
    return failed("the motors were free during the whole upgrade", look_at_log());
}

step_result_t Demo::see_motors_released()
{
    if (wait_for([this] { return !controller_->motors().held(); }) != wake::notified) {
        return failed("the motors are still held", look_at_log());
    }
    const peers::motor_change_t last = controller_->motors().changes().back();
    const uint64_t end = seen_.upgrade_begin_us + seen_.upgrade.elapsed_us;
    if (last.time_us < seen_.upgrade_all_taken_us) return failed("the motors were released too early", look_at_log());
    // The tick may come between the service's verdict and its arrival at the app.
    seen_.released_s = last.time_us > end ? seconds_of(last.time_us - end) : 0;
    return held(duration_text(seen_.released_s) + " after its end");
}

step_result_t Demo::see_announcement()
{
    const auto announced = [this] {
        const auto last = app_->announcements().last();
        return last && last->version == NEWER;
    };
    if (wait_for(announced) == wake::notified) return held(peers::version_text(NEWER) + ", every half second");
    return failed("no announcement of " + peers::version_text(NEWER), look_at_log());
}

step_result_t Demo::read_back()
{
    ProgressBar bar("· read back", context_.as_json || !on_terminal());
    seen_.read = run_read(controller_->reader(), {}, newer_.size(), waiter_, bar);
    const peers::read_result_t& read = seen_.read;
    if (read.outcome == peers::read_outcome::cancelled) interrupted_ = true;
    if (read.outcome != peers::read_outcome::done) return failed(read.what, look_at_log());
    if (read.data != newer_) {
        return failed("what was read back is not what was sent (" + size_text(read.data.size()) + ")", look_at_log());
    }
    return held(size_text(read.data.size()) + " in " + std::to_string(read.requests) +
                " ranges, digest equal: " + peers::hex_text(peers::md5_of(read.data)));
}

step_result_t Demo::older_is_refused()
{
    const peers::upgrade_result_t result = send(older_, 0);
    const std::string version = peers::version_text(OLDER);
    if (result.outcome == peers::upgrade_outcome::done) return failed(version + " was accepted", look_at_log());
    if (result.outcome != peers::upgrade_outcome::refused_older) return failed(result.what, look_at_log());
    char code[16];
    std::snprintf(code, sizeof code, " (code 0x%02X)", result.code);
    return held(version + ": " + result.what + code);
}

step_result_t Demo::installed_one_stays()
{
    const peers::service_versions_t versions = ask(3);
    if (versions.result != 0) return failed(explain_no_answer(versions.result).what, look_at_log());
    installed_.after_refusal = versions.database;
    if (versions.database == NEWER) return held("still " + database_text(NEWER));
    return failed("it is " + database_text(versions.database) + " now, wanted " + database_text(NEWER), look_at_log());
}

step_result_t Demo::older_is_accepted_with_marker()
{
    std::string error;
    if (!make_marker(error)) return failed(error, "/tmp/NFZ has to be a file system of its own, and `mount` allowed.");
    const peers::upgrade_result_t result = send(older_, 0);
    if (result.outcome != peers::upgrade_outcome::done) return failed(result.what, look_at_log());
    return held(peers::version_text(OLDER) + " accepted: " + MARKER + " exists");
}

step_result_t Demo::see_version_at_the_end()
{
    const peers::service_versions_t versions = ask(3);
    if (versions.result != 0) return failed(explain_no_answer(versions.result).what, look_at_log());
    installed_.after_override = versions.database;
    if (versions.database == OLDER) return held(database_text(OLDER));
    return failed("it is " + database_text(versions.database) + ", wanted " + database_text(OLDER), look_at_log());
}

step_result_t Demo::stop_service()
{
    if (const auto ended = service_.ended()) return failed("the service " + *ended, look_at_log());
    if (!service_.stop()) return failed("the service does not end", look_at_log());
    return held("ended by us");
}

std::string Demo::look_at_log() const
{
    return "The service's log is " + options_.log + ", its last lines:\n" + service_.log_tail(20);
}

json Demo::summary_json() const
{
    const peers::upgrade_result_t& upgrade = seen_.upgrade;
    const double seconds = seconds_of(upgrade.elapsed_us);
    return {{"first_answer_seconds", seen_.first_answer_s},
            {"database_before", database_text(installed_.before)},
            {"database_after", database_text(installed_.after_refusal)},
            {"database_at_the_end", database_text(installed_.after_override)},
            {"bytes", upgrade.bytes},
            {"blocks", upgrade.blocks},
            {"resends", upgrade.resends},
            {"seconds", seconds},
            {"bytes_per_second", static_cast<double>(upgrade.bytes) / seconds},
            {"motors_held_after_begin_seconds", seen_.held_s},
            {"motors_released_after_end_seconds", seen_.released_s},
            {"digest_read_back", peers::hex_text(peers::md5_of(seen_.read.data))},
            {"older_refused", true},
            {"older_accepted_with_marker", true}};
}

void Demo::print_summary() const
{
    const double seconds = seconds_of(seen_.upgrade.elapsed_us);
    std::printf("\n%s\n", styled(style::bold, "What happened").c_str());
    std::printf("  The aircraft had %s. The app sent %s, %s in %s; the service verified and installed it.\n",
                installed_.before == peers::nfz_version_t{} ? "no database"
                                                            : ("database " + database_text(installed_.before)).c_str(),
                ("database " + database_text(NEWER)).c_str(), size_text(seen_.upgrade.bytes).c_str(),
                duration_text(seconds).c_str());
    std::printf("  The motors were held from %s after the begin until %s after the end.\n",
                duration_text(seen_.held_s).c_str(), duration_text(seen_.released_s).c_str());
    std::printf("  The flight controller read all of it back, byte for byte the same.\n");
    std::printf("  The older database %s was refused, and accepted once a technician allowed it.\n",
                database_text(OLDER).c_str());
    std::printf("%s\n", styled(style::good, "Everything held.").c_str());
}

exit_code Demo::report_failure()
{
    const step_result_t& why = *steps_.failure();
    const exit_code code = interrupted_ ? exit_code::interrupted : exit_code::demo_failed;
    if (!context_.as_json) std::printf("\n");
    return report(context_, {code, "step \"" + steps_.failed_step() + "\" failed: " + why.text, why.look_at},
                  {{"steps", steps_.as_json()}});
}

}  // namespace cli
