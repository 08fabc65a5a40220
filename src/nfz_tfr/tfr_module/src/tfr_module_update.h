// The transfer of a restriction file: how far it is, and the file it grows in. Flight client task; only
// get_tfr_update_status is for any thread. The file operations may block on the disk; no heap.
#pragma once

#include <cstdint>

#include "common/shared_word.h"

enum tfr_update_state_t : uint32_t {
    TFR_UPDATE_STATE_IDLE = 0,
    TFR_UPDATE_STATE_TRANSFER = 1,
    TFR_UPDATE_STATE_FINISH = 2,  // all announced bytes are saved, the finish request is awaited
    TFR_UPDATE_DTATE_NUM = 3,
};

struct tfr_update_event_t {
    shared_word<tfr_update_state_t> _state;  // flight client task writes, the TFR timer reads
    uint16_t _packet_seq_last;
    uint32_t _packet_size;      // bytes of the whole file, as announced with the last fragment saved
    uint32_t _saved_data_size;  // bytes appended since the last reset
};

void set_tfr_update_status(tfr_update_state_t state);
tfr_update_state_t get_tfr_update_status();
uint32_t get_tfr_packet_size();
uint32_t get_tfr_saved_data_size();
uint16_t get_tfr_update_packet_seq_last();
void add_saved_data_size(uint8_t size);
void tfr_update_event_reset();

// True when `seq` may follow: anything while nothing is saved, else the last number plus 1. Nothing follows 65535.
bool check_seq_continue(uint16_t seq);

// Notes the number of a saved fragment. Returns 1.
int update_seq(uint16_t seq);

// 0 while nothing is saved, else the last number plus 1, low 16 bits.
uint16_t get_next_expect_seq();

// Notes the announced size; true when that much is saved.
bool check_tfr_update_can_finish(uint32_t total_size);

// Appends to `file`. False when not all bytes could be written (those that were stay in the file).
bool save_data(const uint8_t* data, uint8_t data_len, const char* file);

// Appends to the stored file and counts the bytes. False, with none counted, as above.
bool tfr_update_save_data(const uint8_t* data, uint8_t len);

// Makes the file empty, creating it if it is missing. False (logged) when it cannot be opened: it stays as it was. Also
// called by the TFR timer, for a file whose digest is wrong.
bool tfr_delete_all_data(const char* path);
