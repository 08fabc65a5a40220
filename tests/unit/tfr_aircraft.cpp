#include "tfr_aircraft.h"

#include <cmath>
#include <numbers>

#include "nfz_tfr/nfz_tfr.h"

static bytes_t point(int32_t lng, int32_t lat)
{
    return u32(static_cast<uint32_t>(lng)) + u32(static_cast<uint32_t>(lat));
}

static bytes_t without_end(const area_t& area)
{
    bytes_t bytes = u32(area.id) + bytes_t{area.corners};
    for (int32_t i = 0; i < area.corners; ++i)
        bytes = bytes + point(-1 - i, 0x01020304 + i);
    return bytes;
}

static bytes_t end_of(const area_t& area)
{
    return point(area.lng, area.lat) + u16(area.radius) + bytes_t{0xfe, uint8_t(area.id)} + u16(0x8765) +
           u32(0x80000000 + area.id) + u32(0xfffffffe);
}

bytes_t area_t::record() const
{
    return without_end(*this) + end_of(*this);
}

bytes_t area_t::item() const
{
    return without_end(*this) + zeros(size_t{8} * (10 - corners)) + end_of(*this);
}

texts_t in_hex(const std::string& before, const bytes_t& bytes)
{
    texts_t texts;
    for (const uint8_t byte : bytes) {
        char text[8];
        std::snprintf(text, sizeof text, "0x%x", byte);
        texts.push_back(before + text);
    }
    return texts;
}

bytes_t uid_of(uint8_t first)
{
    bytes_t uid;
    for (uint8_t i = 0; i < 16; ++i)
        uid.push_back(static_cast<uint8_t>(first + i));
    return uid;
}

bytes_t tfr_file(const areas_t& areas, uint8_t uid)
{
    bytes_t file = u16(uint32_t(areas.size())) + bytes_t{0x77};
    for (const area_t& area : areas)
        file = file + area.record();
    return with_digest(file + uid_of(uid) + zeros(16));
}

uint32_t u32_at(const bytes_t& bytes, size_t offset)
{
    const bytes_t four = part(bytes, offset, offset + 4);
    return uint32_t{four[0]} | uint32_t{four[1]} << 8 | uint32_t{four[2]} << 16 | uint32_t{four[3]} << 24;
}

float model_distance(double lat, double lng, int32_t center_lat, int32_t center_lng, uint16_t radius)
{
    const float center_lat_rad = static_cast<float>(center_lat) * 1e-6f * 0.017453292f;
    const float center_lng_rad = static_cast<float>(center_lng) * 1e-6f * 0.017453292f;
    const auto ref_lat = static_cast<float>(lat);
    const float x = (center_lat_rad - ref_lat) * 6378137.0f;
    const float y = static_cast<float>(static_cast<double>(center_lng_rad - static_cast<float>(lng)) * 6378137.0 *
                                       std::cos(static_cast<double>(ref_lat)));
    return std::sqrt(x * x + y * y) - static_cast<float>(radius);
}

void model_t::add(float added)
{
    const int number = told_++;
    if (num == 5 && !(added < distance[4])) return;
    const size_t slot = num < 5 ? num++ : 4;
    distance[slot] = added;
    which[slot] = number;
    for (size_t i = 0; i < 5; ++i) {
        for (size_t j = i + 1; j < 5; ++j) {
            if (!(distance[j] < distance[i])) continue;
            std::swap(distance[i], distance[j]);
            std::swap(which[i], which[j]);
        }
    }
}

TfrAircraft::TfrAircraft()
{
    service_starts();
    tfr_init();
    sent();
    logged();
}

bytes_t TfrAircraft::sends(uint32_t number, uint32_t total, const bytes_t& data)
{
    return asks(bytes_t{1} + u16(number) + u32(total) + bytes_t{static_cast<uint8_t>(data.size())} + data);
}

bytes_t TfrAircraft::sends_all(const bytes_t& file)
{
    for (uint32_t number = 0; size_t{number} * 255 < file.size(); ++number) {
        const size_t begin = size_t{number} * 255;
        const bytes_t reply = sends(number, uint32_t(file.size()), part(file, begin, begin + 255));
        EXPECT_EQ(reply, (bytes_t{0, 1} + u16(number + 1) + zeros(14)));
    }
    return finishes();
}

void TfrAircraft::flies_at(double lat, double lng)
{
    db.gps_ctrl_level = 3;
    db.drone_gps[0] = lat * std::numbers::pi / 180;
    db.drone_gps[1] = lng * std::numbers::pi / 180;
}

bytes_t TfrAircraft::push_after_tick()
{
    sent();
    clock.ticks("nfz_tfr_timer");
    const std::vector<record_t> records = sent();
    if (records.size() != 1 || records[0].payload.size() != 125) {
        ADD_FAILURE() << records.size() << " messages in a tick";
        return zeros(125);
    }
    const record_t& push = records[0];
    EXPECT_EQ(push, (record_t{FLIGHT, 0x0306, 0x1f, 0x12, 0x0100, push.seq, push.payload}));
    return push.payload;
}

std::string TfrAircraft::tick()
{
    const bytes_t push = push_after_tick();
    return std::to_string(push[17]) + "/" + std::to_string(push[16]) + ":" + std::to_string(u32_at(push, 18));
}

texts_t TfrAircraft::ticks(int count)
{
    texts_t pushes;
    for (int i = 0; i < count; ++i)
        pushes.push_back(tick());
    return pushes;
}

texts_t TfrAircraft::logged()
{
    texts_t texts;
    for (const ScriptedLog::line_t& line : std::exchange(log.lines, {}))
        if (line.format.starts_with("[nfz_tfr]")) texts.push_back(line.tag + ": " + line.text);
    return texts;
}

bytes_t push_of(const bytes_t& uid, uint8_t num, uint8_t idx, const bytes_t& item)
{
    return uid + bytes_t{num, idx} + item;
}
