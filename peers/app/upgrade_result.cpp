#include "app/upgrade_result.h"

#include "flight_v1_wire.h"
#include "upgrade_wire.h"

namespace peers {
namespace {

constexpr const char* NO_DATABASE_LEFT =
    "The aircraft has no database now and holds its motors until an upgrade succeeds: send a good file.";

struct code_row_t {
    uint8_t code;
    code_meaning_t meaning;
};

constexpr code_row_t CODES[] = {
    {UPGRADE_RET_LENGTH,
     {upgrade_outcome::unexpected, "the service found a request of a wrong length",
      "App and service disagree about the messages: compare their versions."}},
    {UPGRADE_RET_FIRST_SHORT,
     {upgrade_outcome::bad_database, "the first block is too short to hold a database head",
      "A database has at least 144 bytes. The installed one was not touched."}},
    {UPGRADE_RET_NOT_NEWER,
     {upgrade_outcome::refused_older, "the aircraft has a newer database than this one",
      "The installed database was not touched. To go back on purpose, create the file "
      "/tmp/NFZ/nfz_disable_anti_rollback on the aircraft and send again."}},
    {UPGRADE_RET_RECEIVED_MD5,
     {upgrade_outcome::verification, "what arrived is not what was sent: the digest of the received bytes differs",
      NO_DATABASE_LEFT}},
    {UPGRADE_RET_FILE_MD5,
     {upgrade_outcome::verification,
      "the stored file does not match the digest in its last 16 bytes: the file is damaged, or the aircraft's disk "
      "is failing",
      NO_DATABASE_LEFT}},
    {UPGRADE_RET_BLOCK_NUMBER,
     {upgrade_outcome::refused_state, "the service kept expecting another block",
      "Another sender seems to feed the same upgrade: stop it, wait 20 seconds, send again."}},
    {UPGRADE_RET_NOT_WRITTEN,
     {upgrade_outcome::far_disk, "the aircraft could not write the data",
      "Its disk is full, read-only or failing; its log names the error. Make room in /tmp/NFZ and send again; until an "
      "upgrade succeeds the motors are held."}},
    {REPLY_UNKNOWN_COMMAND,
     {upgrade_outcome::unexpected, "the peer at this address does not know upgrades",
      "Check the address of the upgrade endpoint in the route configuration."}},
};

code_meaning_t explain_state(upgrade_stage stage)
{
    switch (stage) {
        case upgrade_stage::start:
            return {upgrade_outcome::refused_state, "the service is not ready for a start request",
                    "Another sender began an upgrade at the same moment: wait until it is done, send again."};
        case upgrade_stage::blocks:
            return {upgrade_outcome::refused_state, "the service no longer takes blocks of this upgrade",
                    "It was restarted, heard nothing for 20 seconds, or another sender began: send again from the "
                    "start."};
        default:
            return {upgrade_outcome::refused_state, "the service was not ready to end this upgrade", NO_DATABASE_LEFT};
    }
}

}  // namespace

code_meaning_t explain_code(upgrade_stage stage, uint8_t code)
{
    if (code == UPGRADE_RET_STATE) return explain_state(stage);
    for (const code_row_t& row : CODES) {
        if (row.code == code) return row.meaning;
    }
    return {upgrade_outcome::unexpected, "the service answered with a result code that this app does not know",
            "Compare the versions of app and service."};
}

}  // namespace peers
