// How the transfer of a file to the service ended, in words for people and in an outcome for programs.
#pragma once

#include <cstdint>
#include <string>

#include "kest_types.h"

namespace peers {

// What the sender was asking for when something happened.
enum class transfer_stage { idle, entry, start, blocks, end, withdraw, confirm };

enum class transfer_outcome {
    done,
    unreachable,    // the bus does not reach the service
    no_answer,      // it was reached, but does not answer
    refused_older,  // the aircraft has a newer file
    refused_state,  // another transfer, or none, is under way there
    verification,   // a digest differs: damaged on the way, or in the file itself
    far_disk,       // the aircraft cannot write
    bad_database,   // too short to be one
    unexpected,     // an answer outside the protocol
    cancelled,
};

struct transfer_result_t {
    transfer_outcome outcome = transfer_outcome::done;
    transfer_stage stage = transfer_stage::idle;  // where it ended
    uint8_t code = 0;                             // result code of the last answer, 0 without one
    std::string what;                             // one sentence: what happened
    std::string next;                             // one or two sentences: what to do; empty when done
    bool already_there = false;                   // done, and nothing had to be sent
    uint64_t bytes = 0;                           // accepted by the service
    uint32_t blocks = 0;                          // accepted by the service
    uint32_t resends = 0;                         // requests that went out again
    uint64_t elapsed_us = 0;
};

struct transfer_progress_t {
    uint64_t bytes;  // accepted so far
    uint64_t total;
    uint32_t blocks;
    uint32_t resends;
    uint64_t elapsed_us;
};

const char* outcome_name(transfer_outcome outcome);  // for example "refused_older"
const char* stage_name(transfer_stage stage);        // for example "start"

// What the service says with one of its result codes.
struct code_meaning_t {
    transfer_outcome outcome;
    const char* what;
    const char* next;
};

// The same for a request that got no answer: a negative errno.
code_meaning_t explain_silence(kest_result_t result);

}  // namespace peers
