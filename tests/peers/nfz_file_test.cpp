#include "nfz_file/nfz_file.h"

#include "peer_fixture.h"

namespace {

using testing::ElementsAreArray;
using testing::HasSubstr;

TEST(NfzFile, WhatIsBuiltIsKeptAndSaysWhatWentInAndEveryFlippedBitIsFound)
{
    const auto build = [] { return peers::build_nfz_file({{1, 2, 3, 4}, 7, 5, {10, 20, 30}}); };
    std::vector<uint8_t> file = build();
    const peers::nfz_report_t report = peers::check_nfz_file(file);
    EXPECT_TRUE(report.kept) << report.reason;
    EXPECT_EQ(file.size(), 128u + 3 + 16);
    EXPECT_EQ(report.version, (peers::nfz_version_t{1, 2, 3, 4}));
    EXPECT_EQ(report.circles, 7u);
    EXPECT_EQ(report.zones, 5u);
    EXPECT_EQ(file[128], 10);
    EXPECT_EQ(file, build()) << "the same recipe gives the same bytes";
    const auto content = peers::generate_nfz_content({1, 0, 0, 0}, 1001);
    EXPECT_THAT(peers::generate_nfz_content({1, 0, 0, 0}, 1000), ElementsAreArray(content.data(), 1000));
    EXPECT_NE(content, peers::generate_nfz_content({0, 1, 0, 0}, 1001)) << "depends on the version";

    for (size_t bit = 0; bit < file.size() * 8; bit++) {
        file[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
        EXPECT_FALSE(peers::check_nfz_file(file).kept) << bit;
        file[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
    }
}

TEST(NfzFile, IsJudgedAsAtTheServicesStart)
{
    EXPECT_THAT(peers::check_nfz_file(std::vector<uint8_t>(16, 9)).reason, HasSubstr("16 bytes, at least 17"));
    EXPECT_FALSE(peers::check_nfz_file({}).kept);

    std::vector<uint8_t> leading(16, 0);
    EXPECT_THAT(peers::check_nfz_file(with_digest(leading)).reason, HasSubstr("first 16 bytes"));
    leading[15] = 1;
    EXPECT_FALSE(peers::check_nfz_file(with_digest(leading)).kept) << "a lone 1 counts as empty";
    leading[3] = 2;
    const peers::nfz_report_t report = peers::check_nfz_file(with_digest(leading));
    EXPECT_TRUE(report.kept);
    EXPECT_FALSE(report.has_head);
    EXPECT_EQ(report.version, peers::nfz_version_t{});
}

TEST(NfzVersion, IsFourNumbersAndNothingElse)
{
    EXPECT_EQ(peers::parse_version("4294967295.0.10.1"), (peers::nfz_version_t{4294967295, 0, 10, 1}));
    for (const char* wrong :
         {"", "1", "1.2.3", "1.2.3.", "1.2.3.4.5", "1.2.3.4 ", "a.b.c.d", "1.2.3.4294967296", "-1.2.3.4"}) {
        EXPECT_FALSE(peers::parse_version(wrong)) << wrong;
    }
    EXPECT_EQ(peers::version_text({2, 0, 0, 1}), "2.0.0.1");
}

}  // namespace
