#include "nfz_data_upgrade/upgrade_module/src/upgrade_remount.h"

#include <sys/wait.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "nfz_data_upgrade/upgrade_debugger/src/upgrade_debugger.h"

int upgrade_remount(const char* command)
{
    static constexpr const char* tag = "upgrade_remount";
    if (command == nullptr) {
        nfz_upgrade_log(tag, "remount fail for cmd string is null\n");
        return 0;
    }
    const int status = system(command);
    const int error = errno;
    nfz_upgrade_log(tag, "system() execute result:%d\n", status);
    if (status < 0) {
        nfz_upgrade_log(tag, "cmd: %s\t, error: %s\n", command, strerror(error));
        return 0;
    }
    if (WIFEXITED(status)) {
        nfz_upgrade_log(tag, "normal termination, exit status = %d\n", WEXITSTATUS(status));
        return 1;
    }
    if (WIFSIGNALED(status)) {
        nfz_upgrade_log(tag, "abnormal termination,signal number =%d\n", WTERMSIG(status));
        return 0;
    }
    if (WIFSTOPPED(status)) {
        nfz_upgrade_log(tag, "process stopped, signal number =%d\n", WSTOPSIG(status));
        return 0;
    }
    nfz_upgrade_log(tag, "remount fail, unknown error\n");
    return 0;
}

int upgrade_remount_rw()
{
    nfz_upgrade_log("upgrade_remount_rw", "require to remount filesystem to write and read\n");
    return upgrade_remount("mount -o remount,rw /tmp/NFZ");
}

int upgrade_remount_ro()
{
    nfz_upgrade_log("upgrade_remount_ro", "require to remount filesystem to read only\n");
    return upgrade_remount("mount -o remount,ro /tmp/NFZ");
}
