#include "capture/capture_reader.h"

#include <array>
#include <optional>

#include "capture/pcapng_format.h"

namespace peers {
namespace {

constexpr uint8_t RESOLUTION_BINARY = 0x80;
constexpr uint8_t RESOLUTION_DEFAULT = 6;
constexpr std::array<uint64_t, 10> NS_PER_UNIT = {1'000'000'000, 100'000'000, 10'000'000, 1'000'000, 100'000,
                                                  10'000,        1'000,       100,        10,        1};

constexpr const char* CONVERT = "; `editcap -F pcapng` makes one of it";

struct block_t {
    size_t offset;
    uint32_t type;
    bytes_view body;  // without head and the size at the end
};

// The value of the first option with this id; empty when there is none. Options that do not fit end the list.
bytes_view option_of(bytes_view options, uint16_t id)
{
    pcapng::option_t option;
    while (read_record(options, option) && option.id != pcapng::OPTION_END) {
        const size_t padded = option.size + pcapng::padding_of(option.size);
        if (padded > options.size() - sizeof option) return {};
        if (option.id == id) return options.subspan(sizeof option, option.size);
        options = options.subspan(sizeof option + padded);
    }
    return {};
}

class Reader {
public:
    Reader(bytes_view file, capture_t& capture, capture_error_t& error) : file_(file), capture_(capture), error_(error)
    {
    }

    bool read()
    {
        if (file_.empty()) return fail(0, "empty: no capture");
        size_t offset = 0;
        while (offset < file_.size()) {
            const std::optional<block_t> block = block_at(offset);
            if (!block || !take(*block)) return false;
            offset += block->body.size() + pcapng::BLOCK_FRAME;
        }
        return true;
    }

private:
    bool fail(size_t offset, std::string reason)
    {
        error_ = {offset, std::move(reason)};
        return false;
    }

    bool begins_capture()
    {
        pcapng::block_head_t head;
        pcapng::section_t section;
        if (!read_record(file_, head) || !read_record(file_, section, sizeof head)) return fail(0, "no pcapng file");
        if (head.type != pcapng::BLOCK_SECTION) return fail(0, std::string("no pcapng file") + CONVERT);
        if (section.byte_order == pcapng::BYTES_SWAPPED)
            return fail(0, std::string("written on a big-endian machine") + CONVERT);
        return true;
    }

    std::optional<block_t> block_at(size_t offset)
    {
        if (offset == 0 && !begins_capture()) return std::nullopt;
        const bytes_view rest = file_.subspan(offset);
        pcapng::block_head_t head;
        if (!read_record(rest, head))
            return cut(offset, "a block of which only " + std::to_string(rest.size()) + " bytes are there");
        const std::string says = "a block that says it has " + std::to_string(head.size) + " bytes";
        if (head.size < pcapng::BLOCK_FRAME || head.size % 4 != 0) return cut(offset, says);
        if (head.size > rest.size())
            return cut(offset, "the file is cut: " + says + ", of which " + std::to_string(rest.size()) + " are there");
        uint32_t end = 0;
        read_record(rest, end, head.size - sizeof end);
        if (end != head.size) return cut(offset, says + " at its begin and " + std::to_string(end) + " at its end");
        return block_t{offset, head.type, rest.subspan(sizeof head, head.size - pcapng::BLOCK_FRAME)};
    }

    std::optional<block_t> cut(size_t offset, std::string reason)
    {
        fail(offset, std::move(reason));
        return std::nullopt;
    }

    bool take(const block_t& block)
    {
        switch (block.type) {
            case pcapng::BLOCK_SECTION:
                return take_section(block);
            case pcapng::BLOCK_INTERFACE:
                return take_interface(block);
            case pcapng::BLOCK_PACKET:
                return take_packet(block);
            case pcapng::BLOCK_STATISTICS:
                return take_statistics(block);
            default:
                return true;  // of other programs
        }
    }

    bool take_section(const block_t& block)
    {
        pcapng::section_t section;
        if (!read_record(block.body, section)) return fail(block.offset, "a section that is too short");
        if (section.byte_order != pcapng::BYTES_IN_ORDER || section.major != pcapng::VERSION_MAJOR)
            return fail(block.offset, "a section of another version or byte order");
        resolutions_.clear();
        return true;
    }

    bool take_interface(const block_t& block)
    {
        pcapng::interface_t interface;
        if (!read_record(block.body, interface)) return fail(block.offset, "an interface that is too short");
        if (interface.link_type != pcapng::LINK_TYPE_BUS) {
            return fail(block.offset, "packets of link type " + std::to_string(interface.link_type) + ", the bus has " +
                                          std::to_string(pcapng::LINK_TYPE_BUS));
        }
        const bytes_view option = option_of(block.body.subspan(sizeof interface), pcapng::INTERFACE_RESOLUTION);
        const uint8_t resolution = option.empty() ? RESOLUTION_DEFAULT : option[0];
        if ((resolution & RESOLUTION_BINARY) != 0 || resolution >= NS_PER_UNIT.size())
            return fail(block.offset, "times in an unknown unit (" + std::to_string(resolution) + ")");
        resolutions_.push_back(resolution);
        return true;
    }

    bool take_packet(const block_t& block)
    {
        pcapng::packet_t packet;
        if (!read_record(block.body, packet)) return fail(block.offset, "a packet that is too short");
        if (packet.interface >= resolutions_.size())
            return fail(block.offset, "a packet of interface " + std::to_string(packet.interface) + ", there are " +
                                          std::to_string(resolutions_.size()));
        const bytes_view bytes = block.body.subspan(sizeof packet);
        if (packet.captured > bytes.size() || packet.original != packet.captured) {
            return fail(block.offset, "a packet that says it has " + std::to_string(packet.captured) + " of " +
                                          std::to_string(packet.original) + " bytes, in a block with room for " +
                                          std::to_string(bytes.size()));
        }
        const uint64_t time = static_cast<uint64_t>(packet.time_high) << 32 | packet.time_low;
        capture_.packets.push_back(
            {time * NS_PER_UNIT[resolutions_[packet.interface]], bytes.first(packet.captured), block.offset});
        return true;
    }

    bool take_statistics(const block_t& block)
    {
        pcapng::statistics_t statistics;
        uint64_t lost = 0;
        if (!read_record(block.body, statistics)) return fail(block.offset, "statistics that are too short");
        read_record(option_of(block.body.subspan(sizeof statistics), pcapng::STATISTICS_DROPPED), lost);
        capture_.lost += lost;
        return true;
    }

    const bytes_view file_;
    capture_t& capture_;
    capture_error_t& error_;
    std::vector<uint8_t> resolutions_;  // of the section's interfaces
};

}  // namespace

bool read_capture(bytes_view file, capture_t& capture, capture_error_t& error)
{
    return Reader(file, capture, error).read();
}

bool read_tap_copy(bytes_view bytes, tarn_tap_head_t& head, kest_event_t& event)
{
    constexpr size_t SMALLEST = sizeof(tarn_tap_head_t) + KEST_EVENT_HEAD_SIZE;
    constexpr size_t LARGEST = sizeof(tarn_tap_head_t) + KEST_EVENT_SIZE;
    if (bytes.size() < SMALLEST || bytes.size() > LARGEST) return false;
    uint32_t length = 0;
    read_record(bytes, length, sizeof(tarn_tap_head_t) + offsetof(kest_event_t, msg_len));
    if (length != bytes.size() - SMALLEST) return false;
    const bytes_view record = bytes.subspan(sizeof head);
    std::memcpy(&head, bytes.data(), sizeof head);
    event = {};
    std::memcpy(&event, record.data(), record.size());
    return true;
}

}  // namespace peers
