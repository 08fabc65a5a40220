#include "nfz_data_upgrade/upgrade_module/src/upgrade_database.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "common/file_io.h"
#include "nfz_data_upgrade/upgrade_debugger/src/upgrade_debugger.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_data_file.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_file_digest.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_remount.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_session.h"

int upgrade_query_head(const char* path, nfz_bin_header_t* head)
{
    static constexpr const char* tag = "upgrade_query_head";
    const scoped_fd file(file_open_read(path));
    if (!file.is_open()) {
        nfz_upgrade_log(tag, "ERROR: %s, nfz_bin_file_not_exist\n", strerror(errno));
        return -1;
    }
    if (!file_seek(file.get(), NFZ_HEAD_OFFSET)) {
        nfz_upgrade_log(tag, "NFZ_BIN_NOT_FIND_EXPECT_ADDRESS, seeK_result:%d\n", -1);
        return -1;
    }
    nfz_bin_header_t read = {};
    const size_t length = file_read(file.get(), &read, sizeof read);
    if (length != sizeof read) {
        nfz_upgrade_log(tag, "NFZ_BIN_DATA_LEN_READ_ERROR, read_len:%d\n", static_cast<int>(length));
        return -1;
    }
    *head = read;
    return 0;
}

void upgrade_version_bytes(const nfz_bin_header_t& head, uint8_t bytes[4])
{
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<uint8_t>(head.version[3 - i]);
}

// The size of the database file, or -1 (logged). Files over 4 GiB are more than the formats can address.
static int64_t file_size(const char* tag)
{
    struct stat info = {};
    if (stat(NFZ_DATA_FILE, &info) != 0) {
        nfz_upgrade_log(tag, "ERROR: %s\n", strerror(errno));
        nfz_upgrade_log(tag, "get file size fail");
        return -1;
    }
    return info.st_size;
}

static bool upgrade_check_databse_md5_is_ok()
{
    static constexpr const char* tag = "upgrade_check_databse_md5_is_ok";
    const int64_t size = file_size(tag);
    if (size < 0) return false;
    if (size <= NFZ_MD5_SIZE) {
        nfz_upgrade_log(tag, "file_size[%d] is too short\n", static_cast<int>(size));
        return false;
    }
    const auto content = static_cast<uint32_t>(size - NFZ_MD5_SIZE);
    uint8_t computed[NFZ_MD5_SIZE];
    if (size > UINT32_MAX || calculate_md5_from_file(NFZ_DATA_FILE, content, computed, sizeof computed) != 0) {
        nfz_upgrade_log(tag, "!!!!!calculate_md5_from_file fail\n");
        return false;
    }
    uint8_t stored[NFZ_MD5_SIZE];
    if (read_nfz_data_file(NFZ_DATA_FILE, content, sizeof stored, stored, sizeof stored) != 0) {
        nfz_upgrade_log(tag, "read md5 in tail of file failed!\n");
        return false;
    }
    if (!check_md5_is_same(computed, sizeof computed, stored, sizeof stored)) {
        log_md5_code("computed", computed);
        log_md5_code("stored", stored);
        nfz_upgrade_log(tag, "md5 is not same\n");
        return false;
    }
    return true;
}

static bool upgrade_check_database_binary_version()
{
    static constexpr const char* tag = "upgrade_check_database_binary_version";
    const int64_t size = file_size(tag);
    if (size < NFZ_LEADING_BYTES_CHECKED) {
        nfz_upgrade_log(tag, "file_size[%d] not enough to check\n", static_cast<int>(size));
        return false;
    }
    uint8_t bytes[NFZ_LEADING_BYTES_CHECKED];
    if (read_nfz_data_file(NFZ_DATA_FILE, 0, sizeof bytes, bytes, sizeof bytes) != 0) {
        nfz_upgrade_log(tag, "read head bytes from file failed!\n");
        return false;
    }
    uint8_t all = 0;
    for (const uint8_t byte : bytes)
        all = static_cast<uint8_t>(all | byte);
    // A lone 1 counts as empty too. The texts speak of 64 bytes; readers of the log know them so.
    if (all <= 1) {
        nfz_upgrade_log(tag, "the first 64 bytes checked failed! %d\n", all);
        return false;
    }
    nfz_upgrade_log(tag, "the first 64 bytes checked successed! %d\n", all);
    return true;
}

void upgrade_check_databse()
{
    if (upgrade_check_databse_md5_is_ok() && upgrade_check_database_binary_version()) return;
    upgrade_desc_reset(get_upgrade_desc());
    upgrade_delete_data();
    upgrade_remount_ro();
}
