// What stands behind a caller's route table.
#pragma once

#include "kest_mb.h"
#include "route_config.h"

namespace tarn {

// `table` must come from kest_mb_create_route_table.
const route_config& routes_of(const kest_mb_route_table_t& table);

}  // namespace tarn
