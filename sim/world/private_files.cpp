#include "world/private_files.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace sim {
namespace {

constexpr const char* REMEDY =
    "allow user namespaces: sudo sysctl -w kernel.unprivileged_userns_clone=1 user.max_user_namespaces=10000";
constexpr const char* DIRECTORIES[] = {"/tmp/NFZ",
                                       "/tmp/EMMC",
                                       "/tmp/SD0",
                                       "/tmp/SD0/factory_test",
                                       "/tmp/SD0/factory_test/afqt",
                                       "/tmp/blackbox",
                                       "/tmp/blackbox/log",
                                       "/tmp/blackbox/log/afqt"};

bool write_text(const char* path, const std::string& text)
{
    const int file = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (file < 0) return false;
    const bool written = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(file);
    return written;
}

// Whoever may mount anyway needs no user namespace.
bool leave_the_others()
{
    if (unshare(CLONE_NEWNS) == 0) return true;
    const std::string user = "0 " + std::to_string(getuid()) + " 1";
    const std::string group = "0 " + std::to_string(getgid()) + " 1";
    return unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && write_text("/proc/self/setgroups", "deny") &&
           write_text("/proc/self/uid_map", user) && write_text("/proc/self/gid_map", group);
}

bool make_directories()
{
    for (const char* directory : DIRECTORIES)
        if (mkdir(directory, 0777) != 0 && errno != EEXIST) return false;
    return true;
}

}  // namespace

bool make_private_files(std::string& error)
{
    const bool made = leave_the_others() && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                      mount("tmpfs", "/tmp", "tmpfs", 0, "mode=1777") == 0 && make_directories() &&
                      mount("tmpfs", "/tmp/NFZ", "tmpfs", 0, "size=64m") == 0 && chdir("/") == 0;
    if (!made) error = std::string("no private file system: ") + std::strerror(errno) + "; " + REMEDY;
    return made;
}

}  // namespace sim
