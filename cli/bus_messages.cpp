// vela bus messages: every message there is, field by field, from the same description that `bus watch` decodes by.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "bus_command.h"
#include "console.h"
#include "messages/message.h"
#include "table.h"
#include "units.h"

namespace cli {
namespace {

using peers::field_t;
using peers::field_type;
using peers::message_kind;
using peers::message_t;

struct options_t {
    std::string set;
    bool markdown = false;
};

std::string number_text(uint8_t number)
{
    char text[8];
    std::snprintf(text, sizeof text, "0x%02x", number);
    return text;
}

bool is_reply(const message_t& message)
{
    return message.kind == message_kind::reply;
}

uint16_t sender_of(const message_t& message)
{
    return is_reply(message) ? message.parties.server : message.parties.asker;
}

uint16_t receiver_of(const message_t& message)
{
    return is_reply(message) ? message.parties.asker : message.parties.server;
}

std::string party_text(uint16_t address)
{
    return address == 0 ? "any" : address_text(address);
}

std::string length_text(const message_t& message)
{
    if (message.fields.empty()) return "no payload is read";
    const std::string bytes = std::to_string(message.size) + (message.size == 1 ? " byte" : " bytes");
    return peers::is_open_ended(message) ? "at least " + bytes : bytes;
}

// "Request  0x0200 → 0x1106  9 bytes", the parts joined by `gap`.
std::string head_text(const message_t& message, const std::string& gap)
{
    std::string text = is_reply(message) ? "Reply" : "Request";
    text += gap + party_text(sender_of(message)) + " → " + party_text(receiver_of(message));
    text += gap + length_text(message);
    if (message.first_byte >= 0) text += ", the first is " + std::to_string(message.first_byte);
    return text;
}

std::string title_text(const message_t& message)
{
    return number_text(message.set) + ":" + number_text(message.id).substr(2) + " " + message.name;
}

std::string bits_text(const field_t& field)
{
    const int last = field.first_bit + field.bits - 1;
    if (field.bits == 1) return ", bit " + std::to_string(last);
    return ", bits " + std::to_string(field.first_bit) + "-" + std::to_string(last);
}

std::string type_text(const field_t& field)
{
    if (field.type == field_type::rest) return "bytes to the end";
    if (field.type == field_type::rest_u32) return "u32 to the end";
    std::string text = peers::type_name(field.type);
    if (field.count > 1) text += "[" + std::to_string(field.count) + "]";
    return field.bits == 0 ? text : text + bits_text(field);
}

std::string values_text(const field_t& field)
{
    std::string text;
    for (const peers::value_name_t* row = field.names; row != nullptr && row->name != nullptr; row++)
        text += (text.empty() ? "" : "; ") + std::to_string(row->value) + " " + row->name;
    return text;
}

std::vector<std::string> field_cells(const field_t& field)
{
    return {std::to_string(field.offset), field.name, type_text(field), field.unit, values_text(field)};
}

const std::vector<std::string> HEADINGS = {"offset", "field", "type", "unit", "values"};

void print_text(const message_t& message)
{
    std::printf("%s  %s\n  %s\n", styled(style::bold, title_text(message)).c_str(), head_text(message, "  ").c_str(),
                message.summary);
    table_t table = {HEADINGS};
    table[0][0] = ">offset";
    for (const field_t& field : message.fields)
        table.push_back(field_cells(field));
    if (table.size() > 1) print_table(table);
    std::printf("\n");
}

void print_markdown(const message_t& message)
{
    std::printf("### %s\n\n%s: %s.\n\n", title_text(message).c_str(), head_text(message, ", ").c_str(),
                message.summary);
    if (message.fields.empty()) return;
    const auto print_row = [](const std::vector<std::string>& cells) {
        for (const std::string& cell : cells)
            std::printf("| %s ", cell.c_str());
        std::printf("|\n");
    };
    print_row(HEADINGS);
    std::printf("|---:|---|---|---|---|\n");
    for (const field_t& field : message.fields)
        print_row(field_cells(field));
    std::printf("\n");
}

void print_page(const std::vector<const message_t*>& messages)
{
    std::printf(
        "# The wire\n\nEvery message of the service, its app, its flight controller and its factory station, byte by "
        "byte. [The bus](bus.md) says how records travel and which 16 bytes stand before these.\n\n"
        "A message is named by its set and its id. Behind its kind stand the addresses that usually send and receive "
        "it: 0x0200 the app, 0x0306 the flight controller, 0x1103 the factory station, 0x1105 and 0x1106 the service; "
        "\"any\" where there are several. Offsets count bytes of the payload, bits from the lowest of their number. "
        "All numbers are little-endian; `u8` to `u32` are unsigned, `i8` and `i32` signed, `f32` and `f64` IEEE 754; "
        "`text` ends with a zero byte or its last; a `version` is 4 bytes, its last number first.\n\n"
        "A request that nobody handles gets a reply of the one byte 0xe0.\n\n");
    int set = -1;
    for (const message_t* message : messages) {
        if (message->set != set) std::printf("## Set %s\n\n", number_text(message->set).c_str());
        set = message->set;
        print_markdown(*message);
    }
}

json json_of(uint16_t address)
{
    return address == 0 ? json(nullptr) : json(address_text(address));
}

json json_of(const field_t& field)
{
    json object = {{"name", field.name},
                   {"offset", field.offset},
                   {"type", peers::type_name(field.type)},
                   {"count", field.count},
                   {"unit", field.unit}};
    if (field.bits != 0) object["bits"] = {{"first", field.first_bit}, {"count", field.bits}};
    for (const peers::value_name_t* row = field.names; row != nullptr && row->name != nullptr; row++)
        object["values"][std::to_string(row->value)] = row->name;
    return object;
}

json json_of(const message_t& message)
{
    json object = {{"name", message.name},
                   {"summary", message.summary},
                   {"set", message.set},
                   {"id", message.id},
                   {"reply", is_reply(message)},
                   {"from", json_of(sender_of(message))},
                   {"to", json_of(receiver_of(message))},
                   {"size", message.size},
                   {"open_ended", peers::is_open_ended(message)}};
    if (message.first_byte >= 0) object["first_byte"] = message.first_byte;
    object["fields"] = json::array();
    for (const field_t& field : message.fields)
        object["fields"].push_back(json_of(field));
    return object;
}

// By number; requests before their replies.
std::vector<const message_t*> messages_of(std::optional<uint32_t> set)
{
    std::vector<const message_t*> messages;
    for (const auto& group : peers::message_groups()) {
        for (const message_t& message : group)
            if (!set || message.set == *set) messages.push_back(&message);
    }
    const auto number = [](const message_t* message) {
        return message->set << 16 | message->id << 8 | is_reply(*message);
    };
    std::stable_sort(messages.begin(), messages.end(),
                     [&](const message_t* left, const message_t* right) { return number(left) < number(right); });
    return messages;
}

std::string known_sets()
{
    std::string text;
    int last = -1;
    for (const message_t* message : messages_of({})) {
        if (message->set != last) text += (text.empty() ? "" : ", ") + number_text(message->set);
        last = message->set;
    }
    return text;
}

void print_json(const std::vector<const message_t*>& messages)
{
    json all = json::array();
    for (const message_t* message : messages)
        all.push_back(json_of(*message));
    print_result({{"messages", all}});
}

exit_code run(const context_t& context, const options_t& options)
{
    if (context.as_json && options.markdown)
        return report(context, {exit_code::usage, "--json and --markdown: one of them", ""});
    const std::optional<uint32_t> set = parse_number(options.set, UINT8_MAX);
    const std::vector<const message_t*> messages = messages_of(set);
    if (!options.set.empty() && (!set || messages.empty()))
        return report(context, {exit_code::usage, "--set: there are no messages of set \"" + options.set + "\"",
                                "There are " + known_sets() + "."});
    if (context.as_json) {
        print_json(messages);
    } else if (options.markdown) {
        print_page(messages);
    } else {
        for (const message_t* message : messages)
            print_text(*message);
    }
    return exit_code::ok;
}

}  // namespace

void add_bus_messages(CLI::App& group, context_t& context)
{
    CLI::App* command = add_command(group, context, "messages", "list every message there is, field by field",
                                    "vela bus messages --set 0x03");
    const auto options = std::make_shared<options_t>();
    command->add_option("--set", options->set, "only this command set, for example 0x03");
    command->add_flag("--markdown", options->markdown, "print a page of Markdown instead of text");
    command->callback([&context, options] { context.result = run(context, *options); });
}

}  // namespace cli
