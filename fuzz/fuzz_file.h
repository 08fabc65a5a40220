// What the targets share that hand a file to their decoder.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>

using input_t = std::span<const uint8_t>;

inline std::string_view text_of(input_t input)
{
    return {reinterpret_cast<const char*>(input.data()), input.size()};
}

inline void write_file(const char* path, input_t content)
{
    std::FILE* file = std::fopen(path, "wb");
    if (file == nullptr || std::fwrite(content.data(), 1, content.size(), file) != content.size()) std::abort();
    std::fclose(file);
}

inline void check(bool holds, const char* what)
{
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}
