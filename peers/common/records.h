// Payload bytes to packed records and back, always within what came.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

#include "kest_event.h"

namespace peers {

using bytes_view = std::span<const uint8_t>;

// The payload of a record; never more than the record can hold, whatever its length field says.
inline bytes_view payload_of(const kest_event_t& event)
{
    return {event.msg_buf, std::min<size_t>(event.msg_len, KEST_EVENT_MAX_PAYLOAD)};
}

// Copies a record out of `bytes` from `offset` on. False, with `record` untouched, when it does not fit in there.
template <class Record>
bool read_record(bytes_view bytes, Record& record, size_t offset = 0)
{
    static_assert(std::is_trivially_copyable_v<Record>);
    if (offset > bytes.size() || sizeof(Record) > bytes.size() - offset) return false;
    std::memcpy(&record, bytes.data() + offset, sizeof record);
    return true;
}

// The bytes of `record`, valid as long as it lives.
template <class Record>
bytes_view bytes_of(const Record& record)
{
    static_assert(std::is_trivially_copyable_v<Record>);
    return {reinterpret_cast<const uint8_t*>(&record), sizeof record};
}

inline uint8_t set_of(const kest_event_t& event)
{
    return static_cast<uint8_t>(event.msg_id >> 16);
}
inline uint8_t id_of(const kest_event_t& event)
{
    return static_cast<uint8_t>(event.msg_id);
}

}  // namespace peers
