// What the restriction tests speak in: files written down area by area, the app's requests, the pushes, and a model of
// which areas are kept.
#pragma once

#include "aircraft.h"
#include "flight_db/flight_db.h"

inline constexpr const char* TFR = "/tmp/EMMC/nfz_tfr.bin";
inline constexpr int32_t MILLIDEGREE = 1000;  // in the file's units, 111.3 m to the north

// One area; all that is not named here follows from its id.
struct area_t {
    uint32_t id;
    int32_t lat;  // 1e-6 degree
    int32_t lng;
    uint16_t radius = 0;
    uint8_t corners = 0;

    bytes_t record() const;  // as the file has it
    bytes_t item() const;    // as it is pushed, with room for ten corners
};
using areas_t = std::vector<area_t>;

texts_t in_hex(const std::string& before, const bytes_t& bytes);  // "before0x5a", a text for each byte

bytes_t uid_of(uint8_t first);  // 16 bytes, each one more than the last
bytes_t tfr_file(const areas_t& areas, uint8_t uid = 0xa0);

uint32_t u32_at(const bytes_t& bytes, size_t offset);

// As stated, with the rounding of every step.
float model_distance(double lat, double lng, int32_t center_lat, int32_t center_lng, uint16_t radius);

// The five slots, told only distances; numbers what it is told from 0.
struct model_t {
    void add(float distance);

    std::array<float, 5> distance = {40076000.f, 40076000.f, 40076000.f, 40076000.f, 40076000.f};
    std::array<int, 5> which = {-1, -1, -1, -1, -1};
    size_t num = 0;

private:
    int told_ = 0;
};

class TfrAircraft : public Aircraft {
protected:
    TfrAircraft();

    bytes_t asks(const bytes_t& request) { return app.asks(FLIGHT, 0x03, 0xcd, request); }
    bytes_t starts() { return asks({0}); }
    bytes_t sends(uint32_t number, uint32_t total, const bytes_t& data);
    bytes_t sends(uint32_t number, uint32_t total, size_t size) { return sends(number, total, bytes_t(size, 0x33)); }
    bytes_t finishes() { return asks({2}); }
    bytes_t sends_all(const bytes_t& file);  // in fragments of 255; the finish reply

    void flies_at(double lat, double lng);  // degrees, with a usable fix
    bytes_t push_after_tick();              // its payload, the only message of the tick
    std::string tick();                     // "idx/num:area" of the push
    texts_t ticks(int count);

    texts_t logged();  // "function: text" of this module since the last call

    flight_global_db_t& db = *flight_get_db();
};

bytes_t push_of(const bytes_t& uid, uint8_t num, uint8_t idx, const bytes_t& item);
