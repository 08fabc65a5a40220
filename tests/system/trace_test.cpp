// The simulation is not a second truth: what passes between real processes on the real bus passes on the virtual clock
// too, record for record, times aside.
#include <filesystem>

#include "stage.h"
#include "trace/story.h"

class Trace : public Stage {
protected:
    Trace() : Stage(20)
    {
        for (const char* directory : {"/tmp/SD0/factory_test/afqt", "/tmp/blackbox/log/afqt"})
            std::filesystem::create_directories(directory);
        write("/tmp/SD0/factory_test/afqt_motion_cfg_0.json", STORY_LIST);
        write("/tmp/SD0/factory_test/afqt/latest", "1");
        write("/tmp/EMMC/AFQT_ENABLE.txt", "");
    }

    static void write(const char* path, const std::string& text)
    {
        write_file(path, bytes_t(text.begin(), text.end()));
    }

    std::string on_the_bus(std::string (*tell)(const stage_t&))
    {
        const auto until = [](const std::function<bool()>& condition) { return within(60s, condition); };
        EXPECT_EQ(tell({"/usr/local/tarn/vela.json", [this] { service.start(); }, until}), "") << service.log();
        Streams streams;
        for (const seen_t& seen : tap->all([](const seen_t&) { return true; }))
            streams.add(seen.head, static_cast<uint32_t>(seen.set) << 16 | seen.id, seen.attrib, seen.payload);
        return streams.text();
    }

    static std::string on_the_virtual_clock(const std::string& story)
    {
        shell(std::string(VIRTUAL_STORY) + " " + story + " /run/virtual_story.txt >/dev/null");
        const bytes_t text = file_bytes("/run/virtual_story.txt");
        return {text.begin(), text.end()};
    }
};

TEST_F(Trace, UpgradeIsTheSameOnTheVirtualClock)
{
    EXPECT_EQ(on_the_bus(tell_upgrade), on_the_virtual_clock("upgrade"));
}

TEST_F(Trace, FlightIsTheSameOnTheVirtualClock)
{
    EXPECT_EQ(on_the_bus(tell_flight), on_the_virtual_clock("flight"));
}
