// Types shared by the platform headers. C, so that the service links unchanged against any build of the library.
#ifndef KEST_TYPES_H
#define KEST_TYPES_H

#include <stddef.h>
#include <stdint.h>

// 0 is success; a failure is a negative errno value.
typedef int32_t kest_result_t;

#endif
