// A message of the bus in words, for people and as JSON.
#pragma once

#include <string>

#include "bus_access.h"
#include "messages/decode.h"
#include "tap_socket.h"

namespace cli {

peers::decoded_t decoded(const tap_record_t& record);

// "app/phone → flight_service/flight_nfz_upgrade  #3 00:09 upgrade_data  block_number=3  …"
std::string message_text(const route_config_t& config, const tap_record_t& record);

// "upgrade_data_ack  ret_code=0 (ok)  …", or what is wrong and the bytes.
std::string content_text(const tap_record_t& record);

// From whom to whom, which message, its fields by name or the problem, and the payload.
json message_json(const route_config_t& config, const tap_record_t& record);

}  // namespace cli
