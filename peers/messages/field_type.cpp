#include "messages/message.h"

namespace peers {

const char* type_name(field_type type)
{
    switch (type) {
        case field_type::u8:
            return "u8";
        case field_type::u16:
            return "u16";
        case field_type::u32:
            return "u32";
        case field_type::i8:
            return "i8";
        case field_type::i32:
            return "i32";
        case field_type::f32:
            return "f32";
        case field_type::f64:
            return "f64";
        case field_type::text:
            return "text";
        case field_type::bytes:
            return "bytes";
        case field_type::version:
            return "version";
        case field_type::rest:
            return "rest";
        case field_type::rest_u32:
            return "rest_u32";
    }
    return "bytes";
}

size_t element_size(field_type type)
{
    switch (type) {
        case field_type::u16:
            return 2;
        case field_type::u32:
        case field_type::i32:
        case field_type::f32:
        case field_type::version:
        case field_type::rest_u32:
            return 4;
        case field_type::f64:
            return 8;
        default:
            return 1;
    }
}

}  // namespace peers
