#include "tfr_file/tfr_file.h"

#include <algorithm>
#include <charconv>

namespace peers {
namespace {

constexpr size_t CORNER = sizeof(vela_tfr_gps);
constexpr size_t END = sizeof(vela_tfr_item_polygon_end_t);
constexpr size_t END_IN_ITEM = offsetof(vela_tfr_item_t, center);
static_assert(END_IN_ITEM + END == sizeof(vela_tfr_item_t));

// In the file the end follows the corners in use; in memory it has a fixed place behind the room for all corners.
void put_area(std::vector<uint8_t>& file, const vela_tfr_item_t& area)
{
    const bytes_view bytes = bytes_of(area);
    const bytes_view front = bytes.first(sizeof(vela_tfr_item_head_t) + area.point_num * CORNER);
    const bytes_view end = bytes.subspan(END_IN_ITEM);
    file.insert(file.end(), front.begin(), front.end());
    file.insert(file.end(), end.begin(), end.end());
}

std::vector<uint8_t> head_and_areas(const tfr_recipe_t& recipe)
{
    const tfr_head_t head = {static_cast<uint16_t>(recipe.areas.size()), recipe.type};
    const bytes_view bytes = bytes_of(head);
    std::vector<uint8_t> file(bytes.begin(), bytes.end());
    for (const vela_tfr_item_t& area : recipe.areas)
        put_area(file, area);
    return file;
}

// `bytes` hold the area.
vela_tfr_item_t area_at(bytes_view bytes, uint8_t point_num)
{
    vela_tfr_item_t area = {};
    auto* to = reinterpret_cast<uint8_t*>(&area);
    const size_t front = sizeof(vela_tfr_item_head_t) + point_num * CORNER;
    std::memcpy(to, bytes.data(), front);
    std::memcpy(to + END_IN_ITEM, bytes.data() + front, END);
    return area;
}

void judge_digest(bytes_view file, tfr_report_t& report)
{
    if (file.size() <= MD5_SIZE) {
        report.reason = "it has " + std::to_string(file.size()) + " bytes, at least 17 are needed";
        return;
    }
    const bytes_view tail = file.last(MD5_SIZE);
    std::copy(tail.begin(), tail.end(), report.digest_stored.begin());
    report.digest_found = md5_of(file.first(file.size() - MD5_SIZE));
    report.kept = report.digest_found == report.digest_stored;
    if (report.kept) return;
    report.reason = "its last 16 bytes are " + hex_text(report.digest_stored) + ", the MD5 of the rest is " +
                    hex_text(report.digest_found);
}

std::string place_of(size_t area, size_t offset)
{
    return "area " + std::to_string(area + 1) + " at byte " + std::to_string(offset);
}

// Reads one area at `offset` of `body`, which ends where the tail begins. False with the problem said.
bool read_area(bytes_view body, size_t& offset, tfr_report_t& report)
{
    const std::string place = place_of(report.areas.size(), offset);
    vela_tfr_item_head_t head = {};
    const bool has_head = read_record(body, head, offset);
    if (has_head && head.point_num > TFR_MAX_POINTS) {
        report.problem = place + " has " + std::to_string(head.point_num) +
                         " corners, allowed are 0 to 10: the service stops there and keeps the areas before";
        return false;
    }
    const size_t size = tfr_area_size(head.point_num);
    if (!has_head || size > body.size() - offset) {
        report.problem = place + " is cut short: it needs " + std::to_string(size) + " bytes, " +
                         std::to_string(body.size() - offset) +
                         " are left before the tail, and the service takes for areas what follows";
        return false;
    }
    report.areas.push_back(area_at(body.subspan(offset), head.point_num));
    offset += size;
    return true;
}

void judge_areas(bytes_view file, tfr_report_t& report)
{
    if (!read_record(file, report.head) || file.size() < TFR_MIN_SIZE) {
        report.head = {};
        report.problem = "it has " + std::to_string(file.size()) + " bytes, head and tail alone take " +
                         std::to_string(TFR_MIN_SIZE);
        return;
    }
    const bytes_view body = file.first(file.size() - sizeof(tfr_tail_t));
    std::copy_n(file.begin() + static_cast<ptrdiff_t>(body.size()), TFR_UID_SIZE, report.uid.begin());
    size_t offset = sizeof(tfr_head_t);
    while (report.areas.size() < report.head.area_num) {
        if (!read_area(body, offset, report)) return;
    }
    if (offset == body.size()) return;
    report.problem = std::to_string(body.size() - offset) + " surplus bytes between the areas, which end at byte " +
                     std::to_string(offset) + ", and the tail: the service takes the first of them for the uid";
}

}  // namespace

size_t tfr_area_size(uint8_t point_num)
{
    return sizeof(vela_tfr_item_head_t) + point_num * CORNER + END;
}

std::optional<tfr_uid_t> tfr_uid_of(bytes_view file)
{
    if (file.size() < TFR_MIN_SIZE) return std::nullopt;
    tfr_tail_t tail = {};
    read_record(file, tail, file.size() - sizeof tail);
    if (std::all_of(std::begin(tail.uid), std::end(tail.uid), [](uint8_t byte) { return byte == 0; })) {
        return std::nullopt;
    }
    return std::to_array(tail.uid);
}

std::optional<tfr_uid_t> parse_tfr_uid(std::string_view text)
{
    tfr_uid_t uid = {};
    if (text.size() != uid.size() * 2) return std::nullopt;
    for (size_t i = 0; i < uid.size(); i++) {
        const char* const digits = text.data() + i * 2;
        const auto [end, error] = std::from_chars(digits, digits + 2, uid[i], 16);
        if (error != std::errc{} || end != digits + 2) return std::nullopt;
    }
    return uid;
}

tfr_uid_t derived_tfr_uid(const tfr_recipe_t& recipe)
{
    return md5_of(head_and_areas(recipe));
}

std::vector<uint8_t> build_tfr_file(const tfr_recipe_t& recipe)
{
    std::vector<uint8_t> file = head_and_areas(recipe);
    const tfr_uid_t uid = recipe.uid ? *recipe.uid : md5_of(file);
    file.insert(file.end(), uid.begin(), uid.end());
    const md5_digest_t digest = md5_of(file);
    file.insert(file.end(), digest.begin(), digest.end());
    return file;
}
tfr_report_t check_tfr_file(bytes_view file)
{
    tfr_report_t report;
    report.size = file.size();
    judge_digest(file, report);
    judge_areas(file, report);
    return report;
}

}  // namespace peers
