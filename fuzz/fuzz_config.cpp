// The platform's two configurations, routes and log; the first byte of the input says which.
#include "fuzz_file.h"
#include "log_config.h"
#include "route_config.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) return 0;
    static constexpr const char* PATH = "/tmp/config.json";
    write_file(PATH, {data + 1, size - 1});
    if (data[0] % 2 == 0) {
        tarn::route_config config = {};
        uint16_t host = 0;
        const int result = tarn::route_config_load(PATH, "flight_service", "flight_srv_fmu", config, host);
        check(result != 0 || config.has_host(host), "an endpoint that was found is a host");
        check(result != 0 || config.address_of(host, ".sock").sun_path[0] == '/', "the directory is absolute");
        return 0;
    }
    tarn::log_config config = {};
    tarn::log_config_load(PATH, config);
    return 0;
}
