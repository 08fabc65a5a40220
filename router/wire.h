// The way to the other end of a link, whichever of the two connects.
#pragma once

#include <cstdint>
#include <span>

namespace router {

enum class sent { ok, full, gone };

class Wire {
public:
    virtual ~Wire() = default;
    // Never waits; any thread. `full`: the other end does not keep up. `gone`: there is no connection.
    virtual sent send(std::span<const uint8_t> message) = 0;
};

}  // namespace router
