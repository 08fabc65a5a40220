// What the service has to answer to an upgrade, and what has to be on the disk then: worked out on its own, with a disk
// that takes everything.
#pragma once

#include <cstdint>
#include <vector>

namespace sim {

using bytes_t = std::vector<uint8_t>;

class UpgradeModel {
public:
    enum class state_t { idle, init, start, data, end, fail, success };

    // The service starts up with that file.
    explicit UpgradeModel(bytes_t stored) : file_(std::move(stored)) { restarts(); }

    // The whole reply to each request.
    bytes_t entry(uint16_t sender, const bytes_t& payload);
    bytes_t start(const bytes_t& payload);
    bytes_t data(const bytes_t& payload);
    bytes_t end(const bytes_t& payload);
    bytes_t read(const bytes_t& payload) const;

    // To a block behind the first that the disk has no room for.
    bytes_t does_not_fit() const { return data_reply(0xf3); }

    void restarts();                             // its memory is gone; a file that is no database is emptied
    void falls_silent();                         // nothing came for too long
    void may_go_back() { may_go_back_ = true; }  // the marker file is there

    state_t state() const { return state_; }
    bool is_running() const { return state_ >= state_t::init && state_ <= state_t::end; }
    bool holds_motors() const { return app_asked_ && (is_running() || state_ == state_t::fail); }
    const bytes_t& file() const { return file_; }
    int32_t last_block() const { return last_; }
    uint32_t missing() const { return announced_ - saved_; }  // bytes

private:
    void forget();
    bytes_t data_reply(uint8_t code) const;
    uint8_t take(const bytes_t& payload);
    uint8_t verify(const bytes_t& payload) const;
    bool is_older(const bytes_t& block) const;

    bytes_t file_;
    state_t state_ = state_t::idle;
    uint32_t announced_ = 0;
    uint32_t saved_ = 0;
    int32_t last_ = -1;
    bytes_t received_;
    bool app_asked_ = false;
    bool may_go_back_ = false;
};

}  // namespace sim
