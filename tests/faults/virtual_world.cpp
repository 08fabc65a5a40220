// On the virtual clock.
#include <cstdio>
#include <filesystem>

#include "place.h"
#include "platform/platform.h"
#include "soak/watch.h"
#include "world/private_files.h"
#include "world/service_module.h"

namespace {

constexpr uint64_t LOOK_US = 1000;

class VirtualWorld : public World {
public:
    explicit VirtualWorld(uint64_t seed) : platform_(rules_of(seed))
    {
        platform_.bus().hosts["tablet"] = TABLET.host;
        platform_.bus().hooks.on_tap = [this](const tarn_tap_head_t& head, const kest_event_t& event) {
            if (head.direction != 0) return watch_.on_received(head.to, event);
            sent_.push_back({head,
                             static_cast<uint8_t>(event.msg_id >> 16),
                             static_cast<uint8_t>(event.msg_id),
                             event.attrib,
                             event.seq_id,
                             {event.msg_buf, event.msg_buf + event.msg_len}});
        };
        platform_.bus().hooks.on_send = [this](const sim::handed_over_t& record) { return decide(record); };
        platform_.log.on_line = [this](int32_t, int32_t, const char*, const char* format, va_list args) {
            char line[1024];
            std::vsnprintf(line, sizeof line, format, args);
            log_ += line;
        };
    }
    ~VirtualWorld() override { everybody_leaves(); }

    bool open(std::string& error) { return service_.open(VELA_FLIGHT_MODULE, error) && sim::make_private_files(error); }

    bool is_virtual() const override { return true; }
    void launch() override
    {
        log_.clear();
        watch_.on_service_launched(now());
        platform_.as(sim::SERVICE, [this] { service_.launch(); });
        was_launched();
        pass(SECOND_US / 10);
    }
    void kill() override
    {
        platform_.end(sim::SERVICE);
        service_.kill();
        watch_.on_service_killed();
    }
    bool runs() override { return service_.runs(); }
    std::string log() const override { return log_; }
    size_t open_files() override
    {
        const std::filesystem::directory_iterator first("/proc/self/fd");
        return static_cast<size_t>(std::distance(first, std::filesystem::directory_iterator()));
    }

    bool until(const std::function<bool()>& condition, uint64_t limit_us) override
    {
        const uint64_t end = now() + limit_us;
        while (!condition()) {
            if (now() >= end) return false;
            const uint64_t look = std::min(now() + LOOK_US, end);
            while (platform_.step(look))
                see();
        }
        return true;
    }
    void pass(uint64_t us) override
    {
        until([] { return false; }, us);
    }
    std::vector<seen_t> sent(const std::function<bool(const seen_t&)>& matches) const override
    {
        std::vector<seen_t> found;
        std::copy_if(sent_.begin(), sent_.end(), std::back_inserter(found), matches);
        return found;
    }
    void forget() override { sent_.clear(); }

private:
    static sim::rules_t rules_of(uint64_t seed)
    {
        sim::rules_t rules;
        rules.seed = seed;
        return rules;
    }
    uint64_t now() { return platform_.schedule().now_us(); }

    std::optional<kest_result_t> decide(const sim::handed_over_t& record)
    {
        watch_.on_handed_over(record, now());
        if (!loses) return std::nullopt;
        const auto* bytes = static_cast<const uint8_t*>(record.payload);
        seen_t seen = {{},
                       static_cast<uint8_t>(record.head.msg_id >> 16),
                       static_cast<uint8_t>(record.head.msg_id),
                       0,
                       0,
                       {bytes, bytes + record.length}};
        seen.head.from = record.from.host;
        if (!loses(seen)) return std::nullopt;
        sent_.push_back(std::move(seen));
        return 0;
    }

    // What holds after every event, whatever the row does: orders to the motors, one reply at most, ranges that are the
    // file's. The files' content is the row's own to judge.
    void see()
    {
        watch_.on_event_but_files(now());
        if (!watch_.broken().empty()) throw broken_t(watch_.broken());
    }

    sim::Platform platform_;
    sim::ServiceModule service_;
    sim::Watch watch_;
    std::vector<seen_t> sent_;
    std::string log_;
};

}  // namespace

const place_t THIS_PLACE = place_t::clock;

std::vector<row_t> own_rows()
{
    return {};
}

std::unique_ptr<World> make_world(uint64_t seed)
{
    auto world = std::make_unique<VirtualWorld>(seed);
    std::string error;
    if (!world->open(error)) throw std::runtime_error(error);
    return world;
}
