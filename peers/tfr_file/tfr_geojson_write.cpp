#include <nlohmann/json.hpp>

#include "tfr_file/tfr_geojson.h"
#include "tfr_file/utc_time.h"

namespace peers {
namespace {

using json = nlohmann::ordered_json;

// The shortest number that is that many millionths: reading rounds to the same.
double degrees(int32_t millionths)
{
    return millionths / 1e6;
}

json position_of(const vela_tfr_gps& position)
{
    return {degrees(position.lng), degrees(position.lat)};
}

json geometry_of(const vela_tfr_item_t& area)
{
    if (area.point_num == 0) return {{"type", "Point"}, {"coordinates", position_of(area.center)}};
    json ring = json::array();
    for (size_t i = 0; i < area.point_num; i++)
        ring.push_back(position_of(area.points[i]));
    ring.push_back(position_of(area.points[0]));
    return {{"type", "Polygon"}, {"coordinates", json::array({ring})}};
}

json feature_of(const vela_tfr_item_t& area)
{
    json properties = {{"id", uint32_t{area.area_id}}};
    if (area.point_num > 0) properties["center"] = position_of(area.center);
    properties["radius"] = uint16_t{area.radius};
    properties["level"] = uint8_t{area.area_level};
    properties["shape"] = uint8_t{area.shape};
    properties["country"] = uint16_t{area.country};
    properties["start"] = utc_text(area.start_at);
    properties["end"] = utc_text(area.end_at);
    return {{"type", "Feature"}, {"properties", properties}, {"geometry", geometry_of(area)}};
}

}  // namespace

std::string write_tfr_geojson(const tfr_recipe_t& recipe)
{
    std::string text = "{\n  \"type\": \"FeatureCollection\",\n";
    if (recipe.uid) text += "  \"uid\": \"" + hex_text(*recipe.uid) + "\",\n";
    text += "  \"file_type\": " + std::to_string(recipe.type) + ",\n  \"features\": [";
    for (size_t i = 0; i < recipe.areas.size(); i++)
        text += (i > 0 ? ",\n    " : "\n    ") + feature_of(recipe.areas[i]).dump();
    return text + (recipe.areas.empty() ? "]\n}\n" : "\n  ]\n}\n");
}

}  // namespace peers
