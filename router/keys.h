// CURVE keys: 40 characters of Z85, and files with one of them.
#pragma once

#include <string>

namespace router {

inline constexpr size_t KEY_TEXT_SIZE = 40;

struct key_pair_t {
    std::string public_key;
    std::string secret_key;
};

key_pair_t make_keys();

bool is_key(const std::string& text);

// Reads a secret key; its public half follows from it. False with `failure` filled: missing, no key, or open to others.
bool read_secret_key(const std::string& path, key_pair_t& keys, std::string& failure);

// NAME.key (mode 0600) and NAME.pub. Neither may be there. False with `failure` filled; then neither is written.
bool write_keys(const std::string& name, const key_pair_t& keys, std::string& failure);

}  // namespace router
