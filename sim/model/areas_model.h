// What the service has to answer to a delivery of restricted areas, and what has to be on the disk then: worked out on
// its own, with a disk that takes everything.
#pragma once

#include <cstdint>
#include <vector>

namespace sim {

using bytes_t = std::vector<uint8_t>;

class AreasModel {
public:
    bytes_t answer(const bytes_t& payload);  // 18 bytes to each request

    // To a fragment behind the first that the disk has no room for; that much of it stays in the file, uncounted.
    bytes_t does_not_fit(const bytes_t& piece);

    void restarts();
    void is_emptied() { file_.clear(); }  // by a reader that found it damaged
    void is_read();                       // by one that empties a damaged file, and keeps off while one is on its way

    bool is_idle() const { return state_ == state_t::idle; }
    uint16_t expected() const { return saved_ == 0 ? 0 : static_cast<uint16_t>(last_ + 1); }
    const bytes_t& file() const { return file_; }

private:
    enum class state_t { idle, transfer, finish };

    bytes_t start();
    bytes_t fragment(const bytes_t& payload);
    bytes_t fragment_reply(uint8_t ack) const;
    uint8_t take(uint16_t number, uint32_t total, const bytes_t& data);
    bytes_t finish();
    uint8_t judge() const;
    bool is_whole() const;

    bytes_t file_;
    state_t state_ = state_t::idle;
    uint16_t last_ = 0;
    uint32_t saved_ = 0;
    uint32_t total_ = 0;
};

}  // namespace sim
