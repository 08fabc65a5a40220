// Whole reads and writes on file descriptors, without stdio: handlers run them per message, and stdio would take heap.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdint>

// Closes its descriptor at the end of the scope.
class scoped_fd {
public:
    explicit scoped_fd(int fd) : fd_(fd) {}
    ~scoped_fd()
    {
        if (fd_ >= 0) ::close(fd_);
    }
    scoped_fd(const scoped_fd&) = delete;
    scoped_fd& operator=(const scoped_fd&) = delete;

    bool is_open() const { return fd_ >= 0; }
    int get() const { return fd_; }

private:
    int fd_;
};

// Opens for reading; errno tells why not.
int file_open_read(const char* path);

// Bytes read from the current position: less than `length` at the end of the file or on an error.
size_t file_read(int fd, void* buf, size_t length);

// Bytes written; less than `length` when the system refuses.
size_t file_write(int fd, const void* buf, size_t length);

// Moves to `offset` from the start. True on success.
bool file_seek(int fd, uint64_t offset);
