#include "bus_access.h"

#include <unistd.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "units.h"

namespace cli {
namespace {

constexpr const char* START_SERVICE = "Start it with `vela_flight`, or run `./dev run` for a whole simulated aircraft.";

std::string shown(const peers::bus_name_t& name)
{
    return name.service + "/" + name.endpoint;
}

failure_t bad_config(const std::string& path, const std::string& what)
{
    return {exit_code::configuration, path + ": " + what, "Give another route configuration with --route FILE."};
}

std::optional<uint16_t> host_of(const json& endpoint)
{
    const auto host = endpoint.find("host");
    if (host == endpoint.end() || !host->is_string()) return std::nullopt;
    const std::optional<uint32_t> number = parse_number(host->get<std::string>(), UINT16_MAX);
    if (!number) return std::nullopt;
    return static_cast<uint16_t>(*number);
}

void read_names(const json& services, std::map<uint16_t, std::string>& names)
{
    for (const auto& [service, endpoints] : services.items()) {
        if (!endpoints.is_object()) continue;
        for (const auto& [endpoint, value] : endpoints.items()) {
            if (!value.is_object()) continue;
            if (const auto host = host_of(value)) (names[*host] = service).append("/").append(endpoint);
        }
    }
}

std::string string_member(const json& object, const char* name)
{
    const auto member = object.find(name);
    return member != object.end() && member->is_string() ? member->get<std::string>() : "";
}

}  // namespace

std::optional<route_config_t> read_route_config(const std::string& path, failure_t& failure)
{
    std::ifstream file(path);
    if (!file) {
        failure = bad_config(path, std::string("cannot be read: ") + std::strerror(errno));
        return std::nullopt;
    }
    const json config = json::parse(file, nullptr, false);
    if (!config.is_object()) {
        failure = bad_config(path, "is no JSON object");
        return std::nullopt;
    }
    route_config_t routes = {string_member(config, "bus_dir"), string_member(config, "tap"), {}};
    const auto services = config.find("services");
    if (services != config.end() && services->is_object()) read_names(*services, routes.names);
    if (!routes.bus_dir.empty()) return routes;
    failure = bad_config(path, "\"bus_dir\" is missing: the directory with the sockets of the bus");
    return std::nullopt;
}

std::string name_of(const route_config_t& config, uint16_t address)
{
    const auto name = config.names.find(address);
    return name == config.names.end() ? address_text(address) : name->second;
}

std::optional<uint16_t> address_of(const route_config_t& config, const std::string& text)
{
    for (const auto& [address, name] : config.names) {
        if (name == text) return address;
    }
    const std::optional<uint32_t> number = parse_number(text, UINT16_MAX);
    if (!number) return std::nullopt;
    return static_cast<uint16_t>(*number);
}

std::optional<peers::bus_name_t> bus_name(const std::string& route, const std::string& as)
{
    const size_t slash = as.find('/');
    if (slash == 0 || slash == std::string::npos || slash + 1 == as.size()) return std::nullopt;
    if (as.find('/', slash + 1) != std::string::npos) return std::nullopt;
    return peers::bus_name_t{route, as.substr(0, slash), as.substr(slash + 1)};
}

failure_t bad_bus_name(const std::string& as)
{
    return {exit_code::usage, "--as: \"" + as + "\" is no endpoint, wanted is service/endpoint",
            "The names stand in the route configuration, for example app/phone."};
}

failure_t explain_open_error(const peers::bus_name_t& name, const peers::bus_open_error_t& error)
{
    if (error.step == peers::bus_step::route && access(name.config.c_str(), R_OK) != 0) {
        return bad_config(name.config, std::string("cannot be read: ") + std::strerror(errno));
    }
    if (error.step == peers::bus_step::route) {
        return {exit_code::configuration, name.config + ": no address for " + shown(name),
                "Add the endpoint there, or give another route configuration with --route FILE."};
    }
    const std::string address = address_text(error.host) + " (" + shown(name) + ")";
    if (error.result == -EADDRINUSE) {
        return {exit_code::address_in_use, "the bus address " + address + " is used by another process",
                "`vela bus stats` shows which. End it, or be another endpoint with --as service/endpoint."};
    }
    return {exit_code::configuration,
            "the bus address " + address + " cannot be taken: " + std::strerror(-error.result),
            "Check the bus directory of " + name.config + " and its permissions."};
}

failure_t explain_no_answer(kest_result_t result)
{
    switch (result) {
        case -ETIMEDOUT:
            return {exit_code::unreachable, "the service does not answer",
                    "It is running but stuck or overloaded: look at its log."};
        case -ENOENT:
        case -ECONNREFUSED:
            return {exit_code::unreachable, "the service is not running: nobody listens at its address", START_SERVICE};
        case -EHOSTUNREACH:
            return {exit_code::configuration, "the route configuration has no address for the service",
                    "Add service \"flight_service\", endpoint \"flight_srv_fmu\" to it."};
        case -EINTR:
            return {exit_code::interrupted, "stopped before the service answered", ""};
        case -EPROTO:
            return {exit_code::protocol, "the answer is none of the kind that was asked for",
                    "Compare the versions of tool and service."};
        default:
            return {exit_code::unreachable, std::string("the bus refuses the message: ") + std::strerror(-result),
                    "Check the permissions of the bus directory and the \"allow\" entries of the route configuration."};
    }
}

std::unique_ptr<peers::BusEndpoint> open_endpoint(const context_t& context, const std::string& as, failure_t& failure)
{
    const std::optional<peers::bus_name_t> name = bus_name(context.route, as);
    if (!name) {
        failure = bad_bus_name(as);
        return nullptr;
    }
    peers::bus_open_error_t error;
    std::unique_ptr<peers::BusEndpoint> endpoint = peers::BusEndpoint::open(*name, error);
    if (endpoint) {
        error = {peers::bus_step::start, endpoint->start(), endpoint->host()};
        if (error.result == 0) return endpoint;
    }
    failure = explain_open_error(*name, error);
    return nullptr;
}

}  // namespace cli
