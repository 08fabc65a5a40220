#include "afqt/include/afqt_debugger.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "common/shared_word.h"
#include "flight_timer/flight_timer.h"

static constexpr char LOG_DIRECTORY[] = "/tmp/blackbox/log/afqt";
static constexpr char INDEX_FILE[] = "/tmp/blackbox/log/afqt/log_index.txt";
// Cuts a log's name behind the first digit of the index. Whoever collects the logs knows them by these names.
static constexpr size_t LOG_NAME_SIZE = 40;
static constexpr size_t TEXT_SIZE = 2048;
static constexpr uint8_t FLUSH_EVERY_TICKS = 100;

static shared_word<FILE*> afqt_log;  // start-up writes; null: nowhere to log to

static void make_directory()
{
    if (access(LOG_DIRECTORY, F_OK) == 0) {
        puts("afqt directory has existed!\r");
        return;
    }
    if (mkdir(LOG_DIRECTORY, 0777) == -1) puts("creat afqt directory failed!!!\r");
    puts("creat afqt directory successfully!\r");  // after a failure too
}

// The handle stays open for the life of the process.
static void create_index()
{
    FILE* file = fopen(INDEX_FILE, "w");
    if (file == nullptr) {
        puts("afqt_log_init_idnex fail, cannot log data\r");
        return;
    }
    fprintf(file, "%d ", 0);
    puts("afqt log file index starts from 0\r");
    fflush(file);
}

// 0 for what is no number or does not fit into an int.
static int read_index(FILE* file)
{
    char text[32] = {};
    if (fgets(text, sizeof text, file) == nullptr) return 0;
    errno = 0;
    const long number = strtol(text, nullptr, 10);
    const bool fits = errno == 0 && number >= INT_MIN && number <= INT_MAX;
    return fits ? static_cast<int>(number) : 0;
}

static void write_next_index(int index)
{
    FILE* file = fopen(INDEX_FILE, "w");
    if (file == nullptr) {
        puts("set next afqt log file index fail,log file will be overwriten\r");
        return;
    }
    fprintf(file, "%d ", index == INT_MAX ? 0 : index + 1);
    puts("set next afqt log file index success\r");
    fflush(file);
    fclose(file);
}

static int take_index()
{
    if (access(INDEX_FILE, F_OK) != 0) {
        create_index();
        return 0;
    }
    FILE* file = fopen(INDEX_FILE, "r");
    if (file == nullptr) {
        puts("cannot set next afqt log file,default 0\r");
        return 0;
    }
    const int index = read_index(file);
    fclose(file);
    write_next_index(index);
    return index;
}

static FILE* open_log(int index)
{
    char name[64];
    snprintf(name, sizeof name, "%s/afqt_log_qx520_%0d.txt", LOG_DIRECTORY, index);
    name[LOG_NAME_SIZE - 1] = '\0';
    return fopen(name, "w");
}

void afqt_debug_init()
{
    make_directory();
    afqt_log = open_log(take_index());
    puts(afqt_log != nullptr ? "afqt_log_init success\r" : "afqt_log_init failed\r");
}

void _afqt_log(const char* function, const char* fmt, ...)
{
    FILE* file = afqt_log;
    if (file == nullptr) return;
    char text[TEXT_SIZE];
    va_list args;
    va_start(args, fmt);
    vsnprintf(text, sizeof text, fmt, args);
    va_end(args);
    const float seconds = static_cast<float>(flight_get_boot_time_ms()) / 1000.0f;
    fprintf(file, "[%8.3f][%s]%s", static_cast<double>(seconds), function, text);
}

void afqt_printf(const char* fmt, ...)
{
    FILE* file = afqt_log;
    if (file == nullptr) return;
    char text[TEXT_SIZE];
    va_list args;
    va_start(args, fmt);
    vsnprintf(text, sizeof text, fmt, args);
    va_end(args);
    fputs(text, file);
}

void afqt_debug_tick_handle()
{
    static uint8_t s_ticks = 0;
    if (++s_ticks < FLUSH_EVERY_TICKS) return;
    s_ticks = 0;
    FILE* file = afqt_log;
    if (file != nullptr) fflush(file);
}
