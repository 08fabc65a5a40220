// Creating, starting and closing an event client.
#include "event_client.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>

#include "route_table.h"
#include "stats_report.h"
#include "tarn_host.h"
#include "thread_start.h"

namespace {

// The order matters: once the socket listens, the address is ours and its counters may be replaced.
int open_client(kest_event_client& client)
{
    int result = client.listener.open(client.routes, client.host);
    if (result != 0) return result;
    client.counts.open(client.routes, client.host);
    client.outgoing.open(client.routes, client.host);
    client.incoming.open(client.routes, client.host, client.counts);
    result = client.tap.open(client.routes);
    if (result != 0) return result;
    client.stop.reset(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
    if (!client.stop) return -errno;
    tarn::stats_report_add(client.counts);
    result = tarn::bus_task_prepare(client);
    if (result != 0) tarn::stats_report_remove(client.counts);
    return result;
}

}  // namespace

kest_result_t kest_event_create_client(const kest_mb_route_table_t* table, uint16_t host_id,
                                       const kest_event_cmd_desc_t* const tables[KEST_EVENT_SETS],
                                       const uint32_t counts[KEST_EVENT_SETS], void* userdata,
                                       kest_event_client_t* client)
{
    if (table == nullptr || table->priv_data == nullptr || tables == nullptr || counts == nullptr || client == nullptr)
        return -EINVAL;
    std::unique_ptr<kest_event_client> made(new (std::nothrow) kest_event_client);
    if (!made) return -ENOMEM;
    made->routes = tarn::routes_of(*table);
    made->host = host_id;
    std::copy_n(tables, KEST_EVENT_SETS, made->tables);
    std::copy_n(counts, KEST_EVENT_SETS, made->table_sizes);
    made->userdata = userdata;
    const int result = open_client(*made);
    if (result != 0) return result;
    *client = made.release();
    return 0;
}

kest_result_t kest_event_start_client(kest_event_client_t client)
{
    if (client == nullptr) return -EINVAL;
    if (client->is_started.exchange(true)) return -EALREADY;
    const int result = tarn::thread_start(&client->thread, tarn::bus_task_run, client);
    if (result != 0) client->is_started = false;
    return result;
}

void tarn_client_close(kest_event_client_t client)
{
    if (client == nullptr) return;
    if (client->is_started) {
        const uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = ::write(client->stop.get(), &one, sizeof one);
        pthread_join(client->thread, nullptr);
    }
    tarn::stats_report_remove(client->counts);
    delete client;
}
