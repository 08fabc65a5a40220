#include "flight_log/log_line.h"

#include <cstdint>
#include <cstdio>

#include "flight_timer/flight_timer.h"
#include "kest_sketch.h"

static constexpr int32_t LOG_MODULE = 94;
static constexpr int32_t LOG_LEVEL = KEST_LOG_ERROR;

void log_line_print(const log_line_t& wrapper, const char* tag, const char* format, va_list args)
{
    char text[127] = {};
    vsnprintf(text, sizeof text, format, args);

    char head[128] = {};
    if (kest_log_gen_head(LOG_MODULE, LOG_LEVEL, head, sizeof head, wrapper.source, wrapper.function, wrapper.line) ==
        0) {
        return;
    }
    // Single precision on purpose: the field shows what it always showed, also after days.
    const float seconds = static_cast<float>(flight_get_boot_time_ms()) * 0.001f;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    kest_log_print(LOG_MODULE, LOG_LEVEL, head, wrapper.prefix_format, static_cast<double>(seconds), tag, text);
#pragma GCC diagnostic pop
}
