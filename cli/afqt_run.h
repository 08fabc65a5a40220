// One factory flight from the switch to its end, shown as it goes.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "factory/test_station.h"
#include "factory/test_watch.h"
#include "failure.h"
#include "waiter.h"

namespace cli {

// What the station's callbacks leave for the thread that waits.
class TestInbox {
public:
    // Whatever is heard before begin() is of no interest.
    explicit TestInbox(Waiter& waiter) : waiter_(waiter) {}

    // The test is about to be switched on, with this list.
    void begin(uint64_t start_us, uint8_t file_index);

    peers::station_events_t events();

    // Heartbeats that told something new, with their boot time, since the last call.
    struct news_t {
        afqt_heart_beat_t beat;
        uint64_t time_us;
    };
    std::vector<news_t> take_news();
    peers::test_report_t report();  // as of now

private:
    Waiter& waiter_;
    std::mutex mutex_;
    std::optional<peers::TestWatch> watch_;  // guarded by the mutex, like the news
    std::vector<news_t> news_;
};

// Waits for the end of the flight; a signal ends the wait with the report as it stands, and `interrupted` set. `told`
// runs for each piece of news.
peers::test_report_t follow_test(TestInbox& inbox, Waiter& waiter,
                                 const std::function<void(const TestInbox::news_t&)>& told, bool& interrupted);

// "flies the list: motion 2 of 5, step, attitude x"; `motions` 0: not known.
std::string beat_text(const afqt_heart_beat_t& beat, size_t motions);
json beat_json(const afqt_heart_beat_t& beat);

// One line about the flight, as text or as an object with the time since the switch.
void print_line(const context_t& context, double seconds, const std::string& text, const json& object);

// How it ended; `more` goes into the object of --json.
exit_code print_end(const context_t& context, const peers::test_report_t& report, double seconds, json more = {});

exit_code exit_code_of(peers::test_outcome outcome);

// Entries that a motion list names in its "motion_num"; none when it cannot be read.
std::optional<size_t> motions_of(const std::string& path);
std::optional<size_t> motions_in(const std::string& text);

}  // namespace cli
