#include "machines.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <future>
#include <iostream>

static constexpr uint8_t SET = 0x20;
static constexpr uint8_t ID = 0x05;

RouterEnd::RouterEnd(const std::string& name, std::string link, const std::string& bus_dir,
                     std::vector<std::string> enter)
    : name_(name),
      link_(std::move(link)),
      bus_dir_(bus_dir),
      routes_("/tmp/" + name + ".routes"),
      enter_(std::move(enter))
{
    json routes = json::parse(std::ifstream(ROUTES));
    routes["bus_dir"] = bus_dir;
    routes.erase("tap");
    std::ofstream(routes_) << routes;
    const run_t made = run(TARN_ROUTER " keys -o /tmp/" + name);
    EXPECT_EQ(made.code, 0) << made.text;
}

std::string first_line(const std::string& file)
{
    std::string line;
    std::getline(std::ifstream(file), line);
    return line;
}

void RouterEnd::start()
{
    const std::string path = "/tmp/" + name_ + ".json";
    std::ofstream(path) << config;
    std::vector<std::string> words = enter_;
    words.insert(words.end(), {TARN_ROUTER, "run", "--json", path});
    program_.start(words);
    EXPECT_TRUE(within(5s, [&] { return !events("ready").empty() || !events("failed").empty(); })) << program_.errors();
}

std::vector<json> RouterEnd::events(const std::string& kind) const
{
    std::vector<json> found;
    std::istringstream lines(program_.output());
    for (std::string line; std::getline(lines, line) && !lines.eof();) {
        json event = json::parse(line);
        if (event["event"] == kind) found.push_back(std::move(event));
    }
    return found;
}

bool RouterEnd::has(uint16_t host) const
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s/%04x.sock", bus_dir_.c_str(), host);
    const int probe = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    const bool is_there = ::connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(probe);
    return is_there;
}

json RouterEnd::counters()
{
    const size_t before = events("counters").size();
    program_.signal(SIGUSR1);
    EXPECT_TRUE(within(5s, [&] { return events("counters").size() > before; })) << "it does not answer any more";
    const auto all = events("counters");
    return all.empty() ? json::object() : all.back();
}

uint64_t RouterEnd::count(const std::string& name)
{
    const json all = counters();
    for (const json& link : all["links"])
        if (link["link"] == link_) return (link.contains(name) ? link : link["dropped"])[name];
    return 0;
}

std::unique_ptr<peers::BusEndpoint> RouterEnd::endpoint(const std::string& service, const std::string& name) const
{
    peers::bus_open_error_t error;
    auto endpoint = peers::BusEndpoint::open({routes_, service, name}, error);
    EXPECT_NE(endpoint, nullptr) << service << "/" << name << ": " << error.result;
    return endpoint;
}

Machines::Machines() : network_(open_network())
{
    std::filesystem::create_directory("/run/ground");
    address_ = network_ ? "tcp://10.9.0.1:5670" : "tcp://127.0.0.1:" + std::to_string(20000 + getpid() % 20000);
    std::cout << (network_ ? "between two network namespaces\n" : "on the loopback: no network namespaces here\n");
    ground = std::make_unique<RouterEnd>("ground", "a7", "/run/ground", enter(network_ ? network_->ground : 0));
    aircraft = std::make_unique<RouterEnd>("a7", "ground", "/run/tarn", enter(network_ ? network_->aircraft : 0));
    ground->config = {{"key", ground->key_file()},
                      {"bind", address_},
                      {"links",
                       {{"a7",
                         {{"peer_key", aircraft->public_key()},
                          {"routes", ground->routes()},
                          {"addresses", {{"0x1105", "0x1105"}, {"0x1106", "0x1106"}}}}}}}};
    aircraft->config = {{"key", aircraft->key_file()},
                        {"links",
                         {{"ground",
                           {{"connect", address_},
                            {"peer_key", ground->public_key()},
                            {"routes", aircraft->routes()},
                            {"addresses", {{"0x0200", "0x0200"}, {"0x1103", "0x1103"}}}}}}}};
}

Machines::~Machines()
{
    ground->program().kill();
    aircraft->program().kill();
    if (network_) pclose(network_->keeper);
}

std::optional<Machines::network_t> Machines::open_network()
{
    // Its standard input is ours to end it, its words come through a file.
    std::FILE* keeper = popen(NETWORK " >/tmp/network", "w");
    network_t network = {keeper, 0, 0};
    const bool is_open = within(5s, [&] {
        std::ifstream words("/tmp/network");
        return static_cast<bool>(words >> network.ground >> network.aircraft) && words.get() == '\n';
    });
    if (is_open) return network;
    pclose(keeper);
    return std::nullopt;
}

std::vector<std::string> Machines::enter(int process) const
{
    if (!network_) return {};
    return {"nsenter", "--target", std::to_string(process), "--user", "--net", "--preserve-credentials"};
}

void Machines::move_cable(const char* where) const
{
    std::string command;
    for (const std::string& word : enter(network_->ground))
        command += word + " ";
    const run_t moved = run(command + "ip link set cable " + where);
    ASSERT_EQ(moved.code, 0) << moved.text;
}

void Machines::start_both()
{
    ground->start();
    aircraft->start();
    ASSERT_TRUE(within(5s, [&] { return are_up() && ground->has(HOST_FLIGHT_SERVICE) && aircraft->has(HOST_APP); }))
        << ground->program().output() << aircraft->program().output();
}

std::optional<bytes_t> Machines::ask(peers::BusEndpoint& asker, uint16_t whom, const bytes_t& payload,
                                     std::chrono::milliseconds patience)
{
    const auto answer = std::make_shared<std::promise<std::optional<bytes_t>>>();
    peers::request_t request = {whom, SET, ID, payload};
    request.tries = 1;
    request.timeout_us = 60'000'000;
    const kest_result_t result = asker.request(request, [answer](const peers::reply_t& reply) {
        const kest_event_t* event = reply.event;
        answer->set_value(event == nullptr ? std::nullopt
                                           : std::optional(bytes_t(event->msg_buf, event->msg_buf + event->msg_len)));
    });
    if (result != 0) return std::nullopt;
    auto came = answer->get_future();
    return came.wait_for(patience) == std::future_status::ready ? came.get() : std::nullopt;
}

kest_result_t Machines::send(peers::BusEndpoint& sender, uint16_t whom, const bytes_t& payload)
{
    return sender.send(whom, SET, ID, payload);
}

void Machines::answer(peers::BusEndpoint& endpoint, std::atomic<int>* count)
{
    endpoint.on_request(SET, ID, [&endpoint, count](const kest_event_t& request) {
        if (count != nullptr) ++*count;
        const bytes_t turned(std::reverse_iterator(request.msg_buf + request.msg_len),
                             std::reverse_iterator(request.msg_buf + 0));
        endpoint.reply(request, turned);
    });
    endpoint.start();
}
