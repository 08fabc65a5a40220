// Which lines pass, what stands before them, and where they go.
#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "kest_sketch.h"
#include "log_config.h"
#include "log_file.h"
#include "stderr_line.h"

namespace {

constexpr int32_t LINE_MAX_BYTES = 4096;  // head and text; the rest is cut
constexpr uint32_t DEFAULT_MAX_BYTES = 1 << 20;
constexpr uint32_t DEFAULT_MAX_FILES = 3;
constexpr int32_t FORMAT_BASIC = KEST_LOG_FORMAT_FUNCTION | KEST_LOG_FORMAT_LINE | KEST_LOG_FORMAT_MODULE;

// Written by kest_sketch_initialize before other threads log, read by all.
int32_t s_level = KEST_LOG_ERROR;
int32_t s_format = FORMAT_BASIC;
int8_t s_module_levels[KEST_LOG_MODULES];

void set_filter(const tarn::log_config& config, int32_t format)
{
    s_level = config.level;
    s_format = format;
    std::copy_n(config.module_levels, KEST_LOG_MODULES, s_module_levels);
}

bool passes(int32_t module, int32_t level)
{
    const bool has_own = module >= 0 && module < KEST_LOG_MODULES && s_module_levels[module] != 0;
    return level > KEST_LOG_OFF && level <= (has_own ? int32_t{s_module_levels[module]} : s_level);
}

char level_letter(int32_t level)
{
    return "?EWID"[level <= KEST_LOG_DEBUG ? level : 0];
}

// Appends to a zero-terminated text of `size` bytes, cutting what does not fit.
void append(char* text, uint32_t size, const char* format, ...) __attribute__((format(printf, 3, 4)));
void append(char* text, uint32_t size, const char* format, ...)
{
    const size_t used = std::strlen(text);
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text + used, size - used, format, arguments);
    va_end(arguments);
}

void append_place(char* head, uint32_t size, const char* source, const char* function, int32_t line)
{
    const bool with_function = (s_format & KEST_LOG_FORMAT_FUNCTION) != 0;
    const bool with_line = (s_format & KEST_LOG_FORMAT_LINE) != 0;
    if (with_line)
        append(head, size, "[%s:%d]", with_function ? function : source, line);
    else if (with_function)
        append(head, size, "[%s]", function);
    append(head, size, " ");
}

int open_file(const tarn::log_config& config)
{
    const int result = tarn::log_file_open(config.file, config.max_bytes, config.max_files);
    if (result == 0) return 0;
    tarn::print_line(
        "%s: cannot open the log file (%s), lines go to the console; make its directory writable or name "
        "another file as log.file",
        config.file, std::strerror(-result));
    tarn::log_file_open(nullptr, 0, 0);
    return result;
}

}  // namespace

kest_result_t kest_sketch_initialize(const kest_sketch_attrib_t* attrib)
{
    if (attrib == nullptr) return -EINVAL;
    tarn::log_config config{};
    config.level = attrib->log_level;
    std::copy_n(attrib->log_module_levels, KEST_LOG_MODULES, config.module_levels);
    config.max_bytes = DEFAULT_MAX_BYTES;
    config.max_files = DEFAULT_MAX_FILES;
    set_filter(config, attrib->log_format);
    tarn::log_file_open(nullptr, 0, 0);
    if (attrib->config_file == nullptr) return 0;
    const int loaded = tarn::log_config_load(attrib->config_file, config);
    if (loaded != 0) return loaded;
    set_filter(config, attrib->log_format);
    return open_file(config);
}

int32_t kest_log_gen_head(int32_t module, int32_t level, char* head, uint32_t size, const char* source,
                          const char* function, int32_t line)
{
    if (head == nullptr || size < 2 || !passes(module, level)) return 0;
    head[0] = '\0';
    append(head, size, "[%c]", level_letter(level));
    if ((s_format & KEST_LOG_FORMAT_MODULE) != 0) append(head, size, "[%d]", module);
    append_place(head, size, source != nullptr ? source : "?", function != nullptr ? function : "?", line);
    return static_cast<int32_t>(std::strlen(head));
}

void kest_log_print(int32_t module, int32_t level, const char* head, const char* format, ...)
{
    (void)module;  // filtered when the head was made
    (void)level;
    if (format == nullptr) return;
    char text[LINE_MAX_BYTES];
    const int begun = std::snprintf(text, sizeof text, "%s", head != nullptr ? head : "");
    const int used = std::clamp(begun, 0, LINE_MAX_BYTES - 1);
    va_list arguments;
    va_start(arguments, format);
    const int added = std::vsnprintf(text + used, sizeof text - static_cast<size_t>(used), format, arguments);
    va_end(arguments);
    const int size = std::min(used + std::max(added, 0), LINE_MAX_BYTES - 1);
    tarn::write_stderr(text, static_cast<size_t>(size));
    tarn::log_file_write(text, static_cast<size_t>(size));
}
