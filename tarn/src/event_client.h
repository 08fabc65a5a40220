// An endpoint: what its sending half, its task and its owner share.
#pragma once

#include <pthread.h>

#include <atomic>

#include "counters.h"
#include "incoming.h"
#include "kest_event.h"
#include "listener.h"
#include "outgoing.h"
#include "route_config.h"
#include "tap.h"
#include "unique_fd.h"
#include "waiting_sends.h"

// Everything has its room in here, so that records move without the heap.
struct kest_event_client {
    tarn::route_config routes{};
    uint16_t host = 0;
    tarn::counters counts;
    tarn::tap tap;

    // Any thread.
    tarn::outgoing outgoing;
    tarn::waiting_sends waiting;

    // The client's task only, once it runs.
    tarn::listener listener;
    tarn::incoming incoming;
    kest_event_t received{};
    const kest_event_cmd_desc_t* tables[KEST_EVENT_SETS] = {};
    uint32_t table_sizes[KEST_EVENT_SETS] = {};
    void* userdata = nullptr;
    tarn::unique_fd epoll;

    // The task's life.
    tarn::unique_fd stop;  // an eventfd, written once to end the task
    std::atomic<bool> is_started = false;
    std::atomic<pthread_t> task = 0;  // set by the task itself before its first callback; 0: none
    pthread_t thread = 0;             // for joining; valid once is_started
};

namespace tarn {

// Prepares the task's epoll set. 0 or a negative errno.
int bus_task_prepare(kest_event_client& client);
// Body of the task: `client` is the kest_event_client. Returns when client.stop was written.
void* bus_task_run(void* client);

// Gives one received record to a waiting send, or to the callback that the tables name; counts what becomes of it.
void dispatch(kest_event_client& client, const kest_event_t& event);

}  // namespace tarn
