// The one upgrade session of the process: its record and states.
#pragma once

#include <md5.h>

#include <cstdint>

#include "common/shared_word.h"

enum upgrade_state_t : uint32_t {
    UPGRADE_STATE_IDLE = 0,     // no session
    UPGRADE_STATE_INIT = 1,     // entry accepted
    UPGRADE_STATE_START = 2,    // start accepted, size known, waiting for the first block
    UPGRADE_STATE_DATA = 3,     // first block accepted
    UPGRADE_STATE_END = 4,      // all bytes received, waiting for the end request
    UPGRADE_STATE_FAIL = 5,     // failed or timed out
    UPGRADE_STATE_SUCCESS = 6,  // database verified and kept
};

// The coarse state that other modules ask for.
enum upgrade_mis_t : uint32_t {
    UPGRADE_IDLE = 0,
    UPGRADE_RUNNING = 1,  // INIT to END
    UPGRADE_FAIL = 2,
    UPGRADE_SUCCESS = 3,
};

// The words are written by the upgrade client's task (handlers) and, when a session is given up for silence, by the
// upgrade timer; both read them. The digests belong to the handlers alone: a reset leaves them, start begins them anew.
struct upgrade_desc_t {
    char* board_name_str_;                         // always null
    shared_word<uint32_t> firmware_size_;          // bytes announced by the start request
    shared_word<uint32_t> saved_firmware_size_;    // bytes in the data file so far
    shared_word<uint32_t> firmware_start_offset_;  // always 0
    shared_word<int32_t> last_package_index_;      // last block written, -1 before the first
    shared_word<int32_t> current_package_index_;   // block being handled
    shared_word<int32_t> current_write_address_;   // always 0
    shared_word<upgrade_state_t> upgrade_state_;
    MD5_CTX md5;           // over the bytes received
    uint8_t md5_code[16];  // its final value
    MD5_CTX data_md5;      // over the file's content without its last 16 bytes
    uint8_t data_md5_code[16];
    shared_word<uint32_t> data_md5_has_checked_data_len;  // bytes of the file already in data_md5
    shared_word<bool> data_md5_check_complete;            // data_md5_code is final
};

upgrade_desc_t* get_upgrade_desc();

// Clears the record and makes sure that the data directory exists: 1 if it does afterwards, else 0. Main thread, once.
int upgrade_desc_init(upgrade_desc_t* desc);

// Back to IDLE without a log line. Returns 1.
int upgrade_desc_reset(upgrade_desc_t* desc);

void upgrade_set_firmware_size(upgrade_desc_t* desc, uint32_t size);
uint32_t upgrade_get_firmware_size(const upgrade_desc_t* desc);
void upgrade_set_last_package_index(upgrade_desc_t* desc, int32_t index);
int32_t upgrade_get_last_package_index(const upgrade_desc_t* desc);
void upgrade_set_current_package_index(upgrade_desc_t* desc, int32_t index);
int32_t upgrade_get_current_package_index(const upgrade_desc_t* desc);

// Adds the low 16 bits of `len`.
void upgrade_add_saved_size(upgrade_desc_t* desc, uint32_t len);
bool upgrade_firmware_is_complete(const upgrade_desc_t* desc);

// Logs the change and stores it.
void upgrade_set_state(upgrade_desc_t* desc, upgrade_state_t state);

// The handlers' way to the next state: only from the one they saw when the request came. False, and nothing logged,
// when the silence supervisor gave the session up meanwhile; its FAIL must not be overwritten.
bool upgrade_advance_state(upgrade_desc_t* desc, upgrade_state_t seen, upgrade_state_t state);
upgrade_state_t upgrade_get_state(const upgrade_desc_t* desc);

// Compares with the low 8 bits of `state`.
bool upgrade_state_is(const upgrade_desc_t* desc, uint32_t state);

upgrade_mis_t get_nfz_data_state();

// `len`, or what is still missing of the announced size when that is less (logged): surplus bytes are dropped.
uint16_t upgrade_modify_datalen_last_packet(const upgrade_desc_t* desc, uint16_t len);
