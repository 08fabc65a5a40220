#include "bus_message_text.h"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "common/digest.h"
#include "console.h"
#include "flight_v1_wire.h"
#include "units.h"

namespace cli {
namespace {

json json_of(const peers::value_t& value)
{
    return std::visit([](const auto& held) { return json(held); }, value);
}

// Members are the field's value, or {"value", "meaning"} where the value has a name.
json fields_json(const peers::decoded_t& message)
{
    json fields = json::object();
    for (const peers::decoded_field_t& field : message.fields) {
        json value = json::array();
        for (const peers::value_t& one : field.values)
            value.push_back(json_of(one));
        if (!field.array) value = field.values.empty() ? json() : json_of(field.values[0]);
        fields[field.name] = field.meaning.empty() ? value : json{{"value", value}, {"meaning", field.meaning}};
    }
    return fields;
}

}  // namespace

peers::decoded_t decoded(const tap_record_t& record)
{
    const kest_event_t& event = record.event;
    return peers::decode_message(peers::set_of(event), peers::id_of(event), (event.attrib & ATTRIB_REPLY) != 0,
                                 record.head.from, record.head.to, peers::payload_of(event));
}

std::string content_text(const tap_record_t& record)
{
    const peers::decoded_t message = decoded(record);
    if (message.problem.empty()) return styled(style::bold, message.name) + "  " + peers::fields_text(message);
    const std::string hex = peers::hex_text(peers::payload_of(record.event));
    return styled(style::bad, message.name) + "  " + styled(style::bad, message.problem) + (hex.empty() ? "" : "  ") +
           hex;
}

std::string message_text(const route_config_t& config, const tap_record_t& record)
{
    char number[32];
    std::snprintf(number, sizeof number, "  #%u %02x:%02x ", record.event.seq_id, peers::set_of(record.event),
                  peers::id_of(record.event));
    return name_of(config, record.head.from) + " → " + name_of(config, record.head.to) + number + content_text(record);
}

json message_json(const route_config_t& config, const tap_record_t& record)
{
    const kest_event_t& event = record.event;
    const peers::decoded_t message = decoded(record);
    json object = {{"direction", record.head.direction == 0 ? "sent" : "received"},
                   {"from", address_text(record.head.from)},
                   {"from_name", name_of(config, record.head.from)},
                   {"to", address_text(record.head.to)},
                   {"to_name", name_of(config, record.head.to)},
                   {"set", peers::set_of(event)},
                   {"id", peers::id_of(event)},
                   {"seq_id", event.seq_id},
                   {"attrib", event.attrib},
                   {"reply", message.reply},
                   {"name", message.name}};
    if (message.problem.empty()) object["fields"] = fields_json(message);
    if (!message.problem.empty()) object["problem"] = message.problem;
    object["payload"] = peers::hex_text(peers::payload_of(event));
    return object;
}

}  // namespace cli
