#include <cerrno>
#include <cstdio>

#include "common/file_io.h"
#include "nfz_data_upgrade/upgrade_api/src/payload.h"
#include "nfz_data_upgrade/upgrade_api/src/upgrade_api.h"
#include "nfz_data_upgrade/upgrade_debugger/src/upgrade_debugger.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_data_file.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_session.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_wire.h"

static uint8_t read_range(uint32_t addr, uint32_t length, uint8_t* data)
{
    const scoped_fd file(file_open_read(NFZ_DATA_FILE));
    if (!file.is_open()) {
        printf("ERROR: %s, read_fail_file_not_exist\n", strerror(errno));
        return PROFILE_RET_NO_FILE;
    }
    if (!file_seek(file.get(), addr)) {
        printf("seek_result:%d\n", -1);
        return PROFILE_RET_SEEK;
    }
    const size_t read_len = file_read(file.get(), data, length);
    if (read_len != length) {
        printf("DATA_LEN_READ_ERROR, read_len:%d\n", static_cast<int>(read_len));
        return PROFILE_RET_SHORT;
    }
    return PROFILE_RET_OK;
}

static uint8_t serve(const flight_v1_pack_t* pack, upgrade_profile_read_file_req_t* request, uint8_t* data)
{
    if (!payload_is(pack, request)) {
        nfz_upgrade_log("nfz_upgrade_profile", "READ_FAIL_FOR_ERROR_DATA_LEN");
        return PROFILE_RET_LENGTH;
    }
    const upgrade_mis_t state = get_nfz_data_state();
    if (state == UPGRADE_RUNNING) return PROFILE_RET_UPGRADING;
    if (state != UPGRADE_IDLE && state != UPGRADE_SUCCESS) return PROFILE_RET_FAILED;
    if (request->read_len > PROFILE_MAX_READ) {
        printf("REQUIRE_TOO_LONG_DATA, require data len:%d\n", static_cast<int>(request->read_len));
        return PROFILE_RET_TOO_LONG;
    }
    return read_range(request->read_addr, request->read_len, data);
}

size_t nfz_upgrade_profile(flight_v1_pack_t* pack, char* ack_buf, size_t ack_buf_len)
{
    upgrade_profile_read_file_ack_t ack = {};
    upgrade_profile_read_file_req_t request;
    const uint8_t code = serve(pack, &request, ack.read_data);
    if (code != PROFILE_RET_OK) {
        ack = {};  // never the part of a range that could be read
        ack.ret_code = code;
        return put_ack(ack, ack_buf, ack_buf_len);
    }
    ack.read_addr = request.read_addr;
    if (put_ack(ack, ack_buf, ack_buf_len) == 0) return 0;
    return offsetof(upgrade_profile_read_file_ack_t, read_data) + request.read_len;
}
