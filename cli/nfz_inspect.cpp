// vela nfz inspect: would the service keep this file?
#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "console.h"
#include "nfz_command.h"
#include "units.h"

namespace cli {
namespace {

void print_text(const std::string& path, const peers::nfz_report_t& report)
{
    std::printf("%s: %s\n", path.c_str(),
                report.kept ? styled(style::good, "the service keeps it").c_str()
                            : styled(style::bad, "the service discards it").c_str());
    if (!report.kept) std::printf("  why       %s\n", report.reason.c_str());
    std::printf("  size      %llu bytes%s\n", static_cast<unsigned long long>(report.size),
                report.size < 1024 ? "" : (", " + size_text(report.size)).c_str());
    if (report.has_head) {
        std::printf("  version   %s\n", peers::version_text(report.version).c_str());
        std::printf("  circles   %u at %u\n", report.circles, report.circle_base);
        std::printf("  zones     %u at %u\n", report.zones, report.zone_base);
    } else {
        std::printf("  head      none: the file ends before byte %llu, so its version reads 0.0.0.0\n",
                    static_cast<unsigned long long>(peers::NFZ_CONTENT_OFFSET));
    }
    if (report.size <= NFZ_MD5_SIZE) return;
    std::printf("  MD5       %s in its last 16 bytes\n", peers::hex_text(report.digest_stored).c_str());
    std::printf("            %s of the bytes before\n", peers::hex_text(report.digest_found).c_str());
}

exit_code run(const context_t& context, const std::string& path)
{
    failure_t failure;
    const std::optional<std::vector<uint8_t>> file = read_file(path, failure);
    if (!file) return report(context, failure);
    const peers::nfz_report_t found = peers::check_nfz_file(*file);
    json result = {{"file", path}};
    result.update(report_json(found));
    if (!context.as_json) {
        print_text(path, found);
        return found.kept ? exit_code::ok : exit_code::bad_input;
    }
    if (!found.kept) {
        return report(context, {exit_code::bad_input, path + ": the service discards it: " + found.reason, ""}, result);
    }
    print_result(result);
    return exit_code::ok;
}

}  // namespace

void add_nfz_inspect(CLI::App& group, context_t& context)
{
    CLI::App* command = add_command(group, context, "inspect", "say whether the service would keep a file, and why not",
                                    "vela nfz inspect nfz.bin");
    const auto path = std::make_shared<std::string>();
    command->add_option("file", *path, "database file")->required();
    command->callback([&context, path] { context.result = run(context, *path); });
}

}  // namespace cli
