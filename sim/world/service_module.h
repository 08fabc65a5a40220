// The flight service as a module: each load is a service that has just been launched, and unloading it is its death.
#pragma once

#include <string>

namespace sim {

class ServiceModule {
public:
    // Opens the file, so that it can be loaded later whatever becomes of its path. False with `error` filled.
    bool open(const std::string& path, std::string& error);
    ~ServiceModule();
    ServiceModule() = default;
    ServiceModule(const ServiceModule&) = delete;
    ServiceModule& operator=(const ServiceModule&) = delete;

    // Brings the service up on the platform that lives; the start is over when it returns. The process ends with a
    // message when the file is no service.
    void launch();
    // What it opened is closed and what it had not written is lost, as after SIGKILL. Its timers and clients are the
    // platform's to end, before. Nobody else may have opened files since launch().
    void kill();

    bool runs() const { return handle_ != nullptr; }

private:
    int file_ = -1;
    int first_descriptor_ = -1;  // what it opens has this or a higher number
    void* handle_ = nullptr;
};

}  // namespace sim
