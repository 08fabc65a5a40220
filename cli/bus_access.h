// From the command line to the bus: names, the route configuration as the tool sees it, and failures in words.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "common/bus_endpoint.h"
#include "failure.h"

namespace cli {

// The parts of a route configuration that the tool shows or uses itself.
struct route_config_t {
    std::string bus_dir;
    std::string tap;                        // empty: none configured
    std::map<uint16_t, std::string> names;  // address to "service/endpoint"
};

// None with `failure` filled when the file is missing or is no route configuration.
std::optional<route_config_t> read_route_config(const std::string& path, failure_t& failure);

// "app/phone" or "0x0200" where the address has no name.
std::string name_of(const route_config_t& config, uint16_t address);

// The address of "app/phone", "0x0200" or "512".
std::optional<uint16_t> address_of(const route_config_t& config, const std::string& text);

// "service/endpoint" of the route configuration `route`; none when there is no single slash in it.
std::optional<peers::bus_name_t> bus_name(const std::string& route, const std::string& as);

failure_t bad_bus_name(const std::string& as);
failure_t explain_open_error(const peers::bus_name_t& name, const peers::bus_open_error_t& error);

// Why a question to the service was not answered.
failure_t explain_no_answer(kest_result_t result);

// Opens and starts an endpoint without handlers; null with `failure` filled.
std::unique_ptr<peers::BusEndpoint> open_endpoint(const context_t& context, const std::string& as, failure_t& failure);

}  // namespace cli
