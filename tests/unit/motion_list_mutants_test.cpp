// The checker of motion lists beside the service that reads them: whatever the service takes for something else than
// the text says is told by the checker.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>

#include "afqt/include/afqt_line_cfg.h"
#include "afqt/include/afqt_run_list_sta.h"
#include "motion_list/list_check.h"
#include "motion_list_stand.h"

namespace {

using json = nlohmann::ordered_json;

struct mutant_t {
    std::string place;
    std::string what;  // was done there
    json list;
};

class MotionListMutants : public MotionListStand {
protected:
    bool is_taken_otherwise(const mutant_t& mutant, size_t entries);

private:
    numbers_t taken_of_step(AfqtMotionBase& motion);
    numbers_t taken_of_sweep(AfqtMotionBase& motion);
    numbers_t taken_of_rtl(AfqtMotionBase& motion);
    numbers_t taken(AfqtMotionBase& motion, const std::string& para_cfg);
};

// Loop, height, length of a phase and of all of it, told from what goes out.
numbers_t MotionListMutants::taken_of_step(AfqtMotionBase& motion)
{
    float amp = 0;
    int first = -1;
    starts_at(0, 0);
    const int ticks = flies(motion, [&](int tick, const record_t& record) {
        const sticks_t sticks = sticks_of(record);
        const float value = sticks.roll_or_x + sticks.pitch_or_y + sticks.thr_z + sticks.yaw;
        if (value != 0 && first < 0) first = tick + 1;
        if (value != 0 && amp == 0) amp = value;
    });
    return {double(motion.get_loop()), double{amp}, first < 0 ? 0 : first * 0.02, ticks * 0.02};
}

numbers_t MotionListMutants::taken_of_sweep(AfqtMotionBase& motion)
{
    afqt_sweep_req_t request = {};
    const int ticks = flies(motion, [&](int tick, const record_t& record) {
        if (tick == 0 && record.payload.size() == sizeof request)
            std::memcpy(&request, record.payload.data(), sizeof request);
    });
    const afqt_sweep_msg_t& sweep = request.sweep;
    return {double(motion.get_loop()),
            double(sweep.inj_flag >> SWEEP_FLAG_POINT_SHIFT),
            sweep.start_freq / 10.0,
            sweep.end_freq / 10.0,
            sweep.amp / 10.0,
            double(sweep.during_time),
            std::floor((ticks - 152) * 0.02 + 0.001)};
}

// Which of position, height and heading it goes back to.
numbers_t MotionListMutants::taken_of_rtl(AfqtMotionBase& motion)
{
    run_list_sta_t start;
    starts_at(0, 0);
    start.init_gps_pos[0] = db.drone_gps[0];
    start.init_gps_pos[1] = db.drone_gps[1];
    start.init_pos_valid_flag = 1;
    starts_at(5, 50);
    is_at(5, 0);
    motion.reset();
    motion.init(&start);
    motion.run();
    const bytes_t frame = sent().at(0).payload;
    api_ctrl_data_pro_t sticks = {};
    std::memcpy(&sticks, frame.data(), std::min(frame.size(), sizeof sticks));
    return {sticks.stick_cmd[0] != 0 ? 1.0 : 0.0, double((sticks.ctrl_flag >> CTRL_FLAG_VERT_MODE_SHIFT) & 3),
            (sticks.ctrl_flag >> CTRL_FLAG_YAW_MODE_SHIFT) & 1 ? 0.0 : 1.0};
}

numbers_t of_line(const MotionLineCfgItem& cfg)
{
    numbers_t numbers = {double(cfg.flight_mode), double{cfg.flight_yaw}, double{cfg.flight_dis},
                         double{cfg.height_min},  double{cfg.height_max}, double{cfg.vert_vel},
                         double{cfg.vert_pos},    double{cfg.yaw_rate},   double{cfg.yaw_angle}};
    for (const MotionLineStick* stick : {&cfg.tilt, &cfg.vert, &cfg.yaw}) {
        for (uint8_t i = 0; i < stick->count; ++i)
            numbers.insert(numbers.end(), {stick->items[i].ticks * 0.02, double{stick->items[i].stick} * 100,
                                           double(stick->items[i].mode)});
    }
    return numbers;
}

numbers_t MotionListMutants::taken(AfqtMotionBase& motion, const std::string& para_cfg)
{
    switch (motion.motion_id) {
        case MOTION_HOVER:
            return {(flies(motion, [](int, const record_t&) {}) - 1) * 0.02};
        case MOTION_STEP:
            return taken_of_step(motion);
        case MOTION_SWEEP:
            return taken_of_sweep(motion);
        case MOTION_RTL:
            return taken_of_rtl(motion);
        case MOTION_REPEAT:
            motion.init(nullptr);
            return {motion.check_finish() == MOTION_DOING ? 1.0 : 0.0};
        default: {
            cJSON* parsed = cJSON_Parse(para_cfg.c_str());
            numbers_t numbers = of_line(read_line_cfg(parsed));
            cJSON_Delete(parsed);
            return numbers;
        }
    }
}

// What the text says, read as a person would: a number is that number, a flag is set by false; all else is nothing that
// a service could take (no number is equal to it). A missing key has its default.
double said(const json& object, const char* key)
{
    if (!object.is_object() || !object.contains(key)) return 0;
    return object[key].is_number() ? object[key].get<double>() : std::numeric_limits<double>::quiet_NaN();
}

double said_flag(const json& para, const char* key)
{
    if (!para.contains(key)) return 0;
    return para[key] == json(false) ? 1 : std::numeric_limits<double>::quiet_NaN();
}

numbers_t said_of_step(const json& para)
{
    const double steps = said(para, "repeat_times");
    const double phases = said_flag(para, "reset_flag") == 1 ? 2 * steps + 1 : steps + 3;
    const bool excited = peers::step_loop(static_cast<uint8_t>(said(para, "loop_id"))) != peers::loop_kind::none;
    const double amp = phases > 1 && excited ? said(para, "amp") : 0;
    return {said(para, "loop_id"), amp, amp == 0 ? 0 : said(para, "intervals"),
            std::max(phases * said(para, "intervals"), 0.02) + 0 * said_flag(para, "reset_flag")};
}

numbers_t said_of_line(const json& para)
{
    numbers_t numbers;
    for (const char* key : {"flight_mode", "flight_yaw", "flight_dis", "height_min", "height_max", "vert_vel",
                            "vert_pos", "yaw_rate", "yaw_angle"})
        numbers.push_back(said(para, key));
    for (const auto& [stick, mode] :
         {std::pair{"stick_tilt", "no"}, {"stick_vert", "vert_mode"}, {"stick_yaw", "yaw_mode"}}) {
        for (const json& item : para.value(stick, json::array()))
            numbers.insert(numbers.end(), {said(item, "time"), said(item, "stick_value"), said(item, mode)});
    }
    return numbers;
}

numbers_t said_of(uint8_t motion, const json& para)
{
    switch (motion) {
        case MOTION_HOVER:
            return {said(para, "duration")};
        case MOTION_STEP:
            return said_of_step(para);
        case MOTION_SWEEP:
            return {said(para, "inj_loop"), said(para, "inj_point"), said(para, "start_freq"), said(para, "end_freq"),
                    said(para, "amp"),      said(para, "duration"),  said(para, "duration")};
        case MOTION_RTL:
            return {said_flag(para, "pos_flag"), said_flag(para, "alt_flag"), said_flag(para, "yaw_flag")};
        case MOTION_REPEAT:
            return {said(para, "repeat_times") >= 1 ? 1.0 : 0.0};
        default:
            return said_of_line(para);
    }
}

// A hover ends on a tick, and after hours the service's clock counts in coarse steps.
bool alike(uint8_t motion, const numbers_t& one, const numbers_t& other)
{
    const double slack = motion == MOTION_HOVER ? 0.03 : 1e-8;
    return std::equal(one.begin(), one.end(), other.begin(), other.end(), [slack](double a, double b) {
        return std::fabs(a - b) <= 1e-5 * std::max(std::fabs(a), std::fabs(b)) + slack;
    });
}

// One value deleted, made another kind, and scaled.
std::vector<mutant_t> mutants_of(const json& list)
{
    std::vector<std::string> places;
    const auto walk = [&](const auto& self, const json& node, const std::string& at) -> void {
        if (!at.empty()) places.push_back(at);
        for (const auto& item : node.items()) {
            if (node.is_structured()) self(self, item.value(), at + "/" + item.key());
        }
    };
    walk(walk, list, "");
    std::vector<mutant_t> mutants;
    for (const std::string& at : places) {
        const json::json_pointer place(at);
        mutants.push_back({at, "without " + at, list});
        json& parent = mutants.back().list[place.parent_pointer()];
        if (parent.is_array())
            parent.erase(std::stoul(place.back()));
        else
            parent.erase(place.back());
        for (const json& other : {json("x"), json(true), json(false), json(nullptr), json(3), json::array(),
                                  json::object(), json::array({7})}) {
            if (list[place].type() == other.type() && !other.is_boolean()) continue;
            if (list[place] == other) continue;
            mutants.push_back({at, at + " = " + other.dump(), list});
            mutants.back().list[place] = other;
        }
        if (!list[place].is_number()) continue;
        for (const double scale : {-1.0, 0.0, 1e-22, 0.001, 0.37, 1.003, 10.0, 97.0, 1e4, 1e10, 1e39}) {
            mutants.push_back({at, at + " * " + std::to_string(scale), list});
            mutants.back().list[place] = list[place].get<double>() * scale;
        }
    }
    return mutants;
}

bool says_more(const peers::findings_t& findings, const peers::findings_t& before)
{
    return std::any_of(findings.begin(), findings.end(), [&](const peers::finding_t& one) {
        return std::none_of(before.begin(), before.end(), [&](const peers::finding_t& other) {
            return one.path == other.path && one.rule == other.rule && one.level == other.level;
        });
    });
}

bool attributes_are_as_said(const json& attribute)
{
    const AfqtMotionListAttrItem& attr = get_motion_list_attr();
    const std::pair<const char*, json> taken[] = {{"motion_list_uid", attr.motionlist_uid},
                                                  {"department", attr.department},
                                                  {"product_phase", attr.product_phase},
                                                  {"archive_id", attr.archive_id}};
    return std::all_of(std::begin(taken), std::end(taken), [&](const auto& one) {
        return !attribute.contains(one.first) || attribute[one.first] == one.second;
    });
}

// Entries that are left out, refused, or flown with other numbers than the text has; looked for where it was changed.
bool MotionListMutants::is_taken_otherwise(const mutant_t& mutant, size_t entries)
{
    const MotionListVec& motions = reads(mutant.list.dump());
    if (motions.size() != entries || !attributes_are_as_said(mutant.list.value("attribute", json::object())))
        return true;
    for (AfqtMotionBase* motion : motions) {
        if (motion->check_valid() != MOTION_CFG_VALID) return true;
    }
    if (mutant.place.find("/para_cfg") == std::string::npos) return false;
    const size_t number = std::stoul(mutant.place.substr(std::strlen("/motion")));
    const json& para = mutant.list["motion" + std::to_string(number)].value("para_cfg", json::object());
    AfqtMotionBase& motion = *motions.at(number);
    return !alike(motion.motion_id, taken(motion, para.dump()), said_of(motion.motion_id, para));
}

peers::findings_t findings_on(const json& list)
{
    return peers::check_motion_list(list.dump(), peers::drone_named("rv880")).findings;
}

TEST_F(MotionListMutants, AreToldWheneverTheServiceTakesThemForSomethingElse)
{
    size_t all = 0, taken_otherwise = 0, told_anyway = 0;
    for (const std::string& text : motion_lists()) {
        const json original = json::parse(text);
        const peers::findings_t before = findings_on(original);
        const size_t entries = reads(text).size();
        for (const mutant_t& mutant : mutants_of(original)) {
            const bool otherwise = is_taken_otherwise(mutant, entries);
            const bool told = says_more(findings_on(mutant.list), before);
            EXPECT_TRUE(told || !otherwise) << mutant.what << "\n" << mutant.list.dump();
            all++;
            taken_otherwise += otherwise;
            told_anyway += !otherwise && told;
        }
    }
    std::printf("%zu mutants: %zu are taken for something else; %zu of the others are told of, too\n", all,
                taken_otherwise, told_anyway);
    EXPECT_GT(taken_otherwise, 1000u);
}

}  // namespace
