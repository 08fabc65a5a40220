#include "run.h"

#include <algorithm>
#include <cstdio>

#include "common/announcement.h"
#include "nfz_file/nfz_file.h"
#include "tfr_file/tfr_file.h"
#include "upgrade_hand.h"

namespace {

constexpr size_t SHOWN = 12;       // bytes of a payload
constexpr size_t MORE_FILES = 20;  // four peers, two clients, there and back
constexpr size_t FRAGMENT = 200;

uint8_t first_of(const bytes_t& reply)
{
    return reply.empty() ? 0xee : reply[0];
}

uint8_t ask_areas(Run& run, const bytes_t& payload)
{
    return first_of(run.world.ask(PHONE, HOST_FLIGHT_SERVICE, SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE, payload));
}

bytes_t newest_database()
{
    const peers::nfz_version_t version = {{UINT32_MAX, UINT32_MAX, UINT32_MAX, UINT32_MAX}};
    return peers::build_nfz_file({version, 0, 0, peers::generate_nfz_content(version, 2000)});
}

void expect_upgrade_works(Run& run)
{
    const bytes_t file = newest_database();
    const uint8_t code = whole_upgrade(run, file);
    run.expect(code == 0, "afterwards an upgrade ends with " + hex(code));
    run.expect(file_bytes(DATABASE) == file, "afterwards another database is on the disk than was sent");
    const bytes_t answer = run.world.ask(STATION, HOST_NFZ_UPGRADE, SET_FLYLIMIT, ID_NFZ_READ, read_payload(100, 270));
    run.expect(answer.size() == 275 && std::equal(answer.begin() + 5, answer.end(), file.begin() + 100),
               "afterwards the database is not served");
}

void expect_announced_and_released(Run& run)
{
    run.world.forget();
    const auto announced = [&run] {
        const auto all = run.world.sent(HOST_NFZ_UPGRADE, SET_FLIGHT_CONTROLLER, ID_FLYLIMIT_VERSION);
        return !all.empty() && all.back().payload.size() > 4 && all.back().payload[0] == 0xff;
    };
    run.expect(run.world.until(announced, 3 * SECOND_US), "afterwards the version is not announced");
    const auto free = [&run] { return !run.world.controller().motors().held(); };
    run.expect(run.world.until(free, 15 * SECOND_US), "afterwards the motors stay held");
}

void expect_delivery_works(Run& run)
{
    peers::tfr_recipe_t recipe;
    recipe.areas.resize(12);
    for (uint32_t i = 0; i < recipe.areas.size(); i++)
        recipe.areas[i].area_id = i + 1;
    const bytes_t file = peers::build_tfr_file(recipe);
    run.expect(ask_areas(run, {UPDATE_REQ}) == 0, "afterwards a delivery cannot start");
    for (size_t at = 0; at < file.size(); at += FRAGMENT) {
        const size_t size = std::min(FRAGMENT, file.size() - at);
        const update_tfr_req_t head = {UPDATE_DATA, static_cast<uint16_t>(at / FRAGMENT),
                                       static_cast<uint32_t>(file.size()), static_cast<uint8_t>(size)};
        const bytes_t payload = joined(peers::bytes_of(head), peers::bytes_view(file).subspan(at, size));
        const uint8_t ack = ask_areas(run, payload);
        run.expect(ack == 0, "afterwards a fragment is answered by " + hex(ack));
    }
    const uint8_t ack = ask_areas(run, {UPDATE_FINISH});
    run.expect(ack == 0, "afterwards a delivery ends with " + hex(ack));
    run.expect(file_bytes(AREAS) == file, "afterwards other areas are on the disk than were delivered");
}

}  // namespace

bytes_t Run::bytes(size_t count)
{
    bytes_t all(count);
    for (uint8_t& byte : all)
        byte = static_cast<uint8_t>(below(256));
    return all;
}

void Run::expect_log(const std::string& text)
{
    expect(world.until([&] { return world.log().find(text) != std::string::npos; }, SECOND_US),
           "the log does not say: " + text);
}

std::string hex(const bytes_t& bytes)
{
    if (bytes.empty()) return "nothing";
    std::string text;
    char digits[4];
    for (size_t i = 0; i < std::min(bytes.size(), SHOWN); i++) {
        std::snprintf(digits, sizeof digits, "%02x ", bytes[i]);
        text += digits;
    }
    return text + "(" + std::to_string(bytes.size()) + " bytes)";
}

std::string hex(uint8_t byte)
{
    char text[8];
    std::snprintf(text, sizeof text, "0x%02x", byte);
    return text;
}

void expect_all_works(Run& run)
{
    World& world = run.world;
    run.expect(world.runs(), "afterwards the service does not run");
    if (!world.has_controller()) world.leaves(FMU);
    world.controller();
    expect_upgrade_works(run);
    expect_announced_and_released(run);
    expect_delivery_works(run);
    run.expect(world.ask(STATION, HOST_NFZ_UPGRADE, SET_COMMON, ID_GET_VERSION, {}).size() == 30 &&
                   world.ask(STATION, HOST_FLIGHT_SERVICE, SET_COMMON, ID_GET_VERSION, {}).size() == 61,
               "afterwards a version query is not answered");
    const size_t files = world.open_files();
    run.expect(files <= world.files_at_launch() + MORE_FILES + run.more_files,
               "afterwards " + std::to_string(files) + " files are open, and " +
                   std::to_string(world.files_at_launch()) + " were at the start");
    run.expect(world.log().find("Sanitizer") == std::string::npos, "a sanitizer speaks in the log");
}
