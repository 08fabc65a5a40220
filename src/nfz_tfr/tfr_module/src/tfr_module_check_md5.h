// Whether the restriction file is whole: its last 16 bytes are the MD5 of all bytes before them. What is read by path
// and what is read from a file that is open already says and does the same. No heap.
#pragma once

#include <cstdint>

#include "nfz_tfr/tfr_module/src/tfr_file.h"

// MD5 of all but the last 16 bytes into `digest` (`digest_len` 16), zero on failure. With `need_log`, every byte is
// logged.
bool calculate_md5_from_tfr_file(tfr_file_t& file, uint8_t* digest, uint32_t digest_len, bool need_log);
bool calculate_md5_from_tfr_file(const char* path, uint8_t* digest, uint32_t digest_len, bool need_log);

// The last 16 bytes into `digest`. Where they lie is told by the size of the stored file, whatever file is read. False,
// with `digest` zero, when that has 16 bytes or fewer; a read that fails still is true, with whatever it left.
bool get_tfr_md5_by_read_file(tfr_file_t& file, uint8_t* digest, uint32_t digest_len, bool need_log);
bool get_tfr_md5_by_read_file(const char* path, uint8_t* digest, uint32_t digest_len, bool need_log);

// True when the two are equal. By itself it looks at the stored file.
bool tfr_check_md5(tfr_file_t& file, bool need_log);
bool tfr_check_md5(bool need_log);
