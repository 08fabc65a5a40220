// The file of restrictions as it lies on the disk: the service reads it, selects and pushes; the tool judges it. The
// first byte of the input says whether the digest is made right, without which no area is ever read.
#include <sys/stat.h>

#include <vector>

#include "common/digest.h"
#include "flight_db/flight_db.h"
#include "flight_log/flight_log.h"
#include "flight_timer/flight_timer.h"
#include "flight_v1/flight_v1.h"
#include "fuzz_file.h"
#include "nfz_tfr/nfz_tfr.h"
#include "nfz_tfr/tfr_module/src/tfr_file.h"
#include "nfz_tfr/tfr_module/src/tfr_module_read_data.h"
#include "nfz_tfr/tfr_module/src/tfr_module_select.h"
#include "scripted_platform.h"
#include "tfr_file/tfr_file.h"
#include "tfr_file/tfr_geojson.h"

static ScriptedPlatform* platform;

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    platform = new ScriptedPlatform;
    platform->bus.remembers = false;
    flight_time_init();
    flight_log_init();
    flight_v1_init();
    flight_global_db_t& db = *flight_get_db();
    db.gps_ctrl_level = 5;
    db.drone_gps[0] = 0.84;
    db.drone_gps[1] = 0.2;
    return 0;
}

static std::vector<uint8_t> with_right_digest(input_t file)
{
    std::vector<uint8_t> whole(file.begin(), file.end());
    const size_t digest_size = sizeof(peers::md5_digest_t);
    whole.resize(whole.size() < digest_size ? 0 : whole.size() - digest_size);
    const peers::md5_digest_t digest = peers::md5_of(whole);
    whole.insert(whole.end(), digest.begin(), digest.end());
    return whole;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) return 0;
    const input_t rest(data + 1, size - 1);
    const bool right = data[0] % 8 != 0;
    const std::vector<uint8_t> file = right ? with_right_digest(rest) : std::vector<uint8_t>(rest.begin(), rest.end());
    write_file(TFR_FILE, file);
    const peers::tfr_report_t report = peers::check_tfr_file(file);
    const bool read = tfr_data_update();
    struct stat info = {};
    check(stat(TFR_FILE, &info) == 0, "the file is there");
    check(static_cast<size_t>(info.st_size) == (report.kept ? file.size() : 0), "emptied unless its digest is right");
    check(!report.sound() || read, "what the tool calls sound is read");
    check(!report.sound() || get_tfr_info_num() == std::min<size_t>(report.areas.size(), 5), "five of them are kept");
    nfz_tfr_timer_handler(nullptr);
    if (report.sound()) peers::write_tfr_geojson({report.head.type, report.uid, report.areas});
    return 0;
}
