// The no-fly-zone database file: building one, and judging one as the service does when it starts.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/digest.h"
#include "common/nfz_version.h"
#include "common/records.h"
#include "upgrade_wire.h"

namespace peers {

// Leading bytes, head and digest: the smallest file is one without content.
inline constexpr uint64_t NFZ_CONTENT_OFFSET = NFZ_HEAD_OFFSET + sizeof(nfz_bin_header_t);
inline constexpr uint64_t NFZ_MIN_SIZE = NFZ_CONTENT_OFFSET + NFZ_MD5_SIZE;
inline constexpr uint64_t NFZ_MAX_SIZE = UINT32_MAX;  // sizes travel in 32 bits

struct nfz_recipe_t {
    nfz_version_t version;
    uint32_t circles;
    uint32_t zones;
    std::vector<uint8_t> content;  // what follows the head; opaque to the service
};

// Content bytes that `circles` circles (16 bytes each) and `zones` zones (64 bytes each) take in a generated database.
uint64_t nfz_tables_size(uint32_t circles, uint32_t zones);

// Stand-in content: `size` bytes that depend on nothing but the arguments.
std::vector<uint8_t> generate_nfz_content(const nfz_version_t& version, uint64_t size);

// A whole valid file.
std::vector<uint8_t> build_nfz_file(const nfz_recipe_t& recipe);

// The service's start-up check, with everything that it looks at.
struct nfz_report_t {
    bool kept = false;   // the service would keep the file
    std::string reason;  // why not; empty when kept
    uint64_t size = 0;
    bool has_head = false;  // false: too short for one; the version then reads 0.0.0.0
    nfz_version_t version = {};
    uint32_t circles = 0;
    uint32_t circle_base = 0;  // file offset
    uint32_t zones = 0;
    uint32_t zone_base = 0;           // file offset
    md5_digest_t digest_stored = {};  // last 16 bytes; zero when the file has no 17 bytes
    md5_digest_t digest_found = {};   // of everything before them
};

nfz_report_t check_nfz_file(bytes_view file);

}  // namespace peers
