// The areas nearest to a position, nearest first. Nothing but arithmetic on what it is given: the service keeps its
// selection with it, and tools show with it what the service would select.
#pragma once

#include <cstdint>

#include "tfr_wire.h"

struct gps_t {
    float lat;  // radians
    float lng;
};

// What an empty slot counts as: the earth's circumference in metres, farther than any area.
inline constexpr float TFR_FAR_AWAY = 40076000.0F;

struct tfr_info_t {
    bool in_reading;
    uint8_t num;  // areas kept, 0 to 5
    uint8_t idx;
    float dis2drone[TFR_KEPT_AREAS];  // metres to the edge of each area, ascending
    vela_tfr_item_t tfr_items[TFR_KEPT_AREAS];
};

// Units of 1e-6 degree to radians, in single precision throughout.
gps_t change_gps_format(vela_tfr_gps input);

// Metres from (lat, lng) in radians to the edge of the area's circle, negative inside; a polygon is measured by its
// center and radius, too. Equirectangular on a sphere of 6378137 m, single precision: positions are rounded to about
// 0.8 m at 180 degrees. Areas across the date line count as far away. NaN when the position is.
float tfr_distance_to_edge(double lat, double lng, const vela_tfr_item_t& item);

// Nothing kept, every slot far away.
void tfr_selection_reset(tfr_info_t* tfrs);

// Keeps the area while there is room; afterwards only if it is strictly nearer than the farthest one kept, which it
// then replaces. False, with nothing changed, when more areas are counted than there are slots.
bool tfr_selection_add(tfr_info_t* tfrs, const vela_tfr_item_t& item, float distance);

// Exchanges slots until their distances ascend. Not stable: 50, 50, 30 becomes the third, the second, the first.
void sort_tfr_info(tfr_info_t* tfrs);

// Exchanges two slots. False for an index beyond the last slot.
bool tfr_selection_swap(tfr_info_t* tfrs, uint8_t i, uint8_t j);
