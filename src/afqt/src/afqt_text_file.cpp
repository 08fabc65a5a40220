#include "afqt/include/afqt_text_file.h"

#include <unistd.h>

#include "common/file_io.h"

static constexpr off_t MAX_TEXT = off_t{4} * 1024 * 1024;

text_t read_text_file(int fd)
{
    const off_t length = ::lseek(fd, 0, SEEK_END);
    if (length < 0 || length > MAX_TEXT || !file_seek(fd, 0)) return nullptr;
    const size_t bytes = static_cast<size_t>(length);
    text_t text(static_cast<char*>(std::malloc(bytes + 1)));
    if (text == nullptr || file_read(fd, text.get(), bytes) != bytes) return nullptr;
    text.get()[bytes] = '\0';
    return text;
}
