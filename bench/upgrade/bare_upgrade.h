// What an upgrade costs at least: a round trip between two processes and an append to the file for each block.
#pragma once

#include <cstddef>

// Seconds for `blocks` blocks of `block_size` data bytes, appended to `path` (emptied first).
double bare_upgrade(size_t blocks, size_t block_size, const char* path);
