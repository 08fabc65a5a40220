#include "route_config.h"

#include <sys/socket.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "json_file.h"
#include "stderr_line.h"

namespace tarn {
namespace {

constexpr const char* EXAMPLE = "packaging/vela.json for a complete example";
constexpr const char* WANT_ADDRESS = "write a bus address such as \"0x1105\"";
constexpr double UID_LIMIT = 4294967295.0;  // 2^32 - 1 is no user

const cJSON* member(const cJSON* object, const char* name)
{
    return cJSON_GetObjectItemCaseSensitive(object, name);
}

// "0x" and one to four hexadecimal digits.
bool parse_address(const char* text, uint16_t& host)
{
    if (text == nullptr || text[0] != '0' || (text[1] != 'x' && text[1] != 'X')) return false;
    const char* end = text + std::strlen(text);
    const auto [stop, error] = std::from_chars(text + 2, end, host, 16);
    return error == std::errc() && stop == end && end - text <= 6;
}

// Copies an absolute path that fits into `size` bytes with its zero.
bool copy_path(const cJSON* item, char* out, size_t size)
{
    const char* text = cJSON_GetStringValue(item);
    if (text == nullptr || text[0] != '/' || std::strlen(text) >= size) return false;
    std::memcpy(out, text, std::strlen(text) + 1);
    return true;
}

class route_reader {
public:
    route_reader(const json_file& file, route_config& config) : file_(file), config_(config) {}

    int read()
    {
        int result = file_.check_keys(file_.root(), "", {"bus_dir", "services", "allow", "tap"});
        if (result == 0) result = read_paths();
        if (result == 0) result = read_services();
        if (result == 0) result = read_allow();
        return result;
    }

private:
    int read_paths()
    {
        const cJSON* bus_dir = member(file_.root(), "bus_dir");
        if (!copy_path(bus_dir, config_.bus_dir, sizeof config_.bus_dir)) {
            char wanted[64];
            std::snprintf(wanted, sizeof wanted, "write an absolute path of at most %zu bytes", BUS_DIR_MAX);
            return file_.complain("bus_dir", bus_dir, wanted);
        }
        const cJSON* tap = member(file_.root(), "tap");
        if (tap == nullptr || copy_path(tap, config_.tap, sizeof config_.tap)) return 0;
        return file_.complain("tap", tap, "write the absolute path of a socket (at most 107 bytes) or leave it out");
    }

    int read_services()
    {
        const cJSON* services = member(file_.root(), "services");
        if (!cJSON_IsObject(services))
            return file_.complain("services", services, "write an object of services with their endpoints");
        const cJSON* service = nullptr;
        cJSON_ArrayForEach(service, services)
        {
            if (std::strcmp(service->string, "comment") == 0) continue;
            const int result = read_service(service);
            if (result != 0) return result;
        }
        return 0;
    }

    int read_service(const cJSON* service)
    {
        char key[160];
        std::snprintf(key, sizeof key, "services.%s", service->string);
        if (!cJSON_IsObject(service))
            return file_.complain(key, service, "write an object such as {\"phone\": {\"host\": \"0x0200\"}}");
        const cJSON* endpoint = nullptr;
        cJSON_ArrayForEach(endpoint, service)
        {
            if (std::strcmp(endpoint->string, "comment") == 0) continue;
            std::snprintf(key, sizeof key, "services.%s.%s", service->string, endpoint->string);
            const int result = read_endpoint(endpoint, key);
            if (result != 0) return result;
        }
        return 0;
    }

    int read_endpoint(const cJSON* endpoint, const char* key)
    {
        if (!cJSON_IsObject(endpoint)) return file_.complain(key, endpoint, "write {\"host\": \"0x1105\"}");
        const int unknown = file_.check_keys(endpoint, key, {"host"});
        if (unknown != 0) return unknown;
        uint16_t host = 0;
        const cJSON* item = member(endpoint, "host");
        char host_key[176];
        std::snprintf(host_key, sizeof host_key, "%s.host", key);
        if (!parse_address(cJSON_GetStringValue(item), host)) return file_.complain(host_key, item, WANT_ADDRESS);
        if (config_.has_host(host))
            return file_.complain(host_key, item, "another endpoint has this address, give each its own");
        if (config_.host_count == KEST_MB_MAX_TARGETS) {
            file_.complain("services: more than 128 addresses, take some out");
            return -E2BIG;
        }
        config_.hosts[config_.host_count++] = host;
        return 0;
    }

    int read_allow()
    {
        const cJSON* allow = member(file_.root(), "allow");
        if (allow == nullptr) return 0;
        if (!cJSON_IsObject(allow))
            return file_.complain("allow", allow, "write an object such as {\"0x0306\": {\"uid\": [0]}}");
        const cJSON* entry = nullptr;
        cJSON_ArrayForEach(entry, allow)
        {
            if (std::strcmp(entry->string, "comment") == 0) continue;
            const int result = read_allow_entry(entry);
            if (result != 0) return result;
        }
        return 0;
    }

    int read_allow_entry(const cJSON* entry)
    {
        char key[96];
        std::snprintf(key, sizeof key, "allow.%s", entry->string);
        uint16_t host = 0;
        if (!parse_address(entry->string, host)) return file_.complain(key, entry, WANT_ADDRESS);
        if (!cJSON_IsObject(entry)) return file_.complain(key, entry, "write {\"uid\": [0]}");
        const int unknown = file_.check_keys(entry, key, {"uid"});
        if (unknown != 0) return unknown;
        std::snprintf(key, sizeof key, "allow.%s.uid", entry->string);
        const cJSON* users = member(entry, "uid");
        if (!cJSON_IsArray(users)) return file_.complain(key, users, "write a list of user numbers such as [0]");
        if (cJSON_GetArraySize(users) == 0) return grant(host, NO_UID);
        const cJSON* user = nullptr;
        cJSON_ArrayForEach(user, users)
        {
            const double uid = cJSON_IsNumber(user) ? user->valuedouble : -1.0;
            if (!(uid >= 0.0 && uid < UID_LIMIT) || std::floor(uid) != uid)
                return file_.complain(key, user, "write user numbers as `id -u` shows them");
            const int result = grant(host, static_cast<uint32_t>(uid));
            if (result != 0) return result;
        }
        return 0;
    }

    int grant(uint16_t host, uint32_t uid)
    {
        if (config_.grant_count == ALLOW_MAX) {
            file_.complain("allow: more than 256 users over all addresses, take some out");
            return -E2BIG;
        }
        config_.grants[config_.grant_count++] = {host, uid};
        return 0;
    }

    const json_file& file_;
    route_config& config_;
};

// What `object` does not have, and what it has instead.
int complain_absent(const json_file& file, const cJSON* object, const char* what, const char* name)
{
    char text[256];
    int used = std::snprintf(text, sizeof text, "no %s \"%.60s\" in it, there are:", what, name);
    const cJSON* one = nullptr;
    cJSON_ArrayForEach(one, object)
    {
        const size_t at = std::min(static_cast<size_t>(used), sizeof text - 1);
        used += std::snprintf(text + at, sizeof text - at, " %s", one->string);
    }
    file.complain(text);
    return -ENOENT;
}

int find_endpoint(const json_file& file, const char* service, const char* endpoint, uint16_t& host)
{
    const cJSON* services = member(file.root(), "services");
    const cJSON* of_service = member(services, service);
    if (of_service == nullptr) return complain_absent(file, services, "service", service);
    const cJSON* found = member(of_service, endpoint);
    if (found == nullptr) return complain_absent(file, of_service, "endpoint", endpoint);
    return parse_address(cJSON_GetStringValue(member(found, "host")), host) ? 0 : -ENOENT;
}

}  // namespace

bool route_config::has_host(uint16_t host) const
{
    return std::find(hosts, hosts + host_count, host) != hosts + host_count;
}

bool route_config::is_allowed(uint16_t host, uint32_t uid) const
{
    bool named = false;
    for (uint32_t i = 0; i < grant_count; ++i) {
        if (grants[i].host != host) continue;
        if (grants[i].uid == uid) return true;
        named = true;
    }
    return !named;
}

sockaddr_un route_config::address_of(uint16_t host, const char* ending) const
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s/%04x%s", bus_dir, host, ending);
    return address;
}

int route_config_load(const char* path, const char* service, const char* endpoint, route_config& config,
                      uint16_t& own_host)
{
    json_file file(path, EXAMPLE);
    int result = file.load();
    if (result == 0)
        result = route_reader(file, config).read();
    else if (result != -EINVAL)
        print_line("%s: cannot be read (%s); see %s", path, std::strerror(-result), EXAMPLE);
    if (result == 0) result = find_endpoint(file, service, endpoint, own_host);
    return result;
}

}  // namespace tarn
