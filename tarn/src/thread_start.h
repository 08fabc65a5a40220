// Threads of the library: a small stack, so that a process of several clients and timers stays small.
#pragma once

#include <pthread.h>

namespace tarn {

// As pthread_create, with the result as a negative errno.
int thread_start(pthread_t* thread, void* (*entry)(void*), void* argument);

}  // namespace tarn
