#include "watch_filter.h"

#include <algorithm>

#include <CLI/CLI.hpp>

#include "units.h"

namespace cli {
namespace {

std::optional<uint8_t> parse_byte(const char* option, const std::string& text, failure_t& failure)
{
    if (text.empty()) return std::nullopt;
    const std::optional<uint32_t> number = parse_number(text, UINT8_MAX);
    if (number) return static_cast<uint8_t>(*number);
    failure = {exit_code::usage, std::string(option) + ": \"" + text + "\" is no number from 0 to 255",
               "Write 3 or 0x03."};
    return std::nullopt;
}

}  // namespace

void add_watch_filter_options(CLI::App& command, watch_filter_options_t& options)
{
    command.add_option("--peer", options.peer, "only from or to this one: address or service/endpoint");
    command.add_option("--set", options.set, "only this command set, for example 0x03");
    command.add_option("--id", options.id, "only this command id, for example 0xc1");
}

std::optional<WatchFilter> WatchFilter::make(const watch_filter_options_t& options, const route_config_t& config,
                                             failure_t& failure)
{
    WatchFilter filter;
    filter.both_ = options.both;
    filter.set_ = parse_byte("--set", options.set, failure);
    filter.id_ = parse_byte("--id", options.id, failure);
    if (failure.code != exit_code::ok) return std::nullopt;
    if (options.peer.empty()) return filter;
    filter.peer_ = address_of(config, options.peer);
    if (filter.peer_) return filter;
    std::string known;
    for (const auto& [address, name] : config.names)
        known += (known.empty() ? "" : ", ") + name;
    failure = {exit_code::usage, "--peer: \"" + options.peer + "\" is neither an address nor a name",
               "The route configuration knows " + known + "."};
    return std::nullopt;
}

bool WatchFilter::shows(const tap_record_t& record)
{
    if (peer_ && record.head.from != *peer_ && record.head.to != *peer_) return false;
    if (set_ && peers::set_of(record.event) != *set_) return false;
    if (id_ && peers::id_of(record.event) != *id_) return false;
    return both_ || !is_second_copy(record);
}

bool WatchFilter::belong_together(const copy_t& first, const copy_t& second)
{
    return first.waits && first.from == second.from && first.to == second.to && first.msg_id == second.msg_id &&
           first.attrib == second.attrib && first.seq_id == second.seq_id && first.direction != second.direction;
}

bool WatchFilter::is_second_copy(const tap_record_t& record)
{
    const copy_t copy = {record.head.from,
                         record.head.to,
                         record.event.msg_id,
                         record.event.attrib,
                         record.event.seq_id,
                         record.head.direction,
                         true};
    const auto first =
        std::find_if(open_.begin(), open_.end(), [&](const copy_t& one) { return belong_together(one, copy); });
    if (first != open_.end()) {
        first->waits = false;
        return true;
    }
    open_[oldest_] = copy;
    oldest_ = (oldest_ + 1) % open_.size();
    return false;
}

}  // namespace cli
