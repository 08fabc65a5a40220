#include "soak/soak_files.h"

#include <dirent.h>

#include <fstream>
#include <string>

#include "nfz_file/nfz_file.h"
#include "tfr_file/tfr_file.h"

namespace sim {
namespace {

constexpr const char* LIST = R"({"attribute": {"motion_num": 3},
    "motion0": {"motion_id": "kHover", "para_cfg": {"duration": 2}},
    "motion1": {"motion_id": "kStep", "para_cfg": {"loop_id": 4, "amp": 5, "intervals": 1, "repeat_times": 1}},
    "motion2": {"motion_id": "kHover", "para_cfg": {"duration": 1}}})";

void write_text(const char* path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

}  // namespace

void write_aircraft_files()
{
    write_text("/tmp/SD0/factory_test/afqt_motion_cfg_0.json", LIST);
    write_text("/tmp/SD0/factory_test/afqt/latest", "1");
    write_text("/tmp/EMMC/AFQT_ENABLE.txt", "");
}

std::vector<uint8_t> database_of(uint32_t version, uint64_t number)
{
    peers::nfz_recipe_t recipe = {};
    recipe.version = {1, 0, 0, version};
    recipe.content = peers::generate_nfz_content(recipe.version, 64 + number % 12'000);
    return peers::build_nfz_file(recipe);
}

std::vector<uint8_t> areas_of(uint64_t count)
{
    peers::tfr_recipe_t recipe;
    for (uint32_t number = 1; number <= count; number++) {
        vela_tfr_item_t area = {};
        area.area_id = number;
        area.center = {11'500'000, 48'100'000 + static_cast<int32_t>(number) * 45'000};
        area.radius = 400;
        recipe.areas.push_back(area);
    }
    return peers::build_tfr_file(recipe);
}

uint64_t open_descriptors()
{
    DIR* directory = opendir("/proc/self/fd");
    uint64_t count = 0;
    while (directory != nullptr && readdir(directory) != nullptr)
        count++;
    if (directory != nullptr) closedir(directory);
    return count;
}

}  // namespace sim
