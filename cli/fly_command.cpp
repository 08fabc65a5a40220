// vela fly: hands over to the program beside this one, which carries the virtual clock in place of the bus library.
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "command.h"

namespace cli {

exit_code hand_over_to_fly(const context_t& context, char** arguments)
{
    std::error_code error;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    std::string program = (self.parent_path() / "vela-fly").string();
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

// For the list of commands.
void add_fly_command(CLI::App& tool)
{
    tool.add_subcommand("fly", "fly a motion list on a simulated aircraft in virtual time, once or many times");
}

}  // namespace cli
