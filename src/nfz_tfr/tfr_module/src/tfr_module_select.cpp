#include "nfz_tfr/tfr_module/src/tfr_module_select.h"

#include "nfz_tfr/tfr_debugger/src/tfr_debugger.h"
#include "nfz_tfr/tfr_module/src/tfr_module_get_pos.h"

tfr_info_t tfr_info;

static uint8_t log_count;

void reset_tfr_info()
{
    tfr_selection_reset(&tfr_info);
}

float calculate_the_distance(const vela_tfr_item_t& item)
{
    const tfr_ref_pos_t reference = tfr_get_pos_info();
    return tfr_distance_to_edge(reference.lat, reference.lng, item);
}

void add_tfr_item(const vela_tfr_item_t& item)
{
    if (tfr_selection_add(&tfr_info, item, calculate_the_distance(item))) return;
    nfz_tfr_log("add_tfr_item", "wrong tfr num %d", tfr_info.num);
}

void swap_tfr_info_item(tfr_info_t* tfrs, uint8_t i, uint8_t j)
{
    if (!tfr_selection_swap(tfrs, i, j)) nfz_tfr_log("swap_tfr_info_item", "error: swap index wrong");
}

uint8_t get_tfr_info_num()
{
    return tfr_info.in_reading ? uint8_t{0} : tfr_info.num;
}

vela_tfr_item_t get_tfr_info_by_index(uint8_t index)
{
    if (tfr_info.in_reading) {
        nfz_tfr_log("get_tfr_info_by_index", "TFR is in reading, return null");
        return {};
    }
    if (index >= TFR_KEPT_AREAS) return {};
    return tfr_info.tfr_items[index];
}

static void log_slot(int slot, float distance, const vela_tfr_item_t& item)
{
    nfz_tfr_log("log_all_tfr_info", "[%d]area_id:%d, distance:%f, center(%d, %d), time(%d-->%d), polygon_points:%d",
                slot, static_cast<int>(item.area_id), static_cast<double>(distance), item.center.lat, item.center.lng,
                static_cast<int>(item.start_at), static_cast<int>(item.end_at), item.point_num);
}

void log_all_tfr_info()
{
    static constexpr const char* tag = "log_all_tfr_info";
    static constexpr uint8_t SILENT_CALLS = 10;
    if (++log_count <= SILENT_CALLS) return;
    log_count = 0;
    const tfr_ref_pos_t reference = tfr_get_pos_info();
    nfz_tfr_log(tag, "tfr reference pos, pos_type:%d, lat:%f, lng:%f", static_cast<int>(reference.pos_type),
                reference.lat, reference.lng);
    nfz_tfr_log(tag, "tfr_info num:%d", tfr_info.num);
    for (int slot = 0; slot < TFR_KEPT_AREAS; ++slot)
        log_slot(slot, tfr_info.dis2drone[slot], tfr_info.tfr_items[slot]);
}
