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
    const fault_t fault = faults_[requests_++];
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
    update_tfr_rsp_t answer = {.ack = TFR_UPDATE_SUCCESS, .type = request.type};
    if (request.type == UPDATE_DATA) {
        answer.ack = fragment(payload, request);
        answer.seq = expected();
        return answer;
    }
    const bool starts = request.type == UPDATE_REQ;
    if (starts && state_ == state::idle && file_.size() > 32) std::copy_n(file_.end() - 32, 16, answer.uid);
    if (!starts) answer.ack = finish();
    state_ = state::idle;
    return answer;
}

uint8_t TfrKeeper::fragment(peers::bytes_view payload, const update_tfr_req_t& request)
{
    EXPECT_EQ(payload.size(), sizeof request + request.data_size);
    if (state_ == state::idle || request.pkg_seq == 0) {
        file_.clear();
        saved_ = 0;
        state_ = state::transfer;
    }
    if (state_ == state::finish) return TFR_UPDATE_STATE_ERROR;
    if (saved_ != 0 && request.pkg_seq != last_ + 1) return TFR_UPDATE_SEQ_NOT_CONTINUE;
    file_.insert(file_.end(), payload.begin() + sizeof request, payload.end());
    saved_ += request.data_size;
    last_ = request.pkg_seq;
    total_ = request.pkg_size;
    if (saved_ >= total_) state_ = state::finish;
    return TFR_UPDATE_SUCCESS;
}

uint8_t TfrKeeper::finish()
{
    uint8_t code = TFR_UPDATE_SUCCESS;
    if (state_ != state::finish)
        code = TFR_UPDATE_STATE_ERROR;
    else if (saved_ > total_)
        code = TFR_UPDATE_SAVED_DATA_TOO_MUCH;
    else if (!peers::check_tfr_file(file_).kept)
        code = TFR_UPDATE_MD5_CHECK_FAIL;
    if (code != TFR_UPDATE_SUCCESS) {
        file_.clear();
        saved_ = 0;
    }
    return code;
}
