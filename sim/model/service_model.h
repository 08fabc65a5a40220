// Both models behind the service's two addresses.
#pragma once

#include <optional>

#include "model/areas_model.h"
#include "model/upgrade_model.h"

namespace sim {

class ServiceModel {
public:
    // What a request of `sender` to that address of the service is answered, whether or not it wants a reply. Nothing
    // for a command that is neither model's.
    std::optional<bytes_t> answer(uint16_t address, uint16_t sender, uint32_t msg_id, const bytes_t& payload);

    void restarts();

    UpgradeModel upgrade{{}};
    AreasModel areas;
};

}  // namespace sim
