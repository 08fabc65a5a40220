#include "app/tfr_result.h"

#include "flight_v1_wire.h"
#include "tfr_wire.h"

namespace peers {
namespace {

constexpr const char* EMPTY_FILE =
    "Its stored file is empty now; until it is restarted it goes on with the areas it knows. Send again.";

struct code_row_t {
    uint8_t code;
    code_meaning_t meaning;
};

constexpr code_row_t CODES[] = {
    {TFR_UPDATE_SEQ_NOT_CONTINUE,
     {transfer_outcome::refused_state, "the service kept expecting another fragment",
      "Another sender seems to feed the same transfer: stop it, send again."}},
    {TFR_UPDATE_SAVED_DATA_TOO_MUCH,
     {transfer_outcome::refused_state,
      "the service has more bytes than the file has: another sender fed the same transfer", EMPTY_FILE}},
    {TFR_UPDATE_SAVE_DATA_FAIL,
     {transfer_outcome::far_disk, "the aircraft could not write the data",
      "Its disk is full, read-only or failing; its log names the error. Make room in /tmp/EMMC and send again."}},
    {TFR_UPDATE_ACK_TYPE_ERROR,
     {transfer_outcome::unexpected, "the service does not know this kind of request",
      "Compare the versions of app and service."}},
    {TFR_UPDATE_PACKET_DATA_ERROR,
     {transfer_outcome::unexpected, "the service found a request of a wrong length",
      "App and service disagree about the messages: compare their versions."}},
    {TFR_UPDATE_MD5_CHECK_FAIL,
     {transfer_outcome::verification,
      "what the aircraft stored does not match the digest in the last 16 bytes of the file: the file is damaged, or "
      "the aircraft's disk is failing",
      EMPTY_FILE}},
    {TFR_UPDATE_ERR_UNKNOW,
     {transfer_outcome::unexpected, "the service has fewer bytes than it was told to expect", EMPTY_FILE}},
    {REPLY_UNKNOWN_COMMAND,
     {transfer_outcome::unexpected, "the peer at this address does not know restrictions",
      "The service is too old, or the address of \"flight_srv_fmu\" in the route configuration is wrong."}},
};

}  // namespace

code_meaning_t explain_tfr_code(transfer_stage stage, uint8_t code)
{
    if (code == TFR_UPDATE_STATE_ERROR && stage == transfer_stage::blocks) {
        return {transfer_outcome::refused_state, "the service has a whole file of another sender and waits for its end",
                "Stop the other sender, then send again."};
    }
    if (code == TFR_UPDATE_STATE_ERROR) {
        return {transfer_outcome::refused_state,
                "the service is not at the end of this file: it was restarted on the way, or another sender began",
                EMPTY_FILE};
    }
    for (const code_row_t& row : CODES) {
        if (row.code == code) return row.meaning;
    }
    return {transfer_outcome::unexpected, "the service answered with a result code that this app does not know",
            "Compare the versions of app and service."};
}

}  // namespace peers
