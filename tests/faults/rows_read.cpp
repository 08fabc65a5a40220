// Ranges of the database, as the flight controller reads them.
#include "row.h"
#include "upgrade_hand.h"
#include "upgrade_wire.h"

namespace {

void any_range(Run& run)
{
    const bytes_t stored = database(5, run.between(144, 3000));
    UpgradeHand hand(run, stored);
    const auto size = static_cast<uint32_t>(stored.size());
    const int ranges = run.world.is_virtual() ? 2000 : 300;
    for (int i = 0; i < ranges; i++) {
        const uint32_t addresses[] = {
            0, 1, size - 1, size, size + 1, UINT32_MAX, static_cast<uint32_t>(run.below(size + 300))};
        const uint32_t lengths[] = {0, 1, 270, 271, UINT32_MAX, static_cast<uint32_t>(run.below(272))};
        run.inject();
        const uint8_t code =
            hand.read(addresses[run.below(std::size(addresses))], lengths[run.below(std::size(lengths))]);
        run.count(std::to_string(code));
        if (!run.one_in(200)) continue;
        const bytes_t payload = run.bytes(run.below(1009));
        const bytes_t got = run.world.ask(STATION, HOST_NFZ_UPGRADE, SET_FLYLIMIT, ID_NFZ_READ, payload);
        run.expect(got == hand.model().read(payload), "a request of " + std::to_string(payload.size()) + " bytes");
    }
}

// Reads between all requests of good and bad upgrades: no answer mixes two files.
void reads_across_upgrades(Run& run)
{
    UpgradeHand hand(run, database(1));
    const uint32_t upgrades = run.world.is_virtual() ? 20 : 4;
    for (uint32_t i = 2; i < 2 + upgrades; i++) {
        bytes_t sent = database(i, run.between(1000, 5000));
        if (run.one_in(3)) sent[run.between(200, 900)] ^= 8;
        hand.begins(sent, 0);
        for (size_t k = 0; k < blocks_of(sent); k++) {
            run.count(std::to_string(hand.read(static_cast<uint32_t>(run.below(6000)), 270)));
            hand.block(static_cast<int32_t>(k), sent);
        }
        hand.end(sent);
        run.inject();
        hand.reads_back();
        run.count(std::to_string(hand.read(0, 100)));
    }
}

void reader_dies(Run& run)
{
    UpgradeHand hand(run, database(5));
    for (int i = 0; i < 3; i++) {
        run.world.controller();
        run.world.pass(3 * SECOND_US);
        run.world.forget();
        const auto pushed = [&run] {
            return run.world.sent(FMU.host, SET_FLIGHT_CONTROLLER, ID_DB_BAG_PUSH).size() > 50;
        };
        run.expect(run.world.until(pushed, 20 * SECOND_US), "it is not subscribed");
        hand.read(static_cast<uint32_t>(run.below(5000)), 100);
        run.world.controller_leaves();
        run.inject();
        run.world.pass(run.between(12, 18) * SECOND_US);
        run.expect_log("restart db sub err_cnt:");
        run.count("subscribed anew");
    }
}

}  // namespace

std::span<const row_t> read_rows()
{
    static constexpr row_t ROWS[] = {
        {"R1", "ranges at, across and beyond the end", place_t::both, 5, 50, any_range},
        {"R3", "reads across upgrades, good and bad", place_t::both, 6, 50, reads_across_upgrades},
        {"R4", "flight controller dies and comes back", place_t::both, 1, 10, reader_dies},
    };
    return ROWS;
}
