// What the router's configuration file says; docs/router.md describes it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "keys.h"

namespace router {

// One address of the other machine's bus, and the one that stands for it on this machine.
struct address_pair_t {
    uint16_t far;
    uint16_t here;
    std::string service;  // name of `here` in the route file
    std::string endpoint;
};

struct link_config_t {
    std::string name;
    std::string connect;  // where the other end is; empty: it connects to us
    std::string peer_key;
    std::string routes;  // route file of the local bus
    std::string bus_dir;
    std::vector<address_pair_t> addresses;
};

struct config_t {
    key_pair_t keys;
    std::string bind;  // where others connect; empty: nowhere
    std::vector<link_config_t> links;
};

// Reads the file, the key and the route files that it names. None with `failure` filled: one line with file, key, what
// was found, and what to write instead.
std::optional<config_t> read_config(const std::string& path, std::string& failure);

}  // namespace router
