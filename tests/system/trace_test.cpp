// The simulation is not a second truth: what passes between real processes on the real bus passes on the virtual clock
// too, record for record, times aside.
#include <gmock/gmock.h>

#include "stage/real_world.h"
#include "trace/story.h"

// The tap takes ten records at a time and loses the others when this machine is busy: a story that differs is told
// again then, and must differ no more.
static constexpr int TRIES = 8;

class Trace {
public:
    explicit Trace(uint64_t scale) : world(scale) {}

    void expect_same(const std::string& story, std::string (*tell)(const stage_t&))
    {
        const std::string wanted = on_the_virtual_clock(story);
        std::string seen;
        for (int i = 0; i < TRIES && seen != wanted; ++i) {
            seen = on_the_bus(tell);
            if (lost_by_the_tap() == 0) break;
        }
        EXPECT_EQ(seen, wanted);
    }

private:
    std::string on_the_bus(std::string (*tell)(const stage_t&))
    {
        prepare_files();
        const auto until = [](const std::function<bool()>& condition) { return within(60s, condition); };
        EXPECT_EQ(tell({ROUTE_FILE, [this] { launch(); }, until}), "") << world.log();
        world.kill();
        Streams streams;
        for (const seen_t& one : world.tap().all([](const seen_t&) { return true; }))
            streams.add(one.head, static_cast<uint32_t>(one.set) << 16 | one.id, one.attrib, one.payload);
        return streams.text();
    }

    // An upgrade that begins before the start-up is over may be undone by it: there the virtual clock has no
    // in-between.
    void launch()
    {
        world.service().start();
        EXPECT_TRUE(within(20s, [this] { return world.service().is_up(); }));
    }

    static std::string on_the_virtual_clock(const std::string& story)
    {
        const run_t told = run(std::string(VIRTUAL_STORY) + " " + story + " /run/virtual_story.txt");
        EXPECT_EQ(told.code, 0) << told.text;
        return text_of("/run/virtual_story.txt");
    }

    static uint64_t lost_by_the_tap()
    {
        uint64_t lost = 0;
        for (const char* host : {"1105", "1106", "0306", "0200", "1103"}) {
            tarn_stats_file_t stats = {};
            peers::read_record(file_bytes(std::string("/run/tarn/") + host + ".stats"), stats);
            lost += stats.value[TARN_TAP_DROPPED];
        }
        return lost;
    }

    void prepare_files()
    {
        run("mount -o remount,rw /tmp/NFZ; rm -rf /tmp/SD0/factory_test/* /tmp/blackbox/log/* /tmp/NFZ/* "
            "/run/tarn/*.stats; mkdir -p /tmp/SD0/factory_test/afqt /tmp/blackbox/log/afqt");
        std::ofstream("/tmp/SD0/factory_test/afqt_motion_cfg_0.json") << STORY_LIST;
        std::ofstream("/tmp/SD0/factory_test/afqt/latest") << "1";
        write_file("/tmp/EMMC/AFQT_ENABLE.txt", {});
        world.tap().forget();
    }

    RealWorld world;
};

TEST(UpgradeTrace, IsTheSameOnTheVirtualClock)
{
    Trace(2).expect_same("upgrade", tell_upgrade);
}

TEST(FlightTrace, IsTheSameOnTheVirtualClock)
{
    Trace(10).expect_same("flight", tell_flight);
}
