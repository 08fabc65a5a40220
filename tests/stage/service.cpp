#include "service.h"

#include <cstdlib>
#include <iterator>
#include <sstream>

std::vector<std::string> Service::command(std::vector<std::string> before)
{
    const char* other = std::getenv("VELA_FLIGHT_COMMAND");
    std::istringstream words(other != nullptr ? other : VELA_FLIGHT);
    before.insert(before.end(), std::istream_iterator<std::string>(words), {});
    return before;
}
