#include "flight_version/flight_version.h"

#include <cstdio>
#include <cstring>

#include "flight_log/flight_log.h"
#include "flight_version/flight_version_wire.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_data_file.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_database.h"

static constexpr version_t SERVICE_VERSION = {0, 0, 0, 15};

version_t get_flight_version_in()
{
    return SERVICE_VERSION;
}

static v1_dev_version_t service_record()
{
    v1_dev_version_t record = {};
    record.protocal_version = 0x01;
    std::strncpy(record.Hw, "unknown", sizeof record.Hw);
    record.Loader = {SERVICE_VERSION.d, SERVICE_VERSION.c, SERVICE_VERSION.b, SERVICE_VERSION.a};
    record.Fw = {SERVICE_VERSION.d, 0, 0};
    record.CmdSet = V1_CMD_SET_COMMON | V1_CMD_SET_CAMERA;
    return record;
}

static v1_dev_version_t database_record()
{
    nfz_bin_header_t head = {};
    if (upgrade_query_head(NFZ_DATA_FILE, &head) != 0) {
        flight_log("get_flight_version", "cannot read head from database, need update\n");
    }
    uint8_t part[4];  // last number first
    upgrade_version_bytes(head, part);
    v1_dev_version_t record = {};
    record.Loader = {part[0], part[1], part[2], part[3]};
    record.Fw = {static_cast<uint16_t>(part[1] * 256 + part[0]), part[2], part[3]};
    return record;
}

size_t get_flight_version(flight_v1_pack_t*, char* ack_buf, size_t)
{
    if (ack_buf == nullptr) return 0;
    const flight_version_ack_t ack = {0, service_record(), database_record()};
    flight_log("get_flight_version", "ack the version check\n");
    std::memcpy(ack_buf, &ack, sizeof ack);
    puts("get flight version");
    const v1_firmware_version_t version = ack.database.Fw;
    printf("fw version:[%d,%d,%d,%d]\n", version.Major, version.Minor, version.Build >> 8, version.Build & 0xff);
    return sizeof ack;
}
