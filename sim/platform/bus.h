// The message bus in memory: records travel for as long as the seed says, one connection's in their order.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kest_event.h"
#include "kest_mb.h"
#include "platform/parties.h"
#include "platform/schedule.h"
#include "tarn_host.h"

// What stands behind an event client's handle.
struct kest_event_client {
    uint16_t host;
    bool started;
    void* userdata;
    const kest_event_cmd_desc_t* tables[KEST_EVENT_SETS];
    uint32_t counts[KEST_EVENT_SETS];
    uint32_t id = 0;   // no two clients of a run have the same
    size_t place = 0;  // in the table of connections
    sim::party_t party = sim::OUTSIDE;
    bool busy = false;                  // its task is in a callback
    std::deque<uint32_t> arrived = {};  // records that its task has not taken yet
};

namespace sim {

enum class send_kind { send, send_sync, reply };

// A record as its sender hands it over. `head` is the request's when it is a reply.
struct handed_over_t {
    send_kind kind;
    const kest_event_client& from;
    const kest_event_t& head;
    const void* payload;
    uint32_t length;
};

struct answer_room_t {
    kest_event_t* reply;
    uint32_t* reply_size;
    uint32_t timeout_us;
};

struct bus_hooks_t {
    // A value is what the sender gets, and the record goes nowhere.
    std::function<std::optional<kest_result_t>(const handed_over_t&)> on_send;
    std::function<std::optional<kest_result_t>(const handed_over_t&, const answer_room_t&)> on_ask;
    // Every record when it is taken and when it reaches its receiver, as the tap of the real bus shows it.
    std::function<void(const tarn_tap_head_t&, const kest_event_t&)> on_tap;
};

// Records that came to nothing, by reason.
struct bus_counts_t {
    uint64_t sent = 0;
    uint64_t received = 0;
    std::atomic<uint64_t> refused = 0;  // by on_send, on any thread
    uint64_t peer_absent = 0;           // or not in `hosts`
    uint64_t queue_full = 0;
    uint64_t no_handler = 0;  // unknown set or id
    uint64_t lost = 0;        // on the way to a client that went
};

class Bus {
public:
    Bus(Schedule& schedule, Parties& parties) : schedule_(schedule), parties_(parties) {}

    // The endpoints that can be reached.
    std::map<std::string, uint16_t> hosts = {{"flight_srv_fmu", 0x1105},
                                             {"flight_nfz_upgrade", 0x1106},
                                             {"fmu", 0x0306},
                                             {"phone", 0x0200},
                                             {"station", 0x1103}};
    bus_hooks_t hooks;

    kest_event_client* create(uint16_t host, const kest_event_cmd_desc_t* const tables[KEST_EVENT_SETS],
                              const uint32_t counts[KEST_EVENT_SETS], void* userdata);
    void start(kest_event_client& client);
    void close(kest_event_client* client);
    void close_all_of(party_t party);

    kest_event_client* client(uint16_t host) const;  // null: nobody has the address

    kest_result_t send(const handed_over_t& record);
    // Other events happen meanwhile: `run` takes the next one until that time.
    kest_result_t ask(const handed_over_t& record, const answer_room_t& room,
                      const std::function<bool(uint64_t until_us)>& run);

    // A record's event is there.
    void arrive(uint32_t record);

    // Hands the record to the client's callback, on the calling thread: two clients may be served at once.
    // False: there is none for it.
    bool dispatch(kest_event_client& client, const kest_event_t& event);

    const bus_counts_t& counts() const { return counts_; }

private:
    static constexpr size_t MAX_CLIENTS = 16;
    // About what the kernel's socket buffer holds of small records.
    static constexpr uint32_t QUEUE_RECORDS = 90;

    struct in_flight_t {
        uint32_t receiver;  // id of the client
        size_t connection;
        kest_event_t event;
    };
    struct connection_t {
        uint64_t last_arrival_us = 0;
        uint32_t records = 0;  // under way
    };
    // A sender that waits.
    struct waiting_t {
        const kest_event_client* client;
        kest_event_t request;
        answer_room_t room;
        bool done;
        kest_result_t result;
    };

    kest_result_t post(const kest_event_client& from, const kest_event_t& event);
    kest_result_t refusal(uint16_t host);
    uint32_t take_slot();
    uint64_t arrival_time(connection_t& connection);
    void hand_over(kest_event_client& client, uint32_t record);
    void take_arrived(kest_event_client& client);
    bool wakes(const kest_event_client& client, const kest_event_t& event);
    void show_on_tap(uint16_t from, uint16_t to, uint8_t direction, const kest_event_t& event);

    Schedule& schedule_;
    Parties& parties_;
    std::vector<std::unique_ptr<kest_event_client>> clients_;
    uint32_t last_id_ = 0;
    std::array<connection_t, MAX_CLIENTS * MAX_CLIENTS> connections_;
    std::deque<in_flight_t> in_flight_;
    std::vector<uint32_t> free_slots_;
    std::vector<waiting_t*> waiting_;
    bus_counts_t counts_;
};

}  // namespace sim
