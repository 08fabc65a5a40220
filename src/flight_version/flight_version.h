// Version of the service and of its database.
#pragma once

#include <cstddef>
#include <cstdint>

#include "flight_v1/flight_v1_pack.h"

struct version_t {
    uint8_t a;
    uint8_t b;
    uint8_t c;
    uint8_t d;
};

// The service's own version, a.b.c.d.
version_t get_flight_version_in();

// Version query of the flight client: 61 bytes (flight_version_wire.h), or 0 without a buffer. The request is not read.
size_t get_flight_version(flight_v1_pack_t* pack_info, char* ack_buf, size_t ack_buf_len);
