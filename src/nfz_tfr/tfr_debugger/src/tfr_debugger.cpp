#include "nfz_tfr/tfr_debugger/src/tfr_debugger.h"

#include "flight_log/log_line.h"

void nfz_tfr_log(const char* tag, const char* format, ...)
{
    static constexpr log_line_t wrapper = {"[nfz_tfr][%8.3f][%s]%s\n", "nfz_tfr/tfr_debugger/src/tfr_debugger",
                                           "nfz_tfr_log", 44};
    va_list args;
    va_start(args, format);
    log_line_print(wrapper, tag, format, args);
    va_end(args);
}

void nfz_tfr_printf(const char*, const char*, ...) {}
