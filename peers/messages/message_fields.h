// Short ways to describe a field of a wire record; the offset comes from the record, so that they cannot drift apart.
#pragma once

#include <cstddef>

#include "messages/message.h"

// Field `member` of `record`, under its own name or another one.
#define WIRE_FIELD(record, member, type, ...)                                                 \
    peers::field_t                                                                            \
    {                                                                                         \
#member, offsetof(record, member), peers::field_type::type __VA_OPT__(, ) __VA_ARGS__ \
    }
#define WIRE_FIELD_AS(name, record, member, type, ...)                                     \
    peers::field_t                                                                         \
    {                                                                                      \
        name, offsetof(record, member), peers::field_type::type __VA_OPT__(, ) __VA_ARGS__ \
    }

// `bits` bits of an unsigned member, from `first` on.
#define WIRE_BITS(name, record, member, type, first, bits)                                   \
    peers::field_t                                                                           \
    {                                                                                        \
        name, offsetof(record, member), peers::field_type::type, 1, "", nullptr, first, bits \
    }
#define WIRE_BITS_NAMED(name, record, member, type, names, first, bits)                    \
    peers::field_t                                                                         \
    {                                                                                      \
        name, offsetof(record, member), peers::field_type::type, 1, "", names, first, bits \
    }

// A result code or another value with names.
#define WIRE_NAMED(record, member, type, names)                                  \
    peers::field_t                                                               \
    {                                                                            \
#member, offsetof(record, member), peers::field_type::type, 1, "", names \
    }
