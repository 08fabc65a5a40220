#include "nfz_tfr/tfr_module/src/tfr_module_read_data.h"

#include <algorithm>
#include <cstring>

#include "nfz_tfr/tfr_debugger/src/tfr_debugger.h"
#include "nfz_tfr/tfr_module/src/tfr_module_check_md5.h"
#include "nfz_tfr/tfr_module/src/tfr_module_select.h"
#include "nfz_tfr/tfr_module/src/tfr_module_update.h"

static tfr_tail_t tfr_tail;  // of the last file read; timer thread

bool read_tfr_file(const char* path, uint32_t offset, uint32_t length, void* buffer)
{
    return tfr_file_t(path).read(offset, length, buffer);
}

static void read_or_zero(tfr_file_t& file, uint32_t offset, void* to, uint32_t length, const char* tag,
                         const char* warning)
{
    if (file.read(offset, length, to)) return;
    if (file.first_failure()) nfz_tfr_log(tag, "%s", warning);
    std::memset(to, 0, length);
}

template <typename T>
static T read_record(tfr_file_t& file, uint32_t offset, const char* tag, const char* warning)
{
    T record = {};
    read_or_zero(file, offset, &record, sizeof record, tag, warning);
    return record;
}

tfr_head_t read_tfr_head(tfr_file_t& file)
{
    return read_record<tfr_head_t>(file, 0, "read_tfr_head", "warning: read_tfr_head fail");
}

tfr_tail_t read_tfr_tail(tfr_file_t& file, uint32_t offset)
{
    return read_record<tfr_tail_t>(file, offset, "read_tfr_tail", "warning: read_tfr_tail fail");
}

vela_tfr_item_head_t read_tfr_item_head(tfr_file_t& file, uint32_t offset)
{
    return read_record<vela_tfr_item_head_t>(file, offset, "read_tfr_item_head", "warning: read_tfr_item_head fail");
}

vela_tfr_item_circle_t read_tfr_item_circle(tfr_file_t& file, uint32_t offset)
{
    return read_record<vela_tfr_item_circle_t>(file, offset, "read_tfr_item_circle",
                                               "warning: read_tfr_item_circle fail");
}

void get_tfr_item_polygon_buf(tfr_file_t& file, uint32_t offset, uint8_t* buffer, uint32_t length)
{
    read_or_zero(file, offset, buffer, length, "get_tfr_item_polygon_buf", "warning: get_tfr_item_polygon_buf fail");
}

tfr_head_t read_tfr_head(const char* path)
{
    tfr_file_t file(path);
    return read_tfr_head(file);
}

tfr_tail_t read_tfr_tail(const char* path, uint32_t offset)
{
    tfr_file_t file(path);
    return read_tfr_tail(file, offset);
}

vela_tfr_item_head_t read_tfr_item_head(const char* path, uint32_t offset)
{
    tfr_file_t file(path);
    return read_tfr_item_head(file, offset);
}

vela_tfr_item_circle_t read_tfr_item_circle(const char* path, uint32_t offset)
{
    tfr_file_t file(path);
    return read_tfr_item_circle(file, offset);
}

void get_tfr_item_polygon_buf(const char* path, uint32_t offset, uint8_t* buffer, uint32_t length)
{
    tfr_file_t file(path);
    get_tfr_item_polygon_buf(file, offset, buffer, length);
}

template <typename T>
static void copy_end(vela_tfr_item_t* item, const T& from)
{
    item->center = from.center;
    item->radius = from.radius;
    item->shape = from.shape;
    item->area_level = from.area_level;
    item->country = from.country;
    item->start_at = from.start_at;
    item->end_at = from.end_at;
}

vela_tfr_item_t convert_circle_to_item(const vela_tfr_item_circle_t& circle)
{
    vela_tfr_item_t item = {};
    item.area_id = circle.area_id;
    copy_end(&item, circle);
    return item;
}

vela_tfr_item_t convert_polygon_to_item(const vela_tfr_item_polygon_t& polygon)
{
    vela_tfr_item_t item = {};
    item.area_id = polygon.head.area_id;
    item.point_num = polygon.head.point_num;
    std::copy_n(polygon.points, std::min(item.point_num, TFR_MAX_POINTS), item.points);
    copy_end(&item, polygon.end);
    return item;
}

static uint32_t corners_size(uint8_t point_num)
{
    return static_cast<uint32_t>(sizeof(vela_tfr_gps)) * point_num;
}

static vela_tfr_item_t read_polygon(tfr_file_t& file, uint32_t offset, uint8_t point_num)
{
    uint8_t record[sizeof(vela_tfr_item_polygon_t)] = {};
    const uint32_t corners = corners_size(point_num);
    get_tfr_item_polygon_buf(file, offset, record, static_cast<uint32_t>(sizeof(vela_tfr_item_circle_t)) + corners);

    vela_tfr_item_polygon_t polygon = {};
    const uint8_t* points = record + sizeof polygon.head;
    std::memcpy(&polygon.head, record, sizeof polygon.head);
    std::memcpy(polygon.points, points, corners);
    std::memcpy(&polygon.end, points + corners, sizeof polygon.end);
    return convert_polygon_to_item(polygon);
}

// Hands one area on. The offset behind it, or 0 when the reading has to end.
static uint32_t read_area(tfr_file_t& file, uint32_t offset)
{
    const vela_tfr_item_head_t head = read_tfr_item_head(file, offset);
    if (head.point_num > TFR_MAX_POINTS) {
        nfz_tfr_log("tfr_module_read_data", "error: points num %d in tfr item is larger than max num %d",
                    head.point_num, TFR_MAX_POINTS);
        return 0;
    }
    add_tfr_item(head.point_num == 0 ? convert_circle_to_item(read_tfr_item_circle(file, offset))
                                     : read_polygon(file, offset, head.point_num));
    return offset + static_cast<uint32_t>(sizeof(vela_tfr_item_circle_t)) + corners_size(head.point_num);
}

bool tfr_module_read_data(const char* path)
{
    static constexpr const char* tag = "tfr_module_read_data";
    tfr_file_t file(path);
    if (!tfr_check_md5(file, false)) {
        tfr_delete_all_data(path);
        nfz_tfr_log(tag, "ERROR: md5 check fail, tfr file is not ok, stop read data, and clear all data in tfr file");
        return false;
    }
    tfr_info.in_reading = true;
    reset_tfr_info();
    const tfr_head_t head = read_tfr_head(file);
    nfz_tfr_printf(tag, "tfr area total num:%d", head.area_num);
    uint32_t offset = sizeof head;
    for (uint32_t area = 0; area < head.area_num; ++area) {
        offset = read_area(file, offset);
        if (offset == 0) return false;
    }
    tfr_tail = read_tfr_tail(file, offset);
    tfr_info.in_reading = false;
    log_all_tfr_info();
    return true;
}

bool tfr_data_update()
{
    static constexpr const char* tag = "tfr_data_update";
    const tfr_update_state_t state = get_tfr_update_status();
    if (state != TFR_UPDATE_STATE_IDLE) {
        nfz_tfr_log(tag, "can not read, tfr is updating, update state is:%d", static_cast<int>(state));
        return false;
    }
    if (tfr_module_read_data(TFR_FILE)) return true;
    nfz_tfr_log(tag, "tfr module read data fail");
    return false;
}

void get_tfr_info_uid_by_read_file(const char* path, uint8_t* uid, uint32_t uid_len)
{
    static constexpr const char* tag = "get_tfr_info_uid_by_read_file";
    const int64_t size = tfr_file_size(tag, TFR_FILE);
    if (size < 0) return;
    if (size <= uid_len + int64_t{TFR_MD5_SIZE}) {
        std::memset(uid, 0, uid_len);
        nfz_tfr_log(tag, "tfr file not complete, file_size:%d, expect_signature_len:%d, expect_uid_len:%d",
                    static_cast<int>(size), static_cast<int>(TFR_MD5_SIZE), static_cast<int>(uid_len));
        return;
    }
    const auto offset = static_cast<uint32_t>(size - uid_len - static_cast<int64_t>(TFR_MD5_SIZE));
    if (!read_tfr_file(path, offset, uid_len, uid)) return;
    // The length in every line, not the index: whoever reads these logs is used to it.
    for (uint32_t i = 0; i < uid_len; ++i)
        nfz_tfr_log(tag, "uid[%d]:0x%x", static_cast<int>(uid_len), uid[i]);
}

bool get_tfr_info_after_read(uint8_t* buffer, uint8_t len)
{
    if (len > sizeof tfr_tail.uid) return false;
    std::memcpy(buffer, tfr_tail.uid, len);
    return true;
}
