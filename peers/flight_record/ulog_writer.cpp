#include "flight_record/ulog_writer.h"

#include <bit>
#include <numeric>
#include <utility>

#include "flight_record/ulog_format.h"

namespace peers {
namespace {

static_assert(std::endian::native == std::endian::little, "numbers are written as they lie in memory");

constexpr size_t BUFFER_SIZE = 1u << 16;

bytes_view bytes_of_text(const std::string& text)
{
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

}  // namespace

std::unique_ptr<UlogWriter> UlogWriter::create(const std::string& path, uint64_t start_us)
{
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) return nullptr;
    std::setvbuf(file, nullptr, _IONBF, 0);
    std::unique_ptr<UlogWriter> writer(new UlogWriter(file));
    ulog_head_t head = {};
    std::copy(std::begin(ULOG_MAGIC), std::end(ULOG_MAGIC), head.magic);
    head.version = ULOG_VERSION;
    head.start_us = start_us;
    const bytes_view bytes = bytes_of(head);
    writer->buffer_.assign(bytes.begin(), bytes.end());
    writer->message(ULOG_FLAGS, {bytes_of(ulog_flags_t{})});
    return writer;
}

void UlogWriter::info(const std::string& key, const std::string& text)
{
    keyed(ULOG_INFO, "char[" + std::to_string(text.size()) + "] " + key, bytes_of_text(text));
}

void UlogWriter::info(const std::string& key, uint64_t number)
{
    keyed(ULOG_INFO, "uint64_t " + key, bytes_of(number));
}

void UlogWriter::info(const std::string& key, float number)
{
    keyed(ULOG_INFO, "float " + key, bytes_of(number));
}

void UlogWriter::parameter(const std::string& name, float value)
{
    keyed(ULOG_PARAMETER, "float " + name, bytes_of(value));
}

void UlogWriter::format(const std::string& topic, const std::string& fields)
{
    message(ULOG_FORMAT, {bytes_of_text(topic + ":uint64_t timestamp;" + fields)});
}

void UlogWriter::subscribe(uint16_t id, const std::string& topic)
{
    message(ULOG_SUBSCRIPTION, {bytes_of(ulog_subscription_t{0, id}), bytes_of_text(topic)});
}

void UlogWriter::data(uint16_t id, uint64_t time_us, bytes_view fields)
{
    message(ULOG_DATA, {bytes_of(id), bytes_of(time_us), fields});
}

void UlogWriter::log(uint64_t time_us, const std::string& text)
{
    message(ULOG_LOG, {bytes_of(ulog_log_t{ULOG_LEVEL_INFO, time_us}), bytes_of_text(text)});
}

void UlogWriter::keyed(char type, const std::string& key, bytes_view value)
{
    message(type, {bytes_of(static_cast<uint8_t>(key.size())), bytes_of_text(key), value});
}

// Longer than its length field can say: left out.
void UlogWriter::message(char type, std::initializer_list<bytes_view> parts)
{
    const size_t size = std::accumulate(parts.begin(), parts.end(), size_t{0},
                                        [](size_t sum, bytes_view part) { return sum + part.size(); });
    if (!complete_ || file_ == nullptr || size > UINT16_MAX) return;
    const ulog_message_t head = {static_cast<uint16_t>(size), type};
    const bytes_view head_bytes = bytes_of(head);
    buffer_.insert(buffer_.end(), head_bytes.begin(), head_bytes.end());
    for (const bytes_view part : parts)
        buffer_.insert(buffer_.end(), part.begin(), part.end());
    if (buffer_.size() >= BUFFER_SIZE) write_out();
}

void UlogWriter::write_out()
{
    if (complete_) complete_ = std::fwrite(buffer_.data(), 1, buffer_.size(), file_) == buffer_.size();
    buffer_.clear();
}

bool UlogWriter::close()
{
    if (file_ == nullptr) return complete_;
    write_out();
    if (std::fclose(std::exchange(file_, nullptr)) != 0) complete_ = false;
    return complete_;
}

}  // namespace peers
