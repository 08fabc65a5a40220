#include "files.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include "nfz_file/nfz_file.h"

namespace cli {
namespace {

using file_t = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

int keep_open(std::FILE*)
{
    return 0;
}

file_t open_file(const std::string& path, const char* mode)
{
    return {std::fopen(path.c_str(), mode), &std::fclose};
}

failure_t unreadable(const std::string& path, const std::string& why)
{
    return {exit_code::bad_input, path + ": " + why, ""};
}

bool write_all(std::FILE* file, peers::bytes_view bytes)
{
    return std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() && std::fflush(file) == 0;
}

// Devices and pipes are written to as they are; only a regular file can be replaced.
bool can_be_replaced(const std::string& path)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    return status.type() == std::filesystem::file_type::not_found || std::filesystem::is_regular_file(status);
}

bool write_and_rename(const std::string& path, peers::bytes_view bytes)
{
    const std::string part = path + ".part";
    file_t file = open_file(part, "wb");
    if (!file) return false;
    const bool written = write_all(file.get(), bytes);
    const int why = errno;
    if (written && std::fclose(file.release()) == 0 && std::rename(part.c_str(), path.c_str()) == 0) return true;
    if (!written) errno = why;
    const int last = errno;
    unlink(part.c_str());
    errno = last;
    return false;
}

}  // namespace

std::optional<std::vector<uint8_t>> read_file(const std::string& path, failure_t& failure)
{
    const file_t file = path == "-" ? file_t(stdin, &keep_open) : open_file(path, "rb");
    if (!file) {
        failure = unreadable(path, std::strerror(errno));
        return std::nullopt;
    }
    std::vector<uint8_t> bytes;
    uint8_t buffer[65536];
    size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof buffer, file.get())) > 0) {
        bytes.insert(bytes.end(), buffer, buffer + got);
        if (bytes.size() <= peers::NFZ_MAX_SIZE) continue;
        failure = unreadable(path, "has 4 GiB or more, sizes travel in 32 bits");
        return std::nullopt;
    }
    if (std::ferror(file.get()) == 0) return bytes;
    failure = unreadable(path, std::strerror(errno));
    return std::nullopt;
}

bool write_file(const std::string& path, peers::bytes_view bytes, failure_t& failure)
{
    bool written = false;
    if (path == "-") {
        written = write_all(stdout, bytes);
    } else if (can_be_replaced(path)) {
        written = write_and_rename(path, bytes);
    } else {
        const file_t file = open_file(path, "wb");
        written = file && write_all(file.get(), bytes);
    }
    if (written) return true;
    failure = {exit_code::output, path + ": cannot be written: " + std::strerror(errno), ""};
    return false;
}

}  // namespace cli
