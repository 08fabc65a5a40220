// Digests and pieces of files. Shared with the temporary-restriction module. All read the disk in pieces, without heap.
#pragma once

#include <cstddef>
#include <cstdint>

// MD5 of the first `length` bytes of the file into `out` (16 bytes; `out_len` must be at least that). 0, or -1 (logged)
// when the file does not hold that many bytes; `out` is then untouched.
int calculate_md5_from_file(const char* path, uint32_t length, uint8_t* out, uint32_t out_len);

// The same of a file that is open already: `fd` as open() gave it, a negative one with errno.
int calculate_md5_from_fd(int fd, uint32_t length, uint8_t* out, uint32_t out_len);

// Reads `length` bytes at `offset` into `buf` of `buf_len` bytes. 0, or -1 (logged).
int read_nfz_data_file(const char* path, uint32_t offset, uint32_t length, uint8_t* buf, uint32_t buf_len);

// True for equal lengths and bytes; logs which.
bool check_md5_is_same(const uint8_t* a, uint32_t a_len, const uint8_t* b, uint32_t b_len);

// One line with the digest in hexadecimal; `name` says whose it is.
void log_md5_code(const char* name, const uint8_t* md5_code);
