#include "thread_start.h"

#include <cstddef>

namespace tarn {

// Below the 2 MiB from which the kernel may back a stack with one huge page.
static constexpr size_t STACK_SIZE = size_t{512} * 1024;

int thread_start(pthread_t* thread, void* (*entry)(void*), void* argument)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, STACK_SIZE);
    const int error = pthread_create(thread, &attributes, entry, argument);
    pthread_attr_destroy(&attributes);
    return -error;
}

}  // namespace tarn
