#include "tfr_file/tfr_remarks.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "tfr_file/tfr_circle.h"

namespace peers {
namespace {

// Of the circle on a polygon: corners and center are rounded to 0.11 m, the radius to whole metres.
constexpr double ROUNDING_M = 1.0;

bool on_earth(const vela_tfr_gps& position)
{
    return std::abs(int64_t{position.lng}) <= TFR_MAX_LNG && std::abs(int64_t{position.lat}) <= TFR_MAX_LAT;
}

corners_t corners_of(const vela_tfr_item_t& area)
{
    return {area.points, area.point_num};
}

std::string circle_remark(const vela_tfr_item_t& area)
{
    if (area.point_num == 0) return {};
    const double reach = reach_of(area.center, corners_of(area));
    if (reach <= area.radius + ROUNDING_M) return {};
    return "its circle of " + std::to_string(area.radius) + " m does not reach a corner " +
           std::to_string(std::lround(reach)) + " m from its center: the service measures distances to the circle";
}

std::vector<std::string> texts_on(const vela_tfr_item_t& area)
{
    std::vector<std::string> texts;
    const corners_t corners = corners_of(area);
    if (!on_earth(area.center) || !std::all_of(corners.begin(), corners.end(), on_earth)) {
        texts.emplace_back("it has a position beyond 180 or 90 degrees");
    }
    if (area.end_at < area.start_at) texts.emplace_back("it ends before it starts");
    if (area.point_num == 1 || area.point_num == 2) {
        texts.push_back("a polygon of " + std::to_string(area.point_num) + " corners encloses nothing");
    }
    if (std::string text = circle_remark(area); !text.empty()) texts.push_back(std::move(text));
    return texts;
}

}  // namespace

std::vector<tfr_remark_t> remarks_on(std::span<const vela_tfr_item_t> areas)
{
    std::vector<tfr_remark_t> remarks;
    std::unordered_map<uint32_t, size_t> first_with;
    for (size_t i = 0; i < areas.size(); i++) {
        const uint32_t id = areas[i].area_id;
        for (std::string& text : texts_on(areas[i]))
            remarks.push_back({i + 1, id, std::move(text)});
        const auto [first, is_new] = first_with.emplace(id, i + 1);
        if (is_new) continue;
        remarks.push_back({i + 1, id, "it has the id of area " + std::to_string(first->second)});
    }
    return remarks;
}

}  // namespace peers
