// vela bus dissector: the messages for Wireshark, from the same description that `bus watch` uses.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "bus_capture.h"
#include "bus_command.h"
#include "files.h"
#include "messages/message.h"
#include "page_sources.h"

namespace cli {
namespace {

struct options_t {
    std::string output = "-";
};

// A Lua string; route configurations may hold any bytes.
std::string quoted(const std::string& text)
{
    std::string quoted = "\"";
    for (const char c : text) {
        char number[8];
        std::snprintf(number, sizeof number, "\\%03u", static_cast<unsigned char>(c));
        const bool plain = c >= ' ' && c < 0x7f && c != '"' && c != '\\';
        quoted += plain ? std::string(1, c) : number;
    }
    return quoted + "\"";
}

std::string names_text(const peers::value_name_t* names)
{
    std::string text;
    for (const peers::value_name_t* row = names; row->name != nullptr; row++)
        text += (text.empty() ? "" : ", ") + ("[" + std::to_string(row->value) + "] = ") + quoted(row->name);
    return "{ " + text + " }";
}

std::string field_text(const peers::field_t& field)
{
    std::string text = "{ name = " + quoted(field.name) + ", at = " + std::to_string(field.offset) + ", type = \"" +
                       peers::type_name(field.type) + "\"";
    text += ", count = " + std::to_string(field.count);
    if (field.unit[0] != '\0') text += ", unit = " + quoted(field.unit);
    if (field.bits != 0) text += ", mask = " + std::to_string(((uint64_t{1} << field.bits) - 1) << field.first_bit);
    if (field.names != nullptr) text += ", names = " + names_text(field.names);
    return text + " }";
}

std::string message_text(const peers::message_t& message)
{
    const bool reply = message.kind == peers::message_kind::reply;
    std::string text = "    { name = " + quoted(message.name) + ", summary = " + quoted(message.summary) +
                       ", set = " + std::to_string(message.set) + ", id = " + std::to_string(message.id) +
                       ", reply = " + (reply ? "true" : "false") + ", server = " + std::to_string(message.server) +
                       ", size = " + std::to_string(message.size);
    if (message.first_byte >= 0) text += ", first = " + std::to_string(message.first_byte);
    text += ", fields = {";
    for (const peers::field_t& field : message.fields)
        text += "\n        " + field_text(field) + ",";
    return text + (message.fields.empty() ? "} },\n" : "\n    } },\n");
}

std::string dissector_text(const route_config_t& config, size_t& messages)
{
    std::string text = "-- Message bus of vela_flight for Wireshark, made by `vela bus dissector` " VELA_VERSION
                       ".\n"
                       "-- Put it into the folder that Help, About, Folders calls Personal Lua Plugins, or name it:\n"
                       "-- wireshark -X lua_script:vela.lua capture.pcapng\n\nlocal ADDRESSES = {\n";
    for (const auto& [address, name] : config.names)
        text += "    [" + std::to_string(address) + "] = " + quoted(name) + ",\n";
    text += "}\n\nlocal MESSAGES = {\n";
    for (const auto& group : peers::message_groups()) {
        for (const peers::message_t& message : group)
            text += message_text(message);
        messages += group.size();
    }
    return text + "}\n\n" + std::string(page_sources::bus_dissector_lua);
}

exit_code run(const context_t& context, const options_t& options)
{
    failure_t failure;
    if (context.as_json && options.output == "-")
        return report(context, {exit_code::usage, "--json: the dissector itself goes to standard output",
                                "Name a file with -o, or leave out --json."});
    const std::optional<route_config_t> config = names_for_capture(context, failure);
    if (!config) return report(context, failure);
    size_t messages = 0;
    const std::string text = dissector_text(*config, messages);
    const peers::bytes_view bytes(reinterpret_cast<const uint8_t*>(text.data()), text.size());
    if (!write_file(options.output, bytes, failure)) return report(context, failure);
    if (context.as_json)
        print_result({{"file", options.output}, {"messages", messages}, {"addresses", config->names.size()}});
    return exit_code::ok;
}

}  // namespace

void add_bus_dissector(CLI::App& group, context_t& context)
{
    CLI::App* command =
        add_command(group, context, "dissector", "make a dissector for Wireshark that knows every message",
                    "vela bus dissector -o ~/.local/lib/wireshark/plugins/vela.lua");
    const auto options = std::make_shared<options_t>();
    add_route_option(*command, context);
    command->add_option("-o,--output", options->output, "the Lua file")->capture_default_str();
    command->callback([&context, options] { context.result = run(context, *options); });
}

}  // namespace cli
