// The two digests of a running upgrade: over the bytes received, and over the file's content without its last 16
// bytes, which hold the digest to compare with. Upgrade client task only.
#pragma once

#include "nfz_data_upgrade/upgrade_module/src/upgrade_session.h"

// Begins both digests.
void upgrade_md5_init(upgrade_desc_t* desc);

// Feeds a block of `len` bytes that was saved at the session's saved size (not yet counted up). A block that ends
// within the file's last 16 bytes is left to the read-back.
void upgrade_md5_update(upgrade_desc_t* desc, const uint8_t* data, uint16_t len);

// Finishes both once the last byte is saved; what the content digest has not seen yet is read back from the file. A
// read-back that fails leaves data_md5_check_complete false.
void upgrade_md5_final(upgrade_desc_t* desc);

// The end request's checks. True when the digest is there and equal.
bool check_protocal_md5_final(const upgrade_desc_t* desc, const uint8_t md5[16]);
bool check_file_data_md5_final(const upgrade_desc_t* desc);
