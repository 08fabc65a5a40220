// Logger.
#ifndef KEST_SKETCH_H
#define KEST_SKETCH_H

#include "kest_types.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { KEST_LOG_MODULES = 131 };

// Levels: a line passes when its level is not above the module's.
enum { KEST_LOG_OFF = 0, KEST_LOG_ERROR = 1, KEST_LOG_WARN = 2, KEST_LOG_INFO = 3, KEST_LOG_DEBUG = 4 };

// What the head of a line shows (log_format, a sum of these).
enum { KEST_LOG_FORMAT_FUNCTION = 32, KEST_LOG_FORMAT_LINE = 64, KEST_LOG_FORMAT_MODULE = 256 };

typedef struct kest_sketch_attrib {
    int32_t log_level;    // for modules that have no level of their own
    int32_t log_channel;  // 0: console
    int32_t log_format;
    int8_t log_module_levels[KEST_LOG_MODULES];  // 0: log_level holds
    void* dump_attrib;                           // not used on this platform
    void* hal_dev_list;                          // not used on this platform
    const char* config_file;                     // JSON; null or missing: console only
    void* bb_attrib;                             // not used on this platform
    uint32_t host_id;
} kest_sketch_attrib_t;

// Sets up filter and sinks; call once, before other threads log. -EINVAL (null, or a configuration that is no JSON or
// has a wrong value) or the negative errno of opening the log file: one line on standard error says what to write
// instead, and lines go to the console.
kest_result_t kest_sketch_initialize(const kest_sketch_attrib_t* attrib);

// Writes the head of a line into `head` (`size` bytes, zero-terminated, cut to fit) and returns its length. 0 when
// module or level are filtered out: the caller then drops the line. Any thread; no heap.
int32_t kest_log_gen_head(int32_t module, int32_t level, char* head, uint32_t size, const char* source,
                          const char* function, int32_t line);

// Writes head and formatted text to console and file. Any thread; a line that a sink refuses is lost silently.
void kest_log_print(int32_t module, int32_t level, const char* head, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

#ifdef __cplusplus
}
#endif
#endif
