// What the route configuration says, in fixed room: a client keeps a copy and needs neither file nor route table later.
#pragma once

#include <sys/un.h>

#include <cstdint>

#include "kest_mb.h"

namespace tarn {

constexpr uint32_t ALLOW_MAX = 256;

// A bus address as it stands in file names: "/1105.stats.new" is the longest ending that a path gets.
constexpr size_t SOCKET_PATH_MAX = sizeof(sockaddr_un::sun_path);
constexpr size_t BUS_DIR_MAX = SOCKET_PATH_MAX - sizeof "/1105.stats.new";

// User `uid` may speak for `host`. An empty list of users is one grant to NO_UID.
struct allow_grant {
    uint16_t host;
    uint32_t uid;
};
constexpr uint32_t NO_UID = UINT32_MAX;

struct route_config {
    char bus_dir[BUS_DIR_MAX + 1];
    char tap[SOCKET_PATH_MAX];  // empty: none
    uint16_t hosts[KEST_MB_MAX_TARGETS];
    uint32_t host_count;
    allow_grant grants[ALLOW_MAX];
    uint32_t grant_count;

    bool has_host(uint16_t host) const;
    // An address without a grant is open to everybody who may enter the directory.
    bool is_allowed(uint16_t host, uint32_t uid) const;
    // "<bus_dir>/<address><ending>" as a socket address; also used for the path alone.
    sockaddr_un address_of(uint16_t host, const char* ending) const;
};

// Reads the file and looks up one endpoint. 0, or a negative errno after one line on standard error (-ENOENT: no such
// file, service or endpoint; -EINVAL: not JSON or a wrong value; -E2BIG: too many addresses or grants).
int route_config_load(const char* path, const char* service, const char* endpoint, route_config& config,
                      uint16_t& own_host);

}  // namespace tarn
