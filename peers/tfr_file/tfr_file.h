// The file of temporary flight restrictions: building one, and judging one as the service does when it reads it.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/digest.h"
#include "common/records.h"
#include "tfr_wire.h"

namespace peers {

using tfr_uid_t = std::array<uint8_t, TFR_UID_SIZE>;

inline constexpr size_t TFR_MAX_AREAS = UINT16_MAX;
inline constexpr uint64_t TFR_MIN_SIZE = sizeof(tfr_head_t) + sizeof(tfr_tail_t);  // no area at all: nothing restricted

struct tfr_recipe_t {
    uint8_t type = 0;                    // passed on in the head; the service does not look at it
    std::optional<tfr_uid_t> uid = {};   // none: derived from head and areas
    std::vector<vela_tfr_item_t> areas;  // at most TFR_MAX_AREAS, each with at most TFR_MAX_POINTS corners
};

// A whole valid file; the same recipe gives the same bytes.
std::vector<uint8_t> build_tfr_file(const tfr_recipe_t& recipe);

// The uid of a file that was given none: the MD5 of head and areas.
tfr_uid_t derived_tfr_uid(const tfr_recipe_t& recipe);

// Bytes that an area of so many corners takes.
size_t tfr_area_size(uint8_t point_num);

// None when the file is too short for one, or when it is zero: that is how the service says that it has no file.
std::optional<tfr_uid_t> tfr_uid_of(bytes_view file);

// 32 hexadecimal digits.
std::optional<tfr_uid_t> parse_tfr_uid(std::string_view text);

struct tfr_report_t {
    bool kept = false;    // its digest is right, so the service does not empty it
    std::string reason;   // why not; empty when kept
    std::string problem;  // why the service would not read what was meant; empty when it would
    uint64_t size = 0;
    tfr_head_t head = {};                // zero when the file is too short for head and tail
    std::vector<vela_tfr_item_t> areas;  // up to the first one that is not sound
    tfr_uid_t uid = {};                  // in front of the digest; zero when the file is too short
    md5_digest_t digest_stored = {};     // last 16 bytes; zero when the file has no 17 bytes
    md5_digest_t digest_found = {};      // of everything before them

    bool sound() const { return kept && problem.empty(); }
};

tfr_report_t check_tfr_file(bytes_view file);

}  // namespace peers
