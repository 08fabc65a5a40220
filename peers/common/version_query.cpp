#include "common/version_query.h"

#include <cerrno>
#include <utility>

#include "common/clock.h"
#include "flight_v1_wire.h"
#include "flight_version_wire.h"

namespace peers {
namespace {

nfz_version_t version_of(const v1_loader_version_t& version)
{
    return {version.AA, version.BB, version.CC, version.DD};
}

service_versions_t read_answer(const reply_t& reply)
{
    if (reply.result != 0) return {reply.result, {}, {}, 0};
    flight_version_ack_t ack;
    if (!read_record(payload_of(*reply.event), ack) || ack.ret_code != 0) return {-EPROTO, {}, {}, 0};
    return {0, version_of(ack.service.Loader), version_of(ack.database.Loader), 0};
}

}  // namespace

void query_service_versions(BusEndpoint& endpoint, uint32_t timeout_us, uint32_t tries,
                            const std::function<void(const service_versions_t&)>& done)
{
    const uint64_t start = now_us();
    const request_t request = {HOST_FLIGHT_SERVICE, SET_COMMON, ID_GET_VERSION, {}, timeout_us, tries};
    const kest_result_t result = endpoint.request(request, [done, start](const reply_t& reply) {
        service_versions_t versions = read_answer(reply);
        versions.elapsed_us = now_us() - start;
        done(versions);
    });
    if (result != 0) done({result, {}, {}, 0});
}

}  // namespace peers
