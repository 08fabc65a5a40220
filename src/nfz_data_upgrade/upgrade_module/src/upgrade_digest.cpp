#include "nfz_data_upgrade/upgrade_module/src/upgrade_digest.h"

#include <algorithm>
#include <cstring>

#include "common/file_io.h"
#include "nfz_data_upgrade/upgrade_debugger/src/upgrade_debugger.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_data_file.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_file_digest.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_wire.h"

void upgrade_md5_init(upgrade_desc_t* desc)
{
    MD5Init(&desc->md5);
    MD5Init(&desc->data_md5);
    desc->data_md5_has_checked_data_len = 0;
    desc->data_md5_check_complete = false;
}

void upgrade_md5_update(upgrade_desc_t* desc, const uint8_t* data, uint16_t len)
{
    static constexpr const char* tag = "upgrade_md5_update";
    MD5Update(&desc->md5, data, len);
    const uint32_t saved = desc->saved_firmware_size_;
    const uint32_t size = desc->firmware_size_;
    if (uint64_t{saved} + len + NFZ_MD5_SIZE < size) {
        MD5Update(&desc->data_md5, data, len);
        desc->data_md5_has_checked_data_len = desc->data_md5_has_checked_data_len + len;
        return;
    }
    nfz_upgrade_log(tag, "not check this packet's data md5\n");
    nfz_upgrade_log(tag, "saved_firmware_size %d, whole firmware size%d", static_cast<int>(saved),
                    static_cast<int>(size));
}

// Feeds the content bytes from `from` to `to` of the data file. False when the file does not give them.
static bool feed_from_file(MD5_CTX* context, uint32_t from, uint32_t to)
{
    const scoped_fd file(file_open_read(NFZ_DATA_FILE));
    if (!file.is_open() || !file_seek(file.get(), from)) return false;
    uint8_t piece[4096];
    while (from < to) {
        const size_t wanted = std::min<size_t>(to - from, sizeof piece);
        if (file_read(file.get(), piece, wanted) != wanted) return false;
        MD5Update(context, piece, wanted);
        from += static_cast<uint32_t>(wanted);
    }
    return true;
}

void upgrade_md5_final(upgrade_desc_t* desc)
{
    MD5Final(desc->md5_code, &desc->md5);
    const uint32_t size = desc->firmware_size_;
    const uint32_t content = size > NFZ_MD5_SIZE ? size - NFZ_MD5_SIZE : 0;
    if (!feed_from_file(&desc->data_md5, desc->data_md5_has_checked_data_len, content)) {
        nfz_upgrade_log("upgrade_md5_final", "read nfz data not complete\n");
        return;
    }
    desc->data_md5_has_checked_data_len = content;
    MD5Final(desc->data_md5_code, &desc->data_md5);
    desc->data_md5_check_complete = true;
}

bool check_protocal_md5_final(const upgrade_desc_t* desc, const uint8_t md5[16])
{
    // Possible only when the silence supervisor is just resetting the record under this very request; after a whole
    // reset the content digest is missing and refuses.
    if (!upgrade_firmware_is_complete(desc)) {
        nfz_upgrade_log("check_protocal_md5_final", "!!!!!get  final md5 fail\n");
        return false;
    }
    return std::memcmp(desc->md5_code, md5, sizeof desc->md5_code) == 0;
}

bool check_file_data_md5_final(const upgrade_desc_t* desc)
{
    static constexpr const char* tag = "check_file_data_md5_final";
    if (!desc->data_md5_check_complete) {
        nfz_upgrade_log(tag, "!!!!!get data md5 fail\n");
        return false;
    }
    const uint32_t size = desc->firmware_size_;
    if (size < NFZ_MD5_SIZE + 1) {
        nfz_upgrade_log(tag, "the size of firmware is too short, firmware size 0x%x\n", size);
        return false;
    }
    uint8_t stored[NFZ_MD5_SIZE];
    if (read_nfz_data_file(NFZ_DATA_FILE, size - NFZ_MD5_SIZE, sizeof stored, stored, sizeof stored) != 0) {
        nfz_upgrade_log(tag, "!!!!!read md5 code from file fail\n");
        return false;
    }
    return std::memcmp(stored, desc->data_md5_code, sizeof stored) == 0;
}
