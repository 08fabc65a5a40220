// The client's own task: takes connections, reads records turn by turn, calls the callbacks.
#include <sys/epoll.h>
#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <cstdio>

#include "event_client.h"
#include "stats_report.h"

namespace tarn {
namespace {

constexpr int EVENTS_PER_WAIT = 16;
constexpr int ACCEPTS_PER_TURN = 16;
constexpr uint32_t TURN_RECORDS = 8;  // that one connection may deliver before the others have their turn
constexpr uint32_t LOOK_EVERY = 8;    // turns
constexpr std::chrono::duration<int, std::milli> PAUSE(100);
using clock = std::chrono::steady_clock;

// `about` tells what an epoll event stands for: &client.stop, &client.listener, null for a wanted report, or the
// connection.
int watch(const kest_event_client& client, int fd, void* about)
{
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.ptr = about;
    return ::epoll_ctl(client.epoll.get(), EPOLL_CTL_ADD, fd, &event) == 0 ? 0 : -errno;
}

int watch_listener(kest_event_client& client, uint32_t events)
{
    epoll_event event{};
    event.events = events;
    event.data.ptr = &client.listener;
    return ::epoll_ctl(client.epoll.get(), EPOLL_CTL_MOD, client.listener.fd(), &event);
}

// One new connection. False when none waits, or when there is no room: then `no_room` says so.
bool accept_one(kest_event_client& client, bool& no_room)
{
    unique_fd fd(::accept4(client.listener.fd(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!fd) {
        no_room = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
        return errno == ECONNABORTED || errno == EINTR;
    }
    const int number = fd.get();
    incoming_connection* connection = client.incoming.add(std::move(fd));
    no_room = connection == nullptr;
    if (no_room) return false;
    if (watch(client, number, connection) != 0) connection->fd.reset();
    return true;
}

// One turn of a connection: one record, or several where several are likely. To look for more than there are costs a
// call to the kernel and makes a quick exchange of single records slower, so that is done now and then only, until it
// pays.
void serve(kest_event_client& client, incoming_connection& connection)
{
    const bool looks_for_more = connection.is_busy || ++connection.turns % LOOK_EVERY == 0;
    const uint32_t most = looks_for_more ? TURN_RECORDS : 1;
    uint32_t count = 0;
    for (; count < most && client.incoming.read(connection, client.received); ++count)
        dispatch(client, client.received);
    connection.is_busy = count > 1;
}

class bus_task {
public:
    explicit bus_task(kest_event_client& client) : client_(client) {}

    void run()
    {
        while (is_running_) {
            epoll_event events[EVENTS_PER_WAIT];
            const int count =
                ::epoll_wait(client_.epoll.get(), events, EVENTS_PER_WAIT, is_paused_ ? PAUSE.count() : -1);
            for (int i = 0; i < count; ++i)
                handle(events[i].data.ptr);
            if (is_paused_ && clock::now() >= resume_at_) resume();
        }
    }

private:
    void handle(void* about)
    {
        if (about == &client_.stop)
            is_running_ = false;
        else if (about == &client_.listener)
            accept_some();
        else if (about == nullptr)
            stats_report_answer();
        else
            serve(client_, *static_cast<incoming_connection*>(about));
    }

    // Without descriptors or room the others wait in the kernel for a moment, instead of keeping this task spinning.
    void accept_some()
    {
        for (int i = 0; i < ACCEPTS_PER_TURN && accept_one(client_, is_paused_); ++i) {
        }
        if (!is_paused_) return;
        watch_listener(client_, 0);
        resume_at_ = clock::now() + PAUSE;
    }

    void resume()
    {
        is_paused_ = false;
        watch_listener(client_, EPOLLIN);
    }

    kest_event_client& client_;
    bool is_running_ = true;
    bool is_paused_ = false;  // the listener is not watched before `resume_at_`
    clock::time_point resume_at_{};
};

}  // namespace

int bus_task_prepare(kest_event_client& client)
{
    client.epoll.reset(::epoll_create1(EPOLL_CLOEXEC));
    if (!client.epoll) return -errno;
    int result = watch(client, client.stop.get(), &client.stop);
    if (result == 0) result = watch(client, client.listener.fd(), &client.listener);
    if (result == 0 && stats_report_fd() >= 0) result = watch(client, stats_report_fd(), nullptr);
    return result;
}

void* bus_task_run(void* argument)
{
    auto& client = *static_cast<kest_event_client*>(argument);
    client.task = pthread_self();
    char name[16];
    std::snprintf(name, sizeof name, "tarn-%04x", client.host);
    pthread_setname_np(pthread_self(), name);
    bus_task(client).run();
    return nullptr;
}

}  // namespace tarn
