// What the tests of several folders need of time, files and programs.
#pragma once

#include <stdlib.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace std::chrono_literals;

// True as soon as `is_true`, false after `limit`.
inline bool within(std::chrono::milliseconds limit, const std::function<bool()>& is_true)
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!is_true()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

inline bool soon(const std::function<bool()>& is_true)
{
    return within(5s, is_true);
}

inline std::string text_of(const std::string& path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

inline std::vector<uint8_t> file_bytes(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(file), {});
}

// Throws when it cannot.
inline void write_file(const std::string& path, const std::vector<uint8_t>& content)
{
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    if (!file.flush()) throw std::runtime_error(path + " cannot be written");
}

// A shell's command, run to its end.
struct run_t {
    int code = -1;
    std::string text;  // of both outputs
};

inline run_t run(const std::string& command)
{
    run_t run;
    std::FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    char bytes[4096];
    for (size_t got; (got = fread(bytes, 1, sizeof bytes, pipe)) > 0;)
        run.text.append(bytes, got);
    const int status = pclose(pipe);
    if (WIFEXITED(status)) run.code = WEXITSTATUS(status);
    return run;
}

// A directory that goes with its content.
class scratch {
public:
    scratch() = default;
    ~scratch()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    scratch(const scratch&) = delete;
    scratch& operator=(const scratch&) = delete;

    std::string operator/(const std::string& name) const { return path_ + "/" + name; }
    // Writes a file here and returns its path.
    std::string file(const std::string& name, const std::string& text) const
    {
        std::ofstream(*this / name, std::ios::binary) << text;
        return *this / name;
    }

private:
    char name_[24] = "/tmp/scratch.XXXXXX";
    const std::string path_ = mkdtemp(name_);
};
