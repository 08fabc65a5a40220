// Periodic timers, each on a thread of its own with an absolute schedule.
#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <memory>
#include <new>

#include "boot_time.h"
#include "kest_osal.h"
#include "tarn_host.h"
#include "thread_start.h"

namespace {

constexpr int64_t NS_PER_SECOND = 1'000'000'000;
constexpr int64_t MADE_UP_NS = 50'000'000;  // real time; a longer pause is somebody's doing, such as a debugger's

struct periodic_timer {
    kest_osal_timer_entry_t entry;
    void* param;
    int64_t period_ns;  // real time, at least 1000
    int64_t next_ns;    // CLOCK_MONOTONIC
    int32_t repeat_times;
    int32_t priority;
    char name[16];  // the kernel's bound for the name of a thread
    pthread_t thread;
};

int64_t monotonic_ns()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * NS_PER_SECOND + now.tv_nsec;
}

// A frame that cancelling a thread unwinds: the address sanitizer, which does not see that, must not mark it.
#define TARN_CANCELLED_HERE __attribute__((no_sanitize("address")))

// The only place where tarn_timer_close may end the thread: never in the middle of a callback.
TARN_CANCELLED_HERE void sleep_until_next(const periodic_timer& timer)
{
    const timespec until{.tv_sec = static_cast<time_t>(timer.next_ns / NS_PER_SECOND),
                         .tv_nsec = static_cast<long>(timer.next_ns % NS_PER_SECOND)};
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
    }
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
}

// The next point of the schedule. Those that passed while the callback ran are dropped. Where time runs faster than
// real time, an ordinary pause of the machine is many points long and says nothing of the callback: there it is made up
// for.
void schedule_next(periodic_timer& timer)
{
    timer.next_ns += timer.period_ns;
    const int64_t late_ns = monotonic_ns() - timer.next_ns;
    const int64_t made_up_ns = tarn::time_scale() > 1 ? MADE_UP_NS : 0;
    if (late_ns > made_up_ns) timer.next_ns += (late_ns / timer.period_ns + 1) * timer.period_ns;
}

void ask_for_priority(int32_t priority)
{
    const sched_param wanted{.sched_priority = priority};
    if (priority > 0) pthread_setschedparam(pthread_self(), SCHED_FIFO, &wanted);  // not permitted: stays ordinary
}

TARN_CANCELLED_HERE void* run_timer(void* argument)
{
    auto& timer = *static_cast<periodic_timer*>(argument);
    pthread_setname_np(pthread_self(), timer.name);
    ask_for_priority(timer.priority);
    for (int32_t calls = 0; timer.repeat_times == 0 || calls < timer.repeat_times;) {
        sleep_until_next(timer);
        timer.entry(timer.param);
        schedule_next(timer);
        if (timer.repeat_times != 0) ++calls;
    }
    return nullptr;
}

bool is_sound(const kest_osal_timer_attrib_t* attrib)
{
    return attrib != nullptr && attrib->name != nullptr && attrib->entry != nullptr && attrib->timeout_us != 0 &&
           attrib->repeat_times >= 0 && attrib->priority >= 0 && attrib->priority <= 99;
}

}  // namespace

kest_result_t kest_osal_timer_create(const kest_osal_timer_attrib_t* attrib, void** timer)
{
    if (!is_sound(attrib) || timer == nullptr) return -EINVAL;
    std::unique_ptr<periodic_timer> made(new (std::nothrow) periodic_timer{});
    if (!made) return -EAGAIN;
    made->entry = attrib->entry;
    made->param = attrib->param;
    made->period_ns = std::max<int64_t>(1000, static_cast<int64_t>(attrib->timeout_us * 1000.0 / tarn::time_scale()));
    made->next_ns = monotonic_ns() + made->period_ns;
    made->repeat_times = attrib->repeat_times;
    made->priority = attrib->priority;
    std::snprintf(made->name, sizeof made->name, "%s", attrib->name);
    const int result = tarn::thread_start(&made->thread, run_timer, made.get());
    if (result != 0) return result;
    *timer = made.release();
    return 0;
}

void tarn_timer_close(void* timer)
{
    if (timer == nullptr) return;
    const std::unique_ptr<periodic_timer> ended(static_cast<periodic_timer*>(timer));
    pthread_cancel(ended->thread);
    pthread_join(ended->thread, nullptr);
}
