// On the virtual clock. One of them per process, for what the service keeps in memory.
#pragma once

#include "platform/platform.h"
#include "soak/watch.h"
#include "world.h"
#include "world/service_module.h"

class VirtualWorld : public World {
public:
    // In private files; throws std::runtime_error when the machine cannot.
    explicit VirtualWorld(uint64_t seed = 1);
    ~VirtualWorld() override { everybody_leaves(); }

    bool is_virtual() const override { return true; }
    void launch() override;
    void kill() override;
    bool runs() override { return service_.runs(); }
    std::string log() const override { return log_; }
    size_t open_files() override;  // of the whole virtual world
    bool until(const std::function<bool()>& condition, uint64_t limit_us) override;
    void pass(uint64_t us) override;
    std::vector<seen_t> sent(const std::function<bool(const seen_t&)>& matches) const override;
    using World::sent;
    void forget() override { sent_.clear(); }

    uint64_t now_us() { return platform_.schedule().now_us(); }
    // All of them, by anybody, since forget().
    const std::vector<seen_t>& sent() const { return sent_; }

private:
    std::optional<kest_result_t> decide(const sim::handed_over_t& record);
    void see();

    sim::Platform platform_;
    sim::ServiceModule service_;
    sim::Watch watch_;
    std::vector<seen_t> sent_;
    std::string log_;
};
