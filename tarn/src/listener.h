// The socket at which an endpoint is reached.
#pragma once

#include <sys/types.h>

#include "route_config.h"
#include "unique_fd.h"

namespace tarn {

class listener {
public:
    listener() = default;
    listener(const listener&) = delete;
    listener& operator=(const listener&) = delete;
    ~listener() { close(); }

    // Makes the directory if missing, replaces the socket file of a dead process and listens. 0, -EADDRINUSE (a living
    // process has the address), otherwise the negative errno; one line on standard error says what stands in the way.
    int open(const route_config& routes, uint16_t host);
    // Stops listening and removes the socket file, unless somebody has put another one there.
    void close();
    int fd() const { return fd_.get(); }

private:
    unique_fd fd_;
    sockaddr_un address_{};
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

}  // namespace tarn
