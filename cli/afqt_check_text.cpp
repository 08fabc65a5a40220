// Findings and figures of a motion list as people and scripts read them.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "afqt_check.h"
#include "console.h"
#include "factory/test_watch.h"
#include "motion_list/fields.h"
#include "table.h"
#include "units.h"

namespace cli {
namespace {

using peers::finding_t;
using peers::list_entry_t;
using peers::list_node_t;
using peers::number_words;

constexpr size_t WINDOW = 100;  // bytes of a source line that are shown

std::string line_of(const std::string& text, size_t line)
{
    size_t begin = 0;
    for (; line > 1 && begin != std::string::npos; line--) {
        begin = text.find('\n', begin);
        if (begin != std::string::npos) begin++;
    }
    if (begin == std::string::npos) return "";
    return text.substr(begin, text.find('\n', begin) - begin);
}

bool begins_letter(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xc0) != 0x80;
}

bool is_control(char letter)
{
    return static_cast<unsigned char>(letter) < ' ' || letter == '\x7f';
}

// The part of the line around the place, and a mark below it.
std::string marked(const std::string& line, size_t column)
{
    size_t from = column > WINDOW * 3 / 4 ? column - WINDOW / 2 : 0;
    while (from > 0 && from < line.size() && !begins_letter(line[from]))
        from--;
    size_t to = std::min(line.size(), from + WINDOW);
    while (to < line.size() && !begins_letter(line[to]))
        to++;
    std::string shown = line.substr(std::min(from, line.size()), to - std::min(from, to));
    std::replace_if(shown.begin(), shown.end(), is_control, ' ');
    const std::string before = shown.substr(0, column - 1 - from);
    const auto width = static_cast<size_t>(std::count_if(before.begin(), before.end(), begins_letter));
    return "    " + shown + "\n    " + std::string(width, ' ') + styled(style::good, "^") + "\n";
}

std::string rule_text(const finding_t& finding)
{
    const std::string what =
        finding.value.empty() || finding.path.empty() ? finding.path : finding.path + " is " + finding.value;
    std::string text = what.empty() ? finding.rule : what + ": " + finding.rule;
    std::replace_if(text.begin(), text.end(), is_control, '?');  // keys may hold anything
    return text;
}

const char* unit_of(peers::loop_kind kind)
{
    switch (kind) {
        case peers::loop_kind::rate:
            return " degrees/s";
        case peers::loop_kind::tilt:
        case peers::loop_kind::heading:
            return " degrees";
        case peers::loop_kind::speed:
        case peers::loop_kind::climb:
            return " m/s";
        case peers::loop_kind::height:
            return " m";
        default:
            return "";
    }
}

std::string words(const list_node_t& para, const char* key)
{
    return number_words(peers::number_of(para, key));
}

uint8_t loop_of(const list_node_t& para, const char* key)
{
    return static_cast<uint8_t>(peers::taken_number(peers::field_kind::small, peers::number_of(para, key)));
}

std::string step_words(const list_node_t& para)
{
    const uint8_t loop = loop_of(para, "loop_id");
    const peers::loop_kind kind = peers::step_loop(loop);
    if (kind == peers::loop_kind::none) return "holds still";
    const bool gaps = peers::flag_set(para, "reset_flag");
    const double steps = peers::number_of(para, "repeat_times") + (gaps ? 0 : 1);
    return std::string(peers::control_loop_text(loop)) + ": " + number_words(steps) +
           (steps == 1 ? " step" : " steps") + " of " + words(para, "amp") + unit_of(kind) + ", " +
           words(para, "intervals") + " s each" + (gaps ? ", at rest between them" : "");
}

std::string sweep_words(const list_node_t& para)
{
    const uint8_t loop = loop_of(para, "inj_loop");
    return std::string(peers::control_loop_text(loop == 0 ? uint8_t{kAngVelX} : loop)) + ": " +
           words(para, "start_freq") + " to " + words(para, "end_freq") + " Hz, amplitude " + words(para, "amp") +
           unit_of(peers::sweep_loop(loop));
}

std::string line_words(const list_node_t& para)
{
    std::string text = peers::number_of(para, "flight_mode") == 1 ? "sport" : "normal";
    for (const auto& [key, word] :
         {std::pair{"stick_tilt", "tilt"}, {"stick_vert", "vertical"}, {"stick_yaw", "yaw"}}) {
        const list_node_t* items = para.last(key);
        if (items != nullptr && !items->children.empty())
            text += std::string(", ") + word + " " + std::to_string(items->children.size()) + "×";
    }
    if (peers::number_of(para, "flight_yaw") != 0) text += ", towards " + words(para, "flight_yaw") + "°";
    if (peers::number_of(para, "flight_dis") != 0) text += ", " + words(para, "flight_dis") + " m at most";
    return text;
}

std::string rtl_words(const list_node_t& para)
{
    std::string text;
    for (const auto& [key, word] :
         {std::pair{"pos_flag", "position"}, {"alt_flag", "height"}, {"yaw_flag", "heading"}}) {
        if (peers::flag_set(para, key)) text += (text.empty() ? "to its start's " : ", ") + std::string(word);
    }
    return text.empty() ? "ends at once" : text;
}

}  // namespace

std::string findings_text(const std::string& file, const std::string& text, const peers::findings_t& findings)
{
    std::string all;
    for (const finding_t& one : findings) {
        const bool error = one.level == peers::severity::error;
        all += styled(style::bold,
                      file + ":" + std::to_string(one.place.line) + ":" + std::to_string(one.place.column) + ":") +
               " " + styled(error ? style::bad : style::bold, std::string(peers::severity_text(one.level)) + ":") +
               " " + rule_text(one) + "\n";
        if (on_terminal()) all += marked(line_of(text, one.place.line), one.place.column);
    }
    return all;
}

json findings_json(const peers::findings_t& findings)
{
    json list = json::array();
    for (const finding_t& one : findings) {
        list.push_back({{"severity", peers::severity_text(one.level)},
                        {"line", one.place.line},
                        {"column", one.place.column},
                        {"path", one.path},
                        {"value", one.value},
                        {"rule", one.rule}});
    }
    return list;
}

static std::string counted(size_t count, const std::string& what)
{
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string counts_text(const peers::list_check_t& check)
{
    std::string text;
    for (const auto level : {peers::severity::error, peers::severity::warning, peers::severity::note}) {
        const size_t count = check.count(level);
        if (count > 0) text += (text.empty() ? "" : ", ") + counted(count, peers::severity_text(level));
    }
    return text.empty() ? "nothing to complain about" : text;
}

std::string entry_words(const list_entry_t& entry)
{
    const list_node_t& para = *entry.para_cfg;
    switch (entry.motion) {
        case MOTION_HOVER:
            return "holds still";
        case MOTION_STEP:
            return step_words(para);
        case MOTION_SWEEP:
            return sweep_words(para);
        case MOTION_LINE:
            return line_words(para);
        case MOTION_RTL:
            return rtl_words(para);
        default:
            return peers::number_of(para, "repeat_times") >= 1 ? "skips the entry behind it" : "does nothing";
    }
}

}  // namespace cli
