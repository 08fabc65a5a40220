// Tells a story on the virtual clock and prints what passed: virtual_story upgrade|flight FILE
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "platform/platform.h"
#include "story.h"
#include "world/private_files.h"
#include "world/service_module.h"

int main(int argc, char** argv)
{
    if (argc != 3) return 2;
    std::ofstream out(argv[2]);
    sim::ServiceModule service;
    std::string error;
    if (!service.open(VELA_FLIGHT_MODULE, error) || !sim::make_private_files(error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 2;
    }
    std::ofstream("/tmp/EMMC/AFQT_ENABLE.txt") << "";
    std::ofstream("/tmp/SD0/factory_test/afqt_motion_cfg_0.json") << STORY_LIST;
    std::ofstream("/tmp/SD0/factory_test/afqt/latest") << "1";
    sim::Platform platform({});
    Streams streams;
    platform.bus().hooks.on_tap = [&streams](const tarn_tap_head_t& head, const kest_event_t& event) {
        streams.add(head, event.msg_id, event.attrib, {event.msg_buf, event.msg_buf + event.msg_len});
    };
    const auto until = [&platform](const std::function<bool()>& condition) {
        for (int i = 0; i < 12'000 && !condition(); ++i)
            platform.run_until(platform.schedule().now_us() + 20'000);
        return condition();
    };
    const stage_t stage = {"", [&] { platform.as(sim::SERVICE, [&service] { service.launch(); }); }, until};
    const std::string wrong = std::strcmp(argv[1], "flight") == 0 ? tell_flight(stage) : tell_upgrade(stage);
    out << streams.text();
    if (!wrong.empty()) std::fprintf(stderr, "%s\n", wrong.c_str());
    return wrong.empty() ? 0 : 1;
}
