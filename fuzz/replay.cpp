// A target without its fuzzer: every file of a corpus once. An input that hangs ends the program.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

static constexpr unsigned STALL_S = 5;  // beside other work

int main(int argc, char** argv)
{
    if (argc != 2) return 2;
    if (LLVMFuzzerInitialize != nullptr) LLVMFuzzerInitialize(&argc, &argv);
    size_t inputs = 0;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::vector<char> content(std::istreambuf_iterator<char>(file), {});
        alarm(STALL_S);
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(content.data()), content.size());
        ++inputs;
    }
    std::fprintf(stderr, "%zu inputs\n", inputs);
    return inputs > 0 ? 0 : 1;
}
