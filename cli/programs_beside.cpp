// Commands that hand over to programs beside this one: fly carries the virtual clock in place of the bus library,
// station a web server, router ZeroMQ.
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "command.h"

namespace cli {
namespace {

struct beside_t {
    const char* command;
    const char* program;
    const char* description;
};

constexpr beside_t BESIDE[] = {
    {"fly", "vela-fly", "fly a motion list on a simulated aircraft in virtual time, once or many times"},
    {"station", "vela-station", "a live page for the factory floor: aircraft, states, stop button, last reports"},
    {"router", "tarn-router", "join the buses of several machines, and make the keys for it"},
};

}  // namespace

const char* program_beside(const std::string& command)
{
    for (const beside_t& one : BESIDE) {
        if (command == one.command) return one.program;
    }
    return nullptr;
}

exit_code hand_over(const context_t& context, const std::string& name, char** arguments)
{
    std::error_code error;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    std::string program = (self.parent_path() / name).string();
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
    for (const beside_t& one : BESIDE)
        tool.add_subcommand(one.command, one.description);
}

}  // namespace cli
