#include "nfz_tfr/tfr_module/src/tfr_selection.h"

#include <cmath>
#include <utility>

static constexpr double EARTH_RADIUS = 6378137.0;  // metres

gps_t change_gps_format(vela_tfr_gps input)
{
    static constexpr float TO_DEGREES = 1e-6F;
    static constexpr float TO_RADIANS = 0.017453292F;
    return {static_cast<float>(input.lat) * TO_DEGREES * TO_RADIANS,
            static_cast<float>(input.lng) * TO_DEGREES * TO_RADIANS};
}

float tfr_distance_to_edge(double lat, double lng, const vela_tfr_item_t& item)
{
    const gps_t center = change_gps_format(item.center);
    const auto from_lat = static_cast<float>(lat);
    const auto from_lng = static_cast<float>(lng);
    const float x = (center.lat - from_lat) * static_cast<float>(EARTH_RADIUS);
    // Double up to here: every receiver of these distances has always rounded at this place.
    const auto y = static_cast<float>(static_cast<double>(center.lng - from_lng) * EARTH_RADIUS *
                                      std::cos(static_cast<double>(from_lat)));
    return std::sqrt(x * x + y * y) - static_cast<float>(item.radius);
}

void tfr_selection_reset(tfr_info_t* tfrs)
{
    *tfrs = {};
    for (float& distance : tfrs->dis2drone)
        distance = TFR_FAR_AWAY;
}

bool tfr_selection_swap(tfr_info_t* tfrs, uint8_t i, uint8_t j)
{
    if (i >= TFR_KEPT_AREAS || j >= TFR_KEPT_AREAS) return false;
    std::swap(tfrs->dis2drone[i], tfrs->dis2drone[j]);
    std::swap(tfrs->tfr_items[i], tfrs->tfr_items[j]);
    return true;
}

void sort_tfr_info(tfr_info_t* tfrs)
{
    for (uint8_t i = 0; i < TFR_KEPT_AREAS; ++i) {
        for (auto j = static_cast<uint8_t>(i + 1); j < TFR_KEPT_AREAS; ++j) {
            if (tfrs->dis2drone[j] < tfrs->dis2drone[i]) tfr_selection_swap(tfrs, i, j);
        }
    }
}

static void put(tfr_info_t* tfrs, uint8_t slot, const vela_tfr_item_t& item, float distance)
{
    tfrs->tfr_items[slot] = item;
    tfrs->dis2drone[slot] = distance;
    sort_tfr_info(tfrs);
}

bool tfr_selection_add(tfr_info_t* tfrs, const vela_tfr_item_t& item, float distance)
{
    if (tfrs->num > TFR_KEPT_AREAS) return false;
    if (tfrs->num < TFR_KEPT_AREAS) {
        put(tfrs, tfrs->num++, item, distance);
        return true;
    }
    static constexpr uint8_t FARTHEST = TFR_KEPT_AREAS - 1;
    if (distance < tfrs->dis2drone[FARTHEST]) put(tfrs, FARTHEST, item, distance);
    return true;
}
