// Records that no honest peer sends, and pushes and answers that are not what they should be.
#include <array>
#include <cstring>
#include <nlohmann/json.hpp>
#include <set>

#include "afqt_wire.h"
#include "row.h"

namespace {

constexpr uint8_t NO_HANDLER = 0xe0;
constexpr uint16_t SERVICES[] = {HOST_FLIGHT_SERVICE, HOST_NFZ_UPGRADE};

struct handler_t {
    uint16_t host;
    uint8_t set, id;
    size_t reply;  // bytes; 0: none
};
constexpr handler_t HANDLERS[] = {
    {HOST_FLIGHT_SERVICE, SET_COMMON, ID_GET_VERSION, 61},
    {HOST_FLIGHT_SERVICE, SET_FLIGHT_CONTROLLER, ID_DB_BAG_PUSH, 0},
    {HOST_FLIGHT_SERVICE, SET_FLIGHT_CONTROLLER, ID_TFR_UPDATE, 18},
    {HOST_FLIGHT_SERVICE, SET_AFQT, CMD_ID_AFQT_CMD, 0},
    {HOST_NFZ_UPGRADE, SET_COMMON, ID_GET_VERSION, 30},
    {HOST_NFZ_UPGRADE, SET_COMMON, ID_UPGRADE_ENTRY, 3},
    {HOST_NFZ_UPGRADE, SET_COMMON, ID_UPGRADE_START, 71},
    {HOST_NFZ_UPGRADE, SET_COMMON, ID_UPGRADE_DATA, 5},
    {HOST_NFZ_UPGRADE, SET_COMMON, ID_UPGRADE_END, 1},
    {HOST_NFZ_UPGRADE, SET_COMMON, ID_UPGRADE_REBOOT, 1},
    {HOST_NFZ_UPGRADE, SET_COMMON, ID_GET_DEVICE_STATE, 6},
    {HOST_NFZ_UPGRADE, SET_FLYLIMIT, ID_NFZ_READ, 275},
    {HOST_NFZ_UPGRADE, SET_FLIGHT_CONTROLLER, ID_REGISTER_MOTOR_ERR, 0},
};

const handler_t* handler_of(uint16_t host, uint8_t set, uint8_t id)
{
    for (const handler_t& handler : HANDLERS)
        if (handler.host == host && handler.set == set && handler.id == id) return &handler;
    return nullptr;
}

size_t replies_to(World& world, uint16_t from, uint16_t to)
{
    return world.sent([=](const seen_t& seen) { return seen.head.from == from && seen.head.to == to; }).size();
}

// Known commands get replies of their length, unknown ones a refusal when they want a reply, all else silence.
void any_command(Run& run)
{
    run.world.launch();
    const int records = run.world.is_virtual() ? 4000 : 800;
    for (int i = 0; i < records; i++) {
        const uint16_t host = SERVICES[run.below(2)];
        const auto set = static_cast<uint8_t>(run.one_in(4) ? run.between(0, 255) : run.below(79));
        const auto id = static_cast<uint8_t>(run.one_in(20) ? 255 : run.below(256));
        // Requests to the flight test are left out: they start one.
        if (set == SET_AFQT) continue;
        const bytes_t payload = run.bytes(run.below(run.one_in(10) ? 1009 : 30));
        run.inject();
        if (run.one_in(3)) {
            const auto unasked = run.world.peer(TABLET).send(host, set, id, payload);
            run.count(unasked == 0 ? "no reply wanted" : "queue full");
            continue;
        }
        if (set >= 79 || id == 255) {
            // Dropped by the bus: nothing comes, and nothing is waited for.
            run.world.peer(TABLET).send(host, set, id, payload);
            run.count("dropped");
            continue;
        }
        const bytes_t reply = run.world.ask(PHONE, host, set, id, payload);
        const handler_t* handler = handler_of(host, set, id);
        if (handler == nullptr) {
            run.expect(reply == bytes_t{NO_HANDLER},
                       "unknown " + hex(set) + " " + hex(id) + " is answered by " + hex(reply));
            run.count("0xe0");
        } else {
            run.expect(reply.size() == handler->reply, "known " + hex(set) + " " + hex(id) + ": " + hex(reply));
            run.count("answered");
        }
    }
    // Whoever wanted no reply got none.
    run.world.pass(SECOND_US);
    run.expect(replies_to(run.world, HOST_NFZ_UPGRADE, TABLET.host) +
                       replies_to(run.world, HOST_FLIGHT_SERVICE, TABLET.host) ==
                   0,
               "a reply that nobody wanted");
}

// Every handler, with payloads of every length.
void every_length(Run& run)
{
    run.world.launch();
    for (const handler_t& handler : HANDLERS) {
        if (handler.set == SET_AFQT) continue;
        for (size_t length = 0; length <= KEST_EVENT_MAX_PAYLOAD; length += length < 300 ? 1 : run.between(1, 90)) {
            const bytes_t payload = run.bytes(length);
            run.inject();
            if (handler.reply == 0) {
                const auto sent = [&] {
                    return run.world.peer(PHONE).send(handler.host, handler.set, handler.id, payload) == 0;
                };
                run.expect(run.world.until(sent, 2 * SECOND_US), "it does not take records any more");
                continue;
            }
            const bytes_t reply = run.world.ask(PHONE, handler.host, handler.set, handler.id, payload);
            const bool range = handler.id == ID_NFZ_READ && !reply.empty() && reply[0] == 0;
            run.expect(range || reply.size() == handler.reply, hex(handler.set) + " " + hex(handler.id) + ", " +
                                                                   std::to_string(length) + " bytes: " + hex(reply));
            run.count("answered");
        }
    }
}

// The flight controller's pushes: only whole ones of a known bag count, and only they keep the subscription.
void hostile_pushes(Run& run)
{
    run.world.launch();
    const bool some_are_good = run.one_in(2);
    run.world.peer(FMU);
    run.world.pass(3 * SECOND_US);
    for (int i = 0; i < 1500; i++) {
        bytes_t push = run.bytes(run.one_in(2) ? run.below(164) : run.below(1009));
        if (push.size() > 163) push[0] = static_cast<uint8_t>(run.between(2, 255));
        if (some_are_good && i % 100 == 0) {
            push = run.bytes(164);  // any numbers in it: infinite ones, dates that are none
            push[0] = 0;
        }
        run.inject();
        run.world.peer(FMU).send(HOST_FLIGHT_SERVICE, SET_FLIGHT_CONTROLLER, ID_DB_BAG_PUSH, push);
        run.world.pass(SECOND_US / 100);
    }
    run.world.pass(SECOND_US);
    const bool subscribes_anew = run.world.log().find("restart db sub err_cnt:") != std::string::npos;
    run.expect(subscribes_anew == !some_are_good, some_are_good ? "good pushes do not count" : "bad pushes count");
    run.count(some_are_good ? "taken" : "dropped");
    run.world.leaves(FMU);
}

// What becomes of an answer. The service waits 5 ms for it.
enum class answer_t : uint8_t { good, with_more, silent, cut, late, wrong_number, from_another };
constexpr const char* ANSWER_NAMES[] = {"good", "with more behind", "silent",      "cut",
                                        "late", "wrong number",     "from another"};

struct question_t {
    uint8_t set, id;
    bytes_t answer;
    answer_t how;
};

void answer(Run& run, peers::BusEndpoint& controller, const question_t& question, const kest_event_t& event)
{
    bytes_t payload = question.answer;
    run.inject();
    run.count(ANSWER_NAMES[static_cast<size_t>(question.how)]);
    switch (question.how) {
        case answer_t::silent:
            return;
        case answer_t::with_more:
            payload.resize(KEST_EVENT_MAX_PAYLOAD, 0xa5);
            break;
        case answer_t::cut:
            payload.resize(run.below(payload.size()));
            break;
        case answer_t::late:
            controller.call_later(20'000, [&controller, event, payload] { controller.reply(event, payload); });
            return;
        case answer_t::wrong_number: {
            kest_event_t another = event;
            another.seq_id++;
            controller.reply(another, payload);
            return;
        }
        case answer_t::from_another:
            run.world.peer(TABLET).reply(event, payload);
            return;
        case answer_t::good:
            break;
    }
    controller.reply(event, payload);
}

// The flight test asks who the aircraft is and writes it down. An answer that is not one leaves its field empty.
void odd_answers(Run& run)
{
    cmd_get_version_t version = {};
    version.firmware_ver = 0x01020304;
    sn_request_ack_t serial = {};
    std::memcpy(serial.sn, "SIXTEEN LETTERS!", sizeof serial.sn);
    std::array<question_t, 3> questions = {{
        {SET_COMMON, ID_GET_VERSION, bytes_t(sizeof version), {}},
        {SET_FLIGHT_CONTROLLER, CMD_ID_GET_PRODUCT_ID, bytes_t(sizeof serial), {}},
        {SET_FLIGHT_CONTROLLER, CMD_ID_GET_PRODUCT_TYPE, bytes_t{7}, {}},
    }};
    std::memcpy(questions[0].answer.data(), &version, sizeof version);
    std::memcpy(questions[1].answer.data(), &serial, sizeof serial);
    for (question_t& question : questions)
        question.how = static_cast<answer_t>(run.below(std::size(ANSWER_NAMES)));

    static constexpr std::string_view LIST =
        R"({"attribute":{"motion_num":1},"motion0":{"motion_id":"kHover","para_cfg":{"duration":1}}})";
    write_file("/tmp/EMMC/AFQT_ENABLE.txt", {});
    write_file("/tmp/SD0/factory_test/afqt_motion_cfg_0.json", bytes_t(LIST.begin(), LIST.end()));
    write_file("/tmp/SD0/factory_test/afqt/latest", bytes_t{'8'});
    run.world.peer(TABLET);
    run.world.peer(FMU, [&](peers::BusEndpoint& controller) {
        for (const question_t& question : questions)
            controller.on_request(question.set, question.id,
                                  [&](const kest_event_t& event) { answer(run, controller, question, event); });
    });
    run.world.launch();
    const bytes_t on = {kAfqtOn, 0, 0}, off = {kAfqtOff, 0, 0};
    run.world.peer(STATION).send(HOST_FLIGHT_SERVICE, SET_AFQT, CMD_ID_AFQT_CMD, on);
    run.world.pass(3 * SECOND_US);

    const auto tag = nlohmann::json::parse(file_bytes("/tmp/blackbox/log/afqt/afqttag_008.json"), nullptr, false);
    run.expect(tag.is_object(), "no tag file");
    const auto taken = [&](size_t i) {
        return questions[i].how == answer_t::good || questions[i].how == answer_t::with_more;
    };
    const std::string firmware = tag.value("FCfirmware", "missing"), sn = tag.value("drone_sn", "missing");
    const int drone_type = tag.value("drone_type", -1);
    run.expect(firmware == (taken(0) ? "1.2.3.4" : ""), "firmware " + firmware);
    run.expect(sn == (taken(1) ? "SIXTEEN LETTERS!" : ""), "serial number " + sn);
    run.expect(drone_type == (taken(2) ? 7 : 0), "drone type " + std::to_string(drone_type));
    run.world.peer(STATION).send(HOST_FLIGHT_SERVICE, SET_AFQT, CMD_ID_AFQT_CMD, off);
    run.world.pass(2 * SECOND_US);
    run.world.leaves(FMU);
}

}  // namespace

std::span<const row_t> bus_rows()
{
    static constexpr row_t ROWS[] = {
        {"B2", "any set and id", place_t::both, 4, 20, any_command},
        {"B2l", "every handler, every length", place_t::both, 1, 10, every_length},
        {"B3", "hostile pushes of the flight controller", place_t::clock, 0, 40, hostile_pushes},
        {"B4", "odd answers to a question", place_t::clock, 7, 60, odd_answers},
    };
    return ROWS;
}
