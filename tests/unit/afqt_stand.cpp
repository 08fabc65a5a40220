#include "afqt_stand.h"

#include <cmath>
#include <cstring>
#include <filesystem>
#include <regex>
#include <sstream>

#include "afqt/include/afqt.h"
#include "afqt/include/afqt_motion_scheduler.h"

static constexpr double HOME_LAT = 0.5;
static constexpr double HOME_LON = 1.0;
static constexpr double EARTH = 6378137.0;

bytes_t f32(float value)
{
    uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return u32(bits);
}

std::string hex(const bytes_t& bytes)
{
    std::string text;
    char byte[4];
    for (const uint8_t value : bytes) {
        std::snprintf(byte, sizeof byte, text.empty() ? "%02x" : " %02x", value);
        text += byte;
    }
    return text;
}

static std::string floats(const bytes_t& bytes, size_t from, size_t number)
{
    std::ostringstream text;
    for (size_t i = 0; i < number; ++i) {
        float value = 0;
        std::memcpy(&value, bytes.data() + from + 4 * i, sizeof value);
        value = std::round(value * 1000) / 1000;  // a position in radians is good for a millimetre
        text << " " << (value == 0 ? 0 : value);
    }
    return text.str();
}

std::string text_of(const record_t& record)
{
    const bytes_t& bytes = record.payload;
    const bool sticks = record.to == 0x0306 && record.set == 0x03 && record.id == 0x8e;
    if (sticks && bytes.size() == 17) return "sticks " + hex(part(bytes, 0, 1)) + floats(bytes, 1, 4);
    if (sticks && bytes.size() == 43)
        return "pro " + hex(part(bytes, 0, 3)) + " |" + floats(bytes, 3, 4) + " |" + floats(bytes, 19, 2) + " |" +
               floats(bytes, 27, 2) + " |" + floats(bytes, 35, 2);
    char head[32];
    std::snprintf(head, sizeof head, "%04x %02x/%02x: ", record.to, record.set, record.id);
    return head + hex(bytes);
}

std::string text_at(const std::string& path)
{
    const bytes_t bytes = file_bytes(path);
    return std::string(bytes.begin(), bytes.end());
}

AfqtStand::AfqtStand()
{
    service_starts();
    std::filesystem::create_directories("/tmp/blackbox/log");
    std::filesystem::create_directories(AFQT_FILES);
    sent();
}

void AfqtStand::starts()
{
    printed_ += during([] { afqt_init(); });
    tick();
}

void AfqtStand::has_list(const std::string& json, int index)
{
    const std::string path = std::string(AFQT_FILES) + "/afqt_motion_cfg_" + std::to_string(index) + ".json";
    write_file(path, bytes_t(json.begin(), json.end()));
}

void AfqtStand::switched(uint8_t command, uint8_t index)
{
    EXPECT_TRUE(bus.delivers({STATION, FLIGHT, 0x22, 0x48, WANTS_REPLY, 7, {command, 0, index}}));
}

void AfqtStand::tick(int count)
{
    printed_ += during([&] {
        for (int i = 0; i < count; ++i) {
            clock.jumps(20ms);
            clock.ticks("AFQT_TIMER");
        }
    });
}

uint8_t AfqtStand::ext() const
{
    return afqt::get_afqt_main().update_ext_state();
}

void AfqtStand::is_at(double north, double east)
{
    db.gps_ctrl_level = 3;
    db.drone_gps[0] = HOME_LAT + north / EARTH;
    db.drone_gps[1] = HOME_LON + east / (EARTH * std::cos(HOME_LAT));
}

texts_t AfqtStand::told(bool with_heartbeats)
{
    texts_t texts;
    for (const record_t& record : sent()) {
        const bool heartbeat = record.set == 0x22 && record.id == 0x49 && record.payload.size() == 6;
        if (with_heartbeats || !heartbeat) texts.push_back(text_of(record));
    }
    return texts;
}

texts_t AfqtStand::logged()
{
    std::fflush(nullptr);
    const std::string all = text_at(log_name), text = all.substr(std::min(log_seen_, all.size()));
    log_seen_ = all.size();
    static const std::regex prefix(R"(\[ *\d+\.\d{3}\]\[(\w+)\])");
    texts_t lines;
    for (std::sregex_iterator it(text.begin(), text.end(), prefix), end; it != end; ++it) {
        const auto from = static_cast<size_t>(it->position() + it->length());
        const auto next = std::next(it);
        const size_t to = next == end ? text.size() : static_cast<size_t>(next->position());
        lines.push_back((*it)[1].str() + ": " + text.substr(from, to - from));
    }
    return lines;
}
