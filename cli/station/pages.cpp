#include "station/pages.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <utility>

#include <httplib.h>

#include "page_sources.h"

namespace cli {
namespace {

constexpr const char* LOOPBACK = "127.0.0.1";
constexpr uint32_t NEWS_PATIENCE_MS = 1000;
constexpr size_t THREADS = 24;  // a page that listens for news keeps one
constexpr int LISTENERS = 16;
constexpr size_t REPORTS_SHOWN = 20;
constexpr const char* ONLY_OURS =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self' data:";
// A report carries its own script and may not reach anything, this server included.
constexpr const char* ALONE =
    "sandbox allow-scripts allow-downloads; default-src 'none'; script-src 'unsafe-inline'; style-src 'unsafe-inline'; "
    "img-src data: blob:; connect-src data: blob:";

struct source_t {
    const char* path;
    std::string_view content;
    const char* type;
};

// A page of another site can name this server, but not under its own name, and cannot send our header.
bool is_ours(const httplib::Request& request, int port)
{
    const std::string host = request.get_header_value("Host");
    const std::string suffix = ":" + std::to_string(port);
    return host == "localhost" + suffix || host == LOOPBACK + suffix;
}

std::optional<uint16_t> number(const std::string& text)
{
    uint16_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

void answer_json(httplib::Response& response, int status, const json& content)
{
    response.status = status;
    response.set_content(content.dump(), "application/json");
}

// Newest first.
json reports_in(const std::string& folder)
{
    std::vector<std::pair<std::filesystem::file_time_type, std::string>> found;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        if (entry.path().extension() != ".html" || !entry.is_regular_file(error)) continue;
        found.emplace_back(entry.last_write_time(error), entry.path().filename().string());
    }
    std::sort(found.rbegin(), found.rend());
    json names = json::array();
    for (size_t i = 0; i < std::min(found.size(), REPORTS_SHOWN); ++i)
        names.push_back(found[i].second);
    return names;
}

// Only what the list shows: no name leads out of the folder.
bool is_report(const json& reports, const std::string& name)
{
    return std::find(reports.begin(), reports.end(), name) != reports.end();
}

void serve_report(const httplib::Request& request, httplib::Response& response, const std::string& folder)
{
    const std::string name = request.matches[1];
    if (!is_report(reports_in(folder), name)) {
        response.status = 404;
        return;
    }
    std::ifstream file(std::filesystem::path(folder) / name, std::ios::binary);
    response.set_header("Content-Security-Policy", ALONE);
    response.set_content(std::string(std::istreambuf_iterator<char>(file), {}), "text/html; charset=utf-8");
}

// One page's stream of news. The number is of the picture that it has.
class NewsStream {
public:
    NewsStream(const Floor& floor, const pages_t& pages, std::shared_ptr<std::atomic<int>> listeners)
        : floor_(floor), pages_(pages), listeners_(std::move(listeners))
    {
    }

    bool write(httplib::DataSink& sink)
    {
        auto picture = floor_.wait_for_news(seen_, NEWS_PATIENCE_MS);
        if (!picture) return false;
        for (json& aircraft : picture->aircraft)
            aircraft["name"] = pages_.name({aircraft["bus"].get<uint16_t>(), aircraft["address"].get<uint16_t>()});
        seen_ = picture->number;
        const std::string text =
            "data: " + json{{"aircraft", picture->aircraft}, {"reports", reports_in(pages_.reports)}}.dump() + "\n\n";
        return sink.write(text.data(), text.size());
    }
    void ended() { (*listeners_)--; }

private:
    const Floor& floor_;
    const pages_t& pages_;
    const std::shared_ptr<std::atomic<int>> listeners_;
    uint64_t seen_ = 0;
};

void serve_news(httplib::Response& response, const Floor& floor, const pages_t& pages,
                const std::shared_ptr<std::atomic<int>>& listeners)
{
    if (++*listeners > LISTENERS) {
        --*listeners;
        response.status = 503;
        return;
    }
    const auto stream = std::make_shared<NewsStream>(floor, pages, listeners);
    response.set_header("Cache-Control", "no-store");
    response.set_chunked_content_provider(
        "text/event-stream", [stream](size_t, httplib::DataSink& sink) { return stream->write(sink); },
        [stream](bool) { stream->ended(); });
}

void stop_aircraft(const httplib::Request& request, httplib::Response& response, const Floor& floor,
                   const pages_t& pages)
{
    if (request.get_header_value("X-Vela-Station") != "stop")
        return answer_json(response, 403, {{"error", "not ours"}});
    const auto bus = number(request.matches[1]);
    const auto address = number(request.matches[2]);
    if (!bus || !address || !floor.knows({*bus, *address}))
        return answer_json(response, 404, {{"error", "no such aircraft was heard"}});
    const std::string failure = pages.stop_aircraft({*bus, *address});
    if (!failure.empty()) return answer_json(response, 502, {{"error", failure}});
    answer_json(response, 200, {{"asked", true}});
}

void add_sources(httplib::Server& server)
{
    static const source_t SOURCES[] = {
        {"/", page_sources::station_html, "text/html; charset=utf-8"},
        {"/station.js", page_sources::station_js, "text/javascript"},
        {"/station.css", page_sources::station_css, "text/css"},
    };
    for (const source_t& source : SOURCES) {
        server.Get(source.path, [&source](const httplib::Request&, httplib::Response& response) {
            response.set_content(source.content.data(), source.content.size(), source.type);
        });
    }
}

}  // namespace

PageServer::PageServer(pages_t pages, Floor& floor)
    : pages_(std::move(pages)), floor_(floor), server_(std::make_unique<httplib::Server>())
{
    server_->set_payload_max_length(0);  // nothing is sent here but requests
    server_->new_task_queue = [] { return new httplib::ThreadPool(THREADS); };
    server_->set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
        response.set_header("Content-Security-Policy", ONLY_OURS);
        response.set_header("X-Content-Type-Options", "nosniff");
        if (is_ours(request, port_)) return httplib::Server::HandlerResponse::Unhandled;
        answer_json(response, 403, {{"error", "this server answers to localhost only"}});
        return httplib::Server::HandlerResponse::Handled;
    });
    add_sources(*server_);
    const auto listeners = std::make_shared<std::atomic<int>>(0);
    server_->Get("/news", [this, listeners](const httplib::Request&, httplib::Response& response) {
        serve_news(response, floor_, pages_, listeners);
    });
    server_->Get(R"(/reports/([^/]+))", [this](const httplib::Request& request, httplib::Response& response) {
        serve_report(request, response, pages_.reports);
    });
    server_->Post(R"(/stop/(\d+)/(\d+))", [this](const httplib::Request& request, httplib::Response& response) {
        stop_aircraft(request, response, floor_, pages_);
    });
}

PageServer::~PageServer() = default;

bool PageServer::open()
{
    port_ = pages_.port;
    if (port_ == 0) {
        port_ = server_->bind_to_any_port(LOOPBACK);
        return port_ > 0;
    }
    return server_->bind_to_port(LOOPBACK, port_);
}

void PageServer::run()
{
    server_->listen_after_bind();
}

void PageServer::close()
{
    floor_.close();
    server_->stop();
}

}  // namespace cli
