#include "platform/bus.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace sim {
namespace {

constexpr uint16_t NEED_ACK = 0x60;
constexpr uint16_t IS_REPLY = 0x80;
constexpr uint8_t SENT = 0;
constexpr uint8_t RECEIVED = 1;

// The record that goes out: a reply turns the request's head around.
kest_event_t record_of(const handed_over_t& handed)
{
    kest_event_t event = {};
    std::memcpy(&event, &handed.head, KEST_EVENT_HEAD_SIZE);
    event.reserved = 0;
    event.msg_len = handed.length;
    if (handed.kind == send_kind::reply) event.attrib = static_cast<uint16_t>((event.attrib & ~NEED_ACK) | IS_REPLY);
    if (handed.length != 0) std::memcpy(event.msg_buf, handed.payload, handed.length);
    return event;
}

bool is_answer(const kest_event_t& request, const kest_event_t& event)
{
    return request.peer_host == event.peer_host && request.msg_id == event.msg_id && request.seq_id == event.seq_id;
}

kest_result_t copy_answer(const kest_event_t& event, const answer_room_t& room)
{
    const uint32_t size = KEST_EVENT_HEAD_SIZE + event.msg_len;
    if (*room.reply_size < size) return -EMSGSIZE;
    std::memcpy(room.reply, &event, size);
    *room.reply_size = size;
    return 0;
}

}  // namespace

// --- clients ---

kest_event_client* Bus::create(uint16_t host, const kest_event_cmd_desc_t* const tables[KEST_EVENT_SETS],
                               const uint32_t counts[KEST_EVENT_SETS], void* userdata)
{
    std::array<bool, MAX_CLIENTS> taken = {};
    for (const auto& client : clients_)
        taken[client->place] = true;
    const auto place = std::find(taken.begin(), taken.end(), false);
    if (place == taken.end()) return nullptr;
    auto made = std::make_unique<kest_event_client>(kest_event_client{host, false, userdata, {}, {}});
    std::copy_n(tables, KEST_EVENT_SETS, made->tables);
    std::copy_n(counts, KEST_EVENT_SETS, made->counts);
    made->id = ++last_id_;
    made->place = static_cast<size_t>(place - taken.begin());
    made->party = parties_.current();
    clients_.push_back(std::move(made));
    return clients_.back().get();
}

void Bus::start(kest_event_client& client)
{
    client.started = true;
    take_arrived(client);
}

void Bus::close(kest_event_client* client)
{
    std::erase_if(clients_, [&](const auto& one) {
        if (one.get() != client) return false;
        counts_.lost += one->arrived.size();
        free_slots_.insert(free_slots_.end(), one->arrived.begin(), one->arrived.end());
        return true;
    });
}

void Bus::close_all_of(party_t party)
{
    std::vector<kest_event_client*> leaving;
    for (const auto& client : clients_)
        if (client->party == party) leaving.push_back(client.get());
    for (kest_event_client* client : leaving)
        close(client);
}

kest_event_client* Bus::client(uint16_t host) const
{
    for (const auto& client : clients_)
        if (client->host == host) return client.get();
    return nullptr;
}

// --- sending ---

kest_result_t Bus::send(const handed_over_t& record)
{
    if (hooks.on_send) {
        if (const auto result = hooks.on_send(record)) {
            if (*result != 0) counts_.refused++;
            return *result;
        }
    }
    return post(record.from, record_of(record));
}

kest_result_t Bus::post(const kest_event_client& from, const kest_event_t& event)
{
    const kest_event_client* receiver = client(event.peer_host);
    if (receiver == nullptr) return refusal(event.peer_host);
    const size_t which = from.place * MAX_CLIENTS + receiver->place;
    connection_t& connection = connections_[which];
    if (connection.records >= QUEUE_RECORDS) {
        counts_.queue_full++;
        return -EAGAIN;
    }
    counts_.sent++;
    show_on_tap(from.host, event.peer_host, SENT, event);
    const uint32_t slot = take_slot();
    in_flight_t& flight = in_flight_[slot];
    flight.receiver = receiver->id;
    flight.connection = which;
    flight.event = event;
    flight.event.peer_host = from.host;
    connection.records++;
    schedule_.add(arrival_time(connection), event_kind::arrival, slot);
    return 0;
}

kest_result_t Bus::refusal(uint16_t host)
{
    counts_.peer_absent++;
    const bool known =
        std::any_of(hosts.begin(), hosts.end(), [host](const auto& endpoint) { return endpoint.second == host; });
    return known ? -ECONNREFUSED : -EHOSTUNREACH;
}

uint32_t Bus::take_slot()
{
    if (free_slots_.empty()) {
        in_flight_.emplace_back();
        return static_cast<uint32_t>(in_flight_.size() - 1);
    }
    const uint32_t slot = free_slots_.back();
    free_slots_.pop_back();
    return slot;
}

// Behind what went before on the same connection, however long that takes.
uint64_t Bus::arrival_time(connection_t& connection)
{
    const rules_t& rules = schedule_.rules();
    const uint64_t time_us =
        schedule_.now_us() + schedule_.random().between(rules.latency_least_us, rules.latency_most_us);
    connection.last_arrival_us = std::max(time_us, connection.last_arrival_us + 1);
    return connection.last_arrival_us;
}

kest_result_t Bus::ask(const handed_over_t& record, const answer_room_t& room,
                       const std::function<bool(uint64_t until_us)>& run)
{
    if (hooks.on_ask) {
        if (const auto result = hooks.on_ask(record, room)) return *result;
    }
    if (record.from.busy) return -EDEADLK;
    waiting_t wait = {&record.from, record.head, room, false, -ETIMEDOUT};
    waiting_.push_back(&wait);
    const kest_result_t sent = send(record);
    if (sent == 0) {
        const uint64_t until_us = schedule_.now_us() + room.timeout_us;
        while (!wait.done && run(until_us)) {
        }
    }
    std::erase(waiting_, &wait);
    return sent != 0 ? sent : wait.result;
}

// --- arriving ---

void Bus::arrive(uint32_t record)
{
    in_flight_t& flight = in_flight_[record];
    connections_[flight.connection].records--;
    for (const auto& client : clients_)
        if (client->id == flight.receiver) return hand_over(*client, record);
    counts_.lost++;
    free_slots_.push_back(record);
}

void Bus::hand_over(kest_event_client& client, uint32_t record)
{
    client.arrived.push_back(record);
    take_arrived(client);
}

// One callback at a time. The client may be closed by others while its callback waits, never by itself.
void Bus::take_arrived(kest_event_client& client)
{
    const uint32_t id = client.id;
    const auto lives = [this, id] {
        return std::any_of(clients_.begin(), clients_.end(), [id](const auto& one) { return one->id == id; });
    };
    while (lives() && client.started && !client.busy && !client.arrived.empty()) {
        const uint32_t record = client.arrived.front();
        client.arrived.pop_front();
        const kest_event_t& event = in_flight_[record].event;
        show_on_tap(event.peer_host, client.host, RECEIVED, event);
        if ((event.attrib & IS_REPLY) == 0 || !wakes(client, event))
            (dispatch(client, event) ? counts_.received : counts_.no_handler)++;
        free_slots_.push_back(record);
    }
}

bool Bus::wakes(const kest_event_client& client, const kest_event_t& event)
{
    const auto wait = std::find_if(waiting_.begin(), waiting_.end(), [&](const waiting_t* one) {
        return one->client == &client && !one->done && is_answer(one->request, event);
    });
    if (wait == waiting_.end()) return false;
    (*wait)->done = true;
    (*wait)->result = copy_answer(event, (*wait)->room);
    counts_.received++;
    return true;
}

bool Bus::dispatch(kest_event_client& client, const kest_event_t& event)
{
    const uint32_t set = event.msg_id >> 16;
    const uint32_t id = event.msg_id & 0xffff;
    const bool known = set < KEST_EVENT_SETS && id < client.counts[set];
    kest_event_cb_t callback = nullptr;
    if (known) {
        const kest_event_cmd_desc_t& descriptor = client.tables[set][id];
        callback = (event.attrib & IS_REPLY) != 0 ? descriptor.reply_cb : descriptor.request_cb;
    }
    if (callback == nullptr) return false;
    const Parties::Turn turn(parties_, client.party);
    client.busy = true;
    callback(&client, &event, client.userdata);
    client.busy = false;
    return true;
}

void Bus::show_on_tap(uint16_t from, uint16_t to, uint8_t direction, const kest_event_t& event)
{
    if (!hooks.on_tap) return;
    const tarn_tap_head_t head = {schedule_.now_us(), from, to, direction, {}};
    hooks.on_tap(head, event);
}

}  // namespace sim
