// The database as it lies on the disk when the service starts, and reads of it. The first byte of the input says
// whether the digest is made right.
#include <sys/stat.h>

#include <vector>

#include "flight_log/flight_log.h"
#include "flight_timer/flight_timer.h"
#include "fuzz_file.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_data_file.h"
#include "nfz_data_upgrade/upgrade_module/src/upgrade_database.h"
#include "nfz_file/nfz_file.h"
#include "scripted_platform.h"

// The mount command would cost a process each time and decides nothing here.
extern "C" int system(const char*)
{
    return 0;
}

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    static ScriptedPlatform platform;
    platform.bus.remembers = false;
    flight_time_init();
    flight_log_init();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) return 0;
    std::vector<uint8_t> file(data + 1, data + size);
    if (data[0] % 4 != 0) {
        const peers::md5_digest_t digest = peers::md5_of(file);
        file.insert(file.end(), digest.begin(), digest.end());
    }
    write_file(NFZ_DATA_FILE, file);
    const peers::nfz_report_t report = peers::check_nfz_file(file);
    upgrade_check_databse();
    struct stat info = {};
    check(stat(NFZ_DATA_FILE, &info) == 0, "the file is there");
    check(static_cast<size_t>(info.st_size) == (report.kept ? file.size() : 0), "kept as the tool says");
    nfz_bin_header_t head = {};
    const int found = upgrade_query_head(NFZ_DATA_FILE, &head);
    check(!report.kept || (found == 0) == report.has_head, "a head as the tool says");
    return 0;
}
