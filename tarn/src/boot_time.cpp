#include "boot_time.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "kest_osal.h"
#include "stderr_line.h"

namespace tarn {
namespace {

// Within these bounds a year of microseconds is still exact in a double and the shortest period is not zero.
constexpr double SCALE_MIN = 0.001;
constexpr double SCALE_MAX = 10000.0;

double read_time_scale()
{
    const char* text = std::getenv("TARN_TIME_SCALE");
    if (text == nullptr) return 1.0;
    const char* end = text + std::strlen(text);
    double scale = 0.0;
    const auto [stop, error] = std::from_chars(text, end, scale);  // unlike strtod the same in every locale
    if (error == std::errc() && stop == end && scale >= SCALE_MIN && scale <= SCALE_MAX) return scale;
    print_line("TARN_TIME_SCALE is \"%.40s\", write a number from 0.001 to 10000; time runs at scale 1", text);
    return 1.0;
}

}  // namespace

double time_scale()
{
    static const double scale = read_time_scale();
    return scale;
}

uint64_t boot_time_us()
{
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    const uint64_t us = static_cast<uint64_t>(now.tv_sec) * 1'000'000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
    const double scale = time_scale();
    return scale == 1.0 ? us : static_cast<uint64_t>(static_cast<double>(us) * scale);
}

}  // namespace tarn

kest_result_t kest_osal_get_boot_time(uint64_t* boot_time_us)
{
    if (boot_time_us == nullptr) return -EINVAL;
    *boot_time_us = tarn::boot_time_us();
    return 0;
}
