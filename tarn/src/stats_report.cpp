#include "stats_report.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <mutex>

#include "stderr_line.h"

namespace tarn {
namespace {

constexpr size_t ENDPOINTS_MAX = 16;  // clients beyond them are not reported
constexpr size_t COLUMNS = 6;

std::mutex s_mutex;
const counters* s_endpoints[ENDPOINTS_MAX];  // under s_mutex
size_t s_count;                              // under s_mutex
std::atomic<int> s_wanted_fd{-1};  // written once under s_mutex, read by the handler; open until the process ends

void ask_for_report(int)
{
    const int saved_errno = errno;
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(s_wanted_fd.load(), &one, sizeof one);
    errno = saved_errno;
}

void install_handler()
{
    struct sigaction action {};
    if (s_wanted_fd.load() >= 0 || ::sigaction(SIGUSR1, nullptr, &action) != 0) return;
    if ((action.sa_flags & SA_SIGINFO) != 0 || action.sa_handler != SIG_DFL) return;
    s_wanted_fd.store(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
    if (s_wanted_fd.load() < 0) return;
    action = {};
    action.sa_handler = ask_for_report;
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGUSR1, &action, nullptr);
}

// Text for one write.
class page {
public:
    template <typename... Arguments>
    void add(const char* format, Arguments... arguments)
    {
        const int wanted = std::snprintf(text_ + used_, sizeof text_ - used_, format, arguments...);
        used_ = std::min(used_ + static_cast<size_t>(std::max(wanted, 0)), sizeof text_ - 1);
    }
    void print() const { write_stderr(text_, used_); }

private:
    char text_[4096];
    size_t used_ = 0;
};

void print_columns(const counters* const* endpoints, size_t count)
{
    page table;
    table.add("%-28s", "tarn: counters of endpoint");
    for (size_t i = 0; i < count; ++i)
        table.add("      0x%04x", endpoints[i]->host());
    for (uint32_t counter = 0; counter < TARN_COUNTERS; ++counter) {
        table.add("\n  %-26s", tarn_counter_name(counter));
        for (size_t i = 0; i < count; ++i)
            table.add("%12llu", static_cast<unsigned long long>(endpoints[i]->value(counter)));
    }
    table.add("%s", "\n");
    table.print();
}

}  // namespace

void stats_report_add(const counters& endpoint)
{
    const std::lock_guard lock(s_mutex);
    if (s_count < ENDPOINTS_MAX) s_endpoints[s_count++] = &endpoint;
    install_handler();
}

void stats_report_remove(const counters& endpoint)
{
    const std::lock_guard lock(s_mutex);
    s_count = static_cast<size_t>(std::remove(s_endpoints, s_endpoints + s_count, &endpoint) - s_endpoints);
}

int stats_report_fd()
{
    return s_wanted_fd.load();
}

void stats_report_answer()
{
    uint64_t requests = 0;
    if (::read(s_wanted_fd.load(), &requests, sizeof requests) != sizeof requests) return;
    const std::lock_guard lock(s_mutex);
    for (size_t first = 0; first < s_count; first += COLUMNS)
        print_columns(s_endpoints + first, std::min(COLUMNS, s_count - first));
}

}  // namespace tarn
