// Restrictions as people draw them. What is read without a problem makes a file that says the same.
#include "fuzz_file.h"
#include "tfr_file/tfr_file.h"
#include "tfr_file/tfr_geojson.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const peers::tfr_geojson_t read = peers::read_tfr_geojson(text_of({data, size}));
    for (const peers::tfr_problem_t& problem : read.problems)
        check(!problem.text().empty(), "a problem has words");
    if (read.problem_count > 0) return 0;
    const std::vector<uint8_t> file = peers::build_tfr_file(read.recipe);
    const peers::tfr_report_t report = peers::check_tfr_file(file);
    check(report.sound(), "what was made is sound");
    const peers::tfr_geojson_t again =
        peers::read_tfr_geojson(peers::write_tfr_geojson({report.head.type, report.uid, report.areas}));
    check(again.problem_count == 0 && peers::build_tfr_file(again.recipe) == file, "and makes the same file again");
    return 0;
}
