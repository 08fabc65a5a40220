// The stored restriction file: cut short, damaged, hostile with a right digest; and its readers one by one.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <limits>
#include <random>

#include "nfz_tfr/tfr_module/src/tfr_module_check_md5.h"
#include "nfz_tfr/tfr_module/src/tfr_module_read_data.h"
#include "tfr_aircraft.h"

using testing::Contains;
using testing::Each;
using testing::Not;

static const char* const DIGEST_WRONG =
    "tfr_module_read_data: ERROR: md5 check fail, tfr file is not ok, stop read data, and clear all data in tfr file";
static const char* const READ_FAILED = "tfr_data_update: tfr module read data fail";

template <typename T>
static bytes_t bytes_of(const T& record)
{
    const auto* bytes = reinterpret_cast<const uint8_t*>(&record);
    return bytes_t(bytes, bytes + sizeof record);
}

class TfrFile : public TfrAircraft {
protected:
    TfrFile() { flies_at(0, 0); }

    void expect_dropped_and_selection_kept(const bytes_t& damaged)
    {
        write_file(TFR, damaged);
        const auto idx = static_cast<uint8_t>(last_idx_++ % 2);
        EXPECT_EQ(push_after_tick(), push_of(uid_of(0xa0), 2, idx, kept[idx].item()));
        EXPECT_TRUE(exists(TFR));
        EXPECT_THAT(file_bytes(TFR), IsEmpty());
        const texts_t texts = logged();
        EXPECT_THAT(texts, Contains(DIGEST_WRONG));
        EXPECT_THAT(texts, Contains("tfr_delete_all_data: delete all data in tfr file success"));
        EXPECT_THAT(texts, Contains(READ_FAILED));
        EXPECT_LE(texts.size(), 6u) << testing::PrintToString(texts);
    }

    const areas_t kept = {{1, 0, 0, 100}, {2, 5 * MILLIDEGREE, 0, 7, 3}};
    const bytes_t two = tfr_file(kept);
    int last_idx_ = 0;
};

TEST_F(TfrFile, CircleAndLargestPolygonArePushedAsTheyAre)
{
    const area_t circle = {0xfedcba98, 10, -10, 65535}, polygon = {7, -20, 30, 1, 10};
    write_file(TFR, tfr_file({circle}, 0x10));
    EXPECT_EQ(file_bytes(TFR).size(), 62u);
    EXPECT_EQ(push_after_tick(), push_of(uid_of(0x10), 1, 0, circle.item()));
    write_file(TFR, tfr_file({polygon}, 0x20));
    EXPECT_EQ(file_bytes(TFR).size(), 142u);
    EXPECT_EQ(push_after_tick(), push_of(uid_of(0x20), 1, 0, polygon.item()));
    EXPECT_THAT(logged(), IsEmpty()) << "a good file is read in silence";
    write_file(TFR, tfr_file({}));
    EXPECT_EQ(push_after_tick(), zeros(125)) << "a good file without areas";
    EXPECT_EQ(file_bytes(TFR), tfr_file({}));
}

TEST_F(TfrFile, CutOrDamagedAnywhereItIsDroppedAndTheSelectionKept)
{
    write_file(TFR, two);
    EXPECT_EQ(ticks(2), (texts_t{"0/2:1", "1/2:2"}));
    for (size_t size = 0; size < two.size(); ++size) {
        SCOPED_TRACE(size);
        expect_dropped_and_selection_kept(part(two, 0, size));
    }
    expect_dropped_and_selection_kept(two + zeros(1));
    for (size_t byte = 0; byte < two.size(); ++byte) {
        SCOPED_TRACE(byte);
        bytes_t damaged = two;
        damaged[byte] ^= static_cast<uint8_t>(1 << byte % 8);
        expect_dropped_and_selection_kept(damaged);
    }
    EXPECT_EQ(unlink(TFR), 0);
    tick();
    EXPECT_THAT(logged(), Contains(DIGEST_WRONG));
    EXPECT_THAT(file_bytes(TFR), IsEmpty());
    EXPECT_TRUE(exists(TFR)) << "a missing file is emptied as well";
    std::filesystem::remove(TFR);
    std::filesystem::create_directory(TFR);
    tick();
    EXPECT_THAT(logged(), Contains(DIGEST_WRONG));
    std::filesystem::remove(TFR);
    write_file(TFR, tfr_file({{9, 0, 0}}));
    EXPECT_EQ(tick(), "0/1:9");
}

// What the head announces is believed: what is not there reads as zeros, and zero areas are areas.
TEST_F(TfrFile, MoreAreasAnnouncedThanThere)
{
    const area_t near = {5, 0, 0, 100}, far = {6, 90 * MILLIDEGREE, 0};
    bytes_t uid = uid_of(0x10);
    uid[4] = 1;  // behind the areas follows a polygon that the rest of the file is too short for
    const struct {
        area_t area;
        uint16_t announced;
        uint8_t num;
        int slot;  // of the one area that is there; -1: the zeros are nearer
    } cases[] = {{near, 3, 3, 0}, {far, 3, 3, 2}, {near, 65535, 5, 0}, {far, 65535, 5, -1}};
    for (const auto& [area, announced, num, slot] : cases) {
        SCOPED_TRACE(announced);
        write_file(TFR, announcing(announced, with_digest(part(tfr_file({area}), 0, 30) + uid + zeros(16))));
        const bytes_t file = file_bytes(TFR);
        ASSERT_EQ(file.size(), 62u);
        logged();
        for (int i = 0; i < num; ++i) {
            const auto before = std::chrono::steady_clock::now();
            const bytes_t push = push_after_tick();
            EXPECT_LT(std::chrono::steady_clock::now() - before, 1s);
            const bytes_t item = push[17] == slot ? area.item() : zeros(107);
            EXPECT_EQ(push, push_of(zeros(16), num, push[17], item)) << "no tail, no uid";
        }
        EXPECT_LE(logged().size(), size_t(num) * 6 + 7) << "no flood";
        EXPECT_EQ(file_bytes(TFR), file);
    }
}

TEST_F(TfrFile, TooManyCornersEndTheReading)
{
    write_file(TFR, two);
    EXPECT_EQ(tick(), "0/2:1");
    for (const uint8_t corners : bytes_t{11, 128, 255}) {
        const area_t first = {3, 0, 0}, bad = {4, 0, 0, 0, corners}, last = {5, 0, 0};
        write_file(TFR, tfr_file({first, bad, last}, 0x40));
        logged();
        EXPECT_EQ(push_after_tick(), push_of(uid_of(0xa0), 1, 0, first.item())) << "under the last tail that was read";
        EXPECT_EQ(logged(), (texts_t{"tfr_module_read_data: error: points num " + std::to_string(corners) +
                                         " in tfr item is larger than max num 10",
                                     READ_FAILED}));
        write_file(TFR, tfr_file({bad}));
        EXPECT_EQ(push_after_tick(), zeros(125));
        EXPECT_EQ(file_bytes(TFR), tfr_file({bad})) << "the digest is right: the file stays";
    }
}

TEST_F(TfrFile, CoordinatesOutOfRangePassThrough)
{
    const int32_t least = std::numeric_limits<int32_t>::min(), most = std::numeric_limits<int32_t>::max();
    for (const area_t& area :
         areas_t{{1, 90'000'000, 180'000'000}, {2, -90'000'001, 0}, {3, 200'000'000, 200'000'000}}) {
        write_file(TFR, tfr_file({area}));
        EXPECT_EQ(push_after_tick(), push_of(uid_of(0xa0), 1, 0, area.item())) << area.id;
    }
    // Farther away than an empty slot counts: sorted behind it, counted all the same.
    for (const area_t& area :
         areas_t{{4, most, most}, {5, least, least, 65535}, {6, most, least}, {7, 0, most, 1, 10}}) {
        write_file(TFR, tfr_file({area}));
        EXPECT_EQ(push_after_tick(), push_of(uid_of(0xa0), 1, 0, zeros(107))) << area.id;
        write_file(TFR, tfr_file({area, {8, 0, 0}, {9, 1, 1}, {10, 2, 2}, {11, 3, 3}, {12, 4, 4}}));
        EXPECT_EQ(ticks(5), (texts_t{"1/5:9", "2/5:10", "3/5:11", "4/5:12", "0/5:8"})) << area.id;
        write_file(TFR, tfr_file({{13, 0, 0}}));
        EXPECT_EQ(tick(), "0/1:13");
    }
}

TEST_F(TfrFile, UidStandsBeforeTheDigest)
{
    bytes_t uid(16, 0xee);
    const std::string tag = "get_tfr_info_uid_by_read_file: ";
    get_tfr_info_uid_by_read_file(TFR, uid.data(), 16);
    EXPECT_EQ(uid, bytes_t(16, 0xee)) << "no file";
    EXPECT_EQ(logged(), (texts_t{tag + "ERROR: No such file or directory\n", tag + "get file size fail"}));
    for (const size_t size : {0u, 16u, 32u}) {
        write_file(TFR, bytes_t(size, 1));
        uid.assign(16, 0xee);
        get_tfr_info_uid_by_read_file(TFR, uid.data(), 16);
        EXPECT_EQ(uid, zeros(16));
        EXPECT_EQ(logged(), texts_t{tag + "tfr file not complete, file_size:" + std::to_string(size) +
                                    ", expect_signature_len:16, expect_uid_len:16"});
        EXPECT_EQ(starts(), zeros(18));
        logged();
    }
    // 33 bytes and no digest: whatever lies there is taken for one.
    write_file(TFR, bytes_t{1} + uid_of(0) + zeros(16));
    get_tfr_info_uid_by_read_file(TFR, uid.data(), 16);
    EXPECT_EQ(uid, uid_of(0));
    EXPECT_EQ(logged(), in_hex(tag + "uid[16]:", uid_of(0)));
    EXPECT_EQ(starts(), zeros(2) + uid_of(0));

    write_file("/tmp/other", uid_of(0x80) + zeros(17));  // read where the stored file's size says
    logged();
    get_tfr_info_uid_by_read_file("/tmp/other", uid.data(), 4);
    EXPECT_EQ(uid, bytes_t({0x8d, 0x8e, 0x8f, 0}) + part(uid_of(0), 4, 16));
    EXPECT_EQ(logged(), in_hex(tag + "uid[4]:", {0x8d, 0x8e, 0x8f, 0}));
    write_file("/tmp/other", zeros(9));
    get_tfr_info_uid_by_read_file("/tmp/other", uid.data(), 16);
    EXPECT_THAT(logged(), Each(Not(HasSubstr("uid["))));
}

TEST_F(TfrFile, UidOfTheLastReading)
{
    write_file(TFR, two);
    tick();
    bytes_t uid(17, 0xee);
    EXPECT_TRUE(get_tfr_info_after_read(uid.data(), 16));
    EXPECT_EQ(uid, uid_of(0xa0) + bytes_t{0xee});
    for (const uint8_t length : bytes_t{17, 32, 255}) {
        uid.assign(17, 0xee);
        EXPECT_FALSE(get_tfr_info_after_read(uid.data(), length));
        EXPECT_EQ(uid, bytes_t(17, 0xee));
    }
    EXPECT_TRUE(get_tfr_info_after_read(uid.data(), 3));
    EXPECT_EQ(uid, bytes_t({0xa0, 0xa1, 0xa2}) + bytes_t(14, 0xee));
}

TEST_F(TfrFile, PositionedReadsTellWhatFails)
{
    const std::string read = "read_tfr_file: ";
    const texts_t missing = {read + "ERROR: No such file or directory\n", read + "get file size fail"};
    const texts_t shorter = {read + "read len not equal data len"};
    const area_t polygon = {2, 5, 6, 7, 3};
    const bytes_t file = tfr_file({{1, -1, -2, 3}, polygon});
    write_file(TFR, file);
    bytes_t buffer(4);
    EXPECT_TRUE(read_tfr_file(TFR, 3, 4, buffer.data()));
    EXPECT_EQ(buffer, part(file, 3, 7));
    EXPECT_TRUE(read_tfr_file(TFR, uint32_t(file.size() - 4), 4, buffer.data()));
    EXPECT_EQ(buffer, part(file, file.size() - 4, file.size()));
    EXPECT_THAT(logged(), IsEmpty());
    const auto expect_refused = [&](const char* path, size_t offset, const texts_t& texts) {
        EXPECT_FALSE(read_tfr_file(path, uint32_t(offset), 4, buffer.data())) << path << offset;
        EXPECT_EQ(logged(), texts);
    };
    const int unopenable = socket(AF_UNIX, SOCK_STREAM, 0);
    const sockaddr_un name = {AF_UNIX, "/tmp/socket"};
    ASSERT_EQ(bind(unopenable, reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
    close(unopenable);
    expect_refused("/tmp/missing", 0, missing);
    expect_refused("/tmp/socket", 0,
                   {read + "ERROR: No such device or address\n", read + "can not open nfz data file"});
    expect_refused(TFR, file.size() - 3, shorter);
    expect_refused(TFR, file.size(), shorter);
    expect_refused(TFR, UINT32_MAX, {read + "require start address 0xffffffff is larger than file size 0x71"});

    bytes_t points(51, 0);
    EXPECT_EQ(bytes_of(read_tfr_head(TFR)), part(file, 0, 3));
    EXPECT_EQ(bytes_of(read_tfr_item_head(TFR, 30)), part(file, 30, 35));
    EXPECT_EQ(bytes_of(read_tfr_item_circle(TFR, 3)), part(file, 3, 30));
    EXPECT_EQ(bytes_of(read_tfr_tail(TFR, uint32_t(file.size() - 32))), part(file, file.size() - 32, file.size()));
    get_tfr_item_polygon_buf(TFR, 30, points.data(), 51);
    EXPECT_EQ(points, polygon.record());
    EXPECT_THAT(logged(), IsEmpty());
    EXPECT_EQ(bytes_of(read_tfr_head("/tmp/missing")), zeros(3));
    EXPECT_EQ(logged(), missing + texts_t{"read_tfr_head: warning: read_tfr_head fail"});
    const auto behind = static_cast<uint32_t>(file.size());
    const auto expect_zeros = [&](const bytes_t& record, const std::string& tag) {
        EXPECT_EQ(record, zeros(record.size()));
        EXPECT_EQ(logged(), shorter + texts_t{tag + ": warning: " + tag + " fail"});
    };
    expect_zeros(bytes_of(read_tfr_item_head(TFR, behind)), "read_tfr_item_head");
    expect_zeros(bytes_of(read_tfr_item_circle(TFR, behind)), "read_tfr_item_circle");
    expect_zeros(bytes_of(read_tfr_tail(TFR, behind)), "read_tfr_tail");
    points = zeros(51);
    get_tfr_item_polygon_buf(TFR, behind, points.data(), 51);
    expect_zeros(points, "get_tfr_item_polygon_buf");
}

// What a reader of these bytes hands on, and the uid that it finds behind.
struct reading_t {
    std::vector<bytes_t> items;
    bytes_t uid;  // empty when the reading was ended early
};

static reading_t reading_of(const bytes_t& file)
{
    reading_t reading;
    size_t offset = 3;
    const auto take = [&](size_t size) {
        return offset + size <= file.size() ? part(file, offset, offset + size) : zeros(size);
    };
    for (unsigned left = file[0] | file[1] << 8; left > 0; --left) {
        const size_t corners = take(5)[4], length = 27 + 8 * corners;
        if (corners > 10) return reading;
        const bytes_t record = take(length);
        reading.items.push_back(part(record, 0, length - 22) + zeros(80 - 8 * corners) +
                                part(record, length - 22, length));
        offset += length;
    }
    reading.uid = part(take(32), 0, 16);
    return reading;
}

static bytes_t mutated(bytes_t file, std::mt19937& random)
{
    const auto below = [&](size_t limit) { return random() % limit; };
    for (size_t changes = 1 + below(4); changes > 0; --changes) {
        const auto at = file.begin() + static_cast<long>(below(file.size() - 16));
        switch (below(5)) {
            case 0:
                *at = static_cast<uint8_t>(random());
                break;
            case 1:
                *at ^= static_cast<uint8_t>(1 << below(8));
                break;
            case 2:
                if (file.size() > 60) file.erase(at, at + static_cast<long>(1 + below(16)));
                break;
            case 3:
                file.insert(at, 1 + below(30), static_cast<uint8_t>(below(12)));
                break;
            default:
                file[0] = static_cast<uint8_t>(below(12));
        }
    }
    if (below(100) != 0) file[1] = 0;  // most files announce a few areas, some announce tens of thousands
    return with_digest(file);
}

static int32_t coordinate(const bytes_t& item, size_t offset)
{
    return static_cast<int32_t>(item[offset] | item[offset + 1] << 8 | item[offset + 2] << 16 |
                                uint32_t{item[offset + 3]} << 24);
}

TEST_F(TfrFile, MutationsWithARightDigestAreReadAsTheModelReads)
{
    std::mt19937 random(20261125);  // NOLINT: the same cases every time
    areas_t areas = {{1, 0, 0, 100}, {2, 5 * MILLIDEGREE, 7, 7, 3}, {3, 10, -10, 1, 10}};
    for (uint32_t id = 4; id < 9; ++id)
        areas.push_back({id, int32_t(id) * 20, 5, 9, uint8_t(id % 3)});
    const bytes_t files[] = {tfr_file({}), tfr_file({areas[0]}), tfr_file(areas)};
    bytes_t uid = zeros(16);
    uint8_t next = 0;
    for (int number = 0; number < 10'000; ++number) {
        const bytes_t file = mutated(files[random() % 3], random);
        write_file(TFR, file);
        const reading_t reading = reading_of(file);
        if (!reading.uid.empty()) uid = reading.uid;
        model_t model;
        for (const bytes_t& item : reading.items)
            model.add(model_distance(0, 0, coordinate(item, 89), coordinate(item, 85),
                                     static_cast<uint16_t>(item[93] | item[94] << 8)));
        bytes_t expected = zeros(125);
        if (model.num > 0) {
            if (next >= model.num) next = 0;
            const int which = model.which[next];
            const bytes_t item = which < 0 ? zeros(107) : reading.items[size_t(which)];
            expected = push_of(uid, uint8_t(model.num), next++, item);
        }
        ASSERT_EQ(push_after_tick(), expected) << number << " " << testing::PrintToString(file);
        ASSERT_LE(logged().size(), 14u) << number;
    }
}
