// A capture of the bus as a pcapng file, which Wireshark opens: one section, one interface, a packet for each copy that
// the tap gave, and how many copies were lost at the end.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/records.h"

namespace peers {

// Where a capture comes from; what is empty is left out.
struct capture_about_t {
    std::string program;
    std::string os;
    std::string hardware;
    std::string tap;          // name of the interface
    std::string description;  // of the interface
    std::string comment;      // of the interface; may have several lines
};

struct capture_end_t {
    uint64_t start_us;  // wall clock
    uint64_t end_us;
    uint64_t received;  // copies that came
    uint64_t accepted;  // of them written
    uint64_t lost;      // copies that the tap did not take
    std::string comment;
};

class CaptureWriter {
public:
    // Begins the file; "-" is standard output. Null, with errno telling why. An old file is overwritten.
    static std::unique_ptr<CaptureWriter> create(const std::string& path, const capture_about_t& about);

    // Also without finish() what was flushed is a whole file.
    ~CaptureWriter();
    CaptureWriter(const CaptureWriter&) = delete;
    CaptureWriter& operator=(const CaptureWriter&) = delete;

    // A packet at `time_us` of wall clock. Reaches the file with the next flush(), at the latest after 64 KiB.
    void packet(uint64_t time_us, bytes_view bytes);

    // False, with errno telling why, when not everything could be written, now or before. The file then ends with the
    // last packet that is whole in it, and takes no more.
    bool flush();

    // Writes the statistics and closes; the result as of flush().
    bool finish(const capture_end_t& end);

    uint64_t size() const { return size_ + buffer_.size(); }

private:
    explicit CaptureWriter(int fd) : fd_(fd) {}
    void begin(const capture_about_t& about);
    void cut_after(size_t taken);

    int fd_;
    int error_ = 0;
    uint64_t size_ = 0;  // in the file, whole blocks only
    std::vector<uint8_t> buffer_;
};

}  // namespace peers
