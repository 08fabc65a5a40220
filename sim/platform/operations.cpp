// The platform's operations, as its headers declare them, on the Platform that lives.
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "kest_event.h"
#include "kest_mb.h"
#include "kest_osal.h"
#include "kest_sketch.h"
#include "platform/platform.h"
#include "tarn_host.h"

using sim::Platform;
using sim::send_kind;

static kest_result_t ask_first(const sim::setup_t& setup)
{
    const Platform& platform = Platform::now();
    return platform.on_setup ? platform.on_setup(setup) : 0;
}

extern "C" {

kest_result_t kest_osal_timer_create(const kest_osal_timer_attrib_t* attrib, void** timer)
{
    if (const kest_result_t refused = ask_first({sim::setup::timer})) return refused;
    if (attrib == nullptr || attrib->timeout_us == 0 || timer == nullptr) return -EINVAL;
    *timer = &Platform::now().timers().create(*attrib);
    return 0;
}

void tarn_timer_close(void* timer)
{
    if (timer != nullptr) Platform::now().timers().end(timer);
}

kest_result_t kest_osal_get_boot_time(uint64_t* boot_time_us)
{
    *boot_time_us = Platform::now().schedule().now_us();
    return 0;
}

kest_result_t kest_mb_create_route_table(const char* config_path, const char* service, const char* endpoint,
                                         uint16_t* host_id, kest_mb_route_table_t* table)
{
    if (const kest_result_t refused = ask_first({sim::setup::route_table, config_path, service, endpoint}))
        return refused;
    const auto& hosts = Platform::now().bus().hosts;
    const auto host = hosts.find(endpoint);
    if (host == hosts.end()) return -ENOENT;
    *host_id = host->second;
    *table = {};
    table->target_size = Platform::now().route_targets;
    return 0;
}

kest_result_t kest_mb_destroy_route_table(kest_mb_route_table_t*)
{
    return ask_first({sim::setup::route_table_end});
}

kest_result_t kest_event_create_client(const kest_mb_route_table_t*, uint16_t host_id,
                                       const kest_event_cmd_desc_t* const tables[KEST_EVENT_SETS],
                                       const uint32_t counts[KEST_EVENT_SETS], void* userdata,
                                       kest_event_client_t* client)
{
    if (const kest_result_t refused = ask_first({sim::setup::client})) return refused;
    sim::Bus& bus = Platform::now().bus();
    if (bus.client(host_id) != nullptr) return -EADDRINUSE;
    *client = bus.create(host_id, tables, counts, userdata);
    return *client != nullptr ? 0 : -ENOMEM;
}

kest_result_t kest_event_start_client(kest_event_client_t client)
{
    if (const kest_result_t refused = ask_first({sim::setup::client_start})) return refused;
    if (client == nullptr) return -EINVAL;
    if (client->started) return -EALREADY;
    Platform::now().bus().start(*client);
    return 0;
}

void tarn_client_close(kest_event_client_t client)
{
    if (client != nullptr) Platform::now().bus().close(client);
}

kest_result_t kest_event_send(kest_event_client_t client, const kest_event_t* event)
{
    if (client == nullptr || event == nullptr || event->msg_len > KEST_EVENT_MAX_PAYLOAD) return -EINVAL;
    return Platform::now().bus().send({send_kind::send, *client, *event, event->msg_buf, event->msg_len});
}

kest_result_t kest_event_send_sync(kest_event_client_t client, const kest_event_t* event, uint32_t timeout_us,
                                   kest_event_t* reply, uint32_t* reply_size)
{
    if (client == nullptr || event == nullptr || event->msg_len > KEST_EVENT_MAX_PAYLOAD) return -EINVAL;
    Platform& platform = Platform::now();
    return platform.bus().ask({send_kind::send_sync, *client, *event, event->msg_buf, event->msg_len},
                              {reply, reply_size, timeout_us},
                              [&platform](uint64_t until_us) { return platform.step(until_us); });
}

kest_result_t kest_event_resp_data(kest_event_client_t client, const kest_event_t* request, const void* data,
                                   uint32_t data_len)
{
    uint8_t payload[KEST_EVENT_MAX_PAYLOAD] = {};  // the first byte is the return code
    if (data_len >= sizeof payload) return -EINVAL;
    if (data_len != 0) std::memcpy(payload + 1, data, data_len);
    return kest_event_resp_data_without_retcode(client, request, payload, data_len + 1);
}

kest_result_t kest_event_resp_data_without_retcode(kest_event_client_t client, const kest_event_t* request,
                                                   const void* data, uint32_t data_len)
{
    if (client == nullptr || request == nullptr || data_len > KEST_EVENT_MAX_PAYLOAD) return -EINVAL;
    return Platform::now().bus().send({send_kind::reply, *client, *request, data, data_len});
}

kest_result_t kest_sketch_initialize(const kest_sketch_attrib_t* attrib)
{
    const auto& hook = Platform::now().log.on_initialize;
    return hook ? hook(*attrib) : 0;
}

int32_t kest_log_gen_head(int32_t, int32_t, char* head, uint32_t size, const char* source, const char* function,
                          int32_t line)
{
    const sim::log_hooks_t& log = Platform::now().log;
    if (log.filters || !log.on_line) return 0;
    return std::snprintf(head, size, "%s %s %d %u", source, function, line, size);
}

void kest_log_print(int32_t module, int32_t level, const char* head, const char* format, ...)
{
    const auto& on_line = Platform::now().log.on_line;
    if (!on_line) return;
    va_list args;
    va_start(args, format);
    on_line(module, level, head, format, args);
    va_end(args);
}
}
