// A no-fly-zone database on its way to the aircraft.
#include <algorithm>

#include "nfz_file/nfz_file.h"
#include "row.h"
#include "upgrade_hand.h"
#include "upgrade_wire.h"

namespace {

using state_t = sim::UpgradeModel::state_t;

constexpr uint8_t IDS[] = {ID_UPGRADE_ENTRY, ID_UPGRADE_START, ID_UPGRADE_DATA, ID_UPGRADE_END};

// Killed after that many answers, from the entry on.
void killed_after_each_answer(Run& run)
{
    UpgradeHand hand(run, old_database());
    const bytes_t sent = database(6);
    const size_t blocks = blocks_of(sent);
    const size_t answers = run.world.is_virtual() ? (run.seed() - 1) % (blocks + 4) : 5;
    if (answers > 0) hand.entry();
    if (answers > 1) hand.start(static_cast<uint32_t>(sent.size()));
    for (size_t i = 2; i < std::min(answers, blocks + 2); i++)
        hand.block(static_cast<int32_t>(i - 2), sent);
    if (answers > blocks + 2) hand.end(sent);
    run.world.kill();
    run.inject();
    const std::string left = on_disk(sent);
    const char* wanted = answers < 3 ? "OLD" : answers < blocks + 2 ? "CUT" : "NEW";
    run.expect(left == wanted, "killed after " + std::to_string(answers) + " answers the disk has " + left);
    run.world.launch();
    hand.model().restarts();
    hand.expect_file("the restart");
    run.count(on_disk(sent));
    if (left == "CUT") run.expect_log("md5 is not same\n");
    hand.reads_back();
    run.expect(hand.block(static_cast<int32_t>(blocks / 2), sent) == UPGRADE_RET_STATE,
               "a block after the restart is taken");
}

// Blocks are lost, doubled and shuffled, answers are not heeded. The app resumes behind the last number.
void lost_doubled_shuffled(Run& run)
{
    UpgradeHand hand(run, old_database());
    const bytes_t sent = database(6, 20'000);
    hand.begins(sent, 0);
    const uint64_t lost_of_hundred = std::array<uint64_t, 3>{1, 5, 30}[run.below(3)];
    const auto blocks = static_cast<int32_t>(blocks_of(sent));
    while (hand.model().last_block() + 1 < blocks) {
        std::vector<int32_t> burst;
        for (int32_t i = hand.model().last_block() + 1; i < blocks && burst.size() < 8; i++)
            burst.push_back(i);
        if (run.one_in(3)) std::swap(burst[run.below(burst.size())], burst[run.below(burst.size())]);
        if (run.one_in(3)) burst.insert(burst.begin(), burst[run.below(burst.size())]);
        for (const int32_t number : burst) {
            if (run.below(100) < lost_of_hundred) {
                run.inject();
                run.count("lost");
                continue;
            }
            if (hand.model().state() == state_t::end) break;
            run.count(hand.block(number, sent) == 0 ? "taken" : "0xf0");
        }
    }
    run.expect(hand.end(sent) == 0, "the end is refused");
    hand.reads_back();
}

void one_bit_wrong(Run& run)
{
    UpgradeHand hand(run, old_database());
    const bytes_t good = database(6);
    bytes_t flipped = good;
    const size_t bits = good.size() * 8;
    const size_t bit = run.is_full     ? run.seed() * 997 % bits
                       : run.one_in(4) ? size_t{64} * 8 + run.below(128)
                                       : run.below(bits);
    flipped[bit / 8] ^= static_cast<uint8_t>(1u << bit % 8);
    run.inject();
    hand.begins(flipped, 0);
    for (size_t i = 0; i < blocks_of(flipped); i++)
        hand.block(static_cast<int32_t>(i), flipped);
    if (hand.model().state() == state_t::idle) {
        run.count("0xdd");
        return hand.reads_back();
    }
    const uint8_t code = hand.end(run.one_in(2) ? good : flipped);
    run.expect(code == UPGRADE_RET_RECEIVED_MD5 || code == UPGRADE_RET_FILE_MD5, "the end is answered by " + hex(code));
    run.count(hex(code));
    hand.read(0, 16);
}

void hostile_blocks(Run& run)
{
    UpgradeHand hand(run, old_database());
    const bytes_t sent = database(6, 30'000);
    hand.begins(sent, run.below(4));
    for (int i = 0; i < 60; i++) {
        const int32_t last = hand.model().last_block();
        const int32_t numbers[] = {INT32_MIN, -1, last, last + 1, last + 1, last + 2, INT32_MAX};
        bytes_t payload = block_payload(numbers[run.below(std::size(numbers))], run.bytes(run.below(1002)));
        if (run.one_in(5)) payload[5] = static_cast<uint8_t>(payload[5] + (run.one_in(2) ? 1 : 255));
        if (run.one_in(8)) payload.resize(run.below(8));
        run.inject();
        run.count(hex(hand.ask(ID_UPGRADE_DATA, payload)));
        if (hand.model().state() == state_t::idle) hand.begins(sent, 0);
    }
    // Longer blocks than were asked for are taken, shorter first ones are not.
    for (const size_t length : {63u, 64u, 981u, 1001u}) {
        hand.begins(sent, 0);
        run.count(hex(hand.ask(ID_UPGRADE_DATA, block_payload(0, peers::bytes_view(sent).first(length)))));
    }
}

void hostile_sizes(Run& run)
{
    UpgradeHand hand(run, old_database());
    const bytes_t sent = database(6, 5000);
    for (const uint32_t size : {0u, 1u, 16u, 17u, 4000u, 4999u, 5001u, UINT32_MAX}) {
        run.inject();
        hand.entry();
        hand.start(size);
        for (size_t i = 0; i < blocks_of(sent) && hand.model().state() != state_t::end; i++)
            hand.block(static_cast<int32_t>(i), sent);
        const bytes_t cut(sent.begin(), sent.begin() + std::min<long>(size, 5000));
        run.count(hex(hand.end(run.one_in(3) ? sent : cut)));
        hand.read(0, 1);
    }
}

// An app that is silent at any time, after garbage that keeps the upgrade alive.
void silent_app(Run& run)
{
    UpgradeHand hand(run, old_database());
    const bytes_t sent = database(6);
    const size_t stage = run.world.is_virtual() ? run.below(4) : 2;
    hand.entry();
    if (stage > 0) hand.start(static_cast<uint32_t>(sent.size()));
    const size_t blocks = stage == 3 ? blocks_of(sent) : stage == 2 ? run.between(1, blocks_of(sent) - 1) : 0;
    for (size_t i = 0; i < blocks; i++)
        hand.block(static_cast<int32_t>(i), sent);
    for (uint64_t i = run.below(4); i > 0; i--) {
        run.world.pass(15 * SECOND_US);
        hand.ask(run.one_in(2) ? ID_UPGRADE_ENTRY : ID_UPGRADE_DATA, bytes_t(1));
        run.count("kept alive");
    }
    run.world.pass(19 * SECOND_US);
    hand.expect_file("19 s");
    run.expect(hand.read(0, 1) == PROFILE_RET_UPGRADING, "given up before 20 s");
    run.inject();
    hand.falls_silent(2 * SECOND_US);
    run.expect_log("too long time not receive one packet for upgrade, timeout:");
    run.count("ends");
    run.expect(hand.read(0, 1) == PROFILE_RET_FAILED && hand.block(0, sent) == UPGRADE_RET_STATE, "it goes on");
}

// Two apps and a station in everybody's way.
void several_senders(Run& run)
{
    UpgradeHand hand(run, old_database());
    const bytes_t databases[] = {database(6, 7000), database(7, 7000)};
    const peer_name_t senders[] = {PHONE, TABLET, STATION};
    hand.begins(databases[0], run.below(5));
    for (int i = 0; i < 80; i++) {
        const peer_name_t& from = senders[run.below(3)];
        const bytes_t& file = databases[run.one_in(10) ? 1 : 0];
        const uint64_t what = run.below(40);
        run.inject();
        if (what == 0)
            run.count("entry " + hex(hand.entry(from)));
        else if (what == 1)
            run.count("start " + hex(hand.start(static_cast<uint32_t>(run.between(6900, 7100)), from)));
        else if (what < 5)
            run.count("end " + hex(hand.end(file, from)));
        else
            run.count("block " + hex(hand.block(hand.model().last_block() + (run.one_in(10) ? 2 : 1), file, from)));
        if (!hand.model().is_running()) hand.begins(databases[0], 0, from);
        if (run.one_in(10)) hand.read(static_cast<uint32_t>(run.below(7000)), 20);
    }
}

// The piece of an abandoned transfer is served as long as nothing verifies it.
void abandoned_transfer(Run& run)
{
    UpgradeHand hand(run, old_database());
    const bytes_t sent = database(6);
    const size_t blocks = run.between(1, blocks_of(sent) - 1);
    hand.begins(sent, blocks);
    hand.begins(sent, 0);
    const bytes_t refused = run.one_in(2) ? bytes_t(63, 1) : database(4);
    run.inject();
    run.count(hex(hand.ask(ID_UPGRADE_DATA,
                           block_payload(0, peers::bytes_view(refused).first(std::min(BLOCK, refused.size()))))));
    run.expect(hand.model().state() == state_t::idle, "the first block is taken");
    hand.reads_back();
    run.count("cut served");
    hand.restarts();
    run.expect(hand.model().file().empty(), "the piece outlives a restart");
}

void version_games(Run& run)
{
    const auto version = [&run] {
        constexpr uint32_t NUMBERS[] = {0, 1, 5, 6, UINT32_MAX};
        peers::nfz_version_t numbers;
        for (uint32_t& number : numbers)
            number = NUMBERS[run.below(std::size(NUMBERS))];
        return numbers;
    };
    const auto file_of = [](const peers::nfz_version_t& numbers) {
        return peers::build_nfz_file({numbers, 0, 0, peers::generate_nfz_content(numbers, 1500)});
    };
    UpgradeHand hand(run, run.one_in(6) ? bytes_t() : file_of(version()));
    for (int i = 0; i < 12; i++) {
        const bytes_t sent = file_of(version());
        hand.begins(sent, 0);
        const size_t first = run.one_in(4) ? run.between(64, 79) : BLOCK;
        run.inject();
        const uint8_t code = hand.ask(ID_UPGRADE_DATA, block_payload(0, peers::bytes_view(sent).first(first)));
        run.count(code == UPGRADE_RET_NOT_NEWER ? "0xdd" : "taken");
        if (code == UPGRADE_RET_NOT_NEWER) {
            hand.reads_back();
            run.expect(hand.block(1, sent) == UPGRADE_RET_STATE, "it goes on after a refusal");
        } else if (first == BLOCK && run.one_in(2)) {
            hand.block(1, sent);
            run.expect(hand.end(sent) == 0, "the end is refused");
        } else if (run.one_in(2)) {
            hand.end(sent);
        }
    }
}

// With the marker there anything is taken; it stays away in the runs of others.
void marker_allows_older(Run& run)
{
    UpgradeHand hand(run, database(9));
    hand.begins(database(3), 0);
    run.expect(hand.block(0, database(3)) == UPGRADE_RET_NOT_NEWER, "an older one is taken without the marker");
    hand.entry();
    hand.start(6000);  // makes the file system writable
    write_file(ROLLBACK_MARKER, {});
    hand.model().may_go_back();
    run.inject();
    run.expect(hand.sends(database(3)) == 0, "an older one is refused with the marker");
    hand.reads_back();
    run.count("older taken");
}

// The digests are right, what they cover is not a database.
void right_digest_wrong_content(Run& run)
{
    UpgradeHand hand(run, {});
    bytes_t file = run.bytes(run.between(64, 4000));
    const bool empty_head = run.one_in(2);
    if (empty_head) std::fill_n(file.begin(), 16, uint8_t{0});
    if (empty_head && run.one_in(2)) file[run.below(16)] = 1;
    if (!empty_head) file[3] = 7;
    const peers::md5_digest_t digest = peers::md5_of(file);
    file = joined(file, digest);
    run.inject();
    run.expect(hand.sends(file) == 0, "it is refused");
    hand.reads_back();
    hand.restarts();
    run.expect(hand.model().file().empty() == empty_head, "the model errs");
    if (empty_head) run.expect_log("the first 64 bytes checked failed! ");
    run.count(empty_head ? "emptied at restart" : "kept");
}

// What is found when the service starts.
void damaged_at_the_start(Run& run)
{
    static constexpr const char* LOGS[] = {"md5 is not same\n", "md5 is not same\n", "] is too short\n"};
    const uint64_t kind = (run.seed() - 1) % 3;
    bytes_t file = database(1);
    if (kind == 0) file[run.below(file.size())] ^= 0x10;
    if (kind == 1) file.resize(run.between(17, file.size() - 1));
    if (kind == 2) file.resize(run.between(1, 16));
    run.inject();
    UpgradeHand hand(run, file);
    run.expect(file_bytes(DATABASE).empty(), "it is kept");
    run.expect_log(LOGS[kind]);
    run.count(kind == 0 ? "bit" : kind == 1 ? "cut" : "short");
    hand.read(0, 1);
}

// Every request at every stage, of every length.
void requests_out_of_place(Run& run)
{
    UpgradeHand hand(run, old_database());
    const bytes_t sent = database(6, 4000);
    for (int i = 0; i < 50; i++) {
        const uint64_t stage = run.below(7);
        if (stage > 0) hand.entry();
        if (stage > 1) hand.start(static_cast<uint32_t>(sent.size()));
        if (stage > 2 && stage != 6)
            for (size_t k = 0; k < (stage == 3 ? 2 : blocks_of(sent)); k++)
                hand.block(static_cast<int32_t>(k), sent);
        if (stage == 5) hand.end(sent);
        if (stage == 6) hand.end(sent);  // far too early: it has failed
        const uint8_t id = IDS[run.below(4)];
        bytes_t payload = run.bytes(run.below(41));
        if (id == ID_UPGRADE_END && run.one_in(3)) payload = end_payload(sent);
        run.inject();
        run.count(hex(id).substr(2) + " " + hex(hand.ask(id, payload)));
        hand.read(0, 10);
    }
}

// --- the motors ---

struct orders_t {
    size_t holds = 0, releases = 0, registrations = 0;
};

orders_t orders(const World& world)
{
    orders_t count;
    count.registrations = world.sent(HOST_NFZ_UPGRADE, SET_FLIGHT_CONTROLLER, ID_REGISTER_MOTOR_ERR).size();
    for (const seen_t& seen : world.sent(HOST_NFZ_UPGRADE, SET_FLIGHT_CONTROLLER, ID_SET_MOTOR_ERR))
        (seen.payload.at(6) == MOTOR_DISABLE ? count.holds : count.releases)++;
    return count;
}

// How the flight controller answers a registration.
enum class answer_t { absent, silent, refuses, is_short, by_another };

bytes_t registration_answer(uint8_t result)
{
    const vela_fc_set_register_motor_ext_err_rsp answer = {result, 77, 0x5f, 3, 1};
    return joined(peers::bytes_of(answer));
}

void open_odd_controller(Run& run, answer_t kind)
{
    if (kind == answer_t::absent) return;
    World& world = run.world;
    if (kind == answer_t::by_another) world.peer(STATION);
    world.peer(FMU, [kind, &world](peers::BusEndpoint& endpoint) {
        endpoint.on_request(SET_FLIGHT_CONTROLLER, ID_REGISTER_MOTOR_ERR,
                            [kind, &endpoint, &world](const kest_event_t& asked) {
                                bytes_t answer = registration_answer(kind == answer_t::refuses ? 1 : 0);
                                if (kind == answer_t::silent) return;
                                if (kind == answer_t::is_short) answer.resize(7);
                                (kind == answer_t::by_another ? world.peer(STATION) : endpoint).reply(asked, answer);
                            });
        endpoint.on_request(SET_FLIGHT_CONTROLLER, ID_SET_MOTOR_ERR, [](const kest_event_t&) {});
    });
}

void registration_goes_wrong(Run& run)
{
    const auto kind = static_cast<answer_t>(run.below(5));
    UpgradeHand hand(run, {});
    open_odd_controller(run, kind);
    const bytes_t sent = database(1);
    hand.begins(sent, 2);
    run.world.forget();
    run.inject();
    run.world.pass(3 * SECOND_US);
    const orders_t held = orders(run.world);
    const bool accepted = kind == answer_t::by_another;
    // An absent peer's records are not taken, and so not seen.
    if (kind != answer_t::absent) {
        run.expect(held.holds >= 5, "only " + std::to_string(held.holds) + " orders to hold in 3 s");
        run.expect(accepted ? held.registrations <= 1 : held.registrations >= 5,
                   std::to_string(held.registrations) + " registrations in 3 s");
    }
    for (size_t i = 2; i < blocks_of(sent); i++)
        hand.block(static_cast<int32_t>(i), sent);
    run.expect(hand.end(sent) == 0, "the end is refused");
    run.world.pass(SECOND_US);
    run.world.forget();
    run.world.pass(3 * SECOND_US);
    const orders_t after = orders(run.world);
    run.expect(after.holds == 0 && after.registrations == 0, "it holds after a success");
    run.expect(accepted == (after.releases > 0), std::to_string(after.releases) + " releases after a success");
    static constexpr const char* NAMES[] = {"absent", "silent", "refuses", "short", "answered by another"};
    run.count(NAMES[static_cast<size_t>(kind)]);
}

// The last entry's sender decides, even when it is refused.
void entry_of_a_stranger(Run& run)
{
    UpgradeHand hand(run, {});
    run.world.controller();
    hand.begins(database(1), 2);
    run.world.pass(2 * SECOND_US);
    run.expect(run.world.controller().motors().held(), "the motors are not held");
    const size_t length = run.one_in(2) ? 8 : 9;
    hand.entry(STATION, length);
    run.inject();
    run.world.pass(SECOND_US);
    run.world.forget();
    run.world.pass(3 * SECOND_US);
    const orders_t orders_now = orders(run.world);
    run.expect(orders_now.holds == 0 && orders_now.releases == 0, "it still orders");
    run.count(length == 8 ? "refused entry" : "entry");
}

// A request in the same moment as the tick that gives up.
void request_beside_the_last_tick(Run& run)
{
    UpgradeHand hand(run, old_database());
    const bytes_t sent = database(6);
    hand.begins(sent, run.between(1, 3));
    run.world.pass(19 * SECOND_US + 800'000 + run.below(900'000));
    run.inject();
    // Whoever is first, the model follows.
    const bytes_t before = file_bytes(DATABASE);
    const bool failed = before.empty();
    if (failed) hand.model().falls_silent();
    run.count(failed ? "tick first" : "request first");
    switch (run.below(3)) {
        case 0:
            hand.entry();
            break;
        case 1:
            hand.block(hand.model().last_block() + 1, sent);
            break;
        default:
            hand.end(sent);
            break;
    }
    run.world.pass(2 * SECOND_US);
    hand.expect_file("two seconds more");
}

}  // namespace

std::span<const row_t> transfer_rows()
{
    static constexpr row_t ROWS[] = {
        {"N1", "service killed after an answer", place_t::both, 22, 110, killed_after_each_answer},
        {"N3", "blocks lost, doubled, shuffled", place_t::both, 24, 200, lost_doubled_shuffled},
        {"N4", "one bit wrong", place_t::both, 64, 400, one_bit_wrong},
        {"N5", "hostile block numbers and lengths", place_t::both, 24, 200, hostile_blocks},
        {"N6", "hostile announced size", place_t::both, 12, 60, hostile_sizes},
        {"N7", "silent app, or only garbage", place_t::both, 24, 120, silent_app},
        {"N8", "several senders", place_t::both, 24, 300, several_senders},
        {"N9", "abandoned transfer, refused first block", place_t::both, 12, 100, abandoned_transfer},
        {"N10", "version games", place_t::both, 24, 300, version_games},
        {"N10m", "the marker lets an older one in", place_t::both, 1, 4, marker_allows_older},
        {"N11", "right digests, wrong content", place_t::both, 8, 40, right_digest_wrong_content},
        {"N11s", "damaged file at the start", place_t::both, 12, 60, damaged_at_the_start},
        {"N12", "requests out of place, of any length", place_t::both, 24, 200, requests_out_of_place},
        {"N13", "motor registration goes wrong", place_t::both, 15, 60, registration_goes_wrong},
        {"N13e", "entry of a stranger", place_t::both, 4, 20, entry_of_a_stranger},
        {"N14", "request beside the last tick", place_t::clock, 0, 500, request_beside_the_last_tick},
    };
    return ROWS;
}
