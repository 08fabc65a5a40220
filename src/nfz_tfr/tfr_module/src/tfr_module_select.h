// The areas that the service keeps: those of the last reading nearest to the reference position. Timer thread only.
#pragma once

#include <cstdint>

#include "nfz_tfr/tfr_module/src/tfr_selection.h"
#include "nfz_tfr/tfr_module/src/tfr_wire.h"

extern tfr_info_t tfr_info;

// Empties the whole store, the reading flag included.
void reset_tfr_info();

// Metres from the reference position to the area's edge. Whether that position is valid is the caller's question.
float calculate_the_distance(const vela_tfr_item_t& item);

// Keeps the area if it is among the five nearest so far.
void add_tfr_item(const vela_tfr_item_t& item);

// Exchanges two slots; an index of 5 and above is refused (logged).
void swap_tfr_info_item(tfr_info_t* tfrs, uint8_t i, uint8_t j);

// Areas kept, 0 to 5; 0 while a reading is under way.
uint8_t get_tfr_info_num();

// A copy of slot `index`. Zero while a reading is under way (logged), and for an index of 5 and above.
vela_tfr_item_t get_tfr_info_by_index(uint8_t index);

// Logs position and slots at every 11th call.
void log_all_tfr_info();
