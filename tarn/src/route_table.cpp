// The route table that callers hold: the list of addresses in plain sight, the rest of the configuration behind it.
#include "route_table.h"

#include <cerrno>
#include <memory>
#include <new>

namespace tarn {

const route_config& routes_of(const kest_mb_route_table_t& table)
{
    return *static_cast<const route_config*>(table.priv_data);
}

}  // namespace tarn

kest_result_t kest_mb_create_route_table(const char* config_path, const char* service, const char* endpoint,
                                         uint16_t* host_id, kest_mb_route_table_t* table)
{
    if (config_path == nullptr || service == nullptr || endpoint == nullptr || host_id == nullptr || table == nullptr)
        return -EINVAL;
    std::unique_ptr<tarn::route_config> routes(new (std::nothrow) tarn::route_config{});
    if (!routes) return -ENOMEM;
    uint16_t host = 0;
    const int result = tarn::route_config_load(config_path, service, endpoint, *routes, host);
    if (result != 0) return result;
    *table = {};
    table->target_size = static_cast<int32_t>(routes->host_count);
    for (uint32_t i = 0; i < routes->host_count; ++i)
        table->targets[i] = &routes->hosts[i];
    table->priv_data = routes.release();
    *host_id = host;
    return 0;
}

kest_result_t kest_mb_destroy_route_table(kest_mb_route_table_t* table)
{
    if (table == nullptr) return -EINVAL;
    delete static_cast<tarn::route_config*>(table->priv_data);
    *table = {};
    return 0;
}
