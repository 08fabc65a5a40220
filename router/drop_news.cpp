#include "drop_news.h"

#include <nlohmann/json.hpp>

#include "units.h"

namespace router {
namespace {

constexpr auto QUIET = std::chrono::seconds(10);  // without a drop: it is over

}  // namespace

void DropNews::look()
{
    const auto now = clock::now();
    for (uint32_t reason = 0; reason < DROPS; ++reason)
        look_at(reason, now);
}

void DropNews::look_at(uint32_t reason, clock::time_point now)
{
    bout_t& bout = bouts_[reason];
    const uint64_t count = counters_.drops[reason].count;
    if (count != bout.seen) {
        if (!bout.is_going_on) {
            bout.before = bout.seen;
            say_begin(reason);
        }
        bout.is_going_on = true;
        bout.seen = count;
        bout.last = now;
    } else if (bout.is_going_on && now - bout.last > QUIET) {
        bout.is_going_on = false;
        say_end(reason, count - bout.before);
    }
}

void DropNews::say_begin(uint32_t reason) const
{
    json event = {{"link", link_}, {"reason", drop_name(reason)}};
    std::string whom;
    if (const uint16_t address = counters_.drops[reason].address) {
        event["address"] = cli::address_text(address);
        whom = " (" + cli::address_text(address) + ")";
    }
    report_.say("dropping", event, link_ + ": drops, " + drop_name(reason) + whom + ": " + drop_text(reason));
}

void DropNews::say_end(uint32_t reason, uint64_t count) const
{
    report_.say("dropped", {{"link", link_}, {"reason", drop_name(reason)}, {"count", count}},
                link_ + ": no more drops, " + drop_name(reason) + ": " + std::to_string(count) + " in all");
}

}  // namespace router
