// The real place, for rows of the kernel: what only a process has.
#pragma once

#include "run.h"
#include "system/service.h"

class RealWorld : public World {
public:
    static constexpr uint64_t SCALE = 20;

    RealWorld();
    ~RealWorld() override;

    bool is_virtual() const override { return false; }
    void launch() override;
    void kill() override;
    bool runs() override;
    std::string log() const override;
    size_t open_files() override;
    bool until(const std::function<bool()>& condition, uint64_t limit_us) override;
    void pass(uint64_t us) override;
    std::vector<seen_t> sent(const std::function<bool(const seen_t&)>& matches) const override;
    using World::sent;
    void forget() override;

    Service& service() { return service_; }
    // The same through another program, which hands its process over to the service.
    void launch_under(const std::vector<std::string>& before);
    void without_tap() { tap_.reset(); }
    void with_tap() { tap_ = std::make_unique<Tap>(); }

private:
    Service service_;
    std::unique_ptr<Tap> tap_;
};

// Of a row that runs on the real bus only.
RealWorld& real(Run& run);
