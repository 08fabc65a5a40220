#include "bus_capture.h"

#include <sys/utsname.h>

#include "capture/capture_reader.h"
#include "files.h"
#include "units.h"

namespace cli {
namespace {

failure_t bad_capture(const std::string& path, const peers::capture_error_t& error)
{
    return {exit_code::bad_input, path + ": at byte " + std::to_string(error.offset) + ": " + error.reason, ""};
}

}  // namespace

peers::capture_about_t about_capture(const route_config_t& config)
{
    peers::capture_about_t about;
    about.program = "vela bus record " VELA_VERSION;
    utsname machine = {};
    if (uname(&machine) == 0) {
        about.os = std::string(machine.sysname) + " " + machine.release;
        about.hardware = machine.machine;
    }
    about.tap = config.tap;
    about.description = "message bus at " + config.bus_dir;
    for (const auto& [address, name] : config.names)
        about.comment += (about.comment.empty() ? "" : "\n") + address_text(address) + " " + name;
    return about;
}

bool load_capture(const std::string& path, loaded_capture_t& capture, failure_t& failure)
{
    const std::optional<std::vector<uint8_t>> file = read_file(path, failure);
    if (!file) return false;
    peers::capture_t found;
    peers::capture_error_t error;
    if (!peers::read_capture(*file, found, error)) failure = bad_capture(path, error);
    capture.lost = found.lost;
    for (const peers::capture_packet_t& packet : found.packets) {
        captured_t one = {{}, packet.time_ns, packet.offset};
        if (!peers::read_tap_copy(packet.bytes, one.record.head, one.record.event)) {
            failure = bad_capture(path, {packet.offset, "a packet of " + std::to_string(packet.bytes.size()) +
                                                            " bytes that is no copy of one record of the bus"});
            return false;
        }
        capture.records.push_back(one);
    }
    return failure.code == exit_code::ok;
}

std::optional<route_config_t> names_for_capture(const context_t& context, failure_t& failure)
{
    failure_t missing;
    std::optional<route_config_t> config = read_route_config(context.route, missing);
    if (config || context.route == context_t().route) return config.value_or(route_config_t());
    failure = missing;
    return std::nullopt;
}

}  // namespace cli
