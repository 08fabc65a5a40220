// The stored restriction file, area by area. May block on the disk; no heap.
#pragma once

#include <cstdint>

#include "nfz_tfr/tfr_module/src/tfr_file.h"
#include "nfz_tfr/tfr_module/src/tfr_wire.h"

// A polygon as the file has it, with room for all corners.
struct vela_tfr_item_polygon_t {
    vela_tfr_item_head_t head;
    vela_tfr_gps points[TFR_MAX_POINTS];
    vela_tfr_item_polygon_end_t end;
};

// Single reads at a file offset; by path they open the file for just this read. A read that fails is logged and gives
// zeros, also for the part of a record that the file still holds. False: not all `length` bytes are there.
bool read_tfr_file(const char* path, uint32_t offset, uint32_t length, void* buffer);
tfr_head_t read_tfr_head(const char* path);
tfr_tail_t read_tfr_tail(const char* path, uint32_t offset);
vela_tfr_item_head_t read_tfr_item_head(const char* path, uint32_t offset);
vela_tfr_item_circle_t read_tfr_item_circle(const char* path, uint32_t offset);
void get_tfr_item_polygon_buf(const char* path, uint32_t offset, uint8_t* buffer, uint32_t length);

tfr_head_t read_tfr_head(tfr_file_t& file);
tfr_tail_t read_tfr_tail(tfr_file_t& file, uint32_t offset);
vela_tfr_item_head_t read_tfr_item_head(tfr_file_t& file, uint32_t offset);
vela_tfr_item_circle_t read_tfr_item_circle(tfr_file_t& file, uint32_t offset);
void get_tfr_item_polygon_buf(tfr_file_t& file, uint32_t offset, uint8_t* buffer, uint32_t length);

vela_tfr_item_t convert_circle_to_item(const vela_tfr_item_circle_t& circle);
vela_tfr_item_t convert_polygon_to_item(const vela_tfr_item_polygon_t& polygon);

// Rebuilds the selection from the file at `path`. False when its digest is wrong (it is emptied, the selection stays)
// or when an area has more than 10 corners (the areas before it stay selected). Timer thread.
bool tfr_module_read_data(const char* path);

// The same for the stored file, unless a transfer is under way. Timer thread.
bool tfr_data_update();

// The uid of the stored file into `uid`: its `uid_len` bytes before the last 16. Zero when the file has no room for
// both. Flight client task.
void get_tfr_info_uid_by_read_file(const char* path, uint8_t* uid, uint32_t uid_len);

// The first `len` bytes of the uid of the last file read. False, with nothing copied, for more than 16. Timer thread.
bool get_tfr_info_after_read(uint8_t* buffer, uint8_t len);
