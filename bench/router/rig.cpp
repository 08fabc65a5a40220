#include "rig.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "keys.h"
#include "pair.h"

namespace {

// The router says on standard error that it is up; a benchmark's table is no place for that.
void be_router(const std::string& config)
{
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    ::dup2(nowhere, STDERR_FILENO);
    ::execl(TARN_ROUTER, TARN_ROUTER, "run", config.c_str(), nullptr);
    fail(TARN_ROUTER);
}

std::string name_of(size_t aircraft)
{
    return "a" + std::to_string(aircraft);
}

void write_json(const std::string& path, const nlohmann::ordered_json& content)
{
    std::ofstream(path) << content.dump(2);
}

router::key_pair_t write_keys(const std::string& name)
{
    router::key_pair_t keys = router::make_keys();
    std::string failure;
    if (!router::write_keys(name, keys, failure)) fail(failure.c_str());
    return keys;
}

}  // namespace

int free_port()
{
    const int probe = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (::bind(probe, generic, size) != 0 || ::getsockname(probe, generic, &size) != 0) fail("bind");
    ::close(probe);
    return ntohs(address.sin_port);
}

rig::rig(const std::string& directory, size_t aircraft) : directory_(directory), aircraft_(aircraft)
{
    std::filesystem::create_directory(directory);
    const std::string port = "tcp://127.0.0.1:" + std::to_string(free_port());
    const std::string ground_key = write_keys(directory + "/ground").public_key;
    json ground = {{"key", directory + "/ground.key"}, {"bind", port}, {"links", json::object()}};
    for (size_t i = 0; i < aircraft; ++i)
        ground["links"][name_of(i)] = write_aircraft(name_of(i), port, ground_key);
    write_json(directory + "/ground.router", ground);
    start_router("ground");
    for (size_t i = 0; i < aircraft; ++i)
        start_router(name_of(i));
}

// Its configuration, and the link to it at the ground.
rig::json rig::write_aircraft(const std::string& name, const std::string& port, const std::string& ground_key) const
{
    const std::string path = directory_ + "/" + name;
    const json link = {{"connect", port},
                       {"peer_key", ground_key},
                       {"routes", write_tarn_config(path)},
                       {"addresses", {{"0x0200", "0x0200"}}}};
    const std::string own_key = write_keys(path).public_key;
    write_json(path + ".router", {{"key", path + ".key"}, {"links", {{"ground", link}}}});
    return {{"peer_key", own_key},
            {"routes", write_tarn_config(directory_ + "/ground_" + name)},
            {"addresses", {{"0x1105", "0x1105"}}}};
}

void rig::start_router(const std::string& name)
{
    const std::string config = directory_ + "/" + name + ".router";
    routers_.push_back(std::make_unique<echo_process>([&] { be_router(config); }));
}

std::string rig::ground_routes(size_t aircraft) const
{
    return directory_ + "/ground_" + name_of(aircraft) + ".json";
}

std::string rig::aircraft_routes(size_t aircraft) const
{
    return directory_ + "/" + name_of(aircraft) + ".json";
}

void rig::wait_until_up() const
{
    for (size_t i = 0; i < aircraft_; ++i) {
        wait_for_socket("/ground_" + name_of(i) + "/1105.sock");
        wait_for_socket("/" + name_of(i) + "/0200.sock");
    }
}

void rig::wait_for_socket(const std::string& path) const
{
    for (int tries = 0; !std::filesystem::exists(directory_ + path); ++tries) {
        if (tries == 1000) fail("the routers do not come up");
        ::usleep(10'000);
    }
}

double rig::cpu_of(const echo_process& process)
{
    std::ifstream file("/proc/" + std::to_string(process.pid()) + "/stat");
    std::string line;
    std::getline(file, line);
    std::istringstream fields(line.substr(line.rfind(')') + 2));  // from the third on: the state
    std::string skipped;
    for (int field = 3; field < 14; ++field)
        fields >> skipped;
    double user = 0;
    double system = 0;
    fields >> user >> system;
    return (user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}
