#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <optional>

#include "tfr_file/tfr_circle.h"
#include "tfr_file/tfr_geojson.h"
#include "tfr_file/utc_time.h"

namespace peers {
namespace {

using json = nlohmann::json;

constexpr const char* PROPERTIES[] = {"id", "radius", "center", "level", "shape", "country", "start", "end"};
// Words for people, which map programs like to add.
constexpr const char* IGNORED[] = {"name", "description", "remarks", "comment"};

// What was found, short enough for a message.
std::string shown(const json& value)
{
    static constexpr size_t LONGEST = 40;
    const std::string text = value.dump(-1, ' ', false, json::error_handler_t::replace);
    return text.size() <= LONGEST ? text : text.substr(0, LONGEST) + "…";
}

const json* member(const json& object, const char* name)
{
    const auto found = object.find(name);
    return found == object.end() || found->is_null() ? nullptr : &*found;
}

std::string text_member(const json& object, const char* name)
{
    const json* value = object.is_object() ? member(object, name) : nullptr;
    return value != nullptr && value->is_string() ? value->get<std::string>() : "";
}

// 500 and 500.0 are whole, 500.5 is not.
std::optional<uint64_t> whole_number(const json& value, uint64_t max)
{
    if (value.is_number_unsigned()) {
        const auto number = value.get<uint64_t>();
        return number <= max ? std::optional(number) : std::nullopt;
    }
    if (!value.is_number_float()) return std::nullopt;
    const double number = value.get<double>();
    if (!(number >= 0 && number <= static_cast<double>(max)) || number != std::floor(number)) return std::nullopt;
    return static_cast<uint64_t>(number);
}

class Reader {
public:
    tfr_geojson_t take() { return std::move(result_); }
    void read(std::string_view text);

private:
    void read_collection(const json& collection);
    void read_feature(const json& feature);
    void read_properties(const json& properties, vela_tfr_item_t& area);
    void read_geometry(const json& geometry, const json& properties, vela_tfr_item_t& area);
    void read_polygon(const json& coordinates, vela_tfr_item_t& area);
    void read_circle_of(const json& properties, vela_tfr_item_t& area);
    void complete_circle(vela_tfr_item_t& area, bool center, bool radius);
    void note_unknown(const json& properties);

    bool position(const json& value, const char* property, vela_tfr_gps& to);
    std::optional<uint64_t> number(const json& object, const char* property, uint64_t max);
    uint64_t required(const json& object, const char* property, uint64_t max);
    uint32_t time(const json& properties, const char* property);
    void problem(const std::string& property, const std::string& reason);
    void syntax_problem(std::string_view text, const json::parse_error& error);

    tfr_geojson_t result_;
    size_t feature_ = 0;
};

void Reader::problem(const std::string& property, const std::string& reason)
{
    if (result_.problem_count++ >= tfr_geojson_t::LISTED) return;
    result_.problems.push_back({.feature = feature_, .property = property, .reason = reason});
}

void Reader::syntax_problem(std::string_view text, const json::parse_error& error)
{
    // The library counts the byte at which it stopped, from 1, and repeats its own line and column in the message.
    const size_t at = std::min(error.byte > 0 ? error.byte - 1 : 0, text.size());
    const std::string_view before = text.substr(0, at);
    const size_t line_start = before.rfind('\n') == before.npos ? 0 : before.rfind('\n') + 1;
    std::string reason = error.what();
    const size_t place = reason.find("column ");
    const size_t colon = place == reason.npos ? reason.npos : reason.find(": ", place);
    if (colon != reason.npos) reason.erase(0, colon + 2);
    result_.problem_count++;
    result_.problems.push_back({.line = 1 + static_cast<size_t>(std::count(before.begin(), before.end(), '\n')),
                                .column = at - line_start + 1,
                                .reason = std::move(reason)});
}

void Reader::read(std::string_view text)
{
    try {
        read_collection(json::parse(text));
    } catch (const json::parse_error& error) {
        syntax_problem(text, error);
    } catch (const json::out_of_range& error) {
        // A number beyond what a double holds. The library does not say where it stands.
        const std::string text_of_it = error.what();
        problem("", text_of_it.substr(text_of_it.find("] ") + 2));
    }
}

void Reader::read_collection(const json& collection)
{
    if (text_member(collection, "type") != "FeatureCollection") {
        return problem("type", "has to be \"FeatureCollection\", for an object with an array \"features\"");
    }
    if (const json* uid = member(collection, "uid")) {
        result_.recipe.uid = parse_tfr_uid(text_member(collection, "uid"));
        if (!result_.recipe.uid) problem("uid", "is " + shown(*uid) + ", wanted are 32 hexadecimal digits in quotes");
    }
    result_.recipe.type = static_cast<uint8_t>(number(collection, "file_type", UINT8_MAX).value_or(0));
    const json* features = member(collection, "features");
    if (features == nullptr || !features->is_array()) return problem("features", "is missing, wanted is an array");
    if (features->size() > TFR_MAX_AREAS) {
        return problem("features", "has " + std::to_string(features->size()) + " areas, a file holds 65535 at most");
    }
    result_.recipe.areas.reserve(features->size());
    for (const json& feature : *features) {
        feature_++;
        read_feature(feature);
    }
}

void Reader::read_feature(const json& feature)
{
    vela_tfr_item_t area = {};
    const json* properties = feature.is_object() ? member(feature, "properties") : nullptr;
    const json* geometry = feature.is_object() ? member(feature, "geometry") : nullptr;
    if (text_member(feature, "type") != "Feature") return problem("type", "has to be \"Feature\"");
    if (properties == nullptr || !properties->is_object()) {
        problem("properties", "is missing, wanted is an object");
    } else {
        read_properties(*properties, area);
    }
    if (geometry == nullptr || !geometry->is_object()) {
        problem("geometry", "is missing, wanted is a Point or a Polygon");
    } else if (properties != nullptr && properties->is_object()) {
        read_geometry(*geometry, *properties, area);
    }
    result_.recipe.areas.push_back(area);
}

void Reader::read_properties(const json& properties, vela_tfr_item_t& area)
{
    area.area_id = static_cast<uint32_t>(required(properties, "id", UINT32_MAX));
    area.area_level = static_cast<uint8_t>(number(properties, "level", UINT8_MAX).value_or(0));
    area.shape = static_cast<uint8_t>(number(properties, "shape", UINT8_MAX).value_or(0));
    area.country = static_cast<uint16_t>(number(properties, "country", UINT16_MAX).value_or(0));
    area.start_at = time(properties, "start");
    area.end_at = time(properties, "end");
    note_unknown(properties);
}

void Reader::note_unknown(const json& properties)
{
    for (const auto& [name, value] : properties.items()) {
        const auto is_name = [&name = name](const char* known) { return name == known; };
        if (std::any_of(std::begin(PROPERTIES), std::end(PROPERTIES), is_name)) continue;
        if (std::any_of(std::begin(IGNORED), std::end(IGNORED), is_name)) continue;
        std::vector<std::string>& unknown = result_.unknown;
        if (std::find(unknown.begin(), unknown.end(), name) == unknown.end()) unknown.push_back(name);
    }
}

void Reader::read_geometry(const json& geometry, const json& properties, vela_tfr_item_t& area)
{
    const std::string type = text_member(geometry, "type");
    const json* coordinates = member(geometry, "coordinates");
    if (type != "Point" && type != "Polygon") {
        return problem("geometry", "is " + (type.empty() ? std::string("of no type") : "a " + type) +
                                       ", wanted is a Point with a radius or a Polygon; one feature for each area");
    }
    if (coordinates == nullptr) return problem("coordinates", "is missing");
    if (type == "Polygon") {
        read_polygon(*coordinates, area);
        return read_circle_of(properties, area);
    }
    if (member(properties, "center") != nullptr) problem("center", "is given for a Point, which is its own center");
    position(*coordinates, "coordinates", area.center);
    area.radius = static_cast<uint16_t>(required(properties, "radius", UINT16_MAX));
}

// Closed or not: a last position equal to the first is no corner of its own. On an error the area keeps no corners.
void Reader::read_polygon(const json& coordinates, vela_tfr_item_t& area)
{
    if (!coordinates.is_array() || coordinates.empty() || !coordinates[0].is_array() || coordinates[0].empty()) {
        return problem("coordinates", "is " + shown(coordinates) + ", wanted is [[[longitude, latitude], …]]");
    }
    if (coordinates.size() > 1) {
        problem("coordinates", "has holes, which a restricted area cannot have");
    }
    std::vector<vela_tfr_gps> ring;
    for (const json& one : coordinates[0]) {
        if (!position(one, "coordinates", ring.emplace_back())) return;
    }
    const auto same = [](const vela_tfr_gps& a, const vela_tfr_gps& b) { return a.lng == b.lng && a.lat == b.lat; };
    if (ring.size() > 1 && same(ring.front(), ring.back())) ring.pop_back();
    if (ring.size() > TFR_MAX_POINTS) {
        return problem("coordinates", "has " + std::to_string(ring.size()) + " corners, allowed are 1 to 10");
    }
    area.point_num = static_cast<uint8_t>(ring.size());
    std::copy(ring.begin(), ring.end(), area.points);
}

void Reader::read_circle_of(const json& properties, vela_tfr_item_t& area)
{
    const json* center = member(properties, "center");
    const bool has_radius = member(properties, "radius") != nullptr;
    if (center != nullptr && !position(*center, "center", area.center)) return;
    area.radius = static_cast<uint16_t>(number(properties, "radius", UINT16_MAX).value_or(0));
    if (area.point_num > 0 && (center == nullptr || !has_radius)) {
        complete_circle(area, center == nullptr, !has_radius);
    }
}

void Reader::complete_circle(vela_tfr_item_t& area, bool center, bool radius)
{
    const corners_t corners(area.points, area.point_num);
    const auto [west, east] =
        std::minmax_element(corners.begin(), corners.end(), [](const auto& a, const auto& b) { return a.lng < b.lng; });
    if (int64_t{east->lng} - west->lng > TFR_MAX_LNG) {
        return problem("coordinates", "span more than 180 degrees: cut the area at the date line");
    }
    if (center) area.center = middle_of(corners);
    const double reach = std::ceil(reach_of(area.center, corners));
    if (radius && reach > UINT16_MAX) {
        return problem("coordinates", "reach " + std::to_string(std::lround(reach)) +
                                          " m from the center, the circle around an area has 65535 m at most");
    }
    if (radius) area.radius = static_cast<uint16_t>(reach);
    result_.computed.push_back({feature_, center, radius});
}

bool Reader::position(const json& value, const char* property, vela_tfr_gps& to)
{
    const bool numbers =
        value.is_array() && (value.size() == 2 || value.size() == 3) && value[0].is_number() && value[1].is_number();
    if (!numbers) {
        problem(property, "has " + shown(value) + ", wanted is [longitude, latitude] in degrees");
        return false;
    }
    const double lng = value[0].get<double>();
    const double lat = value[1].get<double>();
    if (!(std::fabs(lng) <= 180.0 && std::fabs(lat) <= 90.0)) {
        problem(property, "has " + shown(value) + ", allowed are longitudes of -180 to 180, latitudes of -90 to 90");
        return false;
    }
    to = {static_cast<int32_t>(std::lround(lng * 1e6)), static_cast<int32_t>(std::lround(lat * 1e6))};
    return true;
}

// None when it is not there, or wrong, which is then said.
std::optional<uint64_t> Reader::number(const json& object, const char* property, uint64_t max)
{
    const json* value = member(object, property);
    if (value == nullptr) return std::nullopt;
    const std::optional<uint64_t> found = whole_number(*value, max);
    if (!found) problem(property, "is " + shown(*value) + ", allowed are whole numbers of 0 to " + std::to_string(max));
    return found;
}

uint64_t Reader::required(const json& object, const char* property, uint64_t max)
{
    if (member(object, property) == nullptr) {
        problem(property, "is missing, wanted is a whole number of 0 to " + std::to_string(max));
    }
    return number(object, property, max).value_or(0);
}

uint32_t Reader::time(const json& properties, const char* property)
{
    static constexpr const char* WANTED = "wanted is a time such as \"2026-07-01T08:00:00Z\", or seconds since 1970";
    const json* value = member(properties, property);
    if (value == nullptr) {
        problem(property, std::string("is missing, ") + WANTED);
        return 0;
    }
    const std::optional<uint64_t> seconds =
        value->is_string() ? std::optional<uint64_t>(parse_utc(value->get_ref<const std::string&>()))
                           : whole_number(*value, UINT32_MAX);
    if (!seconds) problem(property, "is " + shown(*value) + ", " + WANTED + " (1970 to 2106)");
    return static_cast<uint32_t>(seconds.value_or(0));
}

}  // namespace

std::string tfr_problem_t::text() const
{
    std::string text;
    if (line > 0) text = std::to_string(line) + ":" + std::to_string(column) + ": ";
    if (feature > 0) text += "feature " + std::to_string(feature) + ": ";
    if (!property.empty()) text += "\"" + property + "\" ";
    return text + reason;
}

tfr_geojson_t read_tfr_geojson(std::string_view text)
{
    Reader reader;
    reader.read(text);
    return reader.take();
}

}  // namespace peers
