// The receiving end of the bus tap.
#pragma once

#include <optional>
#include <string>

#include "common/records.h"
#include "failure.h"
#include "tarn_host.h"

namespace cli {

struct tap_record_t {
    tarn_tap_head_t head;
    kest_event_t event;  // bytes behind msg_len are zero
};

class TapSocket {
public:
    TapSocket() = default;
    ~TapSocket();
    TapSocket(const TapSocket&) = delete;
    TapSocket& operator=(const TapSocket&) = delete;

    // Listens at `path`; false with `failure` filled, for example because somebody listens there already.
    bool open(const std::string& path, failure_t& failure);

    int fd() const { return fd_; }

    // The next record that waits; none when there is no more. What is no record is skipped.
    std::optional<tap_record_t> next();

private:
    int fd_ = -1;
    std::string path_;
};

}  // namespace cli
