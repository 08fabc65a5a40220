#include "nfz_tfr/tfr_module/src/tfr_module_update.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "common/file_io.h"
#include "nfz_tfr/tfr_debugger/src/tfr_debugger.h"
#include "nfz_tfr/tfr_module/src/tfr_file.h"

static constexpr mode_t FILE_MODE = 0666;  // less the process's umask

static tfr_update_event_t tfr_update_event;

void set_tfr_update_status(tfr_update_state_t state)
{
    // The brackets make it no conversion: the line always came out like this, without the states.
    nfz_tfr_log("set_tfr_update_status", "%s", "set tfr state from %[d] to %[d]");
    tfr_update_event._state = state;
}

tfr_update_state_t get_tfr_update_status()
{
    return tfr_update_event._state;
}

uint32_t get_tfr_packet_size()
{
    return tfr_update_event._packet_size;
}

uint32_t get_tfr_saved_data_size()
{
    return tfr_update_event._saved_data_size;
}

uint16_t get_tfr_update_packet_seq_last()
{
    return tfr_update_event._packet_seq_last;
}

void add_saved_data_size(uint8_t size)
{
    tfr_update_event._saved_data_size += size;
}

void tfr_update_event_reset()
{
    tfr_update_event._state = TFR_UPDATE_STATE_IDLE;
    tfr_update_event._packet_seq_last = 0;
    tfr_update_event._packet_size = 0;
    tfr_update_event._saved_data_size = 0;
    nfz_tfr_log("tfr_update_event_reset", "reset update event success");
}

bool check_seq_continue(uint16_t seq)
{
    return tfr_update_event._saved_data_size == 0 || seq == tfr_update_event._packet_seq_last + 1;
}

int update_seq(uint16_t seq)
{
    tfr_update_event._packet_seq_last = seq;
    return 1;
}

uint16_t get_next_expect_seq()
{
    if (tfr_update_event._saved_data_size == 0) return 0;
    return static_cast<uint16_t>(tfr_update_event._packet_seq_last + 1);
}

bool check_tfr_update_can_finish(uint32_t total_size)
{
    static constexpr const char* tag = "check_tfr_update_can_finish";
    const uint32_t saved = tfr_update_event._saved_data_size;
    nfz_tfr_printf(tag, "saved data %d, total data %d", static_cast<int>(saved), static_cast<int>(total_size));
    tfr_update_event._packet_size = total_size;
    if (saved < total_size) return false;
    nfz_tfr_log(tag, "check finish true, because saved data %d, total data %d", static_cast<int>(saved),
                static_cast<int>(total_size));
    return true;
}

bool save_data(const uint8_t* data, uint8_t data_len, const char* file)
{
    static constexpr const char* tag = "save_data";
    const scoped_fd to(open(file, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, FILE_MODE));
    if (!to.is_open()) {
        nfz_tfr_log(tag, "ERROR: %s\n", strerror(errno));
        nfz_tfr_log(tag, "error, file not exist, when save data");
        return false;
    }
    const size_t written = file_write(to.get(), data, data_len);
    if (written == data_len) return true;
    nfz_tfr_printf(tag, "error: data_len%d, not equal, write_data_len%d\n", data_len, static_cast<int>(written));
    return false;
}

bool tfr_update_save_data(const uint8_t* data, uint8_t len)
{
    if (!save_data(data, len, TFR_FILE)) return false;
    add_saved_data_size(len);
    return true;
}

bool tfr_delete_all_data(const char* path)
{
    static constexpr const char* tag = "tfr_delete_all_data";
    const scoped_fd file(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, FILE_MODE));
    if (!file.is_open()) {
        nfz_tfr_log(tag, "ERROR: %s\n", strerror(errno));
        nfz_tfr_log(tag, "error: open tfr file to clear it failed");
        return false;
    }
    nfz_tfr_log(tag, "delete all data in tfr file success");
    return true;
}
