// Motion lists written down: list_of({hover(1), step(4, 5), motion("kRtl", R"("pos_flag": false)")}).
#pragma once

#include <string>
#include <vector>

inline std::string motion(const std::string& id, const std::string& para_cfg = "")
{
    return R"({"motion_id": ")" + id + R"(", "para_cfg": {)" + para_cfg + "}}";
}

inline std::string hover(double seconds)
{
    return motion("kHover", "\"duration\": " + std::to_string(seconds));
}

// Of one second each way.
inline std::string step(int loop, double amplitude)
{
    return motion("kStep", R"("repeat_times": 1, "intervals": 1, "loop_id": )" + std::to_string(loop) + R"(, "amp": )" +
                               std::to_string(amplitude));
}

// `attributes`: those beside the number of motions, each with a comma behind it.
inline std::string list_of(const std::vector<std::string>& motions, const std::string& attributes = "")
{
    std::string list = R"({"attribute": {)" + attributes + R"("motion_num": )" + std::to_string(motions.size()) + "}";
    for (size_t i = 0; i < motions.size(); i++)
        list += ", \"motion" + std::to_string(i) + "\": " + motions[i];
    return list + "}";
}
