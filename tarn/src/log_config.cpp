#include "log_config.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "json_file.h"
#include "stderr_line.h"

namespace tarn {
namespace {

constexpr const char* EXAMPLE = "docs/logging.md for a complete example";
constexpr const char* WANT_LEVEL = "write \"off\", \"error\", \"warn\", \"info\" or \"debug\"";

const cJSON* member(const cJSON* object, const char* name)
{
    return cJSON_GetObjectItemCaseSensitive(object, name);
}

bool parse_level(const cJSON* item, int32_t& level)
{
    static constexpr const char* NAMES[] = {"off", "error", "warn", "info", "debug"};
    const char* text = cJSON_GetStringValue(item);
    for (int32_t i = KEST_LOG_OFF; text != nullptr && i <= KEST_LOG_DEBUG; ++i) {
        if (std::strcmp(text, NAMES[i]) != 0) continue;
        level = i;
        return true;
    }
    return false;
}

bool parse_module(const char* text, uint32_t& module)
{
    const char* end = text + std::strlen(text);
    const auto [stop, error] = std::from_chars(text, end, module);
    return error == std::errc() && stop == end && module < KEST_LOG_MODULES;
}

class log_reader {
public:
    log_reader(const json_file& file, log_config& config) : file_(file), config_(config) {}

    int read(const cJSON* log)
    {
        if (!cJSON_IsObject(log)) return file_.complain("log", log, "write an object in braces");
        int result = file_.check_keys(log, "log", {"level", "modules", "file", "max_bytes", "max_files"});
        const cJSON* level = member(log, "level");
        if (result == 0 && level != nullptr && !parse_level(level, config_.level))
            result = file_.complain("log.level", level, WANT_LEVEL);
        if (result == 0) result = read_modules(member(log, "modules"));
        if (result == 0) result = read_path(member(log, "file"));
        if (result == 0) result = read_number(log, "max_bytes", 1024, 1 << 30, config_.max_bytes);
        if (result == 0) result = read_number(log, "max_files", 0, 100, config_.max_files);
        return result;
    }

private:
    int read_modules(const cJSON* modules)
    {
        if (modules == nullptr) return 0;
        if (!cJSON_IsObject(modules))
            return file_.complain("log.modules", modules, "write an object such as {\"94\": \"debug\"}");
        const cJSON* item = nullptr;
        cJSON_ArrayForEach(item, modules)
        {
            char key[64];
            std::snprintf(key, sizeof key, "log.modules.%s", item->string);
            uint32_t module = 0;
            int32_t level = 0;
            if (!parse_module(item->string, module))
                return file_.complain(key, item, "write a module's number, 0 to 130, as the key");
            if (!parse_level(item, level)) return file_.complain(key, item, WANT_LEVEL);
            config_.module_levels[module] = static_cast<int8_t>(level == KEST_LOG_OFF ? -1 : level);
        }
        return 0;
    }

    int read_path(const cJSON* path)
    {
        if (path == nullptr) return 0;
        const char* text = cJSON_GetStringValue(path);
        if (text == nullptr || text[0] != '/' || std::strlen(text) > LOG_PATH_MAX)
            return file_.complain("log.file", path, "write an absolute path or leave it out");
        std::memcpy(config_.file, text, std::strlen(text) + 1);
        return 0;
    }

    int read_number(const cJSON* log, const char* name, uint32_t min, uint32_t max, uint32_t& value)
    {
        const cJSON* item = member(log, name);
        if (item == nullptr) return 0;
        const double number = cJSON_IsNumber(item) ? item->valuedouble : -1.0;
        if (number >= min && number <= max && std::floor(number) == number) {
            value = static_cast<uint32_t>(number);
            return 0;
        }
        char key[32];
        char wanted[64];
        std::snprintf(key, sizeof key, "log.%s", name);
        std::snprintf(wanted, sizeof wanted, "write a whole number from %u to %u", min, max);
        return file_.complain(key, item, wanted);
    }

    const json_file& file_;
    log_config& config_;
};

}  // namespace

int log_config_load(const char* path, log_config& config)
{
    json_file file(path, EXAMPLE);
    const int result = file.load();
    if (result == -ENOENT) return 0;
    if (result != 0 && result != -EINVAL)
        print_line("%s: cannot be read (%s); see %s", path, std::strerror(-result), EXAMPLE);
    if (result != 0) return result;
    const cJSON* log = member(file.root(), "log");  // other programs may keep their own part in this file
    return log == nullptr ? 0 : log_reader(file, config).read(log);
}

}  // namespace tarn
