// Blocks of a pcapng file, as far as captures of the bus need them: little-endian, each a multiple of four bytes, its
// length at both ends. Shared by writer and reader.
#pragma once

#include <cstddef>
#include <cstdint>

namespace peers::pcapng {

inline constexpr uint32_t BLOCK_SECTION = 0x0a0d0d0a;
inline constexpr uint32_t BLOCK_INTERFACE = 1;
inline constexpr uint32_t BLOCK_STATISTICS = 5;
inline constexpr uint32_t BLOCK_PACKET = 6;

inline constexpr uint32_t BYTES_IN_ORDER = 0x1a2b3c4d;
inline constexpr uint32_t BYTES_SWAPPED = 0x4d3c2b1a;
inline constexpr uint16_t VERSION_MAJOR = 1;

// The first of the link types that are free for private use.
inline constexpr uint16_t LINK_TYPE_BUS = 147;

// Options behind a block's fields: id, length, value padded to four bytes. Ids from 2 on depend on the block.
inline constexpr uint16_t OPTION_END = 0;
inline constexpr uint16_t OPTION_COMMENT = 1;
inline constexpr uint16_t SECTION_HARDWARE = 2;
inline constexpr uint16_t SECTION_OS = 3;
inline constexpr uint16_t SECTION_PROGRAM = 4;
inline constexpr uint16_t INTERFACE_NAME = 2;
inline constexpr uint16_t INTERFACE_DESCRIPTION = 3;
inline constexpr uint16_t INTERFACE_RESOLUTION = 9;
inline constexpr uint16_t STATISTICS_START = 2;
inline constexpr uint16_t STATISTICS_END = 3;
inline constexpr uint16_t STATISTICS_RECEIVED = 4;
inline constexpr uint16_t STATISTICS_DROPPED = 5;
inline constexpr uint16_t STATISTICS_ACCEPTED = 6;

#pragma pack(push, 1)
struct block_head_t {
    uint32_t type;
    uint32_t size;  // of the whole block, head and the size at its end included
};
struct section_t {
    uint32_t byte_order;
    uint16_t major;
    uint16_t minor;
    int64_t size;  // -1: not known
};
struct interface_t {
    uint16_t link_type;
    uint16_t reserved;
    uint32_t snap_length;  // 0: packets are whole
};
struct packet_t {
    uint32_t interface;
    uint32_t time_high;
    uint32_t time_low;
    uint32_t captured;
    uint32_t original;
};
struct statistics_t {
    uint32_t interface;
    uint32_t time_high;
    uint32_t time_low;
};
struct option_t {
    uint16_t id;
    uint16_t size;
};
#pragma pack(pop)
static_assert(sizeof(block_head_t) == 8 && sizeof(section_t) == 16 && sizeof(interface_t) == 8);
static_assert(sizeof(packet_t) == 20 && offsetof(packet_t, captured) == 12);
static_assert(sizeof(statistics_t) == 12 && sizeof(option_t) == 4);

inline constexpr size_t BLOCK_FRAME = sizeof(block_head_t) + sizeof(uint32_t);

// Bytes up to the next multiple of four.
inline constexpr size_t padding_of(size_t size)
{
    return (4 - size % 4) % 4;
}

}  // namespace peers::pcapng
