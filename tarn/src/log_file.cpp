// The one place where exceptions can meet us: spdlog's sinks throw when a disk fails them. They are used here without
// spdlog's registry and loggers, every call is caught, and nothing leaves the two functions. This file is built with
// exceptions for that.
#include "log_file.h"

#include <fcntl.h>
#include <spdlog/details/os.h>
#include <spdlog/sinks/rotating_file_sink.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "unique_fd.h"

namespace tarn {
namespace {

using clock = std::chrono::steady_clock;
constexpr auto RETRY_AFTER = std::chrono::seconds(1);

// Lines come complete; a sink must not add its own head.
class bare_formatter : public spdlog::formatter {
public:
    void format(const spdlog::details::log_msg& line, spdlog::memory_buf_t& out) override
    {
        out.append(line.payload.begin(), line.payload.end());
    }
    std::unique_ptr<spdlog::formatter> clone() const override { return std::make_unique<bare_formatter>(); }
};

// Children of the process, a remount command for example, must not hold the log file.
void close_on_exec(const std::string&, std::FILE* stream)
{
    ::fcntl(::fileno(stream), F_SETFD, FD_CLOEXEC);
}

class rotating_file {
public:
    int open(const char* path, uint32_t max_bytes, uint32_t max_files)
    {
        const std::lock_guard lock(mutex_);
        sink_.reset();
        path_ = path != nullptr ? path : "";
        max_bytes_ = max_bytes;
        max_files_ = max_files;
        return path_.empty() ? 0 : open_sink();
    }

    void write(const char* text, size_t size)
    {
        const std::lock_guard lock(mutex_);
        if (path_.empty() || (!sink_ && (clock::now() < retry_at_ || open_sink() != 0))) return;
        try {
            sink_->log({spdlog::source_loc{}, "", spdlog::level::info, spdlog::string_view_t(text, size)});
            sink_->flush();
        } catch (...) {
            give_up_for_now();  // after a failed rotation the sink has no file any more and must not be used
        }
    }

private:
    // Asks the system first: the sink would wait and try again, and does not say what is wrong.
    int open_sink()
    {
        spdlog::file_event_handlers handlers;
        handlers.after_open = close_on_exec;
        try {
            spdlog::details::os::create_dir(spdlog::details::os::dir_name(path_));
            const unique_fd probe(::open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644));
            if (!probe) return give_up_for_now(-errno);
            sink_ =
                std::make_unique<spdlog::sinks::rotating_file_sink_st>(path_, max_bytes_, max_files_, false, handlers);
            sink_->set_formatter(std::make_unique<bare_formatter>());
            return 0;
        } catch (...) {
            return give_up_for_now(-EIO);
        }
    }

    int give_up_for_now(int result = 0)
    {
        sink_.reset();
        retry_at_ = clock::now() + RETRY_AFTER;
        return result;
    }

    std::mutex mutex_;
    std::string path_;  // empty: no file
    uint32_t max_bytes_ = 0;
    uint32_t max_files_ = 0;
    std::unique_ptr<spdlog::sinks::rotating_file_sink_st> sink_;  // null after a failure, until retry_at_
    clock::time_point retry_at_{};
};

// Never destroyed: other threads may still log while the process ends.
rotating_file& the_file()
{
    static rotating_file& file = *new rotating_file;
    return file;
}

}  // namespace

int log_file_open(const char* path, uint32_t max_bytes, uint32_t max_files) noexcept
{
    try {
        return the_file().open(path, max_bytes, max_files);
    } catch (...) {
        return -ENOMEM;
    }
}

void log_file_write(const char* text, size_t size) noexcept
{
    try {
        the_file().write(text, size);
    } catch (...) {
        return;  // a line that cannot be written is lost
    }
}

}  // namespace tarn
