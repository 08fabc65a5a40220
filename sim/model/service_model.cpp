#include "model/service_model.h"

#include "flight_v1_wire.h"

namespace sim {
namespace {

constexpr uint32_t command(uint8_t set, uint8_t id)
{
    return static_cast<uint32_t>(set) << 16 | id;
}

}  // namespace

std::optional<bytes_t> ServiceModel::answer(uint16_t address, uint16_t sender, uint32_t msg_id, const bytes_t& payload)
{
    if (address == HOST_FLIGHT_SERVICE && msg_id == command(SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE))
        return areas.answer(payload);
    if (address != HOST_NFZ_UPGRADE) return std::nullopt;
    switch (msg_id) {
        case command(SET_COMMON, ID_UPGRADE_ENTRY):
            return upgrade.entry(sender, payload);
        case command(SET_COMMON, ID_UPGRADE_START):
            return upgrade.start(payload);
        case command(SET_COMMON, ID_UPGRADE_DATA):
            return upgrade.data(payload);
        case command(SET_COMMON, ID_UPGRADE_END):
            return upgrade.end(payload);
        case command(SET_FLYLIMIT, ID_NFZ_READ):
            return upgrade.read(payload);
        default:
            return std::nullopt;
    }
}

void ServiceModel::restarts()
{
    upgrade.restarts();
    areas.restarts();
}

}  // namespace sim
