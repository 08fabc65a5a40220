// Message bus routes: which address this endpoint has and which others it can reach.
#ifndef KEST_MB_H
#define KEST_MB_H

#include "kest_types.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { KEST_MB_MAX_TARGETS = 128 };

// Filled by kest_mb_create_route_table and owned by the library; callers only hand it on.
typedef struct kest_mb_route_table {
    void* priv_data;
    int32_t target_size;                 // used entries of `targets`, at most KEST_MB_MAX_TARGETS
    void* targets[KEST_MB_MAX_TARGETS];  // one per address that can be reached, this endpoint's own included
} kest_mb_route_table_t;

// Reads the JSON route configuration at `config_path` and looks up `endpoint` of `service`. On success `host_id` has
// this endpoint's bus address and `table` must be released with kest_mb_destroy_route_table. -ENOENT (no such file,
// service or endpoint), -EINVAL (null argument, not JSON, or a wrong value), -E2BIG (more than 128 addresses), or the
// negative errno of reading: one line on standard error says what to write instead, and both outputs stay untouched.
// Any thread; reads the disk.
kest_result_t kest_mb_create_route_table(const char* config_path, const char* service, const char* endpoint,
                                         uint16_t* host_id, kest_mb_route_table_t* table);

// Releases what `table` holds and empties it. A client that was created from it does not need it any longer. -EINVAL
// for null.
kest_result_t kest_mb_destroy_route_table(kest_mb_route_table_t* table);

#ifdef __cplusplus
}
#endif
#endif
