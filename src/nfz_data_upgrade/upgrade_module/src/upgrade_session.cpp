#include "nfz_data_upgrade/upgrade_module/src/upgrade_session.h"

#include "nfz_data_upgrade/upgrade_debugger/src/upgrade_debugger.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_data_file.h"

static upgrade_desc_t upgrade_data;

upgrade_desc_t* get_upgrade_desc()
{
    return &upgrade_data;
}

static void clear_words(upgrade_desc_t* desc)
{
    desc->firmware_size_ = 0;
    desc->saved_firmware_size_ = 0;
    desc->firmware_start_offset_ = 0;
    desc->last_package_index_ = -1;
    desc->current_write_address_ = 0;
    desc->data_md5_has_checked_data_len = 0;
    desc->data_md5_check_complete = false;
    desc->upgrade_state_ = UPGRADE_STATE_IDLE;
}

int upgrade_desc_init(upgrade_desc_t* desc)
{
    clear_words(desc);
    desc->current_package_index_ = 0;
    nfz_upgrade_log("upgrade_desc_init", "upgrade_desc_init\n");
    return upgrade_create_data_file();
}

int upgrade_desc_reset(upgrade_desc_t* desc)
{
    clear_words(desc);
    desc->current_package_index_ = -1;
    return 1;
}

void upgrade_set_firmware_size(upgrade_desc_t* desc, uint32_t size)
{
    desc->firmware_size_ = size;
}

uint32_t upgrade_get_firmware_size(const upgrade_desc_t* desc)
{
    return desc->firmware_size_;
}

void upgrade_set_last_package_index(upgrade_desc_t* desc, int32_t index)
{
    desc->last_package_index_ = index;
}

int32_t upgrade_get_last_package_index(const upgrade_desc_t* desc)
{
    return desc->last_package_index_;
}

void upgrade_set_current_package_index(upgrade_desc_t* desc, int32_t index)
{
    desc->current_package_index_ = index;
}

int32_t upgrade_get_current_package_index(const upgrade_desc_t* desc)
{
    return desc->current_package_index_;
}

void upgrade_add_saved_size(upgrade_desc_t* desc, uint32_t len)
{
    desc->saved_firmware_size_ = desc->saved_firmware_size_ + static_cast<uint16_t>(len);
}

bool upgrade_firmware_is_complete(const upgrade_desc_t* desc)
{
    return desc->saved_firmware_size_ == desc->firmware_size_;
}

static void log_state_change(upgrade_state_t from, upgrade_state_t to)
{
    nfz_upgrade_log("upgrade_set_state", "set state from %d to %d\n", static_cast<int>(from), static_cast<int>(to));
}

void upgrade_set_state(upgrade_desc_t* desc, upgrade_state_t state)
{
    log_state_change(upgrade_get_state(desc), state);
    desc->upgrade_state_ = state;
}

bool upgrade_advance_state(upgrade_desc_t* desc, upgrade_state_t seen, upgrade_state_t state)
{
    if (!desc->upgrade_state_.replace(seen, state)) return false;
    log_state_change(seen, state);
    return true;
}

upgrade_state_t upgrade_get_state(const upgrade_desc_t* desc)
{
    return desc->upgrade_state_;
}

bool upgrade_state_is(const upgrade_desc_t* desc, uint32_t state)
{
    return upgrade_get_state(desc) == static_cast<uint8_t>(state);
}

upgrade_mis_t get_nfz_data_state()
{
    switch (upgrade_get_state(&upgrade_data)) {
        case UPGRADE_STATE_INIT:
        case UPGRADE_STATE_START:
        case UPGRADE_STATE_DATA:
        case UPGRADE_STATE_END:
            return UPGRADE_RUNNING;
        case UPGRADE_STATE_FAIL:
            return UPGRADE_FAIL;
        case UPGRADE_STATE_SUCCESS:
            return UPGRADE_SUCCESS;
        case UPGRADE_STATE_IDLE:
            break;
    }
    return UPGRADE_IDLE;
}

uint16_t upgrade_modify_datalen_last_packet(const upgrade_desc_t* desc, uint16_t len)
{
    const uint32_t saved = desc->saved_firmware_size_;
    const uint32_t size = desc->firmware_size_;
    if (uint64_t{saved} + len <= size) return len;
    // The silence supervisor may reset the two words between our reads: never more than the block has.
    const auto missing = static_cast<uint16_t>(size > saved ? size - saved : 0);
    nfz_upgrade_log("upgrade_modify_datalen_last_packet",
                    "packet_data_len:%d, after modify, need_to_saved_data_len:%d\n", len, missing);
    return missing;
}
