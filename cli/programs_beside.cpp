// vela fly and vela station hand over to programs beside this one: the first carries the virtual clock in place of the
// bus library, the second a web server.
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "command.h"

namespace cli {

exit_code hand_over(const context_t& context, const std::string& name, char** arguments)
{
    std::error_code error;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    std::string program = (self.parent_path() / ("vela-" + name)).string();
    std::vector<char*> words = {program.data()};
    while (*arguments != nullptr)
        words.push_back(*arguments++);
    words.push_back(nullptr);
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
    execv(program.c_str(), words.data());
    return report(context, {exit_code::configuration, program + ": " + std::strerror(errno),
                            "It is built and installed beside this program."});
}

void add_programs_beside(CLI::App& tool)
{
    tool.add_subcommand("fly", "fly a motion list on a simulated aircraft in virtual time, once or many times");
    tool.add_subcommand("station", "a live page for the factory floor: aircraft, states, stop button, last reports");
}

}  // namespace cli
