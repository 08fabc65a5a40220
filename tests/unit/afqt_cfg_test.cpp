// Motion-list files, craft tables and the tag file.
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "afqt/include/afqt_craft_cfg.h"
#include "afqt/include/afqt_debugger.h"
#include "afqt/include/afqt_motion_cfg.h"
#include "afqt/include/afqt_tag_file.h"
#include "afqt_stand.h"

using testing::IsSupersetOf;

class AfqtCfg : public AfqtStand {
protected:
    AfqtCfg()
    {
        during([] { afqt_debug_init(); });
        logged();
    }
    std::string loads(const std::string& json)  // the motion ids of the list
    {
        out = during([&] { EXPECT_EQ(extract_motion_json(json.c_str()), 0); });
        std::string ids;
        for (AfqtMotionBase* motion : get_motion_list())
            ids += std::to_string(motion->motion_id);
        return ids;
    }
    // Files that only the number of entries and the members tell apart.
    std::string loads(int number, const std::string& members)
    {
        return loads(R"({"attribute": {"motion_num": )" + std::to_string(number) + "}, " + members + "}");
    }
    static std::string member(const std::string& key, const std::string& kind)
    {
        return std::string("\"").append(key).append("\": ") + motion(kind);
    }
    std::string out;
};

TEST_F(AfqtCfg, ListHoldsTheNumberedMotions)
{
    const std::string hover0 = member("motion0", "kHover"), step1 = member("motion1", "kStep"),
                      sweep2 = member("motion2", "kSweepChirpZ"), rtl3 = member("motion3", "kRtl");
    const struct {
        int number;
        std::string members, ids;
    } files[] = {
        {3, step1 + "," + sweep2 + "," + rtl3, "23"},
        {3, sweep2 + "," + step1 + "," + hover0, "123"},
        {6, member("motion4", "kLine") + "," + hover0 + "," + member("motion5", "kRepeat") + "," + rtl3, "1657"},
        {2, hover0 + "," + member("my_motion10", "kRtl") + "," + step1, "16"},  // holds "motion1" and stands first
        {2, hover0 + "," + step1 + "," + member("motion1", "kRtl"), "12"},
        {3, hover0 + "," + member("motion1", "khover") + "," + sweep2, "13"},
        {259, hover0 + "," + step1 + "," + sweep2 + "," + rtl3, "123"},  // low 8 bits: 3
    };
    for (const auto& file : files)
        EXPECT_EQ(loads(file.number, file.members), file.ids) << file.number << " of " << file.members;
    EXPECT_EQ(extract_motion_json(nullptr), 0);
    EXPECT_THAT(get_motion_list(), IsEmpty());
}

TEST_F(AfqtCfg, AttributesStayUntilAFileSaysOtherwise)
{
    const AfqtMotionListAttrItem& attr = get_motion_list_attr();
    const auto texts = [&attr] {
        return attr.owner + attr.creat_time + attr.motion_lis_ver + attr.drone_type + attr.department +
               attr.product_phase + attr.archive_id;
    };
    loads(
        R"({"attribute": {"owner": "o", "creat_time": "c", "motion_lis_ver": "v", "drone_type": "d", "department": "p",
             "product_phase": "h", "archive_id": "a", "motion_list_uid": 4000000000, "motion_num": 3, "other": 1},
             "attribute": {"owner": "second"}})");
    EXPECT_EQ(texts(), "ocvdpha");
    EXPECT_EQ(attr.motionlist_uid, 4000000000u);
    loads(R"({"attribute": {"owner": "x", "owner": "y", "Department": "z", "motion_list_uid": 77}})");
    EXPECT_EQ(texts(), "ycvdpha");
    EXPECT_EQ(attr.motionlist_uid, 77u);
    const std::string motions = member("motion0", "kHover") + "," + member("motion2", "kRtl");
    EXPECT_EQ(loads(R"({"attribute": {}, )" + motions + "}"), "16") << "still 3";
    loads(R"({"attribute": [1, 2]})");
    EXPECT_EQ(texts(), "ycvdpha");
    loads(
        R"({"attribute": {"owner": 5, "department": null, "archive_id": ["a"], "motion_num": "9", "motion_list_uid": {}}})");
    EXPECT_EQ(texts(), "cvdh");
}

// Any bytes at all are the business of the fault catalogue and of the fuzzers.
TEST_F(AfqtCfg, BrokenFilesGiveAnEmptyListAndNothingWorse)
{
    const std::string whole = list_of({hover(1.5), motion("kRepeat"), motion("kStep"), motion("kSweepChirpZ"),
                                       motion("kLine", R"("stick_tilt": [{"time": 1}])"), motion("kRtl")});
    for (const std::string& text : {whole.substr(0, whole.size() - 1), std::string("{}{"), std::string(100'000, '[')}) {
        EXPECT_EQ(loads(whole), "172356");
        EXPECT_EQ(loads(text), "") << text.substr(0, 20);
    }
    EXPECT_EQ(loads(3, R"("motion0": 5, "motion1": {"motion_id": "kHover"},
                          "motion2": {"motion_id": 1, "para_cfg": {}})"),
              "1")
        << "a motion without parameters has its defaults, one without a kind is none";
}

TEST_F(AfqtCfg, FileIsChosenByItsIndexAndEndsTheProcessIfItIsMissing)
{
    has_list(list_of({hover(1)}));
    has_list(list_of({hover(1), motion("kRtl")}), 12);
    EXPECT_EQ(get_motion_cfg_file_index(), 0);
    const auto entries_of = [&](uint8_t index) {
        set_motion_cfg_file_index(index);
        out = during([] { EXPECT_EQ(get_motion_cfg(), 0); });
        return get_motion_list().size();
    };
    EXPECT_EQ(entries_of(0), 1u);
    EXPECT_EQ(entries_of(12), 2u);
    has_list(std::string(size_t{4} * 1024 * 1024, ' ') + list_of({hover(1)}), 13);
    EXPECT_EQ(entries_of(13), 0u) << "more than 4 MiB";
    EXPECT_EQ(entries_of(12), 2u);
    const std::string path = std::string(AFQT_FILES) + "/afqt_motion_cfg_12.json";
    EXPECT_THAT(out, testing::StartsWith("Current Json file is 12\n[afqt]filename is " + path +
                                         "\n[JSON]file open success\nstart extract_motion_json\n"));
    EXPECT_THAT(out, HasSubstr("[Json CFG] extract attr \r\n[Json CFG] extract motion \r\n"));
    EXPECT_THAT(out, HasSubstr("[Json CFG] motion len : 2 \r\n"));
    EXPECT_THAT(
        logged(),
        IsSupersetOf(texts_t{
            "extract_motion_json: [afqt] start extract_motion_json\r\n", "extract_attr: [Json CFG] extract attr \r\n",
            "extract_motion: [Json CFG] extract motion \r\n", "extract_motion_json: [Json CFG] motion len : 2 \r\n",
            "get_motion_cfg: Current Json file is 12 \r\n", "get_motion_cfg: [afqt]filename is " + path + " \r\n",
            "get_motion_cfg: [JSON]file open success \r\n"}));
    std::filesystem::create_directory(std::string(AFQT_FILES) + "/afqt_motion_cfg_255.json");
    EXPECT_EQ(entries_of(255), 0u) << "a directory is no list";
    set_motion_cfg_file_index(9);
    EXPECT_EXIT(
        {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            get_motion_cfg();
        },
        testing::ExitedWithCode(0), "afqt_motion_cfg_9.json\n\\[JSON\\]file open error\n$");
    EXPECT_EQ(logged().back(), "get_motion_cfg: [JSON]file open error\n");
}

TEST_F(AfqtCfg, CraftTableFollowsTheDroneType)
{
    const auto selected_by = [&](uint8_t type) {
        bus.sync_reply = {type};
        EXPECT_EQ(load_craft_cfg(), 0);
        return get_craft_cfg();
    };
    EXPECT_EQ(selected_by(53), nullptr) << "no answer";
    bus.results.send_sync = 0;
    EXPECT_EQ(selected_by(52), nullptr);
    EXPECT_EQ(selected_by(41), &RV880_AFQT_CFG);
    EXPECT_EQ(selected_by(0), &RV880_AFQT_CFG);
    logged();
    EXPECT_EQ(selected_by(53), &QX520_AFQT_CFG);
    EXPECT_THAT(logged(), ElementsAre("load_craft_cfg: [afqt] set_cfg_qx520 \r\n"));
    set_craft_cfg(nullptr);
    EXPECT_EQ(get_craft_cfg(), &QX520_AFQT_CFG);
}

class AfqtTag : public AfqtCfg {
protected:
    AfqtTag() { std::filesystem::create_directories(latest.parent_path()); }
    uint8_t tagged(const std::string& number)
    {
        std::ofstream(latest) << number;
        return creat_tag_file();
    }
    static std::string tag(const std::string& number) { return text_at(AFQT_LOGS + ("/afqttag_" + number) + ".json"); }
    std::filesystem::path latest = std::string(AFQT_FILES) + "/afqt/latest";
};

TEST_F(AfqtTag, IsNamedAfterTheLatestFlight)
{
    EXPECT_EQ(creat_tag_file(), 8);
    EXPECT_EQ(logged().back(), "creat_tag_file: [afqt cfg] can't find latest!\r\n");
    const std::map<std::string, std::string> names = {
        {"10000", "10000"}, {"65537", "001"}, {"abc", "000"}, {" 12 x\n", "012"}};
    for (const auto& [number, name] : names) {
        EXPECT_EQ(tagged(number), 0) << number;
        EXPECT_THAT(tag(name), HasSubstr("err_code")) << number;
    }
    std::filesystem::create_directory(std::string(AFQT_LOGS) + "/afqttag_555.json");
    EXPECT_EQ(tagged("555"), 9);
    EXPECT_EQ(logged().back(), "creat_tag_file: creat afqt tag file failed!\r\n");

    std::filesystem::remove(latest);
    make_unopenable(latest);
    EXPECT_EQ(creat_tag_file(), 8);
    EXPECT_EQ(logged().back(), "creat_tag_file: [afqt cfg]FC Latest open error\n");
    std::filesystem::remove_all(AFQT_LOGS);
    EXPECT_EQ(creat_tag_file(), 8);
}

TEST_F(AfqtTag, TellsAircraftListTimeAndPlace)
{
    setenv("TZ", "UTC", 1);
    tzset();
    loads(R"({"attribute": {"department": "d \"1\"", "product_phase": "p", "archive_id": "a", "motion_list_uid": 12,
             "motion_num": 0}})");
    ASSERT_EQ(tagged("1"), 0);
    EXPECT_EQ(tag("001"),
              "{\n\t\"department\":\t\"d \\\"1\\\"\",\n\t\"drone_type\":\t0,\n\t\"drone_sn\":\t\"\",\n"
              "\t\"product_phase\":\t\"p\",\n\t\"archive_id\":\t\"a\",\n"
              "\t\"test_date\":\t\"Thu Jan  1 00:00:00 1970\\n\",\n\t\"test_loc\":\t[0, 0],\n\t\"FCfirmware\":\t\"\",\n"
              "\t\"motionlist_uid\":\t12,\n\t\"sweep\":\tnull,\n\t\"err_code\":\tnull\n}")
        << "nobody answers, nothing is known";

    bus.results.send_sync = 0;  // one answer for all three questions
    const std::string sn = "SERIALNUMBER1234";
    bus.sync_reply = bytes_t{0xfe} + bytes_t(sn.begin(), sn.end()) + zeros(5) + u32(0xfffefdfc) + zeros(5);
    db.app_unix_timestamp = 86400;
    db.drone_gps[0] = 0.5;
    db.drone_gps[1] = -1.25;
    db.gps_ctrl_level = 2;
    tagged("2");
    EXPECT_THAT(tag("002"), HasSubstr("\"drone_type\":\t-2,\n\t\"drone_sn\":\t\"SERIALNUMBER1234\",\n"));
    EXPECT_THAT(tag("002"), HasSubstr("\"FCfirmware\":\t\"255.254.253.252\",\n"));
    EXPECT_THAT(tag("002"), HasSubstr("\"Fri Jan  2 00:00:00 1970\\n\",\n\t\"test_loc\":\t[0, 0],\n"));
    db.gps_ctrl_level = 3;
    db.gps_unix_timestamp = 4000000000;  // beyond 2038
    tagged("2");
    EXPECT_THAT(tag("002"), HasSubstr("\"Tue Oct  2 07:06:40 2096\\n\",\n\t\"test_loc\":\t[0.5, -1.25],\n"));
    const auto before = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    for (int i = 0; i < 20; ++i)
        tagged("2");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}), before) << "no handle stays";
}
