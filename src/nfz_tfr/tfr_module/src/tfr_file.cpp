#include "nfz_tfr/tfr_module/src/tfr_file.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "nfz_data_upgrade/upgrade_module/src/upgrade_file_digest.h"
#include "nfz_tfr/tfr_debugger/src/tfr_debugger.h"

int64_t tfr_file_size(const char* tag, const char* path)
{
    struct stat info = {};
    if (stat(path, &info) != 0) {
        nfz_tfr_log(tag, "ERROR: %s\n", strerror(errno));
        nfz_tfr_log(tag, "get file size fail");
        return -1;
    }
    return info.st_size;
}

static int64_t open_file_size(const scoped_fd& file)
{
    struct stat info = {};
    return file.is_open() && fstat(file.get(), &info) == 0 ? info.st_size : -1;
}

tfr_file_t::tfr_file_t(const char* path)
    : path_(path), file_(file_open_read(path)), open_error_(errno), size_(open_file_size(file_))
{
}

bool tfr_file_t::read(uint32_t offset, uint32_t length, void* buffer)
{
    if (readable(offset) && copy(offset, length, static_cast<uint8_t*>(buffer))) return true;
    ++failures_;
    return false;
}

bool tfr_file_t::digest(uint32_t length, uint8_t* digest, uint32_t digest_len) const
{
    errno = open_error_;
    return calculate_md5_from_fd(file_.get(), length, digest, digest_len) == 0;
}

bool tfr_file_t::readable(uint32_t offset) const
{
    static constexpr const char* tag = "read_tfr_file";
    const int64_t size = size_ >= 0 ? size_ : tfr_file_size(tag, path_);
    if (size < 0) return false;
    if (offset > size) {
        if (first_time()) {
            nfz_tfr_log(tag, "require start address 0x%x is larger than file size 0x%x", offset,
                        static_cast<unsigned>(size));
        }
        return false;
    }
    if (file_.is_open()) return true;
    nfz_tfr_log(tag, "ERROR: %s\n", strerror(open_error_));
    nfz_tfr_log(tag, "can not open nfz data file");
    return false;
}

bool tfr_file_t::copy(uint32_t offset, uint32_t length, uint8_t* to)
{
    uint64_t at = offset;
    const uint64_t end = at + length;
    while (at < end) {
        if ((at < window_from_ || at >= window_to_) && !fill(at)) return false;
        const auto piece = static_cast<size_t>(std::min(end, window_to_) - at);
        std::memcpy(to, window_ + (at - window_from_), piece);
        to += piece;
        at += piece;
    }
    return true;
}

// At least the byte at `from`.
bool tfr_file_t::fill(uint64_t from)
{
    static constexpr const char* tag = "read_tfr_file";
    if (!file_seek(file_.get(), from)) {
        if (first_time()) nfz_tfr_log(tag, "seek fail");
        return false;
    }
    window_from_ = from;
    window_to_ = from + file_read(file_.get(), window_, WINDOW);
    if (window_to_ > from) return true;
    if (first_time()) nfz_tfr_log(tag, "read len not equal data len");
    return false;
}
