#include "json_file.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "stderr_line.h"

namespace tarn {
namespace {

constexpr size_t FILE_MAX = size_t{64} * 1024;  // far above any sensible configuration

struct text_delete {
    void operator()(char* text) const { std::free(text); }
};
using text_ptr = std::unique_ptr<char, text_delete>;

struct stream_close {
    void operator()(FILE* stream) const { std::fclose(stream); }
};

// The whole file with a zero byte behind it.
int read_text(const char* path, text_ptr& text, size_t& size)
{
    const std::unique_ptr<FILE, stream_close> stream(std::fopen(path, "re"));
    if (!stream) return -errno;
    text.reset(static_cast<char*>(std::calloc(1, FILE_MAX + 1)));
    if (!text) return -ENOMEM;
    size = std::fread(text.get(), 1, FILE_MAX, stream.get());
    if (std::ferror(stream.get()) != 0) return -errno;
    return std::feof(stream.get()) != 0 ? 0 : -EFBIG;
}

}  // namespace

int json_file::load()
{
    text_ptr text;
    size_t size = 0;
    const int result = read_text(path_, text, size);
    if (result != 0) return result;
    const char* end = text.get();
    tree_.reset(cJSON_ParseWithLengthOpts(text.get(), size + 1, &end, 1));
    if (!tree_) return complain_syntax(text.get(), end);
    if (!cJSON_IsObject(tree_.get())) return complain("the whole file", tree_.get(), "write an object in braces");
    return 0;
}

int json_file::complain_syntax(const char* text, const char* position) const
{
    const auto line = 1 + std::count(text, position, '\n');
    char found[24] = "the end of the file";
    if (*position != '\0') {
        const auto shown = std::find_if(position, position + std::min<size_t>(std::strlen(position), 16),
                                        [](unsigned char c) { return std::iscntrl(c) != 0; });
        std::snprintf(found, sizeof found, "'%.*s'", static_cast<int>(shown - position), position);
    }
    print_line("%s:%td: not JSON: found %s, expected a value in quotes or a number, ',' or a closing bracket; see %s",
               path_, line, found, example_);
    return -EINVAL;
}

int json_file::complain(const char* key, const cJSON* found, const char* wanted) const
{
    if (found == nullptr) {
        print_line("%s: %s: missing, %s; see %s", path_, key, wanted, example_);
        return -EINVAL;
    }
    char value[64];
    const bool fits = cJSON_PrintPreallocated(const_cast<cJSON*>(found), value, sizeof value, 0) != 0;
    print_line("%s: %s: found %s, %s; see %s", path_, key, fits ? value : "a long value", wanted, example_);
    return -EINVAL;
}

int json_file::complain(const char* text) const
{
    print_line("%s: %s; see %s", path_, text, example_);
    return -EINVAL;
}

int json_file::check_keys(const cJSON* object, const char* where, std::initializer_list<const char*> known) const
{
    const cJSON* member = nullptr;
    cJSON_ArrayForEach(member, object)
    {
        const auto is_name = [member](const char* name) { return std::strcmp(member->string, name) == 0; };
        if (is_name("comment") || std::any_of(known.begin(), known.end(), is_name)) continue;
        char names[128] = "";
        for (const char* name : known)
            std::snprintf(names + std::strlen(names), sizeof names - std::strlen(names), " \"%s\"", name);
        print_line("%s: %s%s\"%s\": unknown key, known are%s; see %s", path_, where, *where != '\0' ? "." : "",
                   member->string, names, example_);
        return -EINVAL;
    }
    return 0;
}

}  // namespace tarn
