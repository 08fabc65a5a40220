#include "tick_probe.h"

#include <kest_osal.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <thread>

static constexpr uint64_t SECOND_NS = 1'000'000'000;
static constexpr size_t STICK_RECORD_BYTES = 33;  // head and basic stick frame

static tick_probe_t* s_probe;
static kest_osal_timer_attrib_t s_watched;

static uint64_t now_ns(clockid_t clock)
{
    timespec now = {};
    clock_gettime(clock, &now);
    return static_cast<uint64_t>(now.tv_sec) * SECOND_NS + static_cast<uint64_t>(now.tv_nsec);
}

void TickTrack::add(const tick_t& tick)
{
    const size_t at = size_.load(std::memory_order_relaxed);
    if (at == MOST) return;
    ticks_[at] = tick;
    size_.store(at + 1, std::memory_order_release);
}

tick_probe_t* make_tick_probe()
{
    void* room = mmap(nullptr, sizeof(tick_probe_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (room == MAP_FAILED) std::abort();
    return new (room) tick_probe_t;
}

void watch_ticks(tick_probe_t* probe)
{
    s_probe = probe;
}

static void watched_tick(void* param)
{
    tick_t tick = {now_ns(CLOCK_MONOTONIC), 0};
    const uint64_t cpu = now_ns(CLOCK_THREAD_CPUTIME_ID);
    s_watched.entry(param);
    tick.cpu_ns = now_ns(CLOCK_THREAD_CPUTIME_ID) - cpu;
    s_probe->service.add(tick);
}

// One end of a socket whose other end is read as fast as anything comes.
static int socket_with_a_reader()
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) std::abort();
    std::thread([reader = ends[1]] {
        char record[STICK_RECORD_BYTES];
        while (read(reader, record, sizeof record) > 0) {
        }
    }).detach();
    return ends[0];
}

static void bare_thread(uint64_t first_ns, uint64_t period_ns, int priority)
{
    const sched_param wanted = {.sched_priority = priority};
    pthread_setschedparam(pthread_self(), SCHED_FIFO, &wanted);  // granted or not, as for the timer
    const int socket = socket_with_a_reader();
    const char record[STICK_RECORD_BYTES] = {};
    for (uint64_t due = first_ns;; due += period_ns) {
        const timespec until = {static_cast<time_t>(due / SECOND_NS), static_cast<long>(due % SECOND_NS)};
        while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) != 0) {
        }
        tick_t tick = {now_ns(CLOCK_MONOTONIC), 0};
        const uint64_t cpu = now_ns(CLOCK_THREAD_CPUTIME_ID);
        if (send(socket, record, sizeof record, MSG_DONTWAIT) < 0) std::abort();
        tick.cpu_ns = now_ns(CLOCK_THREAD_CPUTIME_ID) - cpu;
        s_probe->bare.add(tick);
    }
}

// The linker puts the first in the place of the platform's operation, which it names as the second.
extern "C" kest_result_t __wrap_kest_osal_timer_create(const kest_osal_timer_attrib_t* attrib, void** timer);
extern "C" kest_result_t __real_kest_osal_timer_create(const kest_osal_timer_attrib_t* attrib, void** timer);

kest_result_t __wrap_kest_osal_timer_create(const kest_osal_timer_attrib_t* attrib, void** timer)
{
    if (s_probe == nullptr || std::strcmp(attrib->name, "AFQT_TIMER") != 0)
        return __real_kest_osal_timer_create(attrib, timer);
    s_watched = *attrib;
    kest_osal_timer_attrib_t watched = *attrib;
    watched.entry = watched_tick;
    const uint64_t period_ns = uint64_t{attrib->timeout_us} * 1000;
    std::thread(bare_thread, now_ns(CLOCK_MONOTONIC) + period_ns, period_ns, attrib->priority).detach();
    return __real_kest_osal_timer_create(&watched, timer);
}
