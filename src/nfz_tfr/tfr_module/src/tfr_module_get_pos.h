// The position that restrictions are measured from.
#pragma once

#include <cstdint>

enum pos_type_t : uint32_t {
    NO_VALID_POS = 0,
    APP_POS = 1,
    DRONE_POS = 2,
};

struct tfr_ref_pos_t {
    double lat;  // radians
    double lng;
    bool pos_valid;
    pos_type_t pos_type;
};

// The aircraft's own position while its fix is usable, else the phone's, else zeros that are not valid. Any thread.
tfr_ref_pos_t tfr_get_pos_info();
