#include "report/chromium.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <vector>

namespace cli {
namespace {

namespace fs = std::filesystem;

constexpr int NO_PROGRAM = 127;
constexpr const char* WINDOW_WIDTH = "--window-size=1040,";
constexpr long MOST_HEIGHT = 16000;  // of a picture, pixels
constexpr std::string_view HEIGHT_MARK = "data-height=\"";

// A folder of its own, so that a Chromium which somebody has open is not asked to do it.
class ProfileFolder {
public:
    ProfileFolder() : path_((fs::temp_directory_path() / "vela-print-XXXXXX").string())
    {
        if (mkdtemp(path_.data()) == nullptr) path_.clear();
    }
    ~ProfileFolder()
    {
        std::error_code error;
        if (!path_.empty()) fs::remove_all(path_, error);
    }
    ProfileFolder(const ProfileFolder&) = delete;
    ProfileFolder& operator=(const ProfileFolder&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

std::vector<std::string> words_for(const std::string& page, const std::string& profile)
{
    std::vector<std::string> words = {"chromium",
                                      "--headless",
                                      "--disable-gpu",
                                      "--hide-scrollbars",
                                      "--no-first-run",
                                      "--virtual-time-budget=4000",
                                      "--user-data-dir=" + profile};
    // Root has no other sandbox than the machine's.
    if (geteuid() == 0) words.emplace_back("--no-sandbox");
    words.push_back("file://" + fs::absolute(page).string());
    return words;
}

// Its exit status; NO_PROGRAM as a shell says, -1 when it cannot be started. `output` gets what it prints.
int run(std::vector<std::string> words, const std::string& output)
{
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    const int error = posix_spawnp(&child, pointers[0], &files, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    if (error != 0) return error == ENOENT ? NO_PROGRAM : -1;
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int print_pdf(const std::string& page, const std::string& target, const std::string& profile)
{
    std::vector<std::string> words = words_for(page, profile);
    words.insert(words.end() - 1, {"--no-pdf-header-footer", "--print-to-pdf=" + target});
    return run(words, "/dev/null");
}

// A picture is as high as its window, and only the drawn page knows how high it is: it says so in its first tag.
int take_picture(const std::string& page, const std::string& target, const std::string& profile)
{
    const std::string drawn = profile + "/drawn.html";
    std::vector<std::string> words = words_for(page, profile);
    words.insert(words.end() - 1, {WINDOW_WIDTH + std::string("1000"), "--dump-dom"});
    const int status = run(words, drawn);
    if (status != 0) return status;
    std::ifstream file(drawn);
    std::string head(4096, '\0');
    file.read(head.data(), static_cast<std::streamsize>(head.size()));
    const size_t at = head.find(HEIGHT_MARK);
    const long height = at == std::string::npos ? 0 : std::strtol(head.c_str() + at + HEIGHT_MARK.size(), nullptr, 10);
    words = words_for(page, profile);
    words.insert(words.end() - 1,
                 {WINDOW_WIDTH + std::to_string(std::clamp(height, 1000L, MOST_HEIGHT)), "--screenshot=" + target});
    return run(words, "/dev/null");
}

}  // namespace

bool print_page(const std::string& page, print_kind kind, const std::string& file, failure_t& failure)
{
    const ProfileFolder profile;
    std::error_code error;
    const std::string target = fs::absolute(file).string();
    fs::remove(target, error);
    const int status =
        kind == print_kind::pdf ? print_pdf(page, target, profile.path()) : take_picture(page, target, profile.path());
    if (status == 0 && fs::file_size(target, error) > 0 && !error) return true;
    if (status == NO_PROGRAM) {
        failure = {exit_code::output, file + ": there is no `chromium` on the path to print it",
                   "apt-get install chromium, or open " + page + " in a browser and print it there."};
    } else {
        failure = {exit_code::output, file + ": Chromium did not write it",
                   "Is its folder there and writable? Else open " + page + " in a browser and print it there."};
    }
    return false;
}

}  // namespace cli
