// Members of a motion list's objects, taken by kind. Each operation looks at one member: if it has the key (exact,
// upper and lower case differ) and is of the kind that is wanted, the value goes to `out`, else `out` stays. Called for
// every member in file order, so the last of doubled keys counts.
#pragma once

#include <cjson/cJSON.h>

#include <cstdint>

#include "math_basic.h"

// Null for no container, or an empty one.
const cJSON* json_first(const cJSON* container);

bool json_has_key(const cJSON& item, const char* key);

// Cut at the decimal point, held at the ends of int. 0 for what is no number.
int32_t json_int(const cJSON& item);

// The same for numbers up to 4294967295.
uint32_t json_uint32(const cJSON& item);

// The number's integer value, low 8 bits.
void json_low8(const cJSON& item, const char* key, uint8_t& out);

// Narrowed to single precision, cut at the decimal point, low 8 bits; negative gives 0.
void json_seconds(const cJSON& item, const char* key, uint8_t& out);

// Narrowed to single precision; too big becomes infinite.
void json_fp32(const cJSON& item, const char* key, fp32& out);

// 1 for the literal false, 0 for everything else.
void json_flag(const cJSON& item, const char* key, uint8_t& out);
