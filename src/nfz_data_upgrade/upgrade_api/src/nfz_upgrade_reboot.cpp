#include "nfz_data_upgrade/upgrade_api/src/payload.h"
#include "nfz_data_upgrade/upgrade_api/src/upgrade_api.h"

size_t nfz_upgrade_reboot(flight_v1_pack_t*, char* ack_buf, size_t ack_buf_len)
{
    return put_ack(uint8_t{0}, ack_buf, ack_buf_len);
}
