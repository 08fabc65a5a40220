#include "flight_log/flight_log.h"

#include <cstdio>

#include "flight_log/log_line.h"
#include "kest_sketch.h"

static constexpr int32_t LOG_CHANNEL_CONSOLE = 0;

flight_result_t flight_log_init()
{
    kest_sketch_attrib_t attrib = {};
    attrib.log_level = KEST_LOG_ERROR;
    attrib.log_channel = LOG_CHANNEL_CONSOLE;
    attrib.log_format = KEST_LOG_FORMAT_FUNCTION + KEST_LOG_FORMAT_LINE + KEST_LOG_FORMAT_MODULE;
    attrib.config_file = "/system/etc/vela.json";

    // The texts name the upgrade module although the log serves the whole process; supervisors look for them.
    const kest_result_t result = kest_sketch_initialize(&attrib);
    if (result != 0) {
        puts("fail: nfz_upgrade_log_init fail");
        fprintf(stderr, "nfz_upgrade_log_init fail, result 0x%x\n", static_cast<unsigned>(result));
    }
    return FLIGHT_OK;
}

void flight_log(const char* tag, const char* format, ...)
{
    static constexpr log_line_t wrapper = {"[vela_flight][%8.3f][%s]%s\n", "flight_log/flight_log", "flight_log", 59};
    va_list args;
    va_start(args, format);
    log_line_print(wrapper, tag, format, args);
    va_end(args);
}

void flight_printf(const char*, ...) {}
