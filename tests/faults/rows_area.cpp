// Restricted areas on their way to the aircraft, and what is pushed of them.
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "model/areas_model.h"
#include "row.h"
#include "tfr_file/tfr_file.h"

namespace {

constexpr double RADIANS = std::numbers::pi / 180;

bytes_t fragment_payload(uint16_t number, uint32_t total, peers::bytes_view data)
{
    const update_tfr_req_t head = {UPDATE_DATA, number, total, static_cast<uint8_t>(data.size())};
    return joined(peers::bytes_of(head), data);
}

vela_tfr_item_t circle(uint32_t id, double latitude, double longitude)
{
    vela_tfr_item_t area = {};
    area.area_id = id;
    area.center = {static_cast<int32_t>(std::lround(longitude * 1e6)),
                   static_cast<int32_t>(std::lround(latitude * 1e6))};
    area.radius = 10;
    return area;
}

bytes_t areas_file(uint32_t first, uint32_t count)
{
    peers::tfr_recipe_t recipe;
    for (uint32_t i = 0; i < count; i++)
        recipe.areas.push_back(circle(first + i, 48, 11 + 0.1 * i));
    return peers::build_tfr_file(recipe);
}

// A delivery by hand, each answer and the file compared with the model's.
class AreasHand {
public:
    explicit AreasHand(Run& run) : run_(run) { run.world.launch(); }

    uint8_t ask(const bytes_t& payload)
    {
        const bytes_t wanted = model.answer(payload);
        const bytes_t got = run_.world.ask(PHONE, HOST_FLIGHT_SERVICE, SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE, payload);
        run_.expect(got == wanted, "a request of " + std::to_string(payload.size()) + " bytes is answered by " +
                                       hex(got) + " instead of " + hex(wanted));
        expect_file();
        return got[0];
    }
    uint8_t fragment(uint16_t number, const bytes_t& file, size_t size = 100)
    {
        const size_t at = std::min(number * size, file.size());
        return ask(fragment_payload(number, static_cast<uint32_t>(file.size()),
                                    peers::bytes_view(file).subspan(at, std::min(size, file.size() - at))));
    }
    uint8_t start() { return ask({UPDATE_REQ}); }
    uint8_t finish() { return ask({UPDATE_FINISH}); }
    void delivers(const bytes_t& file)
    {
        start();
        for (size_t i = 0; i * 100 < file.size(); i++)
            run_.expect(fragment(static_cast<uint16_t>(i), file) == 0, "a fragment is refused");
        run_.expect(finish() == 0, "the finish is refused");
    }
    void expect_file() { run_.expect(file_bytes(AREAS) == model.file(), "the file is another than it should be"); }

    sim::AreasModel model;

private:
    Run& run_;
};

// --- the delivery ---

void fragments_lost_doubled_shuffled(Run& run)
{
    AreasHand hand(run);
    const bytes_t file = areas_file(1, 60);
    const auto count = static_cast<uint16_t>((file.size() + 99) / 100);
    hand.start();
    // Until something is saved any number is taken, so the first one is not lost here.
    hand.fragment(0, file);
    while (hand.model.expected() < count) {
        const uint16_t next = hand.model.expected();
        const uint16_t wrong = static_cast<uint16_t>(next + (run.one_in(2) ? run.between(1, 5) : 65535));
        if (run.one_in(4)) {
            run.inject();
            // The first fragment over again begins anew.
            run.count("ack " + std::to_string(hand.fragment(wrong, file)));
            continue;
        }
        run.count("ack " + std::to_string(hand.fragment(next, file)));
    }
    run.expect(hand.finish() == 0, "the finish is refused");
    run.expect(hand.start() == 0 && file_bytes(AREAS) == file, "the areas did not arrive");
}

void hostile_requests(Run& run)
{
    AreasHand hand(run);
    const bytes_t file = areas_file(1, 30);
    for (int i = 0; i < 120; i++) {
        if (run.one_in(10)) hand.start();
        const auto number = static_cast<uint16_t>(run.one_in(8)   ? run.below(65536)
                                                  : run.one_in(8) ? 65535
                                                                  : hand.model.expected());
        const uint32_t totals[] = {0, 1, 500, static_cast<uint32_t>(file.size()), UINT32_MAX};
        bytes_t payload = fragment_payload(number, totals[run.below(5)], run.bytes(run.below(256)));
        if (run.one_in(4)) payload[0] = static_cast<uint8_t>(run.below(256));
        if (run.one_in(4)) payload[7] = static_cast<uint8_t>(run.below(256));
        if (run.one_in(5)) payload.resize(run.below(1009));
        run.inject();
        run.count("ack " + std::to_string(hand.ask(payload)));
    }
}

// A transfer that is never finished blocks the reading, not the pushing, until a start, a finish or a new one.
void sender_stops(Run& run)
{
    AreasHand hand(run);
    peers::aircraft_state_t state;
    state.latitude = 48 * RADIANS;
    state.longitude = 11 * RADIANS;
    run.world.controller().bags().set_state(state);
    const bytes_t file = areas_file(1, 8);
    hand.delivers(file);
    const auto pushed = [&run](uint32_t first) {
        const peers::restrictions_t now = run.world.controller().restrictions().now();
        return now.complete() && !now.ids().empty() && now.ids()[0] == first;
    };
    run.expect(run.world.until([&] { return pushed(1); }, 20 * SECOND_US), "the areas are not pushed");
    const bytes_t next = areas_file(100, 8);
    hand.fragment(run.one_in(2) ? 0 : 7, next);
    run.inject();
    run.world.pass(run.between(5, 100) * SECOND_US);
    run.expect(pushed(1), "the last areas are not pushed any more");
    run.expect_log("can not read, tfr is updating, update state is:1");
    run.count("still pushed");
    hand.expect_file();
    switch (run.below(3)) {
        case 0:
            hand.start();
            run.world.pass(3 * SECOND_US);
            hand.model.is_emptied();  // the piece has no digest
            break;
        case 1:
            run.expect(hand.finish() != 0, "a piece is accepted");
            break;
        default:
            break;
    }
    hand.delivers(next);
    run.expect(run.world.until([&] { return pushed(100); }, 20 * SECOND_US), "the next areas are not pushed");
}

void odd_finishes(Run& run)
{
    AreasHand hand(run);
    const bytes_t file = areas_file(1, 20);
    for (int i = 0; i < 20; i++) {
        const uint64_t kind = run.below(6);
        bytes_t sent = file;
        if (kind == 1) sent[run.below(sent.size())] ^= 1;
        const size_t count = (sent.size() + 99) / 100;
        const size_t sends = kind == 2 ? run.below(count) : count;
        hand.start();
        for (size_t k = 0; k < sends; k++) {
            const size_t at = k * 100;
            const size_t size = std::min<size_t>(100, sent.size() - at);
            // The last total wins.
            const auto total = static_cast<uint32_t>(kind == 3 ? sent.size() - (k + 1 == sends ? 5 : 0) : sent.size());
            hand.ask(fragment_payload(static_cast<uint16_t>(k), total, peers::bytes_view(sent).subspan(at, size)));
        }
        run.inject();
        run.count("ack " + std::to_string(hand.finish()));
        if (kind == 4) run.count("again ack " + std::to_string(hand.finish()));
    }
}

void killed_in_a_delivery(Run& run)
{
    AreasHand hand(run);
    const bytes_t file = areas_file(1, 20);
    const size_t count = (file.size() + 99) / 100;
    const size_t sends = run.between(1, count - 1);
    for (size_t k = 0; k < sends; k++)
        hand.fragment(static_cast<uint16_t>(k), file);
    run.world.kill();
    run.inject();
    run.world.launch();
    hand.model.restarts();
    hand.expect_file();
    if (run.one_in(2)) {
        run.world.controller();
        run.expect(run.world.until([] { return file_bytes(AREAS).empty(); }, 20 * SECOND_US),
                   "the piece is not emptied");
        hand.model.is_emptied();
        run.count("emptied by the reader");
    } else {
        run.world.pass(5 * SECOND_US);
        hand.expect_file();
        run.count("stayed unread");
    }
    hand.start();
    hand.delivers(file);
}

// --- what is pushed ---

// Areas as the reader makes them of a file, by distance from there; sizes of polygons do not come into it.
std::vector<uint32_t> nearest_five(std::vector<vela_tfr_item_t> areas, double latitude, double longitude)
{
    const auto far = [&](const vela_tfr_item_t& area) {
        const double north = area.center.lat * 1e-6 - latitude;
        const double east = (area.center.lng * 1e-6 - longitude) * std::cos(latitude * RADIANS);
        return std::hypot(north, east);
    };
    std::stable_sort(areas.begin(), areas.end(), [&](const auto& a, const auto& b) { return far(a) < far(b); });
    std::vector<uint32_t> ids;
    for (size_t i = 0; i < std::min<size_t>(areas.size(), TFR_KEPT_AREAS); i++)
        ids.push_back(areas[i].area_id);
    return ids;
}

void set_digest(bytes_t& file)
{
    const auto digest = peers::md5_of(peers::bytes_view(file).first(file.size() - TFR_MD5_SIZE));
    std::copy(digest.begin(), digest.end(), file.end() - TFR_MD5_SIZE);
}

// Files whose digest is right, areas all around, a position that jumps.
void hostile_areas(Run& run)
{
    peers::tfr_recipe_t recipe;
    const uint64_t count = run.between(1, 40);
    for (uint32_t i = 1; i <= count; i++) {
        // Well apart, so that the order is no matter of rounding.
        recipe.areas.push_back(circle(i, 40 + 0.4 * static_cast<double>(run.below(40)) + 0.003 * i,
                                      5 + 0.4 * static_cast<double>(run.below(30))));
    }
    bytes_t file = peers::build_tfr_file(recipe);
    std::vector<vela_tfr_item_t> areas = recipe.areas;
    const uint64_t kind = run.below(4);
    if (kind == 1) {  // one with too many corners ends the reading
        const size_t bad = run.below(count);
        file[sizeof(tfr_head_t) + bad * 27 + 4] = static_cast<uint8_t>(run.between(11, 255));
        areas.resize(bad);
    } else if (kind == 2) {  // more are announced than there are
        file[0] = static_cast<uint8_t>(count + 200);
        file[1] = static_cast<uint8_t>(run.below(4));
    }
    set_digest(file);
    write_file(AREAS, file);
    run.inject();
    peers::aircraft_state_t state;
    const double latitude = 42 + 0.01 * static_cast<double>(run.below(1000));
    const double longitude = 6 + 0.01 * static_cast<double>(run.below(1000));
    state.latitude = latitude * RADIANS;
    state.longitude = longitude * RADIANS;
    run.world.controller().bags().set_state(state);
    run.world.launch();
    run.world.pass(15 * SECOND_US);
    const peers::restrictions_t now = run.world.controller().restrictions().now();
    run.expect(now.pushes >= 5, "only " + std::to_string(now.pushes) + " pushes in 15 s");
    if (kind == 2) {
        // Behind the last area comes what is no area: the digest, then zeros.
        run.expect(now.count >= std::min<uint64_t>(count, TFR_KEPT_AREAS), "areas are missing");
        run.count("more announced");
    } else {
        run.expect(now.ids() == nearest_five(areas, latitude, longitude), "other areas are pushed than the nearest");
        run.count(kind == 1 ? "reading ended" : "nearest");
    }
    state.latitude = std::numeric_limits<double>::quiet_NaN();
    run.world.controller().bags().set_state(state);
    run.world.pass(8 * SECOND_US);
    if (kind == 0 || kind == 3) {
        std::vector<uint32_t> first;
        for (uint32_t i = 1; i <= std::min<uint64_t>(count, TFR_KEPT_AREAS); i++)
            first.push_back(i);
        run.expect(run.world.controller().restrictions().now().ids() == first,
                   "without a number the first five are due");
        run.count("not a number");
    }
    state.gps_level = 2;
    run.world.controller().bags().set_state(state);
    const uint64_t pushes = run.world.controller().restrictions().now().pushes;
    run.world.pass(5 * SECOND_US);
    run.expect(run.world.controller().restrictions().now().pushes > pushes, "a lost position ends the pushes");
}

// A delivery beside the reader's tick: it may find half a file and empty it, and the app sends again.
void delivery_beside_the_reader(Run& run)
{
    AreasHand hand(run);
    run.world.controller();
    const bytes_t file = areas_file(1, 12);
    hand.delivers(file);
    run.world.pass(run.below(SECOND_US));
    for (int i = 0; i < 8; i++) {
        hand.delivers(areas_file(static_cast<uint32_t>(i), 40));
        run.inject();
        run.count("delivered");
        run.world.pass(run.below(SECOND_US));
    }
    run.world.controller_leaves();
    run.world.pass(5 * SECOND_US);
    run.world.forget();
    run.world.controller();
    run.expect(run.world.until([&] { return run.world.controller().restrictions().now().pushes > 2; }, 30 * SECOND_US),
               "nothing is pushed to the flight controller that came back");
}

}  // namespace

std::span<const row_t> area_rows()
{
    static constexpr row_t ROWS[] = {
        {"T1", "fragments lost, repeated, out of order", place_t::both, 16, 100, fragments_lost_doubled_shuffled},
        {"T2", "hostile requests", place_t::both, 16, 200, hostile_requests},
        {"T3", "sender stops for ever; lone fragment", place_t::both, 12, 60, sender_stops},
        {"T4", "finish early, twice, wrong, too much", place_t::both, 16, 100, odd_finishes},
        {"T5", "killed after a fragment", place_t::both, 2, 60, killed_in_a_delivery},
        {"T7", "digest right, areas hostile", place_t::both, 0, 200, hostile_areas},
        {"T8", "delivery beside the reader", place_t::both, 0, 100, delivery_beside_the_reader},
    };
    return ROWS;
}
