// Counts calls of malloc, calloc, realloc and operator new, in any thread, the C library's own included.
#pragma once

#include <cstdint>

uint64_t heap_calls();

// False under a sanitizer, which brings its own heap.
bool heap_is_counted();
