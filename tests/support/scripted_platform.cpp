#include "scripted_platform.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <ostream>

static ScriptedPlatform* s_platform;

ScriptedPlatform::ScriptedPlatform()
{
    if (s_platform != nullptr) std::abort();
    s_platform = this;
}

ScriptedPlatform::~ScriptedPlatform()
{
    s_platform = nullptr;
}

// --- clock ---

static uint64_t count_us(std::chrono::microseconds time)
{
    return static_cast<uint64_t>(time.count());
}

ScriptedClock::timer_t* ScriptedClock::next_due(uint64_t until_us) const
{
    timer_t* next = nullptr;
    for (const auto& timer : timers)
        if (timer->due_us <= until_us && (next == nullptr || timer->due_us < next->due_us)) next = timer.get();
    return next;
}

void ScriptedClock::passes(std::chrono::microseconds time)
{
    const uint64_t until_us = now_us_ + count_us(time);
    while (timer_t* timer = next_due(until_us)) {
        now_us_ = timer->due_us;
        timer->due_us += timer->attrib.timeout_us;
        timer->attrib.entry(timer->attrib.param);
    }
    now_us_ = until_us;
}

void ScriptedClock::jumps(std::chrono::microseconds time)
{
    now_us_ += count_us(time);
    for (const auto& timer : timers)
        timer->due_us += count_us(time);
}

void ScriptedClock::ticks(const std::string& name)
{
    for (const auto& timer : timers)
        if (timer->name == name) return timer->attrib.entry(timer->attrib.param);
    std::abort();  // the test waits for a timer that nobody created
}

// --- bus ---

void PrintTo(const record_t& record, std::ostream* out)
{
    *out << std::hex << std::setfill('0') << "record " << record.from << ">" << record.to << " set " << int{record.set}
         << " id " << int{record.id} << " attrib " << record.attrib << " seq " << record.seq << " pad "
         << record.padding << " [" << std::dec << record.payload.size() << "]" << std::hex;
    for (const uint8_t byte : record.payload)
        *out << " " << std::setw(2) << int{byte};
    *out << std::dec;
}

kest_event_client* ScriptedBus::client(uint16_t host) const
{
    for (const auto& client : clients)
        if (client->host == host) return client.get();
    return nullptr;
}

bool ScriptedBus::delivers(const record_t& record) const
{
    kest_event_client* client = this->client(record.to);
    if (client == nullptr || !client->started) return false;
    if (record.set >= KEST_EVENT_SETS || record.id >= client->counts[record.set]) return false;
    kest_event_t event = {};
    event.msg_id = static_cast<uint32_t>(record.set) << 16 | record.id;
    event.peer_host = record.from;
    event.attrib = record.attrib;
    event.seq_id = record.seq;
    event.msg_len = static_cast<uint32_t>(record.payload.size());
    std::copy(record.payload.begin(), record.payload.end(), event.msg_buf);
    const kest_event_cmd_desc_t& descriptor = client->tables[record.set][record.id];
    const kest_event_cb_t callback = (record.attrib & 0x80) != 0 ? descriptor.reply_cb : descriptor.request_cb;
    return callback != nullptr && callback(client, &event, client->userdata) == 0;
}

static void remember(std::vector<record_t>& list, kest_event_client_t client, const kest_event_t& event,
                     const void* payload, size_t length)
{
    if (!s_platform->bus.remembers) return;
    const auto* bytes = static_cast<const uint8_t*>(payload);
    const std::lock_guard lock(s_platform->mutex);
    list.push_back({client->host, event.peer_host, static_cast<uint8_t>(event.msg_id >> 16),
                    static_cast<uint8_t>(event.msg_id), event.attrib, event.seq_id, bytes_t(bytes, bytes + length),
                    event.reserved});
}

// --- log ---

std::vector<std::string> ScriptedLog::texts(const std::string& tag)
{
    std::vector<std::string> texts;
    for (; seen_ < lines.size(); ++seen_)
        if (tag.empty() || lines[seen_].tag == tag) texts.push_back(lines[seen_].text);
    return texts;
}

size_t ScriptedLog::count(const std::string& text) const
{
    return static_cast<size_t>(
        std::count_if(lines.begin(), lines.end(), [&](const line_t& line) { return line.text == text; }));
}

// --- the operations ---

extern "C" {
kest_result_t kest_osal_timer_create(const kest_osal_timer_attrib_t* attrib, void** timer)
{
    ScriptedClock& clock = s_platform->clock;
    ++clock.creations;
    if (clock.creation_result != 0) return clock.creation_result;
    clock.timers.push_back(std::make_unique<ScriptedClock::timer_t>(
        ScriptedClock::timer_t{attrib->name, *attrib, clock.now_us() + attrib->timeout_us}));
    *timer = clock.timers.back().get();
    return 0;
}

kest_result_t kest_osal_get_boot_time(uint64_t* boot_time_us)
{
    *boot_time_us = s_platform->clock.now_us();
    return 0;
}

kest_result_t kest_mb_create_route_table(const char* config_path, const char* service, const char* endpoint,
                                         uint16_t* host_id, kest_mb_route_table_t* table)
{
    ScriptedBus& bus = s_platform->bus;
    bus.calls.push_back(std::string("create_route_table ") + config_path + " " + service + " " + endpoint);
    if (bus.results.create_route_table != 0) return bus.results.create_route_table;
    *host_id = bus.hosts.at(endpoint);
    *table = {};
    table->target_size = bus.target_size;
    return 0;
}

kest_result_t kest_mb_destroy_route_table(kest_mb_route_table_t*)
{
    s_platform->bus.calls.emplace_back("destroy_route_table");
    return 0;
}

kest_result_t kest_event_create_client(const kest_mb_route_table_t*, uint16_t host_id,
                                       const kest_event_cmd_desc_t* const tables[KEST_EVENT_SETS],
                                       const uint32_t counts[KEST_EVENT_SETS], void* userdata,
                                       kest_event_client_t* client)
{
    ScriptedBus& bus = s_platform->bus;
    bus.calls.emplace_back("create_client");
    if (bus.results.create_client != 0) return bus.results.create_client;
    auto made = std::make_unique<kest_event_client>(kest_event_client{host_id, false, userdata, {}, {}});
    std::copy_n(tables, std::size(made->tables), made->tables);
    std::copy_n(counts, std::size(made->counts), made->counts);
    std::erase_if(bus.clients, [&](const auto& other) { return other->host == host_id; });
    bus.clients.push_back(std::move(made));
    *client = bus.clients.back().get();
    return 0;
}

kest_result_t kest_event_start_client(kest_event_client_t client)
{
    s_platform->bus.calls.emplace_back("start_client");
    client->started = s_platform->bus.results.start_client == 0;
    return s_platform->bus.results.start_client;
}

kest_result_t kest_event_send(kest_event_client_t client, const kest_event_t* event)
{
    ScriptedBus& bus = s_platform->bus;
    if (client == nullptr || event->msg_len > KEST_EVENT_MAX_PAYLOAD) return -EINVAL;
    remember(bus.sent, client, *event, event->msg_buf, event->msg_len);
    return bus.results.send;
}

kest_result_t kest_event_send_sync(kest_event_client_t client, const kest_event_t* event, uint32_t timeout_us,
                                   kest_event_t* reply, uint32_t* reply_size)
{
    ScriptedBus& bus = s_platform->bus;
    if (client == nullptr || event->msg_len > KEST_EVENT_MAX_PAYLOAD) return -EINVAL;
    remember(bus.sent, client, *event, event->msg_buf, event->msg_len);
    bus.sync_timeout_us = timeout_us;
    if (bus.results.send_sync != 0) return bus.results.send_sync;
    const size_t size = KEST_EVENT_HEAD_SIZE + bus.sync_reply.size();
    if (*reply_size < size) return -EMSGSIZE;
    kest_event_t answer = *event;
    answer.attrib = 0x80;
    answer.msg_len = bus.sync_reply_len != 0 ? bus.sync_reply_len : static_cast<uint32_t>(bus.sync_reply.size());
    std::copy(bus.sync_reply.begin(), bus.sync_reply.end(), answer.msg_buf);
    std::memcpy(reply, &answer, size);
    *reply_size = static_cast<uint32_t>(size);
    return 0;
}

kest_result_t kest_event_resp_data(kest_event_client_t client, const kest_event_t* request, const void* data,
                                   uint32_t data_len)
{
    bytes_t payload(1 + data_len);
    std::copy_n(static_cast<const uint8_t*>(data), data_len, payload.begin() + 1);
    return kest_event_resp_data_without_retcode(client, request, payload.data(), data_len + 1);
}

kest_result_t kest_event_resp_data_without_retcode(kest_event_client_t client, const kest_event_t* request,
                                                   const void* data, uint32_t data_len)
{
    ScriptedBus& bus = s_platform->bus;
    if (client == nullptr || data_len > KEST_EVENT_MAX_PAYLOAD) return -EINVAL;
    remember(bus.replies, client, *request, data, data_len);
    return bus.results.send;
}

kest_result_t kest_sketch_initialize(const kest_sketch_attrib_t* attrib)
{
    s_platform->log.attrib = *attrib;
    s_platform->log.config_file = attrib->config_file != nullptr ? attrib->config_file : "";
    return s_platform->log.initialize_result;
}

int32_t kest_log_gen_head(int32_t, int32_t, char* head, uint32_t size, const char* source, const char* function,
                          int32_t line)
{
    if (s_platform->log.filters) return 0;
    return std::snprintf(head, size, "%s %s %d %u", source, function, line, size);
}

void kest_log_print(int32_t module, int32_t level, const char* head, const char* format, ...)
{
    if (!s_platform->bus.remembers) return;
    ScriptedLog::line_t line = {module, level, head, format, 0, {}, {}, {}};
    va_list args;
    va_start(args, format);
    char printed[512];
    va_list copy;
    va_copy(copy, args);
    std::vsnprintf(printed, sizeof printed, format, copy);
    va_end(copy);
    line.printed = printed;
    line.seconds = va_arg(args, double);
    line.tag = va_arg(args, const char*);
    line.text = va_arg(args, const char*);
    va_end(args);
    const std::lock_guard lock(s_platform->mutex);
    s_platform->log.lines.push_back(std::move(line));
}
}
