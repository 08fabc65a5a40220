// Which copies on the tap are shown: those that were asked for, and each message once.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "bus_access.h"
#include "tap_socket.h"

namespace CLI {
class App;
}

namespace cli {

struct watch_filter_options_t {
    std::string peer;  // empty: all
    std::string set;
    std::string id;
    bool both = false;  // the sender's and the receiver's copy
};

// --peer, --set and --id.
void add_watch_filter_options(CLI::App& command, watch_filter_options_t& options);

class WatchFilter {
public:
    // None with `failure` filled when an option is no address or number.
    static std::optional<WatchFilter> make(const watch_filter_options_t& options, const route_config_t& config,
                                           failure_t& failure);

    // To be asked once for every copy, in the order in which they come.
    bool shows(const tap_record_t& record);

private:
    // What the two copies of one message have in common: not unique for ever, but among those under way.
    struct copy_t {
        uint16_t from;
        uint16_t to;
        uint32_t msg_id;
        uint16_t attrib;
        uint16_t seq_id;
        uint8_t direction;
        bool waits = false;  // for its other copy
    };
    static bool belong_together(const copy_t& first, const copy_t& second);
    bool is_second_copy(const tap_record_t& record);

    std::optional<uint16_t> peer_;
    std::optional<uint8_t> set_;
    std::optional<uint8_t> id_;
    bool both_ = false;
    // Copies shown lately whose other copy has not come yet. The oldest is forgotten: its other end has no tap.
    std::array<copy_t, 256> open_ = {};
    size_t oldest_ = 0;
};

}  // namespace cli
