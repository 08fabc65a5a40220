#include "nfz_file/nfz_file.h"

#include <algorithm>

namespace peers {
namespace {

constexpr uint32_t CIRCLE_SIZE = 16;
constexpr uint32_t ZONE_SIZE = 64;

// First bytes of every file built here. What they say does not matter, only that they are not all zero.
constexpr char LEADING_TEXT[NFZ_HEAD_OFFSET] = "no-fly-zone database, built by vela";

// Copies `bytes` into the file and returns the place behind them.
uint8_t* put(uint8_t* at, bytes_view bytes)
{
    return std::copy(bytes.begin(), bytes.end(), at);
}

// Finalizer of a 64-bit mixing generator: one word per call, no state to keep.
uint64_t mixed(uint64_t word)
{
    word = (word ^ (word >> 30)) * 0xbf58476d1ce4e5b9u;
    word = (word ^ (word >> 27)) * 0x94d049bb133111ebu;
    return word ^ (word >> 31);
}

void read_head(bytes_view file, nfz_report_t& report)
{
    nfz_bin_header_t head = {};
    report.has_head = read_record(file, head, NFZ_HEAD_OFFSET);
    std::memcpy(report.version.data(), head.version, sizeof head.version);
    report.circles = head.circle_num;
    report.circle_base = head.circle_base;
    report.zones = head.nfz_num;
    report.zone_base = head.nfz_base;
}

void judge_digest(bytes_view file, nfz_report_t& report)
{
    if (file.size() <= NFZ_MD5_SIZE) {
        report.reason = "it has " + std::to_string(file.size()) + " bytes, at least 17 are needed";
        return;
    }
    const bytes_view tail = file.last(NFZ_MD5_SIZE);
    std::copy(tail.begin(), tail.end(), report.digest_stored.begin());
    report.digest_found = md5_of(file.first(file.size() - NFZ_MD5_SIZE));
    if (report.digest_found == report.digest_stored) return;
    report.reason = "its last 16 bytes are " + hex_text(report.digest_stored) + ", the MD5 of the rest is " +
                    hex_text(report.digest_found);
}

// A lone bit 0 counts as empty, too: that is how the service reads it.
void judge_leading_bytes(bytes_view file, nfz_report_t& report)
{
    uint8_t seen = 0;
    for (const uint8_t byte : file.first(NFZ_LEADING_BYTES_CHECKED))
        seen |= byte;
    if (seen <= 1) report.reason = "its first 16 bytes are all zero (or hold no more than single ones)";
}

}  // namespace

uint64_t nfz_tables_size(uint32_t circles, uint32_t zones)
{
    return uint64_t{circles} * CIRCLE_SIZE + uint64_t{zones} * ZONE_SIZE;
}

std::vector<uint8_t> generate_nfz_content(const nfz_version_t& version, uint64_t size)
{
    uint64_t seed = 0;
    for (const uint32_t number : version)
        seed = mixed(seed + number + 0x9e3779b97f4a7c15u);
    std::vector<uint8_t> content(static_cast<size_t>(size));
    for (size_t at = 0; at < content.size(); at += sizeof(uint64_t)) {
        const uint64_t word = mixed(seed + at);
        std::memcpy(content.data() + at, &word, std::min(sizeof word, content.size() - at));
    }
    return content;
}

std::vector<uint8_t> build_nfz_file(const nfz_recipe_t& recipe)
{
    nfz_bin_header_t head = {};
    std::memcpy(head.version, recipe.version.data(), sizeof head.version);
    head.circle_num = recipe.circles;
    head.circle_base = NFZ_CONTENT_OFFSET;
    head.nfz_num = recipe.zones;
    head.nfz_base = static_cast<uint32_t>(NFZ_CONTENT_OFFSET + uint64_t{recipe.circles} * CIRCLE_SIZE);
    std::vector<uint8_t> file(NFZ_MIN_SIZE + recipe.content.size());
    uint8_t* at = put(file.data(), bytes_of(LEADING_TEXT));
    at = put(at, bytes_of(head));
    at = put(at, recipe.content);
    put(at, md5_of(bytes_view(file.data(), at)));
    return file;
}

nfz_report_t check_nfz_file(bytes_view file)
{
    nfz_report_t report;
    report.size = file.size();
    read_head(file, report);
    judge_digest(file, report);
    if (report.reason.empty()) judge_leading_bytes(file, report);
    report.kept = report.reason.empty();
    return report;
}

}  // namespace peers
