// The records of the ULog format that writer and reader share, as they lie in the file: packed, little-endian.
#pragma once

#include <cstdint>

namespace peers {

inline constexpr uint8_t ULOG_MAGIC[] = {'U', 'L', 'o', 'g', 0x01, 0x12, 0x35};
inline constexpr uint8_t ULOG_VERSION = 1;

// Kinds of messages; others are stepped over.
inline constexpr char ULOG_FLAGS = 'B';
inline constexpr char ULOG_INFO = 'I';
inline constexpr char ULOG_PARAMETER = 'P';
inline constexpr char ULOG_FORMAT = 'F';
inline constexpr char ULOG_SUBSCRIPTION = 'A';
inline constexpr char ULOG_DATA = 'D';
inline constexpr char ULOG_LOG = 'L';

inline constexpr char ULOG_LEVEL_INFO = '6';  // as syslog counts

// Of the flags that a reader must understand: data was added behind the end later.
inline constexpr uint8_t ULOG_APPENDED = 1;

#pragma pack(push, 1)

struct ulog_head_t {
    uint8_t magic[7];
    uint8_t version;
    uint64_t start_us;
};

struct ulog_message_t {
    uint16_t size;  // of what follows
    char type;
};

struct ulog_flags_t {
    uint8_t compatible[8];
    uint8_t incompatible[8];
    uint64_t appended_at[3];
};

struct ulog_subscription_t {
    uint8_t instance;
    uint16_t id;  // the topic's name follows
};

struct ulog_log_t {
    char level;
    uint64_t time_us;  // the text follows
};

#pragma pack(pop)

static_assert(sizeof(ulog_head_t) == 16);
static_assert(sizeof(ulog_message_t) == 3);
static_assert(sizeof(ulog_flags_t) == 40);
static_assert(sizeof(ulog_subscription_t) == 3);
static_assert(sizeof(ulog_log_t) == 9);

}  // namespace peers
