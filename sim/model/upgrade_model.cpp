#include "model/upgrade_model.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "common/digest.h"

namespace sim {
namespace {

constexpr size_t MD5 = 16;
constexpr size_t VERSION_AT = 64;
constexpr size_t HEAD_ENDS = 128;

template <class Number>
Number number_at(const bytes_t& bytes, size_t at)
{
    Number number = {};
    std::memcpy(&number, bytes.data() + at, sizeof number);
    return number;
}

bool ends_in_its_digest(const bytes_t& file)
{
    if (file.size() <= MD5) return false;
    const auto digest = peers::md5_of(peers::bytes_view(file).first(file.size() - MD5));
    return std::equal(digest.begin(), digest.end(), file.end() - MD5);
}

bool begins_like_one(const bytes_t& file)
{
    uint8_t all = 0;
    for (size_t i = 0; i < 16 && i < file.size(); i++)
        all = static_cast<uint8_t>(all | file[i]);
    return file.size() >= 16 && all > 1;
}

std::array<uint32_t, 4> version_in(const bytes_t& bytes)
{
    std::array<uint32_t, 4> version = {};
    const size_t ends = std::min(bytes.size(), VERSION_AT + sizeof version);
    if (ends > VERSION_AT) std::memcpy(version.data(), bytes.data() + VERSION_AT, ends - VERSION_AT);
    return version;
}

}  // namespace

void UpgradeModel::forget()
{
    announced_ = saved_ = 0;
    last_ = -1;
    received_.clear();
}

void UpgradeModel::restarts()
{
    forget();
    state_ = state_t::idle;
    app_asked_ = false;
    if (!ends_in_its_digest(file_) || !begins_like_one(file_)) file_.clear();
}

void UpgradeModel::falls_silent()
{
    forget();
    file_.clear();
    state_ = state_t::fail;
}

bytes_t UpgradeModel::entry(uint16_t sender, const bytes_t& payload)
{
    app_asked_ = sender >> 8 == 2;
    if (payload.size() != 9) return {0x02, 0, 0};
    forget();
    state_ = state_t::init;
    return {0x00, 1, 1};
}

bytes_t UpgradeModel::start(const bytes_t& payload)
{
    bytes_t reply(71);
    if (payload.size() != 13) {
        reply[0] = 0x02;
    } else if (state_ != state_t::init && state_ != state_t::start) {
        reply[0] = 0xf5;
    } else {
        announced_ = number_at<uint32_t>(payload, 1);
        state_ = state_t::start;
        reply[1] = 980 & 0xff;
        reply[2] = 980 >> 8;
    }
    return reply;
}

bool UpgradeModel::is_older(const bytes_t& block) const
{
    return !may_go_back_ && file_.size() >= HEAD_ENDS && version_in(file_) > version_in(block);
}

uint8_t UpgradeModel::take(const bytes_t& payload)
{
    if (payload.size() < 7 || number_at<uint16_t>(payload, 5) != payload.size() - 7) return 0x02;
    if (state_ != state_t::start && state_ != state_t::data) return 0xf5;
    if (number_at<int32_t>(payload, 1) != int64_t{last_} + 1) return 0xf0;
    const bytes_t block(payload.begin() + 7, payload.end());
    if (saved_ == 0) {
        if (block.size() < 64 || is_older(block)) {
            state_ = state_t::idle;
            return block.size() < 64 ? 0xdc : 0xdd;
        }
        file_.clear();
        state_ = state_t::data;
    }
    const auto wanted = static_cast<long>(std::min<uint64_t>(block.size(), announced_ - saved_));
    file_.insert(file_.end(), block.begin(), block.begin() + wanted);
    received_.insert(received_.end(), block.begin(), block.begin() + wanted);
    saved_ += static_cast<uint32_t>(wanted);
    last_++;
    if (saved_ == announced_) state_ = state_t::end;
    return 0x00;
}

bytes_t UpgradeModel::data(const bytes_t& payload)
{
    return data_reply(take(payload));
}

bytes_t UpgradeModel::data_reply(uint8_t code) const
{
    bytes_t reply(5);
    reply[0] = code;
    std::memcpy(reply.data() + 1, &last_, sizeof last_);
    return reply;
}

uint8_t UpgradeModel::verify(const bytes_t& payload) const
{
    if (payload.size() != 17) return 0x02;
    if (state_ != state_t::end && state_ != state_t::success) return 0xf5;
    const auto digest = peers::md5_of(received_);
    if (!std::equal(digest.begin(), digest.end(), payload.begin() + 1)) return 0xde;
    return ends_in_its_digest(file_) ? 0x00 : 0xdf;
}

bytes_t UpgradeModel::end(const bytes_t& payload)
{
    const uint8_t code = verify(payload);
    if (code == 0x00)
        state_ = state_t::success;
    else
        falls_silent();
    return {code};
}

bytes_t UpgradeModel::read(const bytes_t& payload) const
{
    const auto refusal = [](uint8_t code) {
        bytes_t reply(275);
        reply[0] = code;
        return reply;
    };
    if (payload.size() != 9) return refusal(2);
    if (is_running()) return refusal(6);
    if (state_ == state_t::fail) return refusal(7);
    const uint64_t address = number_at<uint32_t>(payload, 1);
    const uint64_t length = number_at<uint32_t>(payload, 5);
    if (length > 270) return refusal(5);
    if (length > 0 && address + length > file_.size()) return refusal(4);
    bytes_t reply(5);
    std::memcpy(reply.data() + 1, &address, 4);
    if (length > 0) {
        const auto from = file_.begin() + static_cast<long>(address);
        reply.insert(reply.end(), from, from + static_cast<long>(length));
    }
    return reply;
}

}  // namespace sim
