// The station's pages: served on this machine only, and only to pages of its own.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "station/floor.h"

namespace httplib {
class Server;
}

namespace cli {

struct pages_t {
    int port = 0;                                             // 0: one that is free
    std::string reports;                                      // folder with reports (HTML) of flights
    std::function<std::string(aircraft_id_t)> name;           // of an aircraft, for people
    std::function<std::string(aircraft_id_t)> stop_aircraft;  // asks once; why it could not, or empty
};

class PageServer {
public:
    PageServer(pages_t pages, Floor& floor);
    ~PageServer();

    // Takes the port; false: another program has it.
    bool open();
    int port() const { return port_; }

    // Serves until close(). Closes the floor, because pages wait for its news.
    void run();
    void close();

private:
    const pages_t pages_;
    Floor& floor_;
    int port_ = 0;
    const std::unique_ptr<httplib::Server> server_;
};

}  // namespace cli
