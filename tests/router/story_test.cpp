// The real service on the aircraft, and people on the ground who use their tools as if it were there.
#include <filesystem>
#include <fstream>

#include "machines.h"
#include "stage/service.h"

using testing::HasSubstr;

class Distance : public Machines {
protected:
    Distance()
    {
        setenv("TARN_TIME_SCALE", "20", 1);
        std::filesystem::copy_file(aircraft->routes(), "/usr/local/tarn/vela.json");
        for (const char* directory : {"/tmp/SD0/factory_test/afqt", "/tmp/blackbox/log/afqt"})
            std::filesystem::create_directories(directory);
        std::ofstream("/tmp/EMMC/AFQT_ENABLE.txt") << "1\n";
        std::ofstream("/tmp/SD0/factory_test/afqt/latest") << "1\n";
        std::filesystem::copy_file(MOTION_LISTS "/hover.json", "/tmp/SD0/factory_test/afqt_motion_cfg_0.json");
        service.start();
    }

    run_t on_the_ground(const std::string& arguments) const
    {
        return run(VELA_PROGRAM " " + arguments + " --route " + ground->routes());
    }

    Service service;
};

TEST_F(Distance, VersionUpgradeAndReadBackGoThrough)
{
    EXPECT_EQ(on_the_ground("version").code, 5) << "nobody is there before the link is";
    start_both();
    ASSERT_TRUE(within(10s, [&] { return on_the_ground("version").code == 0; })) << service.log();
    ASSERT_EQ(run(VELA_PROGRAM " nfz make -o /tmp/new.bin --version 3.0.0.1 --size 300k").code, 0);
    const run_t sent = on_the_ground("nfz send /tmp/new.bin");
    EXPECT_EQ(sent.code, 0) << sent.text;
    const run_t version = on_the_ground("version --json");
    EXPECT_EQ(json::parse(version.text)["database"], "3.0.0.1") << version.text;
    const run_t read = on_the_ground("nfz read -o /tmp/back.bin");
    EXPECT_EQ(read.code, 0) << read.text;
    EXPECT_EQ(run("cmp /tmp/new.bin /tmp/back.bin && cmp /tmp/new.bin /tmp/NFZ/nfz.bin").code, 0);
    EXPECT_EQ(aircraft->events("dropping").size(), 0u) << aircraft->program().output();
    for (const json& event : ground->events("dropping"))
        EXPECT_EQ(event["reason"], "receiver_absent") << "heartbeats for a station that does not listen all the time";
}

TEST_F(Distance, AStationFliesAnAircraftThatIsElsewhere)
{
    Process controller;
    controller.start({VELA_PROGRAM, "fc", "--fly", "--noise", "--route", aircraft->routes()});
    start_both();
    ASSERT_TRUE(within(10s, [&] { return on_the_ground("version").code == 0; })) << service.log();
    const run_t flown = on_the_ground("afqt start 0");
    EXPECT_EQ(flown.code, 0) << flown.text;
    EXPECT_THAT(flown.text, HasSubstr("the list was flown and the aircraft landed"));
}

TEST_F(Distance, TheBusOfTheAircraftGoesOnWithoutTheGround)
{
    const auto here = [&] { return run(VELA_PROGRAM " version --as factory/desk --route " + aircraft->routes()).code; };
    start_both();
    ASSERT_TRUE(within(10s, [&] { return here() == 0; })) << service.log();
    ground->program().kill();
    ASSERT_TRUE(within(5s, [&] { return !aircraft->is_up(); }));
    EXPECT_EQ(here(), 0);
    aircraft->program().kill();
    EXPECT_EQ(here(), 0);
    EXPECT_TRUE(service.runs());
}
