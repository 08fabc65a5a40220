// A motion list as people write it, looked through before it flies.
#include "fuzz_file.h"
#include "motion_list/list_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const peers::list_check_t checked = peers::check_motion_list(text_of({data, size}));
    check(checked.text != nullptr, "there is a text to point into");
    for (const peers::finding_t& finding : checked.findings) {
        check(!finding.rule.empty(), "a finding has words");
        check(finding.place.line >= 1 && finding.place.column >= 1, "and a place");
        check(finding.place.line <= size + 1 && finding.place.column <= size + 1, "in the text");
    }
    const bool faulty = checked.count(peers::severity::error) > 0;
    check(!faulty || checked.predictions.empty(), "nothing is foretold of a list with an error");
    return 0;
}
