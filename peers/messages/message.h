// Description of the bus messages, as data: one table from which messages are decoded for people, and a dissector and
// the wire reference are generated.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace peers {

enum class field_type {
    u8,
    u16,
    u32,
    i8,
    i32,
    f32,
    f64,
    text,      // `count` bytes, zero-padded
    bytes,     // `count` bytes, shown in hexadecimal
    version,   // 4 bytes, last number first: shown as d.c.b.a
    rest,      // all bytes up to the end of the payload
    rest_u32,  // 32-bit numbers up to the end of the payload
};

// Name of the type as above.
const char* type_name(field_type type);

// Bytes of one element; 1 where `count` is the number of bytes.
size_t element_size(field_type type);

// Name of a value; a table of them ends with a null name.
struct value_name_t {
    uint32_t value;
    const char* name;
};

// In the order in which tables are easiest to write.
struct field_t {
    const char* name;
    uint16_t offset;  // in the payload
    field_type type;
    uint16_t count = 1;     // array elements, or bytes of text and bytes
    const char* unit = "";  // for example "ms"
    const value_name_t* names = nullptr;
    uint8_t first_bit = 0;  // of a part of an unsigned number
    uint8_t bits = 0;       // 0: all of it
};

enum class message_kind { request, reply };

// Bus addresses of those who usually exchange a message; 0: several. For people only, others may do it, too.
struct parties_t {
    uint16_t asker = 0;   // sends the request
    uint16_t server = 0;  // receives it, and answers
};

struct message_t {
    const char* name;
    const char* summary;
    parties_t parties;
    uint8_t set;
    uint8_t id;
    message_kind kind;
    uint16_t server;  // the address that answers the request; 0: any. Several servers answer one id differently.
    uint16_t size;    // payload bytes; with a `rest` field at least so many
    std::span<const field_t> fields;
    int16_t first_byte = -1;  // of the payload, where it tells messages of one id apart; -1: it does not
};

// Its last field goes on to the end of the payload.
bool is_open_ended(const message_t& message);

// All messages known, in groups that belong together.
std::span<const std::span<const message_t>> message_groups();

// The message with these properties; `server` is the receiver of a request, the sender of a reply. Where several share
// an id, the first byte of the payload or its length chooses. Null when unknown.
const message_t* find_message(uint8_t set, uint8_t id, message_kind kind, uint16_t server,
                              std::span<const uint8_t> payload);

// The groups.
std::span<const message_t> version_messages();
std::span<const message_t> upgrade_messages();
std::span<const message_t> motor_messages();
std::span<const message_t> bag_messages();
std::span<const message_t> tfr_messages();
std::span<const message_t> afqt_messages();

}  // namespace peers
