#include "app/transfer_result.h"

#include <cerrno>

namespace peers {

const char* outcome_name(transfer_outcome outcome)
{
    switch (outcome) {
        case transfer_outcome::done:
            return "done";
        case transfer_outcome::unreachable:
            return "unreachable";
        case transfer_outcome::no_answer:
            return "no_answer";
        case transfer_outcome::refused_older:
            return "refused_older";
        case transfer_outcome::refused_state:
            return "refused_state";
        case transfer_outcome::verification:
            return "verification";
        case transfer_outcome::far_disk:
            return "far_disk";
        case transfer_outcome::bad_database:
            return "bad_database";
        case transfer_outcome::unexpected:
            return "unexpected";
        case transfer_outcome::cancelled:
            return "cancelled";
    }
    return "unknown";
}

const char* stage_name(transfer_stage stage)
{
    switch (stage) {
        case transfer_stage::idle:
            return "idle";
        case transfer_stage::entry:
            return "entry";
        case transfer_stage::start:
            return "start";
        case transfer_stage::blocks:
            return "blocks";
        case transfer_stage::end:
            return "end";
        case transfer_stage::withdraw:
            return "withdraw";
        case transfer_stage::confirm:
            return "confirm";
    }
    return "unknown";
}

code_meaning_t explain_silence(kest_result_t result)
{
    switch (result) {
        case -ETIMEDOUT:
            return {transfer_outcome::no_answer, "the service does not answer",
                    "It is running but stuck or overloaded: look at its log, then send again."};
        case -ENOENT:
        case -ECONNREFUSED:
            return {transfer_outcome::unreachable, "the service is not running: nobody listens at its address",
                    "Start vela_flight, then send again."};
        case -EHOSTUNREACH:
            return {
                transfer_outcome::unreachable,
                "the route configuration has no address for this endpoint of the service",
                "Service \"flight_service\" needs the endpoints \"flight_srv_fmu\" and \"flight_nfz_upgrade\" in it."};
        default:
            return {transfer_outcome::unreachable, "the bus refuses to carry messages to the service",
                    "Check the permissions of the bus directory and the \"allow\" entries of the route configuration."};
    }
}

}  // namespace peers
