#include "nfz_data_upgrade/upgrade_module/src/upgrade_data_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "common/file_io.h"
#include "nfz_data_upgrade/upgrade_debugger/src/upgrade_debugger.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_remount.h"

static constexpr mode_t FILE_MODE = 0666;  // less the process's umask

int upgrade_create_data_file()
{
    static constexpr const char* tag = "upgrade_create_data_file";
    if (access(NFZ_DATA_DIRECTORY, F_OK) == 0) {
        nfz_upgrade_log(tag, "upgrade data directory has existed!\r\n");
        return 1;
    }
    if (mkdir(NFZ_DATA_DIRECTORY, 0777) != 0) {
        nfz_upgrade_log(tag, "create upgrade data directory failed!!!\r\n");
        return 0;
    }
    nfz_upgrade_log(tag, "create upgrade data directory successfully!\r\n");
    return 1;
}

int upgrade_save_data(const uint8_t* buf, uint32_t len)
{
    static constexpr const char* tag = "upgrade_save_data";
    const auto wanted = static_cast<uint16_t>(len);
    const scoped_fd file(open(NFZ_DATA_FILE, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, FILE_MODE));
    if (!file.is_open()) {
        nfz_upgrade_log(tag, "ERROR: %s\n", strerror(errno));
        return 0;
    }
    const size_t written = file_write(file.get(), buf, wanted);
    if (written != wanted) {
        nfz_upgrade_log(tag, "ERROR: save data error,, data_len:%d, saved_dat_len:%d\n", wanted,
                        static_cast<int>(written));
        return 0;
    }
    return 1;
}

int upgrade_delete_data()
{
    static constexpr const char* tag = "upgrade_delete_data";
    if (upgrade_remount_rw() == 0) {
        nfz_upgrade_log(tag, "remount fail, cannot delete\n");
        return 0;
    }
    const scoped_fd file(open(NFZ_DATA_FILE, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, FILE_MODE));
    if (!file.is_open()) {
        nfz_upgrade_log(tag, "ERROR: %s\n", strerror(errno));
        nfz_upgrade_log(tag, "error: upgrade delete data fail!\n");
        return 0;
    }
    nfz_upgrade_log(tag, "upgrade delete data success\n");
    return 1;
}
