// Where this program's rows run.
#pragma once

#include <memory>
#include <vector>

#include "row.h"

extern const place_t THIS_PLACE;

// That no other place has.
std::vector<row_t> own_rows();

// In private files; throws std::runtime_error when the machine cannot.
std::unique_ptr<World> make_world(uint64_t seed);
