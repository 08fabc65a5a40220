// The version query of the flight client: the service's own version and that of the database on the device.
#include "aircraft.h"
#include "flight_version/flight_version.h"

class Version : public Aircraft {};

TEST_F(Version, TellsServiceAndDatabase)
{
    service_starts();
    shell("mount -o remount,rw /tmp/NFZ");
    const bytes_t service = bytes_t{0, 0x01, 'u', 'n', 'k', 'n', 'o', 'w', 'n'} + zeros(9) + bytes_t{15, 0, 0, 0} +
                            bytes_t{15, 0, 0, 0} + u32(5) + bytes_t{0};
    const bytes_t narrowed = {0xf4, 0xff, 2, 1};
    const char* const unread = "cannot read head from database, need update\n";
    const char* const answered = "ack the version check\n";
    const struct {
        bytes_t file, database;
        const char* output;
        std::vector<std::string> texts;
    } cases[] = {
        {{}, zeros(30), "fw version:[0,0,0,0]\n", {unread, answered}},
        {bytes_t(127, 9), zeros(30), "fw version:[0,0,0,0]\n", {unread, answered}},
        {database({0x101, 0x202, 0x3ff, 0xfffffff4}),
         zeros(17) + narrowed + narrowed + zeros(5),
         "fw version:[1,2,255,244]\n",
         {answered}},
    };
    for (const auto& [file, database, output, texts] : cases) {
        write_file(DATABASE, file);
        log.texts();
        testing::internal::CaptureStdout();
        const bytes_t reply = app.asks(FLIGHT, 0x00, 0x01, {0xff, 0xff});
        EXPECT_EQ(testing::internal::GetCapturedStdout(), std::string("get flight version\n") + output);
        EXPECT_EQ(reply, service + database);
        EXPECT_EQ(log.texts("get_flight_version"), texts);
    }
    shell("rm " + std::string(DATABASE));
    EXPECT_EQ(app.asks(FLIGHT, 0x00, 0x01, {}), service + zeros(30));
    flight_v1_pack_t pack = {};
    EXPECT_EQ(get_flight_version(&pack, nullptr, 1024), 0u);
}
