// Lists the rows, or runs one of them once and prints what came of it as a line of JSON:
//   PROGRAM --list
//   PROGRAM ROW SEED [full]
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>

#include "place.h"

using nlohmann::json;

namespace {

constexpr int NO_PLACE = 2;

std::vector<row_t> all_rows()
{
    std::vector<row_t> rows;
    const auto add = [&rows](const auto& more) { rows.insert(rows.end(), more.begin(), more.end()); };
    add(transfer_rows());
    add(read_rows());
    add(area_rows());
    add(flight_rows());
    add(bus_rows());
    add(own_rows());
    return rows;
}

bool is_here(const row_t& row)
{
    return row.place == place_t::both || row.place == THIS_PLACE;
}

int list()
{
    for (const row_t& row : all_rows()) {
        if (!is_here(row)) continue;
        const bool once = row.place == place_t::both && THIS_PLACE == place_t::bus;
        const json line = {{"id", row.id},
                           {"fault", row.fault},
                           {"place", THIS_PLACE == place_t::bus ? "bus" : "clock"},
                           {"quick", once && row.quick_seeds > 0 ? 1 : row.quick_seeds},
                           {"full", once ? 1 : row.full_seeds}};
        std::printf("%s\n", line.dump().c_str());
    }
    return 0;
}

int run(const row_t& row, uint64_t seed, bool full, int report)
{
    const auto begin = std::chrono::steady_clock::now();
    json line = {{"row", row.id}, {"seed", seed}};
    int status = 0;
    try {
        const std::unique_ptr<World> world = make_world(seed);
        Run one(*world, seed, full);
        std::string difference;
        try {
            row.run(one);
            if (row.works_after) expect_all_works(one);
        } catch (const broken_t& broken) {
            difference = broken.what();
            if (std::getenv("FAULTS_LOG") != nullptr) std::fprintf(stderr, "%s\n", world->log().c_str());
        }
        line["ok"] = difference.empty();
        line["difference"] = difference;
        line["injected"] = one.injected;
        line["seen"] = one.seen;
        status = difference.empty() ? 0 : 1;
    } catch (const std::exception& error) {
        line["error"] = error.what();
        status = NO_PLACE;
    }
    line["ms"] =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin).count();
    dprintf(report, "%s\n", line.dump().c_str());
    return status;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) return list();
    if (argc < 3) return NO_PLACE;
    // A service in this process prints as well; when it is killed, what was opened after it is closed.
    const int report = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
    for (const row_t& row : all_rows()) {
        if (std::strcmp(row.id, argv[1]) == 0 && is_here(row))
            return run(row, std::strtoull(argv[2], nullptr, 10), argc > 3, report);
    }
    std::fprintf(stderr, "there is no row %s here\n", argv[1]);
    return NO_PLACE;
}
