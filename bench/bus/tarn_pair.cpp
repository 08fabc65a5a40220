#include <kest_event.h>
#include <kest_mb.h>
#include <tarn_host.h>
#include <unistd.h>

#include <condition_variable>
#include <fstream>
#include <mutex>

#include "echo_process.h"
#include "pair.h"

namespace {

constexpr uint16_t SERVICE = 0x1105;
constexpr uint32_t NO_TIMEOUT_US = 5'000'000;

kest_result_t answer(kest_event_client_t client, const kest_event_t* request, void*)
{
    return kest_event_resp_data_without_retcode(client, request, request->msg_buf, request->msg_len);
}

// A client whose only command is (0, 0).
class endpoint {
public:
    endpoint(const std::string& config, const char* name, kest_event_cb_t request_cb, kest_event_cb_t reply_cb,
             void* userdata)
        : descriptor_{request_cb, reply_cb, 0}
    {
        const kest_event_cmd_desc_t* tables[KEST_EVENT_SETS] = {&descriptor_};
        const uint32_t counts[KEST_EVENT_SETS] = {1};
        kest_mb_route_table_t routes;
        uint16_t host = 0;
        if (kest_mb_create_route_table(config.c_str(), "bench", name, &host, &routes) != 0) fail("route table");
        if (kest_event_create_client(&routes, host, tables, counts, userdata, &client_) != 0) fail("create client");
        kest_mb_destroy_route_table(&routes);
        if (kest_event_start_client(client_) != 0) fail("start client");
    }
    ~endpoint() { tarn_client_close(client_); }
    endpoint(const endpoint&) = delete;
    endpoint& operator=(const endpoint&) = delete;
    kest_event_client_t get() const { return client_; }

private:
    kest_event_cmd_desc_t descriptor_;
    kest_event_client_t client_ = nullptr;
};

void echo(const std::string& config)
{
    const endpoint service(config, "service", answer, nullptr, nullptr);
    for (;;)
        ::pause();
}

class tarn_pair : public pair {
public:
    tarn_pair(std::string app_config, const std::string& service_config, bool waiting)
        : waiting_(waiting), config_(std::move(app_config)), child_([&service_config] { echo(service_config); })
    {
        request_.peer_host = SERVICE;
        request_.attrib = 0x0040;
        request_.msg_len = PAYLOAD;
    }

    void open() override
    {
        app_ = std::make_unique<endpoint>(config_, "app", nullptr, take_reply, this);
        for (int tries = 0; kest_event_send(app_->get(), &request_) != 0; ++tries) {  // the child is still starting
            if (tries == 1000) fail("the answering process does not come up");
            ::usleep(2000);
        }
    }

    std::vector<double> ping(size_t count) override { return waiting_ ? ping_waiting(count) : ping_called_back(count); }

private:
    std::vector<double> ping_waiting(size_t count)
    {
        std::vector<double> times;
        for (size_t i = 0; i < count; ++i) {
            ++request_.seq_id;
            kest_event_t reply;
            uint32_t size = sizeof reply;
            const auto begin = clock_type::now();
            if (kest_event_send_sync(app_->get(), &request_, NO_TIMEOUT_US, &reply, &size) != 0) fail("send_sync");
            times.push_back(us_since(begin));
        }
        return times;
    }

    std::vector<double> ping_called_back(size_t count)
    {
        std::unique_lock lock(mutex_);
        times_.clear();
        wanted_ = count;
        send();
        if (!done_.wait_for(lock, std::chrono::seconds(60), [this] { return wanted_ == 0; })) fail("replies got lost");
        return times_;
    }

    void send()
    {
        ++request_.seq_id;
        begin_ = clock_type::now();
        if (kest_event_send(app_->get(), &request_) != 0) fail("send");
    }

    static kest_result_t take_reply(kest_event_client_t, const kest_event_t*, void* self)
    {
        static_cast<tarn_pair*>(self)->on_reply();
        return 0;
    }

    void on_reply()
    {
        const std::lock_guard lock(mutex_);
        if (wanted_ == 0) return;  // the one of open()
        times_.push_back(us_since(begin_));
        if (--wanted_ > 0)
            send();
        else
            done_.notify_one();
    }

    bool waiting_;
    std::string config_;
    echo_process child_;
    kest_event_t request_{};
    std::unique_ptr<endpoint> app_;

    std::mutex mutex_;
    std::condition_variable done_;
    std::vector<double> times_;
    size_t wanted_ = 0;
    clock_type::time_point begin_;
};

}  // namespace

std::string write_tarn_config(const std::string& bus_dir)
{
    std::string path = bus_dir + ".json";
    std::ofstream(path) << R"({"bus_dir": ")" << bus_dir << R"(", "services": {"bench":
        {"app": {"host": "0x0200"}, "service": {"host": "0x1105"}}}})";
    return path;
}

std::unique_ptr<pair> make_tarn_pair_between(const std::string& app_config, const std::string& service_config,
                                             bool waiting)
{
    return std::make_unique<tarn_pair>(app_config, service_config, waiting);
}

std::unique_ptr<pair> make_tarn_pair(const std::string& directory, bool waiting)
{
    const std::string config = write_tarn_config(directory + (waiting ? "/waiting" : "/called_back"));
    return make_tarn_pair_between(config, config, waiting);
}
