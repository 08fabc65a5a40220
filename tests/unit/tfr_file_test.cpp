// The stored restriction file: cut short, damaged, hostile with a right digest; and its readers one by one.
#include <filesystem>
#include <random>

#include "nfz_tfr/tfr_module/src/tfr_module_read_data.h"
#include "nfz_tfr/tfr_module/src/tfr_module_select.h"
#include "tfr_aircraft.h"

using testing::IsSupersetOf;

static const char* const READ_FAILED = "tfr_data_update: tfr module read data fail";
static const texts_t DROPPED = {
    "tfr_delete_all_data: delete all data in tfr file success",
    "tfr_module_read_data: ERROR: md5 check fail, tfr file is not ok, stop read data, and clear all data in tfr file",
    READ_FAILED};

class TfrFile : public TfrAircraft {
protected:
    TfrFile() { flies_at(0, 0); }

    const areas_t kept = {{1, 0, 0, 100}, {2, 5 * MILLIDEGREE, 0, 7, 3}};
    const bytes_t two = tfr_file(kept);
};

TEST_F(TfrFile, CutOrDamagedAnywhereItIsDroppedAndTheSelectionKept)
{
    write_file(TFR, two);
    EXPECT_EQ(ticks(2), (texts_t{"0/2:1", "1/2:2"}));
    EXPECT_THAT(logged(), IsEmpty()) << "a good file is read in silence";
    std::vector<bytes_t> all_damaged = {two + zeros(1)};
    for (size_t at = 0; at < two.size(); ++at) {
        all_damaged.push_back(part(two, 0, at));
        all_damaged.push_back(two);
        all_damaged.back()[at] ^= static_cast<uint8_t>(1 << at % 8);
    }
    uint8_t idx = 0;
    for (const bytes_t& damaged : all_damaged) {
        SCOPED_TRACE(testing::PrintToString(damaged));
        write_file(TFR, damaged);
        EXPECT_EQ(push_after_tick(), push_of(uid_of(0xa0), 2, idx, kept[idx].item()));
        EXPECT_TRUE(exists(TFR));
        EXPECT_THAT(file_bytes(TFR), IsEmpty());
        const texts_t texts = logged();
        EXPECT_THAT(texts, IsSupersetOf(DROPPED));
        EXPECT_LE(texts.size(), 6u) << testing::PrintToString(texts);
        idx ^= 1;
    }
    std::filesystem::remove(TFR);
    tick();
    EXPECT_THAT(logged(), IsSupersetOf(DROPPED));
    EXPECT_TRUE(std::filesystem::remove(TFR)) << "a missing file is emptied as well";
    std::filesystem::create_directory(TFR);
    tick();
    EXPECT_THAT(logged(), testing::Contains(READ_FAILED));
}

TEST_F(TfrFile, TooManyCornersEndTheReading)
{
    const bytes_t file = tfr_file({{3, 0, 0}, {4, 0, 0, 0, 11}, {5, 0, 0}});
    write_file(TFR, file);
    EXPECT_EQ(tick(), "0/1:3");
    EXPECT_EQ(file_bytes(TFR), file) << "the digest is right: the file stays";
    EXPECT_EQ(logged(), (texts_t{"tfr_module_read_data: error: points num 11 in tfr item is larger than max num 10",
                                 READ_FAILED}));
}

TEST_F(TfrFile, UidStandsBeforeTheDigest)
{
    const std::string tag = "get_tfr_info_uid_by_read_file: ";
    for (const size_t size : {0u, 32u}) {
        write_file(TFR, bytes_t(size, 1));
        EXPECT_EQ(starts(), zeros(18));
        EXPECT_EQ(logged().back(), tag + "tfr file not complete, file_size:" + std::to_string(size) +
                                       ", expect_signature_len:16, expect_uid_len:16");
    }
    // 33 bytes and no digest: whatever lies there is taken for one.
    write_file(TFR, bytes_t{1} + uid_of(0) + zeros(16));
    EXPECT_EQ(starts(), zeros(2) + uid_of(0));
    write_file(TFR, two);
    tick();
    bytes_t uid(17, 0xee);
    EXPECT_FALSE(get_tfr_info_after_read(uid.data(), 17));
    EXPECT_TRUE(get_tfr_info_after_read(uid.data(), 3));
    EXPECT_EQ(uid, bytes_t({0xa0, 0xa1, 0xa2}) + bytes_t(14, 0xee));
}

// The digest is right, but a record lies across the end of the file: zeros are taken for it, and it is said once.
TEST_F(TfrFile, RecordsAcrossTheEndAreZeros)
{
    const struct {
        uint32_t areas;
        bytes_t second;  // what there is of it; the digest follows
        std::string reader;
    } cases[] = {{2, zeros(5), "read_tfr_item_circle"},
                 {2, {0, 0, 0, 0, 3}, "get_tfr_item_polygon_buf"},
                 {3, zeros(13), "read_tfr_item_head"},
                 {2, zeros(13), "read_tfr_tail"}};
    for (const auto& [areas, second, reader] : cases) {
        write_file(TFR, with_digest(u16(areas) + bytes_t{0} + kept[0].record() + second + zeros(16)));
        tick();
        EXPECT_EQ(logged(),
                  (texts_t{"read_tfr_file: read len not equal data len", reader + ": warning: " + reader + " fail"}));
    }
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
    for (int left = file[0] | file[1] << 8; left > 0; --left) {
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
        const size_t kind = below(4);
        if (kind == 0) *at = static_cast<uint8_t>(random());
        if (kind == 1 && file.size() > 60) file.erase(at, at + static_cast<long>(1 + below(16)));
        if (kind == 2) file.insert(at, 1 + below(30), static_cast<uint8_t>(below(12)));
        if (kind == 3) file[0] = static_cast<uint8_t>(below(12));
    }
    if (below(100) != 0) file[1] = 0;  // most files announce a few areas, some announce tens of thousands
    return with_digest(file);
}

static int32_t coordinate(const bytes_t& item, size_t offset)
{
    return static_cast<int32_t>(u32_at(item, offset));
}

// Mostly on a coarse grid around the aircraft, for ties; now and then anything that 32 bits can say.
static areas_t random_areas(double lat, double lng, std::mt19937& random)
{
    areas_t areas(random() % 15);
    const auto near = [&](double degrees) {
        return static_cast<int32_t>(degrees * 1e6) + (static_cast<int32_t>(random() % 5) - 2) * 100'000;
    };
    const uint16_t radii[] = {0, 0, 100, 65535};
    for (area_t& area : areas) {
        area = {uint32_t(random()), near(lat), near(lng), radii[random() % 4], uint8_t(random() % 11)};
        if (random() % 8 == 0) area.lat = static_cast<int32_t>(random());
        if (random() % 8 == 0) area.lng = static_cast<int32_t>(random());
    }
    return areas;
}

// Selected, sorted and pushed as well; half of the files are as an app makes them.
TEST_F(TfrFile, AnyFileWithARightDigestIsReadAsTheModelReads)
{
    std::mt19937 random(20261125);  // NOLINT: the same cases every time
    bytes_t uid = zeros(16);
    uint8_t next = 0;
    for (int number = 0; number < 10'000; ++number) {
        const double lat = number % 4 == 0 ? 0 : double(random() % 180) - 90;
        const double lng = number % 4 == 0 ? 0 : double(random() % 360) - 180;
        flies_at(lat, lng);
        const bytes_t good = tfr_file(random_areas(lat, lng, random), static_cast<uint8_t>(number));
        const bytes_t file = number % 2 == 0 ? good : mutated(good, random);
        write_file(TFR, file);
        const reading_t reading = reading_of(file);
        if (!reading.uid.empty()) uid = reading.uid;
        model_t model;
        for (const bytes_t& item : reading.items)
            model.add(model_distance(db.drone_gps[0], db.drone_gps[1], coordinate(item, 89), coordinate(item, 85),
                                     static_cast<uint16_t>(item[93] | item[94] << 8)));
        bytes_t expected = zeros(125);
        if (model.num > 0) {
            if (next >= model.num) next = 0;
            const int which = model.which[next];
            const bytes_t item = which < 0 ? zeros(107) : reading.items[size_t(which)];
            expected = push_of(uid, uint8_t(model.num), next++, item);
        }
        ASSERT_EQ(push_after_tick(), expected) << number << " " << testing::PrintToString(file);
        ASSERT_THAT(tfr_info.dis2drone, testing::ElementsAreArray(model.distance)) << number;
        ASSERT_LE(logged().size(), 14u) << number;
    }
}
