#include "bus_fixture.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <list>

kest_event_t record(uint16_t to, uint32_t msg_id, uint32_t size, uint8_t fill, uint16_t seq_id, uint16_t attrib)
{
    kest_event_t event{msg_id, to, attrib, seq_id, 0, size, {}};
    std::memset(event.msg_buf, fill, std::min<size_t>(size, sizeof event.msg_buf));
    return event;
}

void in_threads(uint16_t count, const std::function<void(uint16_t thread)>& work)
{
    std::list<std::thread> threads;
    for (uint16_t i = 0; i < count; ++i)
        threads.emplace_back(work, i);
    for (std::thread& one : threads)
        one.join();
}

tarn_stats_file_t stats_in(const std::string& path)
{
    const std::string bytes = text_of(path);
    tarn_stats_file_t stats{};
    EXPECT_EQ(bytes.size(), sizeof stats) << path;
    if (bytes.size() == sizeof stats) std::memcpy(&stats, bytes.data(), sizeof stats);
    return stats;
}

captured_stderr::captured_stderr() : memory_(::memfd_create("stderr", MFD_CLOEXEC)), before_(::dup(STDERR_FILENO))
{
    ::fcntl(memory_, F_SETFL, O_APPEND);  // several threads write
    ::dup2(memory_, STDERR_FILENO);
}

captured_stderr::~captured_stderr()
{
    ::dup2(before_, STDERR_FILENO);
    ::close(before_);
    ::close(memory_);
}

std::string captured_stderr::text() const
{
    std::string text(65536, '\0');
    const ssize_t size = ::pread(memory_, text.data(), text.size(), 0);
    text.resize(static_cast<size_t>(std::max<ssize_t>(size, 0)));
    return text;
}

int64_t captured_stderr::lines() const
{
    const std::string all = text();
    return std::count(all.begin(), all.end(), '\n');
}

bus::bus(const std::string& extra)
{
    config_ = directory_.file("routes.json", R"({"bus_dir": ")" + dir() + R"(", "services": {
        "service": {"flight": {"host": "0x1105"}},
        "peers": {"app": {"host": "0x0200"}, "controller": {"host": "0x0306"}}}, "tap": ")" +
                                                 tap_path() + "\"" + extra + "}");
}

std::string bus::socket_of(uint16_t host) const
{
    char name[16];
    std::snprintf(name, sizeof name, "/%04x.sock", host);
    return dir() + name;
}

endpoint::endpoint(const bus& on, uint16_t host, bool starts)
{
    std::fill(std::begin(descriptors_), std::end(descriptors_), kest_event_cmd_desc_t{on_record, on_record, 0});
    descriptors_[9] = {};
    const kest_event_cmd_desc_t* tables[KEST_EVENT_SETS] = {descriptors_, descriptors_, descriptors_, descriptors_};
    const uint32_t counts[KEST_EVENT_SETS] = {255, 255, 255, 10};
    kest_mb_route_table_t routes;
    uint16_t own = 0;
    created_ = kest_mb_create_route_table(on.config().c_str(), "peers", "app", &own, &routes);
    if (created_ != 0) return;
    created_ = kest_event_create_client(&routes, host, tables, counts, this, &client_);
    kest_mb_destroy_route_table(&routes);
    stats_ = on.socket_of(host).replace(on.socket_of(host).size() - 5, 5, ".stats");
    if (created_ == 0 && starts) created_ = start();
}

void endpoint::close()
{
    tarn_client_close(std::exchange(client_, nullptr));
}

// Before anything is sent to it.
void endpoint::serve(handler requests)
{
    const std::lock_guard lock(mutex_);
    serves_ = std::move(requests);
}

kest_result_t endpoint::on_record(kest_event_client_t client, const kest_event_t* event, void* self)
{
    auto& me = *static_cast<endpoint*>(self);
    std::unique_lock lock(me.mutex_);
    if (me.serves_ && (event->attrib & REPLY) == 0) {
        lock.unlock();  // it may take its time
        me.serves_(client, *event);
        lock.lock();
    }
    if (!me.keeps_mail) return 0;
    me.mail_.push_back(*event);
    me.arrived_.notify_all();
    return 0;
}

kest_event_t endpoint::take()
{
    std::unique_lock lock(mutex_);
    if (!arrived_.wait_for(lock, 5s, [this] { return !mail_.empty(); })) {
        ADD_FAILURE() << "nothing came";
        return {};
    }
    const kest_event_t first = mail_.front();
    mail_.pop_front();
    return first;
}

size_t endpoint::waiting()
{
    const std::lock_guard lock(mutex_);
    return mail_.size();
}

uint64_t endpoint::counter(uint32_t which) const
{
    return stats_in(stats_).value[which];
}
