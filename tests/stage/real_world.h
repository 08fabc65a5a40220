// On the real bus: the service is a process, and time runs faster.
#pragma once

#include "service.h"
#include "world.h"

inline constexpr const char* ROUTE_FILE = "/usr/local/tarn/vela.json";

class RealWorld : public World {
public:
    // `scale`: so many times faster than real time, here and in the service.
    explicit RealWorld(uint64_t scale = 20);
    ~RealWorld() override { everybody_leaves(); }

    bool is_virtual() const override { return false; }
    void launch() override { launch_under({}); }
    void kill() override { service_.kill(); }
    bool runs() override { return service_.runs(); }
    std::string log() const override { return service_.output() + service_.log(); }
    size_t open_files() override { return service_.descriptors(); }
    bool until(const std::function<bool()>& condition, uint64_t limit_us) override;
    void pass(uint64_t us) override;
    std::vector<seen_t> sent(const std::function<bool(const seen_t&)>& matches) const override;
    using World::sent;
    void forget() override;

    Service& service() { return service_; }
    Tap& tap() { return *tap_; }
    // The same through another program, which hands its process over to the service.
    void launch_under(const std::vector<std::string>& before);
    void without_tap() { tap_.reset(); }
    void with_tap() { tap_ = std::make_unique<Tap>(); }

private:
    const uint64_t scale_;
    Service service_;
    std::unique_ptr<Tap> tap_;
};
