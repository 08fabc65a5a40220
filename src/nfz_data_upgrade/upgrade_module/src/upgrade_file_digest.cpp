#include "nfz_data_upgrade/upgrade_module/src/upgrade_file_digest.h"

#include <md5.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/file_io.h"
#include "nfz_data_upgrade/upgrade_debugger/src/upgrade_debugger.h"

static constexpr uint32_t PIECE = 32768;

int calculate_md5_from_file(const char* path, uint32_t length, uint8_t* out, uint32_t out_len)
{
    const scoped_fd file(file_open_read(path));
    return calculate_md5_from_fd(file.get(), length, out, out_len);
}

int calculate_md5_from_fd(int fd, uint32_t length, uint8_t* out, uint32_t out_len)
{
    static constexpr const char* tag = "calculate_md5_from_file";
    if (out_len < MD5_DIGEST_LENGTH) {
        nfz_upgrade_log(tag, "required data_len greater than des_max_len\n");
        return -1;
    }
    if (fd < 0) {
        nfz_upgrade_log(tag, "ERROR: %s\n", strerror(errno));
        return -1;
    }
    MD5_CTX context;
    MD5Init(&context);
    uint8_t piece[PIECE];
    file_seek(fd, 0);
    for (uint32_t left = length; left > 0;) {
        const uint32_t wanted = std::min(left, PIECE);
        if (file_read(fd, piece, wanted) != wanted) {
            nfz_upgrade_log(tag, "read nfz data not complete\n");
            return -1;
        }
        MD5Update(&context, piece, wanted);
        left -= wanted;
    }
    MD5Final(out, &context);
    return 0;
}

int read_nfz_data_file(const char* path, uint32_t offset, uint32_t length, uint8_t* buf, uint32_t buf_len)
{
    static constexpr const char* tag = "read_nfz_data_file";
    if (length > buf_len) {
        nfz_upgrade_log(tag, "required data_len greater than des_max_len\n");
        return -1;
    }
    const scoped_fd file(file_open_read(path));
    if (!file.is_open()) {
        nfz_upgrade_log(tag, "ERROR: %s\n", strerror(errno));
        return -1;
    }
    if (!file_seek(file.get(), offset) || file_read(file.get(), buf, length) != length) {
        nfz_upgrade_log(tag, "read nfz data not complete\n");
        return -1;
    }
    return 0;
}

bool check_md5_is_same(const uint8_t* a, uint32_t a_len, const uint8_t* b, uint32_t b_len)
{
    static constexpr const char* tag = "check_md5_is_same";
    if (a_len != b_len) {
        nfz_upgrade_log(tag, "md5 is not same, len not equal\n");
        return false;
    }
    if (std::memcmp(a, b, a_len) != 0) {
        nfz_upgrade_log(tag, "md5 is not same, md5 not equal\n");
        return false;
    }
    nfz_upgrade_log(tag, "md5 is same\n");
    return true;
}

void log_md5_code(const char* name, const uint8_t* md5_code)
{
    char hex[2 * MD5_DIGEST_LENGTH + 1];
    for (size_t i = 0; i < MD5_DIGEST_LENGTH; ++i)
        snprintf(hex + 2 * i, 3, "%02x", md5_code[i]);
    nfz_upgrade_log("log_md5_code", "%s:%s\n", name, hex);
}
