// tarn-router: what `vela router` runs. A program of its own, because it goes where the tool does not: onto aircraft.
#include <csignal>
#include <cstdio>
#include <exception>
#include <nlohmann/json.hpp>

#include <CLI/CLI.hpp>

#include "config.h"
#include "exit_codes.h"
#include "keys.h"
#include "report.h"
#include "router.h"

namespace {

using cli::exit_code;
using cli::json;

struct options_t {
    std::string config;
    std::string name;
    bool as_json = false;
};

exit_code fail(const options_t& options, exit_code code, const std::string& what)
{
    const json error = {{"name", cli::exit_code_name(code)}, {"what", what}};
    router::Report(options.as_json)
        .say("failed", {{"ok", false}, {"exit_code", static_cast<int>(code)}, {"error", error}}, what);
    return code;
}

// Before the first thread: they are read in one place. Nobody who reads what we say ends us by going away.
void block_signals()
{
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGUSR1})
        sigaddset(&set, signal);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

exit_code run_router(const options_t& options)
{
    std::string failure;
    const auto config = router::read_config(options.config, failure);
    if (!config) return fail(options, exit_code::configuration, failure);
    const router::Report report(options.as_json);
    block_signals();
    try {
        router::Router router(*config, report);
        report.say("ready", {{"public_key", config->keys.public_key}, {"links", config->links.size()}},
                   "ready; our public key is " + config->keys.public_key);
        router.run();
    } catch (const zmq::error_t& error) {
        return fail(options, exit_code::configuration,
                    options.config + ": \"bind\" or \"connect\" is no good: " + error.what());
    }
    return exit_code::ok;
}

exit_code make_keys(const options_t& options)
{
    std::string failure;
    const router::key_pair_t keys = router::make_keys();
    if (!router::write_keys(options.name, keys, failure)) return fail(options, exit_code::output, failure);
    if (options.as_json) {
        router::Report(true).say("keys", {{"ok", true}, {"exit_code", 0}, {"public_key", keys.public_key}}, "");
    } else {
        std::printf("%s.key  secret: stays on this machine, nobody else may read it\n", options.name.c_str());
        std::printf("%s.pub  public: \"peer_key\" at the other end\n%s\n", options.name.c_str(),
                    keys.public_key.c_str());
    }
    return exit_code::ok;
}

int run(int argc, char** argv)
{
    options_t options;
    CLI::App program("Joins the buses of several machines over ZeroMQ, with CURVE keys.", "vela router");
    program.require_subcommand(1);
    program.footer(
        "Example: vela router run /etc/tarn-router/router.json\ndocs/router.md describes the configuration.");
    CLI::App* router = program.add_subcommand("run", "be a router until Ctrl-C; SIGUSR1 prints its counters");
    router->add_option("CONFIG", options.config, "configuration of this end")->required();
    router->add_flag("--json", options.as_json, "print events as JSON, one a line");
    router->footer("Example: vela router run /etc/tarn-router/router.json");
    CLI::App* keys = program.add_subcommand("keys", "make a pair of keys: NAME.key and NAME.pub");
    keys->add_option("-o,--output", options.name, "NAME of the two files; neither may be there")->required();
    keys->add_flag("--json", options.as_json, "print JSON instead of text");
    keys->footer("Example: vela router keys -o a7");
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return program.exit(error) == 0 ? 0 : static_cast<int>(exit_code::usage);
    }
    return static_cast<int>(router->parsed() ? run_router(options) : make_keys(options));
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tarn-router: %s\n", error.what());
        return static_cast<int>(exit_code::unexpected);
    }
}
