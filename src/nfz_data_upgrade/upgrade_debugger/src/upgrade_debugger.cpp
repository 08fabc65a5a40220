#include "nfz_data_upgrade/upgrade_debugger/src/upgrade_debugger.h"

#include "flight_log/log_line.h"

void nfz_upgrade_log(const char* tag, const char* format, ...)
{
    static constexpr log_line_t wrapper = {
        "[nfz_upgrade][%8.3f][%s]%s", "nfz_data_upgrade/upgrade_debugger/src/upgrade_debugger", "nfz_upgrade_log", 45};
    va_list args;
    va_start(args, format);
    log_line_print(wrapper, tag, format, args);
    va_end(args);
}

void nfz_upgrade_printf(const char*, ...) {}
