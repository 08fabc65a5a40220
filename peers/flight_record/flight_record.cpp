#include "flight_record/flight_record.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>

#include "flight_record/ulog_fields.h"
#include "flight_record/ulog_format.h"

namespace peers {
namespace {

// Far above any flight's; a file must not take the memory of the machine by promises.
constexpr size_t MAX_COLUMNS = 20000;

std::string_view text_of(bytes_view bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// A whole number keeps all its digits.
std::string value_text(const ulog_field_t& field, bytes_view value)
{
    if (field.is_text()) return std::string(text_of(value));
    uint64_t whole = 0;
    if (std::string_view(field.type->name) == "uint64_t" && read_record(value, whole)) return std::to_string(whole);
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", field.type->number(value.data()));
    return text;
}

class Reader {
public:
    explicit Reader(bytes_view file) : file_(file) {}

    bool read(record_error_t& error);
    FlightRecord& record() { return record_; }

private:
    bool read_head();
    bool take(char type, bytes_view payload);
    bool take_flags(bytes_view payload);
    bool take_keyed(char type, bytes_view payload);
    bool take_format(bytes_view payload);
    bool take_subscription(bytes_view payload);
    bool take_data(bytes_view payload);
    bool take_log(bytes_view payload);
    bool wrong(const std::string& reason);

    const bytes_view file_;
    FlightRecord record_;
    std::string reason_;
    std::map<std::string, ulog_layout_t, std::less<>> layouts_;
    struct stream_t {
        const ulog_layout_t* layout;
        size_t topic;  // its place in the record
    };
    std::map<uint16_t, stream_t> streams_;
    size_t columns_ = 0;
};

bool Reader::wrong(const std::string& reason)
{
    reason_ = reason;
    return false;
}

bool Reader::read(record_error_t& error)
{
    error.offset = 0;
    error.reason = "no ULog file";
    if (!read_head()) return false;
    for (size_t at = sizeof(ulog_head_t); at < file_.size();) {
        ulog_message_t message;
        if (!read_record(file_, message, at) || message.size > file_.size() - at - sizeof message) {
            record_.cut_at = at;
            return true;
        }
        if (!take(message.type, file_.subspan(at + sizeof message, message.size))) {
            error = {at, reason_};
            return false;
        }
        at += sizeof message + message.size;
    }
    return true;
}

// A later version may add to the head of the file only what this reader steps over.
bool Reader::read_head()
{
    ulog_head_t head;
    if (!read_record(file_, head) || !std::equal(std::begin(ULOG_MAGIC), std::end(ULOG_MAGIC), head.magic))
        return false;
    record_.start_us = head.start_us;
    return true;
}

bool Reader::take(char type, bytes_view payload)
{
    switch (type) {
        case ULOG_FLAGS:
            return take_flags(payload);
        case ULOG_INFO:
        case ULOG_PARAMETER:
            return take_keyed(type, payload);
        case ULOG_FORMAT:
            return take_format(payload);
        case ULOG_SUBSCRIPTION:
            return take_subscription(payload);
        case ULOG_DATA:
            return take_data(payload);
        case ULOG_LOG:
            return take_log(payload);
        default:
            return true;
    }
}

// Appended data continues the messages, so it needs no look at its offsets.
bool Reader::take_flags(bytes_view payload)
{
    ulog_flags_t flags;
    if (!read_record(payload, flags)) return wrong("flags cut short");
    flags.incompatible[0] &= static_cast<uint8_t>(~ULOG_APPENDED);
    const bool known = std::all_of(std::begin(flags.incompatible), std::end(flags.incompatible),
                                   [](uint8_t byte) { return byte == 0; });
    return known || wrong("flags that this reader does not know");
}

bool Reader::take_keyed(char type, bytes_view payload)
{
    uint8_t length = 0;
    if (!read_record(payload, length) || length > payload.size() - 1) return wrong("key cut short");
    const std::optional<ulog_field_t> field = read_field(text_of(payload.subspan(1, length)), reason_);
    if (!field) return false;
    const bytes_view value = payload.subspan(size_t{1} + length);
    if (value.size() != field->size()) return wrong("\"" + field->name + "\" has a value of another size");
    if (type == ULOG_PARAMETER && !field->array) {
        record_.parameters.emplace_back(field->name, field->type->number(value.data()));
    } else if (type == ULOG_INFO && (!field->array || field->is_text())) {
        record_.info.emplace_back(field->name, value_text(*field, value));
    }
    return true;
}

bool Reader::take_format(bytes_view payload)
{
    const std::string_view text = text_of(payload);
    const size_t colon = text.find(':');
    if (colon == std::string_view::npos || colon == 0) return wrong("format without a name");
    const std::string name(text.substr(0, colon));
    const std::optional<ulog_layout_t> layout = read_layout(text.substr(colon + 1), reason_);
    if (!layout) return wrong("format \"" + name + "\": " + reason_);
    return layouts_.emplace(name, *layout).second || wrong("format \"" + name + "\" a second time");
}

bool Reader::take_subscription(bytes_view payload)
{
    ulog_subscription_t subscription;
    if (!read_record(payload, subscription)) return wrong("subscription cut short");
    const std::string name(text_of(payload.subspan(sizeof subscription)));
    const auto layout = layouts_.find(name);
    if (layout == layouts_.end()) return wrong("topic \"" + name + "\" has no format");
    const uint16_t id = subscription.id;  // no reference into a packed record
    if (!streams_.emplace(id, stream_t{&layout->second, record_.topics.size()}).second)
        return wrong("topic id " + std::to_string(id) + " a second time");
    record_topic_t topic = {name, subscription.instance, {}, {}};
    for (const ulog_field_t& field : layout->second.fields) {
        columns_ += field.count;
        if (columns_ > MAX_COLUMNS) return wrong("more than " + std::to_string(MAX_COLUMNS) + " columns");
        for (size_t i = 0; i < field.count; i++)
            topic.columns.push_back({field.array ? field.name + "[" + std::to_string(i) + "]" : field.name, {}});
    }
    record_.topics.push_back(std::move(topic));
    return true;
}

bool Reader::take_data(bytes_view payload)
{
    uint16_t id = 0;
    if (!read_record(payload, id)) return wrong("data cut short");
    const auto stream = streams_.find(id);
    if (stream == streams_.end()) return wrong("data of an unknown topic id " + std::to_string(id));
    const bytes_view row = payload.subspan(sizeof id);
    const ulog_layout_t& layout = *stream->second.layout;
    record_topic_t& topic = record_.topics[stream->second.topic];
    uint64_t time_us = 0;
    if (row.size() < layout.size || !read_record(row, time_us, layout.timestamp_at))
        return wrong("row of \"" + topic.name + "\" cut short");
    topic.times_us.push_back(time_us);
    auto column = topic.columns.begin();
    for (const ulog_field_t& field : layout.fields) {
        for (size_t i = 0; i < field.count; i++, column++)
            column->values.push_back(field.type->number(row.data() + field.offset + i * field.type->size));
    }
    return true;
}

bool Reader::take_log(bytes_view payload)
{
    ulog_log_t log;
    if (!read_record(payload, log)) return wrong("marker cut short");
    record_.markers.push_back({log.time_us, std::string(text_of(payload.subspan(sizeof log)))});
    return true;
}

}  // namespace

const record_column_t* record_topic_t::column(std::string_view wanted) const
{
    const auto found = std::find_if(columns.begin(), columns.end(),
                                    [wanted](const record_column_t& one) { return one.name == wanted; });
    return found == columns.end() ? nullptr : &*found;
}

double record_topic_t::seconds() const
{
    if (times_us.size() < 2 || times_us.back() < times_us.front()) return 0;
    return static_cast<double>(times_us.back() - times_us.front()) / 1e6;
}

double record_topic_t::rate_hz() const
{
    return seconds() > 0 ? static_cast<double>(times_us.size() - 1) / seconds() : 0;
}

const record_topic_t* FlightRecord::topic(std::string_view wanted) const
{
    const auto found =
        std::find_if(topics.begin(), topics.end(), [wanted](const record_topic_t& one) { return one.name == wanted; });
    return found == topics.end() ? nullptr : &*found;
}

std::optional<FlightRecord> FlightRecord::parse(bytes_view file, record_error_t& error)
{
    Reader reader(file);
    if (!reader.read(error)) return std::nullopt;
    return std::move(reader.record());
}

std::optional<FlightRecord> FlightRecord::read(const std::string& path, record_error_t& error)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    std::vector<uint8_t> bytes;
    uint8_t buffer[1u << 16];
    size_t got = 0;
    while (file && (got = std::fread(buffer, 1, sizeof buffer, file.get())) > 0)
        bytes.insert(bytes.end(), buffer, buffer + got);
    if (file && std::ferror(file.get()) == 0) return parse(bytes, error);
    error = {bytes.size(), std::strerror(errno)};
    return std::nullopt;
}

}  // namespace peers
