#include "bare_upgrade.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <vector>

static constexpr size_t HEAD_SIZE = 16 + 7;  // record and block head
static constexpr size_t REPLY_SIZE = 16 + 5;

static void append(const char* path, const char* data, size_t size)
{
    const int file = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (file < 0 || write(file, data, size) != static_cast<ssize_t>(size)) std::perror(path);
    close(file);
}

[[noreturn]] static void serve(int socket, size_t record_size, const char* path)
{
    std::vector<char> record(record_size);
    while (recv(socket, record.data(), record_size, 0) > 0) {
        append(path, record.data() + HEAD_SIZE, record_size - HEAD_SIZE);
        if (send(socket, record.data(), REPLY_SIZE, MSG_NOSIGNAL) < 0) break;
    }
    _exit(0);
}

double bare_upgrade(size_t blocks, size_t block_size, const char* path)
{
    int ends[2];
    if (truncate(path, 0) != 0 || socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0) {
        std::perror(path);
        std::exit(EXIT_FAILURE);
    }
    const size_t record_size = HEAD_SIZE + block_size;
    const pid_t child = fork();
    if (child == 0) serve(ends[1], record_size, path);

    std::vector<char> record(record_size);
    const auto begin = std::chrono::steady_clock::now();
    for (size_t i = 0; i < blocks; ++i) {
        if (send(ends[0], record.data(), record_size, MSG_NOSIGNAL) < 0) std::perror("send");
        if (recv(ends[0], record.data(), record_size, 0) != static_cast<ssize_t>(REPLY_SIZE)) std::perror("recv");
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    close(ends[0]);
    close(ends[1]);
    return took.count();
}
