// What is allowed in a file of restrictions, but is hardly what was meant.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tfr_wire.h"

namespace peers {

struct tfr_remark_t {
    size_t area;  // 1 for the first
    uint32_t area_id;
    std::string text;
};

std::vector<tfr_remark_t> remarks_on(std::span<const vela_tfr_item_t> areas);

}  // namespace peers
