// A file in the ULog format (version 1), from front to back: definitions first, then the log as it happens. What is
// there when the power goes is readable.
#pragma once

#include <cstdio>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "common/records.h"

namespace peers {

class UlogWriter {
public:
    // Null, with errno telling why, when the file cannot be made. An old one is overwritten.
    static std::unique_ptr<UlogWriter> create(const std::string& path, uint64_t start_us);
    ~UlogWriter() { close(); }
    UlogWriter(const UlogWriter&) = delete;
    UlogWriter& operator=(const UlogWriter&) = delete;

    // Definitions: readers want them all before the first subscription. Keys have at most 240 characters.
    void info(const std::string& key, const std::string& text);
    void info(const std::string& key, uint64_t number);
    void info(const std::string& key, float number);
    void parameter(const std::string& name, float value);
    // `fields` as the format spells them, each with its semicolon, behind the timestamp that every topic has.
    void format(const std::string& topic, const std::string& fields);

    void subscribe(uint16_t id, const std::string& topic);
    // A row of the topic: its fields packed, without the timestamp.
    void data(uint16_t id, uint64_t time_us, bytes_view fields);
    void log(uint64_t time_us, const std::string& text);  // of level info

    // Writes out what is left. False when the disk did not take everything.
    bool close();

private:
    explicit UlogWriter(std::FILE* file) : file_(file) {}
    void keyed(char type, const std::string& key, bytes_view value);
    void message(char type, std::initializer_list<bytes_view> parts);
    void write_out();

    std::FILE* file_;
    std::vector<uint8_t> buffer_;
    bool complete_ = true;  // once false nothing more is written: what is on the disk stays a file cut short
};

}  // namespace peers
