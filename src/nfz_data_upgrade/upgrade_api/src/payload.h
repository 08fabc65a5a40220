// Taking a request out of a message and putting a reply into its buffer.
#pragma once

#include <cstring>

#include "flight_v1/flight_v1_pack.h"

// True and `request` filled when the payload is exactly one `T`.
template <typename T>
bool payload_is(const flight_v1_pack_t* pack, T* request)
{
    if (pack->p_data == nullptr || pack->data_len != sizeof *request) return false;
    std::memcpy(request, pack->p_data, sizeof *request);
    return true;
}

// Writes the whole of `ack` and returns its length; 0 when there is no room.
template <typename T>
size_t put_ack(const T& ack, char* ack_buf, size_t ack_buf_len)
{
    if (ack_buf == nullptr || ack_buf_len < sizeof ack) return 0;
    std::memcpy(ack_buf, &ack, sizeof ack);
    return sizeof ack;
}
