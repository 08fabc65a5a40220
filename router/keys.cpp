#include "keys.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

#include <zmq.hpp>

namespace router {
namespace {

constexpr std::string_view Z85 =
    "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ.-:+=^!/*?&<>()[]{}@%$#";
constexpr mode_t SECRET_MODE = 0600;
constexpr mode_t PUBLIC_MODE = 0644;

bool write_new_file(const std::string& path, mode_t mode, const std::string& key, std::string& failure)
{
    const std::string line = key + "\n";
    const int fd = ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, mode);
    if (fd < 0) {
        failure = path + ": " + (errno == EEXIST ? "is there already, and is not replaced" : std::strerror(errno));
        return false;
    }
    const bool is_written =
        ::write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size()) && ::fsync(fd) == 0;
    const int why = errno;
    ::close(fd);
    if (is_written) return true;
    ::unlink(path.c_str());
    failure = path + ": cannot be written: " + std::strerror(why);
    return false;
}

bool is_open_to_others(const std::string& path)
{
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0;
}

}  // namespace

key_pair_t make_keys()
{
    char public_key[KEY_TEXT_SIZE + 1];
    char secret_key[KEY_TEXT_SIZE + 1];
    if (zmq_curve_keypair(public_key, secret_key) != 0) throw zmq::error_t();
    return {public_key, secret_key};
}

bool is_key(const std::string& text)
{
    return text.size() == KEY_TEXT_SIZE && text.find_first_not_of(Z85) == std::string::npos;
}

bool read_secret_key(const std::string& path, key_pair_t& keys, std::string& failure)
{
    std::ifstream file(path);
    if (!file) {
        failure = path + ": " + std::strerror(errno) + "; make one with `vela router keys -o NAME`";
        return false;
    }
    if (is_open_to_others(path)) {
        failure = path + ": others can read this secret key; run `chmod 600 " + path + "`, or make a new pair";
        return false;
    }
    char public_key[KEY_TEXT_SIZE + 1];
    std::getline(file, keys.secret_key);
    if (!is_key(keys.secret_key) || zmq_curve_public(public_key, keys.secret_key.c_str()) != 0) {
        failure = path + ": holds no key of 40 characters; make one with `vela router keys -o NAME`";
        return false;
    }
    keys.public_key = public_key;
    return true;
}

bool write_keys(const std::string& name, const key_pair_t& keys, std::string& failure)
{
    const std::string secret = name + ".key";
    if (!write_new_file(secret, SECRET_MODE, keys.secret_key, failure)) return false;
    if (write_new_file(name + ".pub", PUBLIC_MODE, keys.public_key, failure)) return true;
    ::unlink(secret.c_str());
    return false;
}

}  // namespace router
