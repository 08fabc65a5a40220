#include "flight_controller/database_reader.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "common/clock.h"

namespace peers {
namespace {

constexpr uint64_t FILE_LIMIT = uint64_t{UINT32_MAX} + 1;  // addresses have 32 bits

}  // namespace

const char* outcome_name(read_outcome outcome)
{
    switch (outcome) {
        case read_outcome::done:
            return "done";
        case read_outcome::unreachable:
            return "unreachable";
        case read_outcome::no_answer:
            return "no_answer";
        case read_outcome::no_database:
            return "no_database";
        case read_outcome::busy:
            return "busy";
        case read_outcome::failed:
            return "failed";
        case read_outcome::past_end:
            return "past_end";
        case read_outcome::far_disk:
            return "far_disk";
        case read_outcome::unexpected:
            return "unexpected";
        case read_outcome::cancelled:
            return "cancelled";
    }
    return "unknown";
}

kest_result_t DatabaseReader::begin(read_job_t job)
{
    lock_t lock(mutex_);
    if (job_) return -EALREADY;
    job_ = std::make_shared<const read_job_t>(std::move(job));
    run_++;
    result_ = {};
    known_short_ = 0;
    start_us_ = now_us();
    ask(lock);
    return 0;
}

void DatabaseReader::cancel()
{
    lock_t lock(mutex_);
    if (job_) fail(lock, read_outcome::cancelled, "the reading was stopped here", "Nothing changed on the aircraft.");
}

// With the end in sight each request takes half of what may still be there, so that the end is exact after at most nine
// more, and no byte is read twice.
uint32_t DatabaseReader::next_length() const
{
    const uint64_t at = job_->offset + result_.data.size();
    uint64_t length = std::min<uint64_t>(PROFILE_MAX_READ, FILE_LIMIT - at);
    if (job_->length) length = std::min<uint64_t>(length, *job_->length - result_.data.size());
    if (known_short_ > 0) length = known_short_ / 2;
    return static_cast<uint32_t>(length);
}

void DatabaseReader::ask(lock_t& lock)
{
    asked_ = next_length();
    if (asked_ == 0 && result_.requests > 0) return finish(lock);
    const auto at = static_cast<uint32_t>(job_->offset + result_.data.size());
    const upgrade_profile_read_file_req_t range = {0, at, asked_};
    const request_t request = {job_->target,    SET_FLYLIMIT,           ID_NFZ_READ,
                               bytes_of(range), job_->reply_timeout_us, job_->tries};
    const kest_result_t result =
        endpoint_.request(request, [this, run = run_](const reply_t& reply) { answered(run, reply); });
    if (result != 0) fail_silent(lock, result);
}

void DatabaseReader::answered(uint64_t run, const reply_t& reply)
{
    lock_t lock(mutex_);
    if (run != run_ || !job_) return;
    result_.resends += reply.sends - 1;
    if (reply.result != 0) return fail_silent(lock, reply.result);
    const bytes_view payload = payload_of(*reply.event);
    result_.requests++;
    if (payload.empty()) {
        return fail(lock, read_outcome::unexpected, "an answer came empty", "Compare the versions of both sides.");
    }
    result_.code = payload[0];
    if (payload[0] != PROFILE_RET_OK) return on_refusal(lock, payload[0]);
    on_range(lock, payload);
}

void DatabaseReader::on_range(lock_t& lock, bytes_view payload)
{
    constexpr size_t HEAD = offsetof(upgrade_profile_read_file_ack_t, read_data);
    uint32_t at = 0;
    const bool whole = payload.size() == HEAD + asked_ &&
                       read_record(payload, at, offsetof(upgrade_profile_read_file_ack_t, read_addr));
    if (!whole || at != job_->offset + result_.data.size()) {
        return fail(lock, read_outcome::unexpected, "an answer holds another range than was asked for",
                    "Compare the versions of both sides.");
    }
    keep(lock, payload.subspan(HEAD));
}

void DatabaseReader::keep(lock_t& lock, bytes_view range)
{
    result_.data.insert(result_.data.end(), range.begin(), range.end());
    if (known_short_ > 0) known_short_ -= asked_;
    const bool complete = job_->length && result_.data.size() == *job_->length;
    if (complete || asked_ == 0) return finish(lock);
    ask(lock);
    if (!lock.owns_lock()) return;
    const std::shared_ptr<const read_job_t> job = job_;
    const uint64_t bytes = result_.data.size();
    lock.unlock();
    if (job->progress) job->progress(bytes);
}

void DatabaseReader::on_refusal(lock_t& lock, uint8_t code)
{
    switch (code) {
        case PROFILE_RET_SHORT:
            if (job_->length) {
                return fail(lock, read_outcome::past_end, "the range reaches beyond the end of the database",
                            "Ask for less, or leave the length out to read up to the end.");
            }
            known_short_ = asked_;
            return ask(lock);
        case PROFILE_RET_NO_FILE:
            return fail(lock, read_outcome::no_database, "the aircraft has no database file", "Send one.");
        case PROFILE_RET_SEEK:
            return fail(lock, read_outcome::far_disk, "the aircraft cannot read its database file",
                        "Look at the service's log.");
        case PROFILE_RET_UPGRADING:
            return fail(lock, read_outcome::busy, "an upgrade is under way: nothing is served until it ends",
                        "Wait until it is done.");
        case PROFILE_RET_FAILED:
            return fail(lock, read_outcome::failed, "the last upgrade failed: the aircraft has no database",
                        "Send a good database.");
        case REPLY_UNKNOWN_COMMAND:
            return fail(lock, read_outcome::unexpected, "the peer at this address serves no database",
                        "Check the address of the upgrade endpoint in the route configuration.");
        default:
            return fail(lock, read_outcome::unexpected, "the service found the request malformed",
                        "Compare the versions of both sides.");
    }
}

void DatabaseReader::fail_silent(lock_t& lock, kest_result_t result)
{
    if (result == -ETIMEDOUT) {
        return fail(lock, read_outcome::no_answer, "the service does not answer",
                    "It is running but stuck or overloaded: look at its log, then try again.");
    }
    if (result == -EHOSTUNREACH) {
        return fail(lock, read_outcome::unreachable, "the route configuration has no address for the upgrade endpoint",
                    "Add service \"flight_service\", endpoint \"flight_nfz_upgrade\" to it.");
    }
    fail(lock, read_outcome::unreachable, "the service is not running: nobody listens at its address",
         "Start vela_flight, then try again.");
}

void DatabaseReader::fail(lock_t& lock, read_outcome outcome, const char* what, const char* next)
{
    result_.outcome = outcome;
    result_.what = what;
    result_.next = next;
    finish(lock);
}

void DatabaseReader::finish(lock_t& lock)
{
    const bool to_the_end = result_.outcome == read_outcome::done && !job_->length;
    result_.whole_file = to_the_end && job_->offset == 0;
    if (to_the_end && result_.data.empty()) {
        result_.outcome = job_->offset == 0 ? read_outcome::no_database : read_outcome::past_end;
        result_.what =
            job_->offset == 0 ? "the database on the aircraft is empty" : "the database ends at or before the offset";
        result_.next = job_->offset == 0 ? "Send one." : "Ask for a smaller offset.";
    }
    result_.elapsed_us = now_us() - start_us_;
    run_++;
    const read_result_t result = std::exchange(result_, {});
    const std::shared_ptr<const read_job_t> job = std::exchange(job_, nullptr);
    lock.unlock();
    job->done(result);
}

}  // namespace peers
