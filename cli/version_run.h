// Asking the service for its versions, and waiting for the answer.
#pragma once

#include "common/version_query.h"
#include "waiter.h"

namespace cli {

// `result` of the answer is -EINTR when a signal ended the wait. `endpoint` has to be stopped before `waiter` goes.
peers::service_versions_t ask_versions(peers::BusEndpoint& endpoint, uint32_t timeout_us, uint32_t tries,
                                       Waiter& waiter);

// "2.0.0.1", or "none" for 0.0.0.0.
std::string database_text(const peers::nfz_version_t& version);

}  // namespace cli
