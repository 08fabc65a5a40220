#include "common/file_io.h"

#include <fcntl.h>

#include <cerrno>

int file_open_read(const char* path)
{
    return ::open(path, O_RDONLY | O_CLOEXEC);
}

size_t file_read(int fd, void* buf, size_t length)
{
    auto* to = static_cast<uint8_t*>(buf);
    size_t done = 0;
    while (done < length) {
        const ssize_t n = ::read(fd, to + done, length - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += static_cast<size_t>(n);
    }
    return done;
}

size_t file_write(int fd, const void* buf, size_t length)
{
    const auto* from = static_cast<const uint8_t*>(buf);
    size_t done = 0;
    while (done < length) {
        const ssize_t n = ::write(fd, from + done, length - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += static_cast<size_t>(n);
    }
    return done;
}

bool file_seek(int fd, uint64_t offset)
{
    return ::lseek(fd, static_cast<off_t>(offset), SEEK_SET) >= 0;
}
