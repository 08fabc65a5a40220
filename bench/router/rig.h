// Routers as processes of their own on the loopback: a ground and its aircraft, each with a bus and a route file.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "echo_process.h"

// A port of the loopback that is free now.
int free_port();

class rig {
public:
    // The routers run until this object goes; they are forked, so before this process has threads.
    rig(const std::string& directory, size_t aircraft);

    std::string ground_routes(size_t aircraft) const;
    std::string aircraft_routes(size_t aircraft) const;
    // Every aircraft's address is on its bus at the ground, and the other way round.
    void wait_until_up() const;

    // Seconds of processor time that the ground's router, or that of the first aircraft, has used.
    double ground_cpu() const { return cpu_of(*routers_[0]); }
    double aircraft_cpu() const { return cpu_of(*routers_[1]); }

private:
    using json = nlohmann::ordered_json;

    json write_aircraft(const std::string& name, const std::string& port, const std::string& ground_key) const;
    void start_router(const std::string& name);
    void wait_for_socket(const std::string& path) const;
    static double cpu_of(const echo_process& process);

    const std::string directory_;
    const size_t aircraft_;
    std::vector<std::unique_ptr<echo_process>> routers_;  // the ground's first
};
