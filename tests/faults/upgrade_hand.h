// An upgrade by hand, each answer and the file compared with the model's.
#pragma once

#include <cstdint>

#include "model/upgrade_model.h"
#include "run.h"

inline constexpr size_t BLOCK = 980;
inline constexpr uint8_t NO_ANSWER = 0xee;

bytes_t database(uint32_t version, size_t size = 6000);  // valid, version 1.0.0.`version`; at least 144 bytes
size_t blocks_of(const bytes_t& database);
const bytes_t& old_database();  // installed before most rows
// Of which database the disk has how much: "OLD", "NEW" (what was sent), "EMPTY", "CUT" or "mixed".
std::string on_disk(const bytes_t& sent);

class UpgradeHand {
public:
    // Launches the service with that file on the disk.
    UpgradeHand(Run& run, const bytes_t& stored);

    // The answer's code.
    uint8_t entry(const peer_name_t& from = PHONE, size_t length = 9);
    uint8_t start(uint32_t size, const peer_name_t& from = PHONE);
    uint8_t block(int32_t number, const bytes_t& database, const peer_name_t& from = PHONE);
    uint8_t end(const bytes_t& database, const peer_name_t& from = PHONE);
    uint8_t read(uint32_t address, uint32_t length);
    uint8_t ask(uint8_t id, const bytes_t& payload, const peer_name_t& from = PHONE);  // any of entry to end

    // Entry, start and the first blocks, all taken.
    void begins(const bytes_t& database, size_t blocks, const peer_name_t& from = PHONE);
    // All of it; the end's code.
    uint8_t sends(const bytes_t& database);
    // All that is on the disk is served, byte for byte, or the refusal of that state.
    void reads_back();

    void restarts();                 // killed, and launched on the same files
    void falls_silent(uint64_t us);  // 20 s and a tick are over when so much more has passed

    const sim::UpgradeModel& model() const { return model_; }
    sim::UpgradeModel& model() { return model_; }
    void expect_file(const std::string& after);

private:
    void expect_read_only(const std::string& after) const;

    Run& run_;
    sim::UpgradeModel model_;
};

bytes_t block_payload(int32_t number, peers::bytes_view data);
bytes_t block_payload_of(const bytes_t& database, int32_t number);
// An answer's code, without a model: 0xee without an answer.
uint8_t upgrade_code(Run& run, uint8_t id, const bytes_t& payload);
// From entry to end, each block that is not written up to `tries` times; the end's code.
uint8_t whole_upgrade(Run& run, const bytes_t& database, int tries = 1);
bytes_t read_payload(uint32_t address, uint32_t length);
bytes_t end_payload(const bytes_t& database);
bytes_t start_payload(uint32_t size);
