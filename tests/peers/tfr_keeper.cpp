#include "tfr_keeper.h"

#include "flight_v1_wire.h"
#include "tfr_file/tfr_file.h"

TfrKeeper::TfrKeeper(const Bus& bus) : endpoint_(bus.endpoint("flight_service", "flight_srv_fmu"))
{
    endpoint_->on_request(SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE, [this](const kest_event_t& event) { take(event); });
    EXPECT_EQ(endpoint_->start(), 0);
}

void TfrKeeper::follow(faults_t faults)
{
    const std::lock_guard lock(mutex_);
    faults_ = std::move(faults);
    requests_ = 0;
    story_.clear();
}

std::vector<uint8_t> TfrKeeper::file() const
{
    const std::lock_guard lock(mutex_);
    return file_;
}

std::string TfrKeeper::story() const
{
    const std::lock_guard lock(mutex_);
    return story_;
}

void TfrKeeper::take(const kest_event_t& event)
{
    const std::lock_guard lock(mutex_);
    const fault_t fault = fault_of(faults_, requests_++);
    const peers::bytes_view payload = peers::payload_of(event);
    update_tfr_req_t request = {};
    EXPECT_TRUE(peers::read_record(payload, request));
    EXPECT_LE(payload.size(), TFR_MAX_REQUEST);
    const std::string name =
        request.type == UPDATE_DATA ? std::to_string(request.pkg_seq) : (request.type == UPDATE_REQ ? "s" : "f");
    story_ += (story_.empty() ? "" : " ") + name;
    if (fault.restart) state_ = state::idle;
    if (fault.restart) saved_ = total_ = 0;
    if (fault.litter) file_.push_back(0);
    update_tfr_rsp_t answer = {.ack = TFR_UPDATE_SUCCESS, .type = request.type};
    answer.seq = expected();
    if (fault.take) answer = honest(payload, request);
    if (fault.code) answer.ack = *fault.code;
    if (fault.answer) endpoint_->reply(event, peers::bytes_of(answer));
}

update_tfr_rsp_t TfrKeeper::honest(peers::bytes_view payload, const update_tfr_req_t& request)
{
    if (request.type == UPDATE_REQ) return start();
    if (request.type == UPDATE_DATA) return fragment(payload, request);
    return finish();
}

update_tfr_rsp_t TfrKeeper::start()
{
    update_tfr_rsp_t answer = {};
    if (state_ == state::idle && file_.size() > 32) std::copy_n(file_.end() - 32, 16, answer.uid);
    state_ = state::idle;
    return answer;
}

update_tfr_rsp_t TfrKeeper::fragment(peers::bytes_view payload, const update_tfr_req_t& request)
{
    update_tfr_rsp_t answer = {TFR_UPDATE_SUCCESS, TFR_NEXT_SET, {}};
    EXPECT_EQ(payload.size(), sizeof request + request.data_size);
    if (state_ == state::idle || request.pkg_seq == 0) {
        forget();
        state_ = state::transfer;
    }
    if (state_ == state::finish) {
        answer.ack = TFR_UPDATE_STATE_ERROR;
    } else if (saved_ != 0 && request.pkg_seq != last_ + 1) {
        answer.ack = TFR_UPDATE_SEQ_NOT_CONTINUE;
    } else {
        file_.insert(file_.end(), payload.begin() + sizeof request, payload.end());
        saved_ += request.data_size;
        last_ = request.pkg_seq;
        total_ = request.pkg_size;
        if (saved_ >= total_) state_ = state::finish;
    }
    answer.seq = expected();
    return answer;
}

update_tfr_rsp_t TfrKeeper::finish()
{
    update_tfr_rsp_t answer = {TFR_UPDATE_SUCCESS, TFR_SIG_RES, {}};
    if (state_ != state::finish) {
        answer.ack = TFR_UPDATE_STATE_ERROR;
    } else if (saved_ > total_) {
        answer.ack = TFR_UPDATE_SAVED_DATA_TOO_MUCH;
    } else if (!peers::check_tfr_file(file_).kept) {
        answer.ack = TFR_UPDATE_MD5_CHECK_FAIL;
    }
    if (answer.ack != TFR_UPDATE_SUCCESS) forget();
    state_ = state::idle;
    return answer;
}

void TfrKeeper::forget()
{
    file_.clear();
    saved_ = total_ = 0;
    last_ = 0;
}
