// Asks the service which versions are on the aircraft.
#pragma once

#include <functional>

#include "common/bus_endpoint.h"
#include "common/nfz_version.h"

namespace peers {

struct service_versions_t {
    kest_result_t result;  // 0; -ETIMEDOUT no answer; -EPROTO an answer that is none; else why it was not sent
    nfz_version_t service;
    nfz_version_t database;  // 0.0.0.0: none on the aircraft
    uint64_t elapsed_us;     // from the question to the answer
};

// `done` runs exactly once (unless the endpoint stops first): on the endpoint's task, or within this call when the
// question could not be sent.
void query_service_versions(BusEndpoint& endpoint, uint32_t timeout_us, uint32_t tries,
                            const std::function<void(const service_versions_t&)>& done);

}  // namespace peers
