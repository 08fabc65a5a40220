#include "config.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <sstream>

#include "bus_access.h"
#include "units.h"

namespace router {
namespace {

using cli::json;

constexpr const char* EXAMPLE = "; see docs/router.md for a complete example";
constexpr const char* WANT_ADDRESS = "write a bus address such as \"0x1105\"";
constexpr size_t FOUND_SHOWN = 64;
constexpr size_t NAME_MAX_SIZE = 64;

std::string text_of(const json& value)
{
    const std::string text = value.dump(-1, ' ', false, json::error_handler_t::replace);
    return text.size() <= FOUND_SHOWN ? text : "a long value";
}

// "0x" and one to four hexadecimal digits, as in a route file.
std::optional<uint16_t> address_in(const std::string& text)
{
    if (text.size() < 3 || text.size() > 6 || text[0] != '0' || (text[1] != 'x' && text[1] != 'X')) return std::nullopt;
    uint16_t value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + 2, end, value, 16);
    if (error != std::errc() || stop != end) return std::nullopt;
    return value;
}

std::string line_of(const std::string& text, size_t position)
{
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(position, text.size()));
    return std::to_string(1 + std::count(text.begin(), end, '\n'));
}

class Reader {
public:
    Reader(const std::string& path, std::string& failure) : path_(path), failure_(failure) {}

    bool read(config_t& config)
    {
        json root;
        if (!parse(root) || !check_keys(root, "", {"key", "bind", "links"})) return false;
        if (!read_key(root, config.keys)) return false;
        if (root.contains("bind") &&
            !read_text(root, "", "bind", "write where to listen, such as \"tcp://*:5670\"", config.bind))
            return false;
        return read_links(root, config);
    }

private:
    bool fail(const std::string& text)
    {
        failure_ = path_ + ": " + text + EXAMPLE;
        return false;
    }

    bool complain(const std::string& key, const json* found, const std::string& wanted)
    {
        return fail(key + (found != nullptr ? ": found " + text_of(*found) + ", " : ": missing, ") + wanted);
    }

    bool parse(json& root)
    {
        std::ifstream file(path_);
        if (!file) return fail(std::string("cannot be read (") + std::strerror(errno) + ")");
        std::ostringstream text;
        text << file.rdbuf();
        try {
            root = json::parse(text.str());
        } catch (const json::parse_error& error) {
            failure_ = path_ + ":" + line_of(text.str(), error.byte) + ": not JSON" + EXAMPLE;
            return false;
        }
        return root.is_object() || complain("the whole file", &root, "write an object in braces");
    }

    bool check_keys(const json& object, const std::string& where, std::initializer_list<const char*> known)
    {
        for (const auto& member : object.items()) {
            const std::string& key = member.key();
            const auto is_name = [&key](const char* name) { return key == name; };
            if (is_name("comment") || std::any_of(known.begin(), known.end(), is_name)) continue;
            return complain_unknown(key, where, known);
        }
        return true;
    }

    bool complain_unknown(const std::string& key, const std::string& where, std::initializer_list<const char*> known)
    {
        std::string text = where + (where.empty() ? "\"" : ".\"") + key + "\": unknown key, known are";
        for (const char* name : known)
            text.append(" \"").append(name).append("\"");
        return fail(text);
    }

    bool read_text(const json& object, const std::string& where, const char* name, const std::string& wanted,
                   std::string& out)
    {
        const auto member = object.find(name);
        const json* found = member == object.end() ? nullptr : &*member;
        const std::string key = where.empty() ? name : where + "." + name;
        if (found == nullptr || !found->is_string() || found->get<std::string>().empty())
            return complain(key, found, wanted);
        out = found->get<std::string>();
        return true;
    }

    bool read_key(const json& root, key_pair_t& keys)
    {
        std::string file;
        std::string why;
        if (!read_text(root, "", "key", "write the path of this machine's secret key", file)) return false;
        return read_secret_key(file, keys, why) || fail("key: " + why);
    }

    bool read_links(const json& root, config_t& config)
    {
        const auto links = root.find("links");
        const json* found = links == root.end() ? nullptr : &*links;
        if (found == nullptr || !found->is_object())
            return complain("links", found, "write an object with a link for each other machine");
        for (const auto& [name, value] : found->items()) {
            if (name == "comment") continue;
            link_config_t link;
            link.name = name;
            if (!read_link(value, config, link)) return false;
            config.links.push_back(std::move(link));
        }
        return !config.links.empty() || complain("links", found, "write a link for each other machine");
    }

    bool read_link(const json& value, const config_t& config, link_config_t& link)
    {
        const std::string where = "links." + link.name;
        if (link.name.empty() || link.name.size() > NAME_MAX_SIZE)
            return fail(
                "links: a link has no name, or a long one; give it one of at most 64 characters, such as \"a7\"");
        if (!value.is_object()) return complain(where, &value, "write an object");
        if (!check_keys(value, where, {"connect", "peer_key", "routes", "addresses"})) return false;
        if (value.contains("connect") &&
            !read_text(value, where, "connect", "write where the other end is, such as \"tcp://10.0.0.1:5670\"",
                       link.connect))
            return false;
        if (link.connect.empty() && config.bind.empty())
            return fail(where +
                        ".connect: missing, and there is no \"bind\": one end has to connect, the other to bind");
        return read_peer_key(value, where, config, link) && read_routes(value, where, link) &&
               read_addresses(value, where, config, link);
    }

    bool read_peer_key(const json& value, const std::string& where, const config_t& config, link_config_t& link)
    {
        constexpr const char* WANTED = "write the 40 characters of the other end's public key (its file NAME.pub)";
        if (!read_text(value, where, "peer_key", WANTED, link.peer_key)) return false;
        if (!is_key(link.peer_key)) return complain(where + ".peer_key", &value["peer_key"], WANTED);
        for (const link_config_t& other : config.links) {
            if (other.peer_key == link.peer_key && other.connect.empty() && link.connect.empty())
                return fail(where + ".peer_key: link \"" + other.name +
                            "\" has the same, give each machine its own pair");
        }
        return true;
    }

    bool read_routes(const json& value, const std::string& where, link_config_t& link)
    {
        if (!read_text(value, where, "routes", "write the path of the route file of the bus on this machine",
                       link.routes))
            return false;
        cli::failure_t why;
        const auto routes = cli::read_route_config(link.routes, why);
        if (!routes) return fail(where + ".routes: " + why.what);
        routes_ = *routes;
        link.bus_dir = routes_.bus_dir;
        return true;
    }

    bool read_addresses(const json& value, const std::string& where, const config_t& config, link_config_t& link)
    {
        const std::string key = where + ".addresses";
        const auto addresses = value.find("addresses");
        const json* found = addresses == value.end() ? nullptr : &*addresses;
        constexpr const char* WANTED =
            "write the other machine's addresses and those that stand for them here, such as {\"0x1105\": \"0x1105\"}";
        if (found == nullptr || !found->is_object()) return complain(key, found, WANTED);
        for (const auto& member : found->items()) {
            if (member.key() != "comment" && !read_address(key, member.key(), member.value(), config, link))
                return false;
        }
        return !link.addresses.empty() || complain(key, found, WANTED);
    }

    bool read_address(const std::string& where, const std::string& far_text, const json& here_value,
                      const config_t& config, link_config_t& link)
    {
        const std::string key = where + "." + far_text;
        const auto far = address_in(far_text);
        if (!far) return fail(key + ": is no address of the other machine, " + WANT_ADDRESS);
        const auto here = here_value.is_string() ? address_in(here_value.get<std::string>()) : std::nullopt;
        if (!here) return complain(key, &here_value, WANT_ADDRESS);
        const auto name = routes_.names.find(*here);
        if (name == routes_.names.end())
            return complain(key, &here_value,
                            "the route file " + link.routes + " has no such address, add it to its \"services\"");
        for (const address_pair_t& pair : link.addresses) {
            if (pair.far == *far) return fail(key + ": is named twice, take one out");
        }
        const auto user = user_of(link, *here, config);
        if (!user.empty())
            return complain(key, &here_value, "link \"" + user + "\" has it already, give each address one of its own");
        const size_t slash = name->second.find('/');
        link.addresses.push_back({*far, *here, name->second.substr(0, slash), name->second.substr(slash + 1)});
        return true;
    }

    // Which link has the address on that bus.
    static std::string user_of(const link_config_t& link, uint16_t here, const config_t& config)
    {
        const auto has = [&](const link_config_t& one) {
            return one.bus_dir == link.bus_dir &&
                   std::any_of(one.addresses.begin(), one.addresses.end(),
                               [&](const address_pair_t& pair) { return pair.here == here; });
        };
        if (has(link)) return link.name;
        const auto other = std::find_if(config.links.begin(), config.links.end(), has);
        return other == config.links.end() ? "" : other->name;
    }

    const std::string& path_;
    std::string& failure_;
    cli::route_config_t routes_;  // of the link that is being read
};

}  // namespace

std::optional<config_t> read_config(const std::string& path, std::string& failure)
{
    config_t config;
    if (!Reader(path, failure).read(config)) return std::nullopt;
    return config;
}

}  // namespace router
