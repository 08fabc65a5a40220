#include "nfz_tfr/tfr_module/src/tfr_module_check_md5.h"

#include <cstring>

#include "nfz_data_upgrade/upgrade_module/src/upgrade_file_digest.h"
#include "nfz_tfr/tfr_debugger/src/tfr_debugger.h"
#include "nfz_tfr/tfr_module/src/tfr_wire.h"

static void log_bytes(const char* tag, const uint8_t* bytes, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i)
        nfz_tfr_log(tag, "0x%x", bytes[i]);
}

bool calculate_md5_from_tfr_file(tfr_file_t& file, uint8_t* digest, uint32_t digest_len, bool need_log)
{
    static constexpr const char* tag = "calculate_md5_from_tfr_file";
    std::memset(digest, 0, digest_len);
    const int64_t size = tfr_file_size(tag, file.path());
    if (size < 0) return false;
    if (size <= digest_len) {
        nfz_tfr_log(tag, "file_size:[%d] is too short", static_cast<int>(size));
        return false;
    }
    const int64_t checked = size - digest_len;
    if (checked > UINT32_MAX || !file.digest(static_cast<uint32_t>(checked), digest, digest_len)) {
        nfz_tfr_log(tag, "!!!!!calculate_md5_from_file fail");
        return false;
    }
    if (!need_log) return true;
    nfz_tfr_log(tag, "get tfr file size is 0x%x, need check data size 0x%x", static_cast<unsigned>(size),
                static_cast<unsigned>(checked));
    nfz_tfr_log(tag, "calculate the md5 code from the file\n");
    log_bytes(tag, digest, digest_len);
    return true;
}

bool calculate_md5_from_tfr_file(const char* path, uint8_t* digest, uint32_t digest_len, bool need_log)
{
    tfr_file_t file(path);
    return calculate_md5_from_tfr_file(file, digest, digest_len, need_log);
}

bool get_tfr_md5_by_read_file(tfr_file_t& file, uint8_t* digest, uint32_t digest_len, bool need_log)
{
    static constexpr const char* tag = "get_tfr_md5_by_read_file";
    std::memset(digest, 0, digest_len);
    const int64_t size = tfr_file_size(tag, TFR_FILE);
    if (size < 0) return false;
    if (size <= digest_len) {
        nfz_tfr_log(tag, "tfr file not complete, file_size:%d, expect_md5_size:%d", static_cast<int>(size),
                    static_cast<int>(digest_len));
        return false;
    }
    file.read(static_cast<uint32_t>(size - digest_len), digest_len, digest);
    if (!need_log) return true;
    nfz_tfr_log(tag, "get tfr md5, read from the tail of the file");
    log_bytes(tag, digest, digest_len);
    return true;
}

bool get_tfr_md5_by_read_file(const char* path, uint8_t* digest, uint32_t digest_len, bool need_log)
{
    tfr_file_t file(path);
    return get_tfr_md5_by_read_file(file, digest, digest_len, need_log);
}

bool tfr_check_md5(tfr_file_t& file, bool need_log)
{
    static constexpr const char* tag = "tfr_check_md5";
    uint8_t computed[TFR_MD5_SIZE];
    if (!calculate_md5_from_tfr_file(file, computed, sizeof computed, need_log)) {
        nfz_tfr_log(tag, "calculate md5 from tfr file fail");
        return false;
    }
    uint8_t stored[TFR_MD5_SIZE];
    if (!get_tfr_md5_by_read_file(file, stored, sizeof stored, need_log)) {
        nfz_tfr_log(tag, "read md5 from tail of file fail");
        return false;
    }
    return check_md5_is_same(computed, sizeof computed, stored, sizeof stored);
}

bool tfr_check_md5(bool need_log)
{
    tfr_file_t stored(TFR_FILE);
    return tfr_check_md5(stored, need_log);
}
