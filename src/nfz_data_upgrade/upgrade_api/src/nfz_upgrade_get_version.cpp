#include "nfz_data_upgrade/upgrade_api/src/payload.h"
#include "nfz_data_upgrade/upgrade_api/src/upgrade_api.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_data_file.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_database.h"

static constexpr uint8_t PROTOCOL_VERSION_10_0 = 0xA0;

size_t nfz_upgrade_get_version(flight_v1_pack_t*, char* ack_buf, size_t ack_buf_len)
{
    upgrade_get_version_ack_t ack = {};
    nfz_bin_header_t head;
    if (upgrade_query_head(NFZ_DATA_FILE, &head) == 0) {
        ack.protocol_version = PROTOCOL_VERSION_10_0;
        upgrade_version_bytes(head, ack.firmware_version);
    }
    return put_ack(ack, ack_buf, ack_buf_len);
}
