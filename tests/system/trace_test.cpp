// The simulation is not a second truth: what passes between real processes on the real bus passes on the virtual clock
// too, record for record, times aside.
#include <filesystem>

#include "stage.h"
#include "trace/story.h"

// The tap takes ten records at a time and loses the others when this machine is busy: a story that differs is told
// again then, and must differ no more.
static constexpr int TRIES = 8;

class Trace : public Stage {
protected:
    explicit Trace(int scale) : Stage(scale) {}

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
        EXPECT_EQ(tell({"/usr/local/tarn/vela.json", [this] { launch(); }, until}), "") << service.log();
        service.kill();
        Streams streams;
        for (const seen_t& one : tap->all([](const seen_t&) { return true; }))
            streams.add(one.head, static_cast<uint32_t>(one.set) << 16 | one.id, one.attrib, one.payload);
        return streams.text();
    }

    // An upgrade that begins before the start-up is over may be undone by it: there the virtual clock has no
    // in-between.
    void launch()
    {
        service.start();
        EXPECT_TRUE(within(20s, [this] { return service.output().find("tfr_init\n") != std::string::npos; }));
    }

    static std::string on_the_virtual_clock(const std::string& story)
    {
        shell(std::string(VIRTUAL_STORY) + " " + story + " /run/virtual_story.txt >/dev/null");
        const bytes_t text = file_bytes("/run/virtual_story.txt");
        return {text.begin(), text.end()};
    }

    static uint64_t lost_by_the_tap()
    {
        uint64_t lost = 0;
        for (const unsigned host : {0x1105u, 0x1106u, 0x0306u, 0x0200u, 0x1103u}) {
            char path[64];
            std::snprintf(path, sizeof path, "/run/tarn/%04x.stats", host);
            lost += record_of<tarn_stats_file_t>(file_bytes(path)).value[TARN_TAP_DROPPED];
        }
        return lost;
    }

    void prepare_files()
    {
        shell("mount -o remount,rw /tmp/NFZ; rm -rf /tmp/SD0 /tmp/blackbox /tmp/NFZ/* /run/tarn/*.stats");
        for (const char* directory : {"/tmp/SD0/factory_test/afqt", "/tmp/blackbox/log/afqt"})
            std::filesystem::create_directories(directory);
        write("/tmp/SD0/factory_test/afqt_motion_cfg_0.json", STORY_LIST);
        write("/tmp/SD0/factory_test/afqt/latest", "1");
        write("/tmp/EMMC/AFQT_ENABLE.txt", "");
        tap->forget();
    }

    static void write(const char* path, const std::string& text)
    {
        write_file(path, bytes_t(text.begin(), text.end()));
    }
};

class UpgradeTrace : public Trace {
protected:
    UpgradeTrace() : Trace(2) {}
};

class FlightTrace : public Trace {
protected:
    FlightTrace() : Trace(10) {}
};

TEST_F(UpgradeTrace, IsTheSameOnTheVirtualClock)
{
    expect_same("upgrade", tell_upgrade);
}

TEST_F(FlightTrace, IsTheSameOnTheVirtualClock)
{
    expect_same("flight", tell_flight);
}
