#include "model/areas_model.h"

#include <algorithm>
#include <cstring>

#include "common/digest.h"

namespace sim {
namespace {

constexpr size_t REPLY = 18;
constexpr size_t MD5 = 16;
constexpr size_t UID = 16;
constexpr size_t HEAD = 8;

bytes_t reply(uint8_t ack, uint8_t type = 0)
{
    bytes_t bytes(REPLY);
    bytes[0] = ack;
    bytes[1] = type;
    return bytes;
}

}  // namespace

void AreasModel::restarts()
{
    state_ = state_t::idle;
    last_ = 0;
    saved_ = total_ = 0;
}

bytes_t AreasModel::answer(const bytes_t& payload)
{
    if (payload.empty() || payload.size() > 270) return reply(7);
    switch (payload[0]) {
        case 0:
            return start();
        case 1:
            return fragment(payload);
        case 2:
            return finish();
        default:
            return reply(5);
    }
}

bytes_t AreasModel::start()
{
    bytes_t bytes = reply(0);
    if (state_ == state_t::idle && file_.size() > UID + MD5)
        std::copy_n(file_.end() - static_cast<long>(UID + MD5), UID, bytes.begin() + 2);
    state_ = state_t::idle;
    return bytes;
}

uint8_t AreasModel::take(uint16_t number, uint32_t total, const bytes_t& data)
{
    if (state_ == state_t::idle || number == 0) {
        restarts();
        file_.clear();
        state_ = state_t::transfer;
    } else if (state_ == state_t::finish) {
        return 6;
    }
    if (saved_ != 0 && number != last_ + 1) return 1;
    file_.insert(file_.end(), data.begin(), data.end());
    saved_ += static_cast<uint32_t>(data.size());
    last_ = number;
    total_ = total;
    if (saved_ >= total_) state_ = state_t::finish;
    return 0;
}

bytes_t AreasModel::fragment(const bytes_t& payload)
{
    if (payload.size() < HEAD || payload[7] > payload.size() - HEAD) return reply(7);
    uint16_t number = 0;
    uint32_t total = 0;
    std::memcpy(&number, payload.data() + 1, sizeof number);
    std::memcpy(&total, payload.data() + 3, sizeof total);
    const auto data = payload.begin() + HEAD;
    return fragment_reply(take(number, total, {data, data + payload[7]}));
}

bytes_t AreasModel::fragment_reply(uint8_t ack) const
{
    bytes_t bytes = reply(ack, 1);
    const uint16_t next = expected();
    std::memcpy(bytes.data() + 2, &next, sizeof next);
    return bytes;
}

bytes_t AreasModel::does_not_fit(const bytes_t& piece)
{
    file_.insert(file_.end(), piece.begin(), piece.end());
    return fragment_reply(4);
}

uint8_t AreasModel::judge() const
{
    if (state_ != state_t::finish) return 6;
    if (saved_ > total_) return 2;
    return is_whole() ? 0 : 8;
}

bool AreasModel::is_whole() const
{
    if (file_.size() <= MD5) return false;
    const auto digest = peers::md5_of(peers::bytes_view(file_).first(file_.size() - MD5));
    return std::equal(digest.begin(), digest.end(), file_.end() - MD5);
}

void AreasModel::is_read()
{
    if (is_idle() && !is_whole()) is_emptied();
}

bytes_t AreasModel::finish()
{
    const uint8_t ack = judge();
    if (ack != 0) {
        restarts();
        file_.clear();
    }
    state_ = state_t::idle;
    return reply(ack, 2);
}

}  // namespace sim
