// A second's work of the restriction module, file check, reading, selection and push, beside the MD5 of the same bytes
// in memory: files of 100 to 65535 ten-corner areas, in one run and taking turns.
#include <md5.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <vector>

#include "flight_db/flight_db.h"
#include "flight_log/flight_log.h"
#include "nfz_tfr/nfz_tfr.h"
#include "nfz_tfr/tfr_module/src/tfr_file.h"
#include "nfz_tfr/tfr_module/src/tfr_module_select.h"
#include "nfz_tfr/tfr_module/src/tfr_wire.h"
#include "report.h"
#include "scripted_platform.h"

using file_bytes = std::vector<uint8_t>;

static constexpr uint16_t SIZES[] = {100, 1000, 10000, 65535};
static constexpr int TURNS = 31;

[[noreturn]] static void give_up(const char* what)
{
    std::fprintf(stderr, "tfr_bench: %s\n", what);
    std::exit(EXIT_FAILURE);
}

template <typename T>
static void append(file_bytes& file, const T& record)
{
    const auto* first = reinterpret_cast<const uint8_t*>(&record);
    file.insert(file.end(), first, first + sizeof record);
}

// Areas all over the world, each around its own center.
static file_bytes file_of(uint16_t areas)
{
    std::mt19937 engine(areas);
    std::uniform_int_distribution<int32_t> latitude(-89'000'000, 89'000'000);
    std::uniform_int_distribution<int32_t> longitude(-179'000'000, 179'000'000);
    file_bytes file;
    append(file, tfr_head_t{areas, 0});
    for (uint32_t id = 1; id <= areas; ++id) {
        vela_tfr_item_t area = {};
        area.area_id = id;
        area.point_num = TFR_MAX_POINTS;
        area.center = {longitude(engine), latitude(engine)};
        for (int32_t corner = 0; corner < TFR_MAX_POINTS; ++corner)
            area.points[corner] = {area.center.lng + corner * 100, area.center.lat - corner * 100};
        area.radius = 500;
        append(file, area);  // with ten corners the record of the file is the record of the memory
    }
    tfr_tail_t tail = {};
    MD5_CTX context;
    MD5Init(&context);
    MD5Update(&context, file.data(), file.size());
    MD5Update(&context, tail.uid, sizeof tail.uid);
    MD5Final(tail.signature, &context);
    append(file, tail);
    return file;
}

static void store(const file_bytes& file)
{
    std::FILE* to = std::fopen(TFR_FILE, "w");
    if (to == nullptr || std::fwrite(file.data(), 1, file.size(), to) != file.size() || std::fclose(to) != 0)
        give_up("cannot write the file of areas; run it by ./dev bench, which makes an aircraft file system");
}

static double seconds_of(const std::function<void()>& work)
{
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

static void digest(const file_bytes& file)
{
    uint8_t md5[MD5_DIGEST_LENGTH];
    MD5_CTX context;
    MD5Init(&context);
    MD5Update(&context, file.data(), file.size());
    MD5Final(md5, &context);
}

static void tick()
{
    nfz_tfr_timer_handler(nullptr);
    if (get_tfr_info_num() != TFR_KEPT_AREAS) give_up("the tick did not read the file");
}

static void measure(bench::report& report, uint16_t areas)
{
    const file_bytes file = file_of(areas);
    store(file);
    std::vector<double> ticks;
    std::vector<double> ratios;
    for (int turn = 0; turn < TURNS; ++turn) {
        const double bare = seconds_of([&] { digest(file); });
        ticks.push_back(seconds_of(tick));
        ratios.push_back(ticks.back() / bare);
    }
    const std::string name = "tfr_tick_" + std::to_string(areas) + "_areas";
    const double median_us = bench::summarise(ticks).median * 1e6;
    const bool smallest = areas == SIZES[0];
    report.add({name + "_against_md5", median_us / areas * 1000, "ns/area", bench::summarise(ratios).median,
                smallest ? std::nullopt : std::optional(2.0)});
    report.add({name, median_us / 1000, "ms", std::nullopt, smallest ? std::optional(1.0) : std::nullopt});
}

int main(int argc, char** argv)
{
    CLI::App app{"One second's work on restricted areas beside the MD5 of the same bytes."};
    bool as_json = false;
    app.add_flag("--json", as_json, "print the rows as JSON");
    CLI11_PARSE(app, argc, argv);

    ScriptedPlatform platform;
    platform.bus.remembers = false;
    flight_global_db_t& db = *flight_get_db();
    db.drone_gps[0] = 0.84;
    db.drone_gps[1] = 0.2;
    db.gps_ctrl_level = 5;
    bench::report report;
    for (const uint16_t areas : SIZES)
        measure(report, areas);
    report.print(as_json);
}
