#include "afqt/include/afqt_json.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "afqt/include/afqt_convert.h"

static_assert(std::numeric_limits<fp32>::is_iec559);  // json_fp32: too big is infinite, not undefined

const cJSON* json_first(const cJSON* container)
{
    return container == nullptr ? nullptr : container->child;
}

// The elements of an array have no key.
bool json_has_key(const cJSON& item, const char* key)
{
    return item.string != nullptr && std::strcmp(item.string, key) == 0;
}

static bool is_number(const cJSON& item, const char* key)
{
    return json_has_key(item, key) && cJSON_IsNumber(&item) != 0;
}

int32_t json_int(const cJSON& item)
{
    return cJSON_IsNumber(&item) != 0 ? item.valueint : 0;
}

uint32_t json_uint32(const cJSON& item)
{
    constexpr double min = std::numeric_limits<int32_t>::min();
    constexpr double max = std::numeric_limits<uint32_t>::max();
    if (cJSON_IsNumber(&item) == 0 || std::isnan(item.valuedouble)) return 0;
    return static_cast<uint32_t>(static_cast<int64_t>(std::clamp(item.valuedouble, min, max)));
}

void json_low8(const cJSON& item, const char* key, uint8_t& out)
{
    if (is_number(item, key)) out = static_cast<uint8_t>(json_int(item));
}

void json_seconds(const cJSON& item, const char* key, uint8_t& out)
{
    fp32 seconds = 0.0f;
    if (!is_number(item, key)) return;
    json_fp32(item, key, seconds);
    out = static_cast<uint8_t>(afqt_float_to_uint(seconds));
}

void json_fp32(const cJSON& item, const char* key, fp32& out)
{
    if (is_number(item, key)) out = static_cast<fp32>(item.valuedouble);
}

// Motion lists set a flag by the type code 1. In the cJSON that is linked, code 1 is the literal false, and lists are
// written that way; by name, so that another numbering cannot turn all flags round.
void json_flag(const cJSON& item, const char* key, uint8_t& out)
{
    static_assert(cJSON_False == 1);
    if (json_has_key(item, key)) out = cJSON_IsFalse(&item) != 0 ? 1 : 0;
}
