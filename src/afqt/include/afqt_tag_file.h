// The tag file beside the flight logs: which aircraft, which list, when and where. AFQT tick only.
#pragma once

#include <cjson/cJSON.h>

#include <cstdint>
#include <cstdio>

struct AfqtMotionListAttrItem;

// Writes /tmp/blackbox/log/afqt/afqttag_<n>.json, n being the number in /tmp/SD0/factory_test/afqt/latest. Asks the
// flight controller three questions, waiting for the answers. ERROR_NONE, GET_FC_LOG_FAIL or CREATE_TAGFILE_FAIL.
uint8_t creat_tag_file();

// Fills `root` and writes it to `afqt_tag_index`, which is flushed but not closed; null writes nothing. Deletes `root`.
// 0.
uint8_t creat_tag_json(cJSON* root, const AfqtMotionListAttrItem& attr, FILE* afqt_tag_index);
