// Small text files, read whole.
#pragma once

#include <cstdlib>
#include <memory>

struct free_text_t {
    void operator()(char* text) const { std::free(text); }
};
using text_t = std::unique_ptr<char, free_text_t>;

// The open file's bytes and a terminating zero. Null for what cannot be read whole: a directory, a file of more than
// 4 MiB (a list of 255 entries has some 50 KiB; a parsed text can take forty times its size), or more than
// memory holds. Blocks on the disk, allocates.
text_t read_text_file(int fd);
