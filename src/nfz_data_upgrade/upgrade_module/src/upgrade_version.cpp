#include "nfz_data_upgrade/upgrade_module/src/upgrade_version.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "flight_v1/flight_v1_wire.h"
#include "nfz_data_upgrade/upgrade_debugger/src/upgrade_debugger.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_data_file.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_database.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_flight_v1.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_session.h"

struct database_version_t {
    uint32_t number[4];  // most significant first
};

static bool may_replace(const database_version_t& stored, const database_version_t& received)
{
    static constexpr const char* tag = "check_version_need_update";
    for (int i = 0; i < 4; ++i) {
        if (stored.number[i] > received.number[i]) {
            nfz_upgrade_log(tag, "the version of data base is latest, not need update\n");
            return false;
        }
        if (stored.number[i] < received.number[i]) {
            nfz_upgrade_log(tag, "the version of data base is old, need update\n");
            return true;
        }
    }
    nfz_upgrade_log(tag, "the version of data base is same, can update\n");
    return true;
}

static database_version_t version_in_block(const uint8_t* block, size_t len)
{
    database_version_t version = {};
    if (len > NFZ_HEAD_OFFSET) {
        std::memcpy(&version, block + NFZ_HEAD_OFFSET, std::min(len - NFZ_HEAD_OFFSET, sizeof version));
    }
    return version;
}

bool check_version_need_update(const uint8_t* block, size_t len)
{
    static constexpr const char* tag = "check_version_need_update";
    if (access(NFZ_ROLLBACK_MARKER, F_OK) == 0) {
        nfz_upgrade_log(tag, "file:%s is existed, can rollback the nfz database, do not check version\n",
                        NFZ_ROLLBACK_MARKER);
        return true;
    }
    nfz_upgrade_log(tag, "file:%s is not existed, need check version to decide update the nfz database or not\n",
                    NFZ_ROLLBACK_MARKER);
    nfz_bin_header_t head = {};
    if (upgrade_query_head(NFZ_DATA_FILE, &head) != 0) {
        nfz_upgrade_log(tag, "cannot read head from database, need update\n");
        return true;
    }
    database_version_t stored;
    std::memcpy(&stored, head.version, sizeof stored);
    const database_version_t received = version_in_block(block, len);
    const auto log_version = [](const char* format, const database_version_t& version) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        const uint32_t* n = version.number;
        nfz_upgrade_log(tag, format, static_cast<int>(n[0]), static_cast<int>(n[1]), static_cast<int>(n[2]),
                        static_cast<int>(n[3]));
#pragma GCC diagnostic pop
    };
    log_version("read     version:[%d.%d.%d.%d]\n", stored);
    log_version("received version:[%d.%d.%d.%d]\n", received);
    return may_replace(stored, received);
}

void upgrade_push_flylimit_version()
{
    if (get_nfz_data_state() == UPGRADE_RUNNING) return;
    nfz_bin_header_t head = {};
    upgrade_query_head(NFZ_DATA_FILE, &head);

    upgrade_flylimit_version_push_t push = {};
    upgrade_version_bytes(head, push.static_db_version);
    push.flags = FLYLIMIT_USE_FLIGHT_UPDATE_DYNAMIC;
    char payload[sizeof push];
    std::memcpy(payload, &push, sizeof push);
    upgrade_flight_v1_send_need_ack(SET_FLIGHT_CONTROLLER, ID_FLYLIMIT_VERSION, HOST_APP, payload, sizeof payload);
}
