// Files of restrictions: from GeoJSON and back, and judged as the service reads them.
#include "tfr_file/tfr_file.h"

#include <random>

#include "peer_fixture.h"
#include "tfr_file/tfr_circle.h"
#include "tfr_file/tfr_geojson.h"
#include "tfr_file/tfr_remarks.h"
#include "tfr_file/utc_time.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

vela_tfr_item_t area_of(uint32_t id, uint8_t corners)
{
    vela_tfr_item_t area = {};
    area.area_id = id;
    area.point_num = corners;
    for (uint8_t i = 0; i < corners; i++)
        area.points[i] = {11'000'000 + i * 1000, 48'000'000 - i * 1000};
    area.center = {11'000'000, 48'000'000};
    area.radius = 5000;
    area.end_at = 100;
    return area;
}

// Anything that the format can say, positions on earth.
vela_tfr_item_t random_area(std::mt19937& engine)
{
    const auto position = [&] {
        return vela_tfr_gps{std::uniform_int_distribution(-180'000'000, 180'000'000)(engine),
                            std::uniform_int_distribution(-90'000'000, 90'000'000)(engine)};
    };
    vela_tfr_item_t area = {};
    std::generate_n(reinterpret_cast<uint8_t*>(&area), sizeof area, [&] { return static_cast<uint8_t>(engine()); });
    area.point_num %= 11;
    area.center = position();
    for (uint8_t i = 0; i < 10; i++)
        area.points[i] = i < area.point_num ? position() : vela_tfr_gps{};
    return area;
}

peers::tfr_recipe_t random_recipe(std::mt19937& engine)
{
    peers::tfr_recipe_t recipe;
    recipe.type = static_cast<uint8_t>(engine());
    recipe.areas.resize(engine() % 40);
    for (vela_tfr_item_t& area : recipe.areas)
        area = random_area(engine);
    if (engine() % 2 == 0) recipe.uid = peers::md5_of(peers::bytes_of(engine()));
    return recipe;
}

TEST(TfrFile, GoesThroughGeoJsonByteForByte)
{
    std::mt19937 engine(1);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same files at every run
    // A producer may have written the first corner again as the last one: that is a corner then, and stays one.
    peers::tfr_recipe_t recipe = {.areas = {area_of(1, 10)}};
    recipe.areas[0].points[9] = recipe.areas[0].points[0];
    for (int i = 0; i < 300; i++, recipe = random_recipe(engine)) {
        const std::vector<uint8_t> file = peers::build_tfr_file(recipe);
        const peers::tfr_report_t report = peers::check_tfr_file(file);
        ASSERT_TRUE(report.sound()) << report.reason << report.problem;
        const auto read =
            peers::read_tfr_geojson(peers::write_tfr_geojson({report.head.type, report.uid, report.areas}));
        ASSERT_EQ(read.problem_count, 0u) << read.problems[0].text();
        ASSERT_EQ(peers::build_tfr_file(read.recipe), file) << i;
    }
}

TEST(TfrFile, HasTheLayoutThatTheServiceReads)
{
    vela_tfr_item_t area = area_of(0x01020304, 1);
    area.country = 276;
    const std::vector<uint8_t> file = peers::build_tfr_file({.type = 7, .areas = {area_of(5, 0), area}});
    ASSERT_EQ(file.size(), 3u + 27 + 35 + 32);
    const auto part = [&file](int first, int last) {
        return std::vector<uint8_t>(file.begin() + first, file.begin() + last);
    };
    EXPECT_THAT(part(0, 8), ElementsAre(2, 0, 7, 5, 0, 0, 0, 0));
    EXPECT_THAT(part(30, 35), ElementsAre(4, 3, 2, 1, 1));
    EXPECT_EQ(file[3 + 27 + 5 + 8 + 12], 276 & 255) << "the end follows the corners in use";
    const peers::md5_digest_t uid = peers::md5_of(part(0, 65));
    EXPECT_THAT(part(65, 81), testing::ElementsAreArray(uid)) << "derived from head and areas";
    EXPECT_EQ(peers::build_tfr_file({.areas = {}}).size(), 35u) << "no restriction at all is a file, too";
    EXPECT_TRUE(peers::tfr_uid_of(file));
    EXPECT_FALSE(peers::tfr_uid_of(peers::build_tfr_file({.uid = peers::tfr_uid_t{}}))) << "zeros count as none";
    EXPECT_FALSE(peers::tfr_uid_of(std::vector<uint8_t>(34, 1)));
    EXPECT_FALSE(peers::parse_tfr_uid("00112233445566778899aabbccddee"));
    EXPECT_FALSE(peers::parse_tfr_uid("0x112233445566778899aabbccddeef0"));
    EXPECT_EQ(peers::parse_tfr_uid("000102030405060708090A0b0c0d0e0f").value()[10], 10);
}

// With a new digest, so that only the layout is wrong.
peers::tfr_report_t judged(std::vector<uint8_t> file)
{
    file.resize(file.size() - 16);
    return peers::check_tfr_file(with_digest(file));
}

TEST(TfrFile, IsJudgedAsTheServiceReadsIt)
{
    const std::vector<uint8_t> good = peers::build_tfr_file({.areas = {area_of(1, 0), area_of(2, 10)}});
    for (size_t i = 0; i < good.size(); i++) {
        std::vector<uint8_t> flipped = good;
        flipped[i] ^= 4;
        EXPECT_FALSE(peers::check_tfr_file(flipped).kept) << i;
        EXPECT_FALSE(peers::check_tfr_file(peers::bytes_view(good).first(i)).sound()) << i;
    }
    EXPECT_THAT(peers::check_tfr_file(peers::bytes_view(good).first(16)).reason, HasSubstr("16 bytes, at least 17"));

    std::vector<uint8_t> bent = good;
    bent[30 + 4] = 11;
    peers::tfr_report_t report = judged(bent);
    EXPECT_TRUE(report.kept);
    EXPECT_THAT(report.problem, HasSubstr("area 2 at byte 30 has 11 corners"));
    EXPECT_EQ(report.areas.size(), 1u) << "the service keeps the one before";
    bent[0] = 3;
    bent[30 + 4] = 10;
    EXPECT_THAT(judged(bent).problem, HasSubstr("area 3 at byte 137 is cut short"));
    bent[0] = 1;
    EXPECT_THAT(judged(bent).problem, HasSubstr("107 surplus bytes"));
    EXPECT_THAT(judged(std::vector<uint8_t>(34, 0)).problem, HasSubstr("34 bytes"));
}

std::string collection(const std::string& features)
{
    return R"({"type": "FeatureCollection", "features": [)" + features + "]}";
}

std::string feature(const std::string& properties, const std::string& geometry)
{
    return R"({"type": "Feature", "properties": {)" + properties + R"(}, "geometry": )" + geometry + "}";
}

const std::string CIRCLE = R"({"type": "Point", "coordinates": [11.5, 48.1]})";
const std::string TIMES = R"("start": 0, "end": 1)";
const std::string GOOD = R"("id": 1, "radius": 5, )" + TIMES;

std::string polygon(const std::string& rings)
{
    return R"({"type": "Polygon", "coordinates": [)" + rings + "]}";
}

std::string corners(int count)
{
    std::string ring = "[";
    for (int i = 0; i < count; i++)
        ring += (i > 0 ? ", [" : "[") + std::to_string(10 + i) + ", 50]";
    return ring + "]";
}

TEST(TfrGeoJson, EveryRefusalSaysWhereAndWhy)
{
    const auto with = [](const std::string& properties) { return collection(feature(properties, CIRCLE)); };
    const auto at = [](const std::string& geometry) { return collection(feature(GOOD, geometry)); };
    const auto around = [](const std::string& corners) {
        return collection(feature(R"("id": 1, )" + TIMES, polygon(corners)));
    };
    std::string many = feature(GOOD, CIRCLE);
    for (int i = 0; i < 65535; i++)
        many += ",7";
    const std::pair<std::string, const char*> cases[] = {
        {"[]", R"("type" has to be "FeatureCollection")"},
        {R"({"type": "FeatureCollection"})", R"("features" is missing)"},
        {R"({"type": "FeatureCollection", "uid": "12", "features": []})", R"("uid" is "12", wanted are 32)"},
        {R"({"type": "FeatureCollection", "file_type": 256, "features": []})", R"("file_type" is 256)"},
        {collection("7"), R"(feature 1: "type" has to be "Feature")"},
        {collection(many), "65535 at most"},
        {collection(R"({"type": "Feature", "geometry": )" + CIRCLE + "}"), R"(feature 1: "properties" is missing)"},
        {with(R"("radius": 5, )" + TIMES), R"(feature 1: "id" is missing)"},
        {with(R"("id": 4294967296, "radius": 5, )" + TIMES), R"("id" is 4294967296)"},
        {with(R"("id": 1, )" + TIMES), R"("radius" is missing)"},
        {with(R"("id": 1, "radius": 65536, )" + TIMES), "numbers of 0 to 65535"},
        {with(R"("id": 1, "radius": 5.5, )" + TIMES), R"("radius" is 5.5)"},
        {with(R"("id": 1, "radius": -1, )" + TIMES), R"("radius" is -1)"},
        {with(R"("level": 256, )" + GOOD), R"("level" is 256)"},
        {with(R"("shape": "round", )" + GOOD), R"("shape" is "round")"},
        {with(R"("country": 65536, )" + GOOD), R"("country" is 65536)"},
        {with(R"("center": [1, 2], )" + GOOD), "its own center"},
        {with(R"("id": 1, "radius": 5, "start": "yesterday", "end": 1)"), R"("start" is)"},
        {with(R"("id": 1, "radius": 5, "start": 0)"), R"("end" is missing)"},
        {with(R"("id": 1, "radius": 5, "start": 0, "end": 4294967296)"), "1970 to 2106"},
        {at("null"), R"(feature 1: "geometry" is missing)"},
        {at(R"({"type": "Point", "coordinates": [180.1, 0]})"), R"("coordinates" has [180.1,0])"},
        {at(R"({"type": "Point", "coordinates": [0, -90.000001]})"), "latitudes of -90 to 90"},
        {at(R"({"type": "Point", "coordinates": [0]})"), "[longitude, latitude]"},
        {at(R"({"type": "Point"})"), R"("coordinates" is missing)"},
        {at(R"({"type": "MultiPolygon", "coordinates": []})"), "is a MultiPolygon"},
        {at(polygon(corners(11))), "11 corners, allowed are 1 to 10"},
        {at(polygon(corners(4) + ", " + corners(3))), "has holes"},
        {at(polygon("[]")), "wanted is [[["},
        {around("[[0, 0], [1, 0], [1, 1]]"), "65535 m at most"},
        {around("[[-179, 0], [179, 0], [179, 1]]"), "date line"},
    };
    for (const auto& [text, reason] : cases) {
        const peers::tfr_geojson_t read = peers::read_tfr_geojson(text);
        ASSERT_EQ(read.problems.size(), 1u) << reason;
        EXPECT_THAT(read.problems[0].text(), HasSubstr(reason)) << text.substr(0, 300);
    }
}

TEST(TfrGeoJson, ProblemsAreListedWithTheirPlaceUpToABound)
{
    const peers::tfr_geojson_t broken = peers::read_tfr_geojson("{\n  \"type\": \"x\",\n  \"a\": }\n");
    ASSERT_EQ(broken.problems.size(), 1u);
    EXPECT_EQ(broken.problems[0].line, 3u);
    EXPECT_EQ(broken.problems[0].column, 8u);
    EXPECT_THAT(peers::read_tfr_geojson("").problems[0].text(), HasSubstr("1:1: "));
    EXPECT_EQ(peers::read_tfr_geojson("[1e999]").problem_count, 1u);

    std::string features = feature("", CIRCLE);
    for (int i = 0; i < 9; i++)
        features += ", " + feature("", CIRCLE);
    const peers::tfr_geojson_t read = peers::read_tfr_geojson(collection(features));
    EXPECT_EQ(read.problem_count, 40u) << "id, radius, start and end of ten features";
    EXPECT_EQ(read.problems.size(), peers::tfr_geojson_t::LISTED);
    EXPECT_EQ(read.problems.back().feature, 5u);
}

TEST(TfrGeoJson, CircleAroundCornersIsComputedWhereItIsNotGiven)
{
    const auto read = peers::read_tfr_geojson(
        collection(feature(R"("id": 1, )" + TIMES, polygon("[[11, 48], [11.01, 48, 500], [11.01, 48.02], [11, 48]]"))));
    ASSERT_EQ(read.problem_count, 0u);
    const vela_tfr_item_t& area = read.recipe.areas.at(0);
    EXPECT_EQ(area.point_num, 3) << "closed ring, with a height at one corner";
    EXPECT_EQ(int32_t{area.center.lng}, 11'005'000);
    EXPECT_EQ(int32_t{area.center.lat}, 48'010'000);
    EXPECT_NEAR(area.radius, 1174, 2) << "0.01 degree north is 1113.2 m, 0.005 degree east 372.4 m";
    EXPECT_TRUE(read.computed.at(0).center && read.computed.at(0).radius);
    EXPECT_TRUE(peers::remarks_on(read.recipe.areas).empty());

    const auto given = peers::read_tfr_geojson(collection(feature(
        R"("center": [11, 48], "id": 1, "radius": 10, )" + TIMES, polygon("[[11, 48], [11.1, 48], [11, 48.1]]"))));
    EXPECT_TRUE(given.computed.empty());
    EXPECT_THAT(peers::remarks_on(given.recipe.areas).at(0).text, HasSubstr("does not reach a corner 11132 m"));
}

TEST(TfrRemarks, SayWhatIsHardlyMeant)
{
    vela_tfr_item_t off_earth = area_of(2, 0);
    off_earth.center.lat = 90'000'001;
    vela_tfr_item_t backwards = area_of(3, 0);
    backwards.start_at = 101;
    std::vector<std::string> texts;
    for (const auto& remark : peers::remarks_on(std::vector{area_of(1, 0), off_earth, backwards, area_of(1, 2)}))
        texts.push_back(std::to_string(remark.area) + " " + remark.text);
    EXPECT_THAT(texts, ElementsAre(HasSubstr("2 it has a position beyond"), HasSubstr("3 it ends before"),
                                   HasSubstr("4 a polygon of 2 corners"), HasSubstr("4 it has the id of area 1")));
}

TEST(UtcTime, ReadsWhatItWritesAndRefusesWhatIsNoTime)
{
    EXPECT_EQ(peers::utc_text(0), "1970-01-01T00:00:00Z");
    EXPECT_EQ(peers::utc_text(UINT32_MAX), "2106-02-07T06:28:15Z");
    for (uint64_t seconds = 0; seconds <= UINT32_MAX; seconds += 9'999'991)
        EXPECT_EQ(peers::parse_utc(peers::utc_text(static_cast<uint32_t>(seconds))), seconds);
    EXPECT_EQ(peers::parse_utc("2026-07-01T10:00:00+02:00"), peers::parse_utc("2026-07-01t08:00:00.999z"));
    EXPECT_EQ(peers::parse_utc("1970-01-01T01:00:00+01:00"), 0u);
    for (const char* wrong : {"", "2026-07-01", "2026-07-01T08:00:00", "2026-02-29T00:00:00Z", "2026-07-01T24:00:00Z",
                              "1969-12-31T23:59:59Z", "2106-02-07T06:28:16Z", "2026-7-1T08:00:00Z",
                              "2026-07-01T08:00:00ZZ", "2026-07-01T08:00:00.Z", "12026-07-01T08:00:00Z",
                              "2026-07-01T08:00:00+0200", "-026-07-01T08:00:00Z", "+026-07-01T08:00:00Z"}) {
        EXPECT_FALSE(peers::parse_utc(wrong)) << wrong;
    }
}

}  // namespace
