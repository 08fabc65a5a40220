#include "world/service_module.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace sim {
namespace {

using start_up_fn = void (*)();

[[noreturn]] void give_up(const char* why)
{
    std::fprintf(stderr, "the simulated service: %s\n", why);
    std::abort();
}

}  // namespace

bool ServiceModule::open(const std::string& path, std::string& error)
{
    file_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file_ < 0) error = path + ": " + std::strerror(errno);
    return file_ >= 0;
}

ServiceModule::~ServiceModule()
{
    if (file_ >= 0) close(file_);
}

void ServiceModule::launch()
{
    const std::string path = "/proc/self/fd/" + std::to_string(file_);
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle_ == nullptr) give_up(dlerror());
    const auto start_up = reinterpret_cast<start_up_fn>(dlsym(handle_, "vela_flight_start_up"));
    if (start_up == nullptr) give_up(dlerror());
    first_descriptor_ = dup(file_);
    close(first_descriptor_);
    start_up();
}

void ServiceModule::kill()
{
    close_range(static_cast<unsigned>(first_descriptor_), ~0u, 0);
    dlclose(std::exchange(handle_, nullptr));
    const std::string path = "/proc/self/fd/" + std::to_string(file_);
    // A module that stays in memory would start its next life with the words of this one.
    if (dlopen(path.c_str(), RTLD_NOLOAD | RTLD_NOW) != nullptr) give_up("it cannot be unloaded");
}

}  // namespace sim
