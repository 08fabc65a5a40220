// Timers and boot time.
#include <kest_osal.h>
#include <sys/prctl.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "bus_fixture.h"

namespace {

using steady = std::chrono::steady_clock;

// A timer that notes when it was called, and does `work` in the callback of call number n (from 0).
class ticker {
public:
    ticker(std::chrono::microseconds period, std::function<void(size_t)> work = {}, int32_t repeat_times = 0)
        : begin_(steady::now()), work_(std::move(work))
    {
        const kest_osal_timer_attrib_t attributes{
            "a_long_name_of_a_timer", tick, this, static_cast<uint32_t>(period.count()), repeat_times, 19};
        EXPECT_EQ(kest_osal_timer_create(&attributes, &timer_), 0);
    }
    ~ticker() { close(); }
    ticker(const ticker&) = delete;
    ticker& operator=(const ticker&) = delete;
    void close() { tarn_timer_close(std::exchange(timer_, nullptr)); }

    std::vector<steady::duration> calls()
    {
        const std::lock_guard lock(mutex_);
        return calls_;
    }
    bool has_called(size_t count)
    {
        return soon([this, count] { return calls().size() >= count; });
    }

private:
    static void tick(void* self)
    {
        auto& me = *static_cast<ticker*>(self);
        size_t number = 0;
        {
            const std::lock_guard lock(me.mutex_);
            number = me.calls_.size();
            me.calls_.push_back(steady::now() - me.begin_);
        }
        if (me.work_) me.work_(number);
    }

    steady::time_point begin_;
    std::function<void(size_t)> work_;
    std::mutex mutex_;
    std::vector<steady::duration> calls_;
    void* timer_ = nullptr;
};

TEST(Timer, DoesNotDrift)
{
    ticker timer(4ms, [](size_t) { std::this_thread::sleep_for(1ms); });
    ASSERT_TRUE(timer.has_called(50));
    timer.close();
    const auto calls = timer.calls();
    EXPECT_GE(calls.front(), 4ms);
    // Late wake-ups are the machine's; the schedule itself stays on the grid of 4 ms.
    std::vector<steady::duration> late;
    for (size_t i = 25; i < 50; ++i)
        late.push_back(calls[i] % 4ms);
    std::nth_element(late.begin(), late.begin() + 12, late.end());
    EXPECT_LT(late[12], 1ms) << "a period counted from the end of each callback would spread over the grid";
    EXPECT_GE(calls[49], 200ms);
}

TEST(Timer, DropsTheTicksThatACallbackOverran)
{
    ticker timer(20ms, [](size_t n) {
        if (n == 1) std::this_thread::sleep_for(90ms);  // from 40 ms to 130 ms
    });
    ASSERT_TRUE(timer.has_called(4));
    timer.close();
    const auto calls = timer.calls();
    EXPECT_GE(calls[2], 140ms);
    EXPECT_GE(calls[3], 160ms) << "missed ticks must not come all at once";
}

TEST(Timer, EndsByItselfOrWhenItIsClosedButNotInACallback)
{
    ticker three(1ms, {}, 3);
    std::atomic<bool> is_in = false;
    std::atomic<bool> is_done = false;
    char name[16] = "";
    ticker slow(1ms, [&](size_t) {
        ::prctl(PR_GET_NAME, name);
        is_in = true;
        std::this_thread::sleep_for(30ms);
        is_done = true;
    });
    ASSERT_TRUE(soon([&] { return is_in.load(); }));
    slow.close();
    EXPECT_TRUE(is_done);
    EXPECT_STREQ(name, "a_long_name_of_");
    ASSERT_TRUE(three.has_called(3));
    std::this_thread::sleep_for(10ms);
    EXPECT_EQ(three.calls().size(), 3u);

    ticker hour(3600s);
    const auto begin = steady::now();
    hour.close();
    EXPECT_LT(steady::now() - begin, 1s) << "closing does not wait for the next tick";
}

TEST(Timer, RefusesWhatCannotRun)
{
    void* untouched = &untouched;
    kest_osal_timer_attrib_t attributes{"t", [](void*) {}, nullptr, 1000, 0, 0};
    EXPECT_EQ(kest_osal_timer_create(&attributes, nullptr), -EINVAL);
    EXPECT_EQ(kest_osal_timer_create(nullptr, &untouched), -EINVAL);
    attributes.timeout_us = 0;
    EXPECT_EQ(kest_osal_timer_create(&attributes, &untouched), -EINVAL);
    attributes.timeout_us = 1000;
    attributes.priority = 100;
    EXPECT_EQ(kest_osal_timer_create(&attributes, &untouched), -EINVAL);
    EXPECT_EQ(untouched, &untouched);
    EXPECT_EQ(kest_osal_get_boot_time(nullptr), -EINVAL);
}

uint64_t boot_time()
{
    uint64_t us = 0;
    kest_osal_get_boot_time(&us);
    return us;
}

// Ends the process with 0 when boot time and a timer run `scale` times faster than real time.
void exit_by_scale(const char* text, double scale)
{
    ::setenv("TARN_TIME_SCALE", text, 1);
    const auto before = steady::now();
    const uint64_t boot_before = boot_time();
    ticker timer(std::chrono::microseconds(static_cast<int64_t>(100'000 * scale)));
    timer.has_called(1);
    const double boot_s = static_cast<double>(boot_time() - boot_before) / 1e6;
    const double elapsed_s = std::chrono::duration<double>(steady::now() - before).count();
    const double called_s = std::chrono::duration<double>(timer.calls().at(0)).count();
    const bool timer_right = called_s >= 0.1 && called_s < 1.0;
    const bool boot_right = boot_s >= called_s * scale && boot_s <= elapsed_s * scale + 0.001;
    std::_Exit(timer_right && boot_right ? 0 : 1);
}

// Ends the process with 0 when a pause of `pause` in a callback, 20 times faster, costs no tick exactly if `made_up`.
void exit_by_pause(std::chrono::milliseconds pause, bool made_up)
{
    ::setenv("TARN_TIME_SCALE", "20", 1);
    ticker timer(20ms, [pause](size_t number) {
        if (number == 5) std::this_thread::sleep_for(pause);
    });
    timer.has_called(200);
    // Some 200 when they are made up and 320 when not; a loaded machine is late.
    const double periods = std::chrono::duration<double>(timer.calls().at(199)).count() / 0.001;
    std::_Exit((periods < 260) == made_up ? 0 : 1);
}

// The scale is read once per process, so each case has its own.
TEST(TimeScaleDeathTest, MakesBootTimeAndTimersFasterAndAWrongValueIsNamed)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(exit_by_scale("20", 20.0), testing::ExitedWithCode(0), "^$");
    EXPECT_EXIT(exit_by_scale("0.5", 0.5), testing::ExitedWithCode(0), "^$");
    EXPECT_EXIT(exit_by_pause(30ms, true), testing::ExitedWithCode(0), "^$");
    EXPECT_EXIT(exit_by_pause(120ms, false), testing::ExitedWithCode(0), "^$");
    const char* complaint =
        "^tarn: TARN_TIME_SCALE is \"[^\n]*\", write a number from 0.001 to 10000; time runs at scale 1\n$";
    for (const char* wrong : {"0", "2x", "nan", ""}) {
        EXPECT_EXIT(exit_by_scale(wrong, 1.0), testing::ExitedWithCode(0), complaint);
    }
}

}  // namespace
