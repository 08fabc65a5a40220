// The stored restriction file, opened once and read through a fixed window: a second must do for 65535 areas.
#pragma once

#include <cstdint>

#include "common/file_io.h"

inline constexpr const char* TFR_FILE = "/tmp/EMMC/nfz_tfr.bin";

// Size of the file at `path`, or -1 (logged under `tag`).
int64_t tfr_file_size(const char* tag, const char* path);

// About 32 KiB, meant for the stack. One thread; may block on the disk; no heap. A file that changes meanwhile is read
// as it was, as it is, or mixed.
class tfr_file_t {
public:
    // A file that is missing or cannot be opened is told by the first operation, in the words of that operation.
    explicit tfr_file_t(const char* path);

    const char* path() const { return path_; }

    // `length` bytes at `offset`. False when they are not all there, with `buffer` partly filled. Only the first
    // failure is logged: a file that announces more than it holds would fill the log anew every second.
    bool read(uint32_t offset, uint32_t length, void* buffer);

    // True once, for the caller who adds words of his own to the first failed read.
    bool first_failure() const { return failures_ == 1; }

    // MD5 of the first `length` bytes into `digest` (16 bytes; `digest_len` must be at least that). False (logged) when
    // the file does not hold so many.
    bool digest(uint32_t length, uint8_t* digest, uint32_t digest_len) const;

private:
    bool readable(uint32_t offset) const;
    bool copy(uint32_t offset, uint32_t length, uint8_t* to);
    bool fill(uint64_t from);
    bool first_time() const { return failures_ == 0; }

    static constexpr uint32_t WINDOW = 32768;

    const char* path_;
    const scoped_fd file_;
    const int open_error_;
    const int64_t size_;  // -1 when it is not open
    uint32_t failures_ = 0;
    uint64_t window_from_ = 0;  // file offsets of what the window holds
    uint64_t window_to_ = 0;
    uint8_t window_[WINDOW];
};
