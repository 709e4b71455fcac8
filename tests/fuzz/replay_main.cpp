// Replays corpus files through a harness without libFuzzer: each argument is a file or a folder
// of files. A crash that was fixed stays fixed because every build's test run replays them.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "tests/fuzz/fuzz_support.h"

namespace {

void Replay(const std::filesystem::path& file, int* count) {
    std::ifstream in(file, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                  std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    ++*count;
}

}  // namespace

int main(int argc, char** argv) {
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        const std::filesystem::path path(argv[i]);
        if (std::filesystem::is_directory(path)) {
            for (const auto& entry : std::filesystem::directory_iterator(path))
                if (entry.is_regular_file()) Replay(entry.path(), &count);
        } else if (std::filesystem::exists(path)) {
            Replay(path, &count);
        } else {
            std::fprintf(stderr, "replay: %s is missing\n", argv[i]);
            return 2;
        }
    }
    std::printf("replay: %d inputs, no crash\n", count);
    return count > 0 ? 0 : 1;
}
