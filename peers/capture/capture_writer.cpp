#include "capture/capture_writer.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "capture/pcapng_format.h"

namespace peers {
namespace {

constexpr size_t BUFFER_SIZE = 65536;
constexpr uint8_t MICROSECONDS = 6;  // a negative power of ten

using buffer_t = std::vector<uint8_t>;

void put(buffer_t& buffer, bytes_view bytes)
{
    buffer.insert(buffer.end(), bytes.begin(), bytes.end());
}

void put_padded(buffer_t& buffer, bytes_view bytes)
{
    put(buffer, bytes);
    buffer.resize(buffer.size() + pcapng::padding_of(bytes.size()));
}

void put_option(buffer_t& block, uint16_t id, bytes_view value)
{
    const size_t size = std::min<size_t>(value.size(), UINT16_MAX);
    put(block, bytes_of(pcapng::option_t{id, static_cast<uint16_t>(size)}));
    put_padded(block, value.first(size));
}

void put_option(buffer_t& block, uint16_t id, const std::string& text)
{
    if (!text.empty()) put_option(block, id, {reinterpret_cast<const uint8_t*>(text.data()), text.size()});
}

struct time_words_t {
    uint32_t high;
    uint32_t low;
};

time_words_t words_of(uint64_t time_us)
{
    return {static_cast<uint32_t>(time_us >> 32), static_cast<uint32_t>(time_us)};
}

void put_block(buffer_t& buffer, uint32_t type, bytes_view body)
{
    const auto size = static_cast<uint32_t>(body.size() + pcapng::BLOCK_FRAME);
    put(buffer, bytes_of(pcapng::block_head_t{type, size}));
    put(buffer, body);
    put(buffer, bytes_of(size));
}

// The blocks that lie within the first `taken` bytes.
size_t whole_blocks(const buffer_t& buffer, size_t taken)
{
    size_t end = 0;
    pcapng::block_head_t head;
    while (read_record(buffer, head, end) && end + head.size <= taken)
        end += head.size;
    return end;
}

int open_output(const std::string& path)
{
    if (path == "-") return fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
}

}  // namespace

std::unique_ptr<CaptureWriter> CaptureWriter::create(const std::string& path, const capture_about_t& about)
{
    const int fd = open_output(path);
    if (fd < 0) return nullptr;
    std::unique_ptr<CaptureWriter> writer(new CaptureWriter(fd));
    writer->begin(about);
    if (writer->flush()) return writer;
    const int why = errno;
    writer.reset();
    errno = why;
    return nullptr;
}

CaptureWriter::~CaptureWriter()
{
    flush();
    if (fd_ >= 0) close(fd_);
}

void CaptureWriter::begin(const capture_about_t& about)
{
    buffer_t section;
    put(section, bytes_of(pcapng::section_t{pcapng::BYTES_IN_ORDER, pcapng::VERSION_MAJOR, 0, -1}));
    put_option(section, pcapng::SECTION_HARDWARE, about.hardware);
    put_option(section, pcapng::SECTION_OS, about.os);
    put_option(section, pcapng::SECTION_PROGRAM, about.program);
    put_option(section, pcapng::OPTION_END, bytes_view());
    put_block(buffer_, pcapng::BLOCK_SECTION, section);

    buffer_t interface;
    put(interface, bytes_of(pcapng::interface_t{pcapng::LINK_TYPE_BUS, 0, 0}));
    put_option(interface, pcapng::INTERFACE_NAME, about.tap);
    put_option(interface, pcapng::INTERFACE_DESCRIPTION, about.description);
    put_option(interface, pcapng::INTERFACE_RESOLUTION, bytes_of(MICROSECONDS));
    put_option(interface, pcapng::OPTION_COMMENT, about.comment);
    put_option(interface, pcapng::OPTION_END, bytes_view());
    put_block(buffer_, pcapng::BLOCK_INTERFACE, interface);
}

void CaptureWriter::packet(uint64_t time_us, bytes_view bytes)
{
    const time_words_t time = words_of(time_us);
    const auto length = static_cast<uint32_t>(bytes.size());
    const size_t body = sizeof(pcapng::packet_t) + bytes.size() + pcapng::padding_of(bytes.size());
    const auto size = static_cast<uint32_t>(body + pcapng::BLOCK_FRAME);
    put(buffer_, bytes_of(pcapng::block_head_t{pcapng::BLOCK_PACKET, size}));
    put(buffer_, bytes_of(pcapng::packet_t{0, time.high, time.low, length, length}));
    put_padded(buffer_, bytes);
    put(buffer_, bytes_of(size));
    if (buffer_.size() >= BUFFER_SIZE) flush();
}

bool CaptureWriter::flush()
{
    size_t taken = 0;
    while (error_ == 0 && taken < buffer_.size()) {
        const ssize_t wrote = write(fd_, buffer_.data() + taken, buffer_.size() - taken);
        if (wrote > 0) taken += static_cast<size_t>(wrote);
        if (wrote < 0 && errno != EINTR) error_ = errno;
    }
    if (error_ != 0) cut_after(taken);
    size_ += whole_blocks(buffer_, taken);
    buffer_.clear();
    errno = error_;
    return error_ == 0;
}

// Half a block would make readers complain about the whole file. A pipe cannot be cut, and its reader has gone.
void CaptureWriter::cut_after(size_t taken)
{
    if (taken == 0) return;
    [[maybe_unused]] const int cut = ftruncate(fd_, static_cast<off_t>(size_ + whole_blocks(buffer_, taken)));
}

bool CaptureWriter::finish(const capture_end_t& end)
{
    const time_words_t now = words_of(end.end_us);
    buffer_t block;
    put(block, bytes_of(pcapng::statistics_t{0, now.high, now.low}));
    put_option(block, pcapng::STATISTICS_START, bytes_of(words_of(end.start_us)));
    put_option(block, pcapng::STATISTICS_END, bytes_of(now));
    put_option(block, pcapng::STATISTICS_RECEIVED, bytes_of(end.received));
    put_option(block, pcapng::STATISTICS_DROPPED, bytes_of(end.lost));
    put_option(block, pcapng::STATISTICS_ACCEPTED, bytes_of(end.accepted));
    put_option(block, pcapng::OPTION_COMMENT, end.comment);
    put_option(block, pcapng::OPTION_END, bytes_view());
    put_block(buffer_, pcapng::BLOCK_STATISTICS, block);
    flush();
    if (close(fd_) != 0 && error_ == 0) error_ = errno;
    fd_ = -1;
    errno = error_;
    return error_ == 0;
}

}  // namespace peers
