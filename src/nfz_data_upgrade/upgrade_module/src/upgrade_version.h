// The database version: whether a new one may replace the old, and its announcement.
#pragma once

#include <cstddef>
#include <cstdint>

// While this file exists, an older database may be installed too.
inline constexpr const char* NFZ_ROLLBACK_MARKER = "/tmp/NFZ/nfz_disable_anti_rollback";

// True when the database whose first block is `block` (`len` bytes, at least 64; what is missing of its head reads as
// zero) may replace the one on the device. Upgrade client task.
bool check_version_need_update(const uint8_t* block, size_t len);

// Announces the installed version (to address 0x0200), unless an upgrade runs. Upgrade timer, every 0.5 s.
void upgrade_push_flylimit_version();
