// Prints the sound list and those with a fault that a schema can say, as JSON, for a validator that is not ours.
#include <cstdio>
#include <nlohmann/json.hpp>

#include "motion_list_faults.h"

int main()
{
    nlohmann::json lists = {{"good", GOOD}, {"faulty", nlohmann::json::array()}};
    for (const list_fault_t& fault : FAULTS) {
        const bool error = std::string(fault.place).find(" error ") != std::string::npos;
        if (!error || fault.beyond_schema) continue;
        std::string text = GOOD;
        lists["faulty"].push_back(text.replace(text.find(fault.from), fault.from.size(), fault.to));
    }
    std::printf("%s\n", lists.dump().c_str());
}
